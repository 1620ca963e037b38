// Links that drop and services that refuse for a while: what is retried, what is not, and that a
// transfer cut short continues without losing or repeating more than a block.
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>
#include <random>

#include "DelayProxy.h"
#include "FakeService.h"
#include "ServiceFixture.h"
#include "SessionError.h"

namespace {

using anadata::ErrorCode;
using Answer = FakeService::Answer;
constexpr std::uint64_t block = 819200;

// What a block of `n` bytes takes on the wire, base64 in its reply.
std::uint64_t wire(std::uint64_t n) { return n * 4 / 3; }

// `n` random values, whose archive takes about 9 bytes each.
qx::AnaData largeRecord(unsigned seed, int n) {
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> any(-1e3, 1e3);
    std::vector<double> index(n), value(n);
    for (int i = 0; i < n; ++i) {
        index[i] = i;
        value[i] = any(random);
    }
    qx::AnaData rec(1, 1);
    rec.setDiagnostics("large");
    rec.setShotNo(7);
    rec.setSubNo(1);
    rec.setDate("11/25/2026 10:00");
    rec.setDim(0, "i", "", n, index.data());
    rec.setVal(0, "v", "V", n, value.data());
    return rec;
}

bool sameValues(const qx::AnaData& a, const qx::AnaData& b) {
    return a.getValSize() == b.getValSize() &&
           std::memcmp(a.getValData(0), b.getValData(0), sizeof(double) * a.getValSize()) == 0;
}

// Alice's session options for `url`, with retries that do not wait.
anadata::SessionOptions aliceAt(const std::string& url, int streams = 4) {
    anadata::SessionOptions o;
    o.endpoint = url;
    o.account = "alice";
    o.password = "wonder";
    o.retryDelay = std::chrono::milliseconds(1);
    o.streams = streams;
    return o;
}

class Resilience : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        options = aliceAt(server->url());
    }
    anadata::Session through(const bench::DelayProxy& proxy, int streams) const {
        return anadata::Session(aliceAt(proxy.url(), streams));
    }
    std::uint64_t archiveSize() const {
        return static_cast<std::uint64_t>(anadata::Session(options).search({{"large"}, 7, 7, 1, "", 0}).at(0).size);
    }
    anadata::SessionOptions options;
};

// Four streams, one of them cut in the middle of the archive: the record arrives whole, and the
// archive is the one a single stream writes. An interrupted fetchFile leaves its part file; the
// next continues from it while the entry stays the same, and discards it once it is replaced.
TEST_F(Resilience, CutAndInterruptedDownloadsContinueWithinABlock) {
    const qx::AnaData rec = largeRecord(1, 300000);
    anadata::Session session(options);
    session.registerRecord(rec);
    const std::uint64_t size = archiveSize();
    ASSERT_GT(size, 3 * block);  // four blocks: enough for the streams

    bench::DelayProxy proxy(server->port(), std::chrono::milliseconds(0));
    proxy.toClient().cutAt = wire(size / 2);
    EXPECT_TRUE(sameValues(through(proxy, 4).fetch("large", 7, 1), rec));
    EXPECT_EQ(proxy.toClient().cutAt, 0u) << "never cut";
    EXPECT_LE(proxy.toClient().moved, wire(size + block) + 65536);

    anadata::FetchFileOptions keep;
    keep.keepArchive = true;
    const std::string serial = anadata::Session(aliceAt(server->url(), 1)).fetchFile("large", 7, 1, dir.file("1"), keep);
    EXPECT_EQ(readFile(through(proxy, 4).fetchFile("large", 7, 1, dir.file("4"), keep)), readFile(serial));

    anadata::Session one = through(proxy, 1);
    anadata::FetchFileOptions stopEarly = keep;
    stopEarly.progress = [](std::uint64_t done, std::uint64_t) { return done < 2 * block; };
    const std::string target = dir.file("target");
    EXPECT_EQ(errorOf([&] { one.fetchFile("large", 7, 1, target, stopEarly); }).code(), ErrorCode::cancelled);
    ASSERT_TRUE(std::filesystem::exists(target + ".part"));
    const std::uint64_t before = proxy.toClient().moved;
    one.fetchFile("large", 7, 1, target, keep);
    EXPECT_EQ(readFile(target), readFile(serial));
    EXPECT_LE(proxy.toClient().moved - before, wire(size - 2 * block) + 65536);
    EXPECT_FALSE(std::filesystem::exists(target + ".part"));

    EXPECT_EQ(errorOf([&] { one.fetchFile("large", 7, 1, target + "2", stopEarly); }).code(), ErrorCode::cancelled);
    session.registerRecord(largeRecord(2, 1000));
    one.fetchFile("large", 7, 1, target + "2", keep);
    EXPECT_EQ(readFile(target + "2"), readFile(session.fetchFile("large", 7, 1, dir.file("replaced"), keep)));
    EXPECT_FALSE(std::filesystem::exists(target + "2.part"));
}

// The upload whose connection drops goes on from what the service holds.
TEST_F(Resilience, ACutUploadContinuesFromWhatTheServiceHolds) {
    const qx::AnaData rec = largeRecord(3, 200000);
    bench::DelayProxy proxy(server->port(), std::chrono::milliseconds(0));
    const std::uint64_t cut = wire(block) * 3 / 2;
    proxy.toService().cutAt = cut;
    through(proxy, 1).registerRecord(rec);
    EXPECT_EQ(proxy.toService().cutAt, 0u) << "never cut";
    EXPECT_TRUE(sameValues(anadata::Session(options).fetch("large", 7, 1), rec));
    // Begun again, the whole archive would have followed the cut.
    EXPECT_LT(proxy.toService().moved, cut + wire(archiveSize() - block / 2));
    EXPECT_EQ(stagingFiles(), 0u);
}

Answer busyFault(const char* detail) {
    return {FakeService::Action::reply,
            FakeService::http(std::string("<SOAP-ENV:Fault><faultcode>SOAP-ENV:Server.Busy</faultcode><faultstring>"
                                          "busy, try again</faultstring><detail>") + detail +
                                  "</detail></SOAP-ENV:Fault>", true)};
}

Answer codedFault(const char* code) {
    return {FakeService::Action::reply,
            FakeService::http(std::string("<SOAP-ENV:Fault><faultcode>") + code +
                                  "</faultcode><faultstring>no</faultstring></SOAP-ENV:Fault>", true)};
}

const Answer emptyList = FakeService::response("listTavolenInfo", "<ary></ary>");

// A search against a service that answers with `script` makes `requests` requests and fails with
// `expected` (succeeds without one).
void expectSearch(const FakeService::Script& script, int retries, std::size_t requests,
                  std::optional<ErrorCode> expected) {
    FakeService service(script);
    anadata::SessionOptions o;
    o.endpoint = service.url();
    o.retries = retries;
    o.retryDelay = std::chrono::milliseconds(1);
    o.ioTimeout = std::chrono::seconds(2);
    std::optional<ErrorCode> code;
    try {
        anadata::Session(o).search({{"d"}, 0, 0, 0, "", 0});
    } catch (const anadata::Error& e) {
        code = e.code();
        if (code == ErrorCode::transport) {
            EXPECT_NE(std::string(e.what()).find("listTavolenInfo at " + service.url()), std::string::npos) << e.what();
        }
    }
    EXPECT_EQ(code, expected);
    EXPECT_EQ(service.requests().size(), requests);
}

TEST(Retries, OnlyWhatMayPassIsRetriedAndABusyServicesWaitIsKept) {
    const auto hangUp = [](const std::string&) {
        const std::string whole = emptyList.bytes;
        return Answer{FakeService::Action::close, whole.substr(0, whole.size() - 40)};
    };
    expectSearch(hangUp, 0, 1, ErrorCode::transport);
    expectSearch(hangUp, 3, 3, ErrorCode::transport);
    const auto refuse = [](const char* code) {
        return [code](const std::string&) { return codedFault(code); };
    };
    expectSearch(refuse("SOAP-ENV:Client.Unauthorized"), 4, 1, ErrorCode::unauthorized);
    expectSearch(refuse("SOAP-ENV:Client.NotFound"), 4, 1, ErrorCode::not_found);

    int calls = 0;
    const auto start = std::chrono::steady_clock::now();
    expectSearch([&](const std::string&) { return ++calls == 1 ? busyFault("<retryAfter>1</retryAfter>") : emptyList; },
                 4, 2, std::nullopt);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

}  // namespace

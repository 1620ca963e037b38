// The session's local cache against the reference service: what it serves, what it refetches, one
// catalogue request per batch, files byte for byte, and offline sessions.
#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "RawExchange.h"
#include "ServiceFixture.h"
#include "SessionError.h"

namespace {

using anadata::ErrorCode;
namespace fs = std::filesystem;

// `points` of 3 or 4: a replacement of another size, as the catalogue dates only to the second.
qx::AnaData record(int shot, double scale, int points = 3) {
    const double time[4] = {0, 0.5, 1, 1.5};
    const double signal[4] = {scale, -2 * scale, 1e-300 * scale, 0};
    qx::AnaData rec(1, 1);
    rec.setDiagnostics("cached");
    rec.setShotNo(shot);
    rec.setSubNo(1);
    rec.setDate("11/23/2026 10:00");
    rec.setDim(0, "time", "s", points, time);
    rec.setVal(0, "signal", "V", points, signal);
    return rec;
}

double signalOf(const qx::AnaData& rec) {
    return rec.getValData(0)[0];
}

class SessionCache : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        start({"--metrics-port", "0"});
        const std::string line = server->nextLine();
        metricsPort = std::stoi(line.substr(line.rfind(':') + 1));
        options.endpoint = server->url();
        options.account = "alice";
        options.password = "wonder";
        options.cache.directory = dir.file("cache");
        for (int shot : {1, 2, 4}) anadata::Session(options).registerRecord(record(shot, shot));
    }

    // Requests of `operation` the service has answered, once it has counted `atLeast` of them (a
    // request is counted just after its answer is out).
    long long answered(const std::string& operation, long long atLeast) const {
        const std::string key = "anadata_requests_total{operation=\"" + operation + "\",outcome=\"ok\"} ";
        long long count = 0;
        for (int i = 0; i < 100; ++i) {
            const std::string metrics = rawExchange(metricsPort, "GET /metrics HTTP/1.1\r\n\r\n");
            const auto at = metrics.find(key);
            count = at == std::string::npos ? 0 : std::stoll(metrics.substr(at + key.size()));
            if (count >= atLeast) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return count;
    }

    std::vector<bool> fromCache(const std::vector<anadata::FetchOutcome>& outcomes) const {
        std::vector<bool> served;
        for (const auto& o : outcomes) served.push_back(o.fromCache);
        return served;
    }

    int metricsPort = 0;
    anadata::SessionOptions options;
};

TEST_F(SessionCache, ABatchIsCheckedByOneListingAndReplacedEntriesAreFetchedAgain) {
    const anadata::Session session(options);
    const long long listings = answered("listTavolenInfo", 0), paths = answered("getTavolenDataPath", 0),
                    blocks = answered("getData", 0);
    auto outcomes = session.fetchMany("cached", {1, 2, 3, 4});
    EXPECT_EQ(fromCache(outcomes), (std::vector<bool>{false, false, false, false}));
    EXPECT_EQ(outcomes[2].error->code(), ErrorCode::not_found);
    EXPECT_EQ(answered("listTavolenInfo", listings + 1), listings + 1);
    EXPECT_EQ(answered("getTavolenDataPath", paths + 3), paths + 3);
    EXPECT_EQ(answered("getData", blocks + 3), blocks + 3);

    outcomes = session.fetchMany("cached", {1, 2, 3, 4});
    EXPECT_EQ(fromCache(outcomes), (std::vector<bool>{true, true, false, true}));
    EXPECT_EQ(answered("listTavolenInfo", listings + 2), listings + 2);
    EXPECT_EQ(answered("getTavolenDataPath", paths + 3), paths + 3);  // nothing downloaded
    EXPECT_EQ(answered("getData", blocks + 3), blocks + 3);
    ASSERT_TRUE(outcomes[1].entry && outcomes[1].record);
    EXPECT_EQ(outcomes[1].entry->filename, "cached@2-1.dat.zip");
    EXPECT_EQ(signalOf(*outcomes[1].record), 2);

    // A replaced data set is never served from the cache, in a batch or alone.
    session.registerRecord(record(2, 20, 4));
    session.registerRecord(record(4, 40, 4));
    outcomes = session.fetchMany("cached", {1, 2});
    EXPECT_EQ(fromCache(outcomes), (std::vector<bool>{true, false}));
    EXPECT_EQ(signalOf(*outcomes[1].record), 20);
    EXPECT_EQ(signalOf(session.fetch("cached", 4)), 40);
    EXPECT_EQ(fromCache(session.fetchMany("cached", {2, 4})), (std::vector<bool>{true, true}));
}

TEST_F(SessionCache, ACorruptEntryIsFetchedAgainNeverReturned) {
    const anadata::Session session(options);
    session.fetch("cached", 1);
    // One bit of a number: still a sound dump, which only the checksum tells from the stored one.
    const double tiny = 1e-300;
    const std::string image(reinterpret_cast<const char*>(&tiny), sizeof tiny);
    int corrupted = 0;
    for (const auto& file : fs::recursive_directory_iterator(dir.file("cache"))) {
        std::string bytes = file.is_regular_file() ? readFile(file.path()) : "";
        const auto at = bytes.find(image);
        if (at == std::string::npos) continue;
        bytes[at] ^= 1;
        writeFile(file.path(), bytes);
        ++corrupted;
    }
    ASSERT_EQ(corrupted, 1);
    EXPECT_EQ(session.fetch("cached", 1).getValData(0)[2], tiny);
    EXPECT_EQ(fromCache(session.fetchMany("cached", {1})), std::vector<bool>{true});  // stored again
}

TEST_F(SessionCache, FilesFromTheCacheAreTheServicesBytes) {
    const anadata::Session session(options);
    fs::create_directories(dir.file("cold"));
    fs::create_directories(dir.file("warm"));
    auto cold = session.fetchFiles("cached", {1, 2}, 1, dir.file("cold"));
    auto warm = session.fetchFiles("cached", {1, 2}, 1, dir.file("warm"));
    EXPECT_EQ(fromCache(cold), (std::vector<bool>{false, false}));
    ASSERT_EQ(fromCache(warm), (std::vector<bool>{true, true}));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(fs::path(warm[i].path).filename(), fs::path(cold[i].path).filename());
        EXPECT_EQ(readFile(warm[i].path), readFile(cold[i].path));
    }
    // The archive as it travelled is kept apart from the data file it holds.
    anadata::FetchFileOptions archive;
    archive.keepArchive = true;
    const std::string zip = session.fetchFile("cached", 1, 1, dir.file("cold"), archive);
    EXPECT_EQ(fs::path(zip).filename(), "cached@1-1.dat.zip");
    EXPECT_EQ(readFile(session.fetchFile("cached", 1, 1, dir.file("warm/again.zip"), archive)), readFile(zip));
    EXPECT_EQ(errorOf([&] { session.fetchFile("cached", 1, 1, warm[0].path); }).code(), ErrorCode::local_io);  // exists
}

TEST_F(SessionCache, OfflineServesWhatTheCacheHoldsWithoutAskingTheService) {
    anadata::Session(options).fetchMany("cached", {1, 2});
    anadata::Session(options).fetchFile("cached", 1, 1, dir.path());
    anadata::SessionOptions offline = options;
    offline.offline = true;
    const anadata::Session session(offline);
    server->stop();
    const auto outcomes = session.fetchMany("cached", {1, 2, 4});
    EXPECT_EQ(fromCache(outcomes), (std::vector<bool>{true, true, false}));
    EXPECT_EQ(signalOf(*outcomes[1].record), 2);
    EXPECT_EQ(outcomes[1].entry->filename, "cached@2-1.dat.zip");
    EXPECT_EQ(outcomes[2].error->code(), ErrorCode::not_found);
    EXPECT_EQ(signalOf(session.fetch("cached", 1)), 1);
    EXPECT_EQ(errorOf([&] { session.fetch("cached", 4); }).code(), ErrorCode::not_found);
    fs::create_directories(dir.file("out"));
    EXPECT_EQ(readFile(session.fetchFile("cached", 1, 1, dir.file("out"))), readFile(dir.file("cached@1-1.dat")));
    offline.cache.directory.clear();
    EXPECT_EQ(errorOf([&] { anadata::Session(offline).fetch("cached", 1); }).code(), ErrorCode::not_found);
}

}  // namespace

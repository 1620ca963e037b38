// The access object when the service is missing, silent, or breaks off: false or "ERROR", and no file left behind.
#include <chrono>
#include <functional>

#include "ClientFixture.h"
#include "FakeService.h"
#include "clsAnaDataAccess.h"

namespace {

using qx::clsAnaDataAccess;

class FaultTest : public ::testing::Test {
protected:
    void SetUp() override {
        token = "clientfault" + std::to_string(getpid());
        work = dir.path();
        name = token + ".dat";
        writeFile(dir.file(name), "data\n");
        writeFile(dir.file("keep.dat"), "user's own file\n");
    }
    void TearDown() override { expectNoLeftovers(token, work); }

    void use(const std::string& url) { configureAccess(home, url, "alice", "wonder"); }

    // Every operation fails: false from the data operations with nothing appended or
    // written, "ERROR" from the others, and a printed fault for each.
    void expectEveryOperationFails() {
        clsAnaDataAccess access;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(access.Regist(work.c_str(), name.c_str(), "d", 1, 1, nullptr, "s"));
        std::string file = "keep.dat";
        EXPECT_FALSE(access.Get("d", 1, 1, file, work.c_str(), false));
        EXPECT_EQ(file, "keep.dat");
        EXPECT_EQ(readFile(dir.file("keep.dat")), "user's own file\n");
        EXPECT_FALSE(access.Delete("d", 1, 1));
        std::vector<qx::TavolenInfo> rows(1);
        EXPECT_FALSE(access.Search({"d"}, 0, 10, 0, "", 10, rows));
        EXPECT_EQ(rows.size(), 1u);
        std::vector<std::string> names;
        std::vector<qx::NumEntry> counts;
        std::vector<qx::DiagEntry> diags;
        EXPECT_FALSE(access.getDiagnostics(names) || access.getNumEntry("d", 1, 1, counts) || access.getDiagEntry(diags));
        EXPECT_TRUE(names.empty() && counts.empty() && diags.empty());
        for (auto call : std::vector<std::function<void()>>{
                 [&] { access.getExplogColNames(); }, [&] { access.getExplogColValues(1); },
                 [&] { access.getExplogColValue(1, "gas"); }, [&] { access.changePassword("alice", "a", "b"); }}) {
            try {
                call();
                ADD_FAILURE() << "nothing thrown";
            } catch (const qx::clsException& e) {
                EXPECT_EQ(e.getMessage(), "ERROR");
            }
        }
        std::string printed = testing::internal::GetCapturedStderr();
        EXPECT_NE(printed.find("summary=s\n"), std::string::npos);
        size_t faults = 0;
        for (size_t at = printed.find(" fault "); at != std::string::npos; at = printed.find(" fault ", at + 1)) ++faults;
        EXPECT_GE(faults, 11u) << printed;
    }

    TempDir dir, home;
    std::string token, work, name;
};

TEST_F(FaultTest, NoEndpointNothingListeningAndEveryFaultAreFailures) {
    FakeService service([](const std::string&) { return FakeService::fault("refused by test"); });
    int port;  // taken while the faulting service holds its own, so the two differ
    {
        FakeService probe([](const std::string&) { return FakeService::Answer{}; });
        port = std::stoi(probe.url().substr(probe.url().rfind(':') + 1));
    }
    for (const std::string& url : {"http://127.0.0.1:" + std::to_string(port) + "/", std::string(), service.url()}) {
        SCOPED_TRACE(url);
        use(url);
        expectEveryOperationFails();
    }
}

// Each read gets its byte well within the 30 s, but the request as a whole may not take longer.
TEST_F(FaultTest, AReplyThatTricklesInFailsTheCallAfterThirtySeconds) {
    FakeService service([](const std::string&) {
        FakeService::Answer a = FakeService::response("getTavolenDataPath", "<path>" + std::string(200, 'p') + "</path>");
        a.action = FakeService::Action::trickle;
        return a;
    });
    use(service.url());
    clsAnaDataAccess access;
    std::string file;
    auto start = std::chrono::steady_clock::now();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(access.Get("d", 1, 1, file, work.c_str(), false));
    EXPECT_NE(testing::internal::GetCapturedStderr().find(" fault "), std::string::npos);
    auto waited = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(waited, 29);
    EXPECT_LE(waited, 40);
}

// The service's "ret" of a password change is not looked at: only a fault fails the call.
TEST_F(FaultTest, APasswordChangeAnsweredWithANonZeroRetStillSucceeds) {
    FakeService service([](const std::string&) { return FakeService::response("changePassword", "<ret>1</ret>"); });
    use(service.url());
    EXPECT_NO_THROW(clsAnaDataAccess().changePassword("alice", "wonder", "land"));
    EXPECT_EQ(service.requests().size(), 1u);
}

// A reply head whose length cannot be believed (negative, beyond any reply, not a number) fails
// the call before anything is sized from it; the runtime would otherwise allocate for the body of
// a redirect or error reply whatever the head says.
TEST_F(FaultTest, AReplyHeadWithAnImpossibleLengthIsAFailure) {
    for (std::string length : {"-521", "300000000", "99999999999999999999", "12x"}) {
        SCOPED_TRACE(length);
        FakeService service([length](const std::string&) {
            return FakeService::Answer{FakeService::Action::close,
                                       "HTTP/1.1 300 Multiple Choices\r\nContent-Length: " + length + "\r\n\r\n"};
        });
        use(service.url());
        expectEveryOperationFails();
    }
}

// A download that breaks off after its first block, by a dropped connection or a cut reply.
FakeService::Answer breakingDownload(const std::string& request, bool cut) {
    if (request.find("getTavolenDataPath") != std::string::npos)
        return FakeService::response("getTavolenDataPath", "<path>/store/data/d@1-1.dat.zip</path>");
    if (request.find("<pos>0</pos>") != std::string::npos)
        return FakeService::response("getData", "<bin>" + std::string(1092268, 'A') + "</bin>");
    std::string whole = FakeService::response("getData", "<bin>QUJD</bin>").bytes;
    return {FakeService::Action::close, cut ? whole.substr(0, whole.size() - 40) : ""};
}

TEST_F(FaultTest, ABrokenDownloadLeavesNeitherArchiveNorResult) {
    for (int mode = 0; mode < 4; ++mode) {
        const bool cut = mode & 1, keepArchive = mode & 2;
        SCOPED_TRACE(mode);
        FakeService service([cut](const std::string& r) { return breakingDownload(r, cut); });
        use(service.url());
        clsAnaDataAccess access;
        std::string file = "result.dat";
        testing::internal::CaptureStderr();
        EXPECT_FALSE(access.Get("d", 1, 1, file, work.c_str(), keepArchive));
        EXPECT_FALSE(testing::internal::GetCapturedStderr().empty());
        EXPECT_EQ(file, "result.dat");
        EXPECT_FALSE(std::filesystem::exists(dir.file("result.dat")));
        EXPECT_EQ(service.requests().size(), 3u);
    }
}

TEST_F(FaultTest, AnEmptyFirstBlockIsAnEmptyFile) {
    FakeService service([](const std::string& request) {
        if (request.find("getTavolenDataPath") != std::string::npos)
            return FakeService::response("getTavolenDataPath", "<path>relative.zip</path>");
        return FakeService::response("getData", "<bin></bin>");
    });
    use(service.url());
    clsAnaDataAccess access;
    std::string file = "empty.zip";
    ASSERT_TRUE(access.Get("d", 1, 1, file, work.c_str(), true));
    EXPECT_EQ(file, work + "/empty.zip");
    EXPECT_EQ(std::filesystem::file_size(file), 0u);

    // Extraction is not checked: an archive that does not unpack still counts as fetched.
    file.clear();
    EXPECT_TRUE(access.Get("d", 1, 1, file, work.c_str(), false));
    EXPECT_EQ(file, work + "/relative");
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace

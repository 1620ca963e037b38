// The access object against a running anadata-server: what it makes of the service's answers
// (file placement, traces, appended lists); the service's own rules are the server tests' part.
#include "ClientFixture.h"
#include "ServiceFixture.h"
#include "anadata_util.h"
#include "clsAnaDataAccess.h"

namespace {

using qx::clsAnaDataAccess;

class AccessTest : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        configureAccess(home, server->url(), "alice", "wonder");
        token = "clienttest" + std::to_string(getpid());
        std::filesystem::create_directories(work);
        std::filesystem::create_directories(out);
    }
    void TearDown() override {
        expectNoLeftovers(token, work);
        expectNoLeftovers(token, out);
    }
    std::string dataFile(const std::string& stem, const std::string& bytes) {
        std::string name = token + "-" + stem + ".dat";
        writeFile(work + "/" + name, bytes);
        return name;
    }

    TempDir home;
    std::string token, work = dir.file("work"), out = dir.file("out");
    clsAnaDataAccess access;
};

TEST_F(AccessTest, GetPlacesFilesWhereTheCallerAndTheQuirksSay) {
    std::string name = dataFile("place", "place me\n");
    ASSERT_TRUE(access.Regist(work.c_str(), name.c_str(), "diagP", 7, 1, nullptr, "s"));
    std::filesystem::current_path(work);
    std::string file;
    ASSERT_TRUE(access.Get("diagP", 7, 1, file, nullptr, false));  // the current directory
    EXPECT_EQ(file, "./" + name);
    EXPECT_EQ(readFile(work + "/" + name), "place me\n");
    file = "fromempty";
    ASSERT_TRUE(access.Get("diagP", 7, 1, file, "", false));  // so is an empty one
    EXPECT_EQ(readFile(work + "/fromempty"), "place me\n");

    // Archive kept without a name: it lands in the current directory under the server's name,
    // while `file` names the given directory and the shortened name.
    file.clear();
    ASSERT_TRUE(access.Get("diagP", 7, 1, file, out.c_str(), true));
    EXPECT_EQ(file, out + "/" + name);
    EXPECT_FALSE(std::filesystem::exists(file));
    ASSERT_EQ(qx::unzip(work + "/" + name + ".zip", out + "/check"), 0);
    EXPECT_EQ(readFile(out + "/check"), "place me\n");
    std::filesystem::remove(work + "/" + name + ".zip");
    file = "kept.zip";  // a named archive goes into the directory, whose final slash is not doubled
    ASSERT_TRUE(access.Get("diagP", 7, 1, file, (out + "/").c_str(), true));
    EXPECT_EQ(file, out + "/kept.zip");
    std::filesystem::remove(file);
}

TEST_F(AccessTest, RegistTracesTheSummaryAndSearchesAppend) {
    std::string name = dataFile("zero", "sub zero\n");
    testing::internal::CaptureStderr();
    ASSERT_TRUE(access.Regist(work.c_str(), name.c_str(), "diagZ", 42, 0, "ignored", "first run"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "summary=first run\n");
    std::filesystem::current_path(work);  // an empty directory: the name is relative to here
    ASSERT_TRUE(access.Regist("", name.c_str(), "diagZ", 43, 0, nullptr, ""));

    std::vector<qx::TavolenInfo> rows;
    ASSERT_TRUE(access.Search({"diagZ"}, 0, 42, 1, "", 10, rows));
    ASSERT_TRUE(access.Search({"diagZ"}, 0, 100, 1, "alice", 10, rows));
    ASSERT_EQ(rows.size(), 3u);
    std::vector<std::string> names{"before"};
    ASSERT_TRUE(access.getDiagnostics(names));
    EXPECT_EQ(names, (std::vector<std::string>{"before", "diagZ"}));
    const qx::TavolenInfo& r = rows[0];
    EXPECT_EQ(r.diagnostics + "|" + r.filename + "|" + r.userid + "|" + r.summary,
              "diagZ|" + name + ".zip|alice|first run");
    EXPECT_EQ(r.shotno * 10 + r.subshotno, 421);
    EXPECT_FALSE(r.server.empty() || r.directory.empty());
    EXPECT_GT(r.filelen, 0);
}

TEST_F(AccessTest, RegistWithoutAnArchiveReportsSuccessAndSendsNothing) {
    std::string file = token + "-nodir/x.dat";  // "/tmp/<this>.zip" cannot be created
    testing::internal::CaptureStderr();
    EXPECT_TRUE(access.Regist(work.c_str(), file.c_str(), "diagN", 1, 1, nullptr, "never"));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("summary=never\n"), std::string::npos);
    // A missing source is the same: no empty data set replaces anything, and no archive stays.
    const std::string missing = token + "-missing.dat";
    testing::internal::CaptureStderr();
    EXPECT_TRUE(access.Regist(work.c_str(), missing.c_str(), "diagN", 1, 1, nullptr, "gone"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error in opening " + work + "/" + missing + " for reading\nsummary=gone\n");
    EXPECT_FALSE(std::filesystem::exists("/tmp/" + missing + ".zip"));
    std::vector<std::string> names;
    ASSERT_TRUE(access.getDiagnostics(names));
    EXPECT_TRUE(names.empty());
}

}  // namespace

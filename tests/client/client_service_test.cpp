// The access object against a running anadata-server: round trips, file placement, searches, password.
#include <random>

#include "ClientFixture.h"
#include "ServiceFixture.h"
#include "anadata_util.h"
#include "clsAnaDataAccess.h"

namespace {

using qx::clsAnaDataAccess;

std::string randomBytes(size_t n, unsigned seed) {
    std::mt19937 gen(seed);
    std::string s(n, '\0');
    for (auto& c : s) c = static_cast<char>(gen());
    return s;
}

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

TEST_F(AccessTest, EveryByteComesBackInBothArchiveModesAroundTheBlockSize) {
    // Random bytes do not compress, so the archive grows with the data byte for byte: a few
    // probes find the data whose archives are one short of, exactly and one past a block.
    std::vector<std::string> contents{"", "x", randomBytes(3 * 819200 + 17, 3)};
    for (size_t archive : {819199u, 819200u, 819201u}) {
        // The probe's name is as long as the data files' names, so the archives' overheads match.
        std::string bytes = randomBytes(archive, 7), probe = work + "/" + token + "-0000.dat";
        for (int i = 0; i < 6; ++i) {
            writeFile(probe, bytes);
            qx::minizip(probe + ".zip", probe);
            size_t got = std::filesystem::file_size(probe + ".zip");
            if (got == archive) break;
            bytes = randomBytes(bytes.size() + archive - got, 7);
        }
        EXPECT_EQ(std::filesystem::file_size(probe + ".zip"), archive);
        std::filesystem::remove(probe + ".zip");
        contents.push_back(bytes);
    }

    int shot = 1000;
    for (const std::string& bytes : contents) {
        std::string name = dataFile(std::to_string(++shot), bytes);
        ASSERT_TRUE(access.Regist(work.c_str(), name.c_str(), "diagA", shot, 2, nullptr, "s"));
        std::string file;
        ASSERT_TRUE(access.Get("diagA", shot, 2, file, out.c_str(), false));
        EXPECT_EQ(file, out + "/" + name);  // the server's name less ".zip"
        EXPECT_TRUE(readFile(file) == bytes) << bytes.size();

        std::string archive = "kept.zip";
        ASSERT_TRUE(access.Get("diagA", shot, 2, archive, (out + "/").c_str(), true));
        EXPECT_EQ(archive, out + "/kept.zip");
        ASSERT_EQ(qx::unzip(archive, out + "/unpacked"), 0);
        EXPECT_TRUE(readFile(out + "/unpacked") == bytes) << bytes.size();
        if (shot > 1003) {
            EXPECT_EQ(std::filesystem::file_size(archive), 819199u + static_cast<unsigned>(shot - 1004));
        }
        std::filesystem::remove(archive);
    }
}

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
}

TEST_F(AccessTest, RegistTracesTheSummaryTurnsSubshotZeroIntoOneAndSearchesAccumulate) {
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
    const qx::TavolenInfo& r = rows[0];
    EXPECT_EQ(r.diagnostics + "|" + r.filename + "|" + r.userid + "|" + r.summary,
              "diagZ|" + name + ".zip|alice|first run");
    EXPECT_EQ(r.shotno * 10 + r.subshotno, 421);
    EXPECT_EQ(r.filedate.size(), 19u);
    EXPECT_FALSE(r.server.empty() || r.directory.empty());
    EXPECT_GT(r.filelen, 0);
    EXPECT_EQ(rows[2].shotno * 10 + rows[2].subshotno, 431);
    // A failed search appends nothing.
    testing::internal::CaptureStderr();
    EXPECT_FALSE(access.Search({"diagZ"}, 0, 100, -1, "", 10, rows));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("negative"), std::string::npos);
    EXPECT_EQ(rows.size(), 3u);
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

TEST_F(AccessTest, ListsCountsAndDeletion) {
    std::string name = dataFile("count", "c\n");
    for (auto [diag, shot, sub] : {std::tuple{"diagC", 10, 1}, {"diagC", 11, 3}, {"diagC", 11, 4}, {"diagD", 10, 1}})
        ASSERT_TRUE(access.Regist(work.c_str(), name.c_str(), diag, shot, sub, nullptr, ""));
    std::vector<std::string> names{"before"};
    ASSERT_TRUE(access.getDiagnostics(names));
    EXPECT_EQ(names, (std::vector<std::string>{"before", "diagC", "diagD"}));
    std::vector<qx::DiagEntry> diags;
    ASSERT_TRUE(access.getDiagEntry(diags));
    ASSERT_EQ(diags.size(), 2u);
    EXPECT_EQ(diags[0].diagnostics + std::to_string(diags[0].sum) + diags[1].diagnostics + std::to_string(diags[1].sum),
              "diagC3diagD1");
    std::vector<qx::NumEntry> counts;
    ASSERT_TRUE(access.getNumEntry("diagC", 10, 5, counts));
    ASSERT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts[0].no * 100 + counts[0].sum * 10 + counts[1].no * 1000 + counts[1].sum, 1000 + 10 + 11000 + 2);

    ASSERT_TRUE(access.Delete("diagC", 11, 3));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(access.Delete("diagC", 11, 3));
    std::string file;
    EXPECT_FALSE(access.Get("diagC", 11, 3, file, out.c_str(), false));  // an unknown data set
    EXPECT_NE(testing::internal::GetCapturedStderr().find("unknown"), std::string::npos);
    EXPECT_EQ(file, "");
}

TEST_F(AccessTest, PasswordChangeAndWrongPasswords) {
    std::string name = dataFile("pw", "pw\n");
    testing::internal::CaptureStderr();
    access.changePassword("alice", "wonder", "newer");
    EXPECT_EQ(clsAnaDataAccess::pass, "wonder");  // the process's own password is not touched
    EXPECT_FALSE(access.Regist(work.c_str(), name.c_str(), "diagW", 1, 1, nullptr, ""));
    clsAnaDataAccess::passset("newer");
    EXPECT_TRUE(access.Regist(work.c_str(), name.c_str(), "diagW", 1, 1, nullptr, ""));
    clsAnaDataAccess::userset("bob");
    clsAnaDataAccess::passset("builder");
    EXPECT_FALSE(access.Delete("diagW", 1, 1));  // not bob's data set
    testing::internal::GetCapturedStderr();
}

}  // namespace

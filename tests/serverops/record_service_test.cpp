// The record's service operations and ExpLog against a running anadata-server, with no files left behind.
#include <chrono>
#include <fstream>
#include <functional>
#include <sstream>
#include <thread>

#include "ClientFixture.h"
#include "ServiceFixture.h"
#include "anadata.h"
#include "anadata_util.h"
#include "explog.h"

namespace {

using qx::AnaData;
using qx::AnaDataException;

// The message of the AnaDataException that f throws, or "" when it throws none.
template <class F>
std::string failureOf(F f) {
    try {
        f();
    } catch (const AnaDataException& e) {
        return e.getMessage();
    }
    return "";
}

class RecordService : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        configureAccess(home, server->url(), "alice", "wonder");
        diag = "svc" + std::to_string(getpid());
        tmpBefore = temporaryNames("/tmp");
        oldCwd = std::filesystem::current_path();
        std::filesystem::current_path(work.path());
    }
    void TearDown() override {
        std::filesystem::current_path(oldCwd);
        for (const auto& e : std::filesystem::directory_iterator("/tmp"))  // record files and their archives
            EXPECT_EQ(e.path().filename().string().find(diag), std::string::npos) << "left in /tmp: " << e.path();
        for (const auto& n : temporaryNames("/tmp")) {
            // Other programs' temporary files come and go; ours would stay.
            if (tmpBefore.count(n) != 0 || n.find(diag) != std::string::npos) continue;
            for (int i = 0; i < 20 && std::filesystem::exists("/tmp/" + n); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            EXPECT_FALSE(std::filesystem::exists("/tmp/" + n)) << "left in /tmp: " << n;
        }
        expectNoLeftovers(diag, work.path());
    }

    // Two dimensions of 3 and 2 points, one value over them.
    AnaData record(int shot, int sub) {
        double t[] = {0.5, 1.5, 2.5}, ch[] = {0, 1}, a[6] = {1.0 / 3, 0.25, -1e-5, 7, 8, 9};
        AnaData rec(2, 1);
        rec.setDiagnostics(diag.c_str());
        rec.setShotNo(shot);
        rec.setSubNo(sub);
        rec.setDate("03/07/2009 14:05");
        rec.addComment("fitted");
        rec.setDim(0, "time", "s", 3, t);
        rec.setDim(1, "ch", "", 2, ch);
        rec.setVal(0, "a", "V", 6, a);
        return rec;
    }
    bool registQuietly(AnaData& rec, std::string& out) {
        testing::internal::CaptureStdout();
        bool ok = rec.regist();
        out = testing::internal::GetCapturedStdout();
        return ok;
    }
    std::vector<qx::TavolenInfo> found(int shot) {
        std::vector<qx::TavolenInfo> rows;
        AnaData::search({diag}, shot, shot, 0, "", 100, rows);
        return rows;
    }

    TempDir home, work;
    std::string diag;
    std::set<std::string> tmpBefore;
    std::filesystem::path oldCwd;
};

TEST_F(RecordService, RetrieveGivesBackWhatRegistRegistered) {
    AnaData sent = record(4321, 2);
    std::string out;
    ASSERT_TRUE(registQuietly(sent, out));
    EXPECT_EQ(out, "ok\n");

    AnaData got = AnaData::retrieve(diag.c_str(), 4321, 2, false);
    std::ostringstream a, b;
    a << sent;
    b << got;
    // The text format's own round trip (comment lines, sub-shot 0) is the format tests' part.
    EXPECT_EQ(b.str().substr(b.str().find("# [Data]")), a.str().substr(a.str().find("# [Data]")));
    EXPECT_STREQ(got.getDiagnostics(), diag.c_str());
    // The archive itself is no data file: the reader refuses it, and the download is still removed.
    EXPECT_NE(failureOf([&] { AnaData::retrieve(diag.c_str(), 4321, 2, true); }), "");
    EXPECT_EQ(failureOf([&] { AnaData::retrieve(diag.c_str(), 9999, 2, false); }), "Not found.");
    // The log's column names and single values are the C binding's tests' part, which go through ExpLog.
    EXPECT_EQ(qx::ExpLog::getValues(101), (std::vector<std::string>{"101", "2024-01-03", "He", "quoted \"word\""}));
}

TEST_F(RecordService, AnEmptyRegisteredFileIsReadButAnArchiveThatDoesNotUnpackIsTheDefaultRecord) {
    writeFile(work.file("empty.dat"), "");
    ASSERT_EQ(qx::minizip(work.file("empty.zip"), work.file("empty.dat")), 0);
    auto c = client();
    ASSERT_EQ(c->upload(dataSet(diag.c_str(), 4330, 1), readFile(work.file("empty.zip"))), 0) << c->fault();
    ASSERT_EQ(c->upload(dataSet(diag.c_str(), 4331, 1), "no archive"), 0) << c->fault();
    EXPECT_EQ(failureOf([&] { AnaData::retrieve(diag.c_str(), 4330, 1, false); }), "NAME parameter error");
    AnaData fetched(2, 2);
    testing::internal::CaptureStdout();
    EXPECT_EQ(failureOf([&] { fetched = AnaData::retrieve(diag.c_str(), 4331, 1, false); }), "");
    EXPECT_NE(testing::internal::GetCapturedStdout().find("unzGetCurrentFileInfo"), std::string::npos);
    EXPECT_EQ(fetched.getDimNo(), 0);
    EXPECT_STREQ(fetched.getDiagnostics(), "");
}

TEST_F(RecordService, RegistPrintsOkBeforeTheUploadAndFalseWithoutItsFile) {
    AnaData first = record(4322, 0);
    std::string out;
    ASSERT_TRUE(registQuietly(first, out));
    auto rows = found(4322);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].filename + "|" + rows[0].summary, diag + "@4322.dat.zip|fitted\n");

    qx::clsAnaDataAccess::passset("wrong");
    AnaData refused = record(4321, 2);
    EXPECT_FALSE(registQuietly(refused, out));
    EXPECT_EQ(out, "ok\n");

    AnaData nowhere = record(4321, 2);
    nowhere.setDiagnostics("no-such-directory/x");
    EXPECT_FALSE(registQuietly(nowhere, out));
    EXPECT_EQ(out, "false\n");
}

TEST_F(RecordService, StaticRegistOfADataFileIsFoundBySearchAndErased) {
    std::string path = work.file(diag + ".dat");
    std::ofstream(path, std::ios::binary) << record(4323, 3);
    EXPECT_EQ(failureOf([&] { AnaData::regist(diag.c_str(), 4323, 3, path.c_str(), "bob", "builder"); }), "");
    EXPECT_EQ(qx::clsAnaDataAccess::user, "bob");  // kept for the rest of the process
    auto rows = found(4323);
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0].userid + "|" + rows[0].summary, "bob|# DimNo=2\r\n# DimName='time', 'ch'\r\n# DimSize=3, 2\r\n"
                                                      "# ValNo=1\r\n# ValName='a'\r\n");
    EXPECT_TRUE(std::filesystem::exists(path));  // the user's file stays

    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { AnaData::regist(diag.c_str(), 4323, 3, path.c_str(), "bob", "wrong"); }, "Registration Failed\n"},
        {[&] { AnaData::regist(diag.c_str(), 4323, 3, work.file("none").c_str(), "bob", "builder"); }, "Data File Error"},
        {[&] { AnaData::erase(diag.c_str(), 4323, 3, "alice", "wonder"); }, "Not found."},
        {[&] { AnaData::erase(diag.c_str(), 4323, 3, "bob", "builder"); }, ""},
        {[&] { AnaData::search({diag}, 0, 0, -1, "", 10, rows); }, "Not found."}};
    for (const auto& [call, message] : cases) EXPECT_EQ(failureOf(call), message);
    EXPECT_TRUE(found(4323).empty());
}

TEST_F(RecordService, GetFileToAChosenPathAndToTheCurrentDirectory) {
    AnaData rec = record(4324, 1);
    std::string out;
    ASSERT_TRUE(registQuietly(rec, out));
    std::ostringstream text;
    text << rec;

    // An existing file is replaced by the data.
    std::string chosen = work.file("chosen.dat");
    writeFile(chosen, "old contents that are longer than nothing");
    AnaData::getFile(diag.c_str(), 4324, 1, chosen.c_str(), false);
    EXPECT_EQ(readFile(chosen), text.str());

    // No path: the current directory under the service's name, less ".zip".
    AnaData::getFile(diag.c_str(), 4324, 1, nullptr, false);
    EXPECT_EQ(readFile(diag + "@4324-1.dat"), text.str());
    std::filesystem::remove(diag + "@4324-1.dat");

    // A new name in an existing directory is created; one in a missing directory is not.
    AnaData::getFile(diag.c_str(), 4324, 1, work.file("new.dat").c_str(), false);
    EXPECT_EQ(readFile(work.file("new.dat")), text.str());
    EXPECT_EQ(failureOf([&] { AnaData::getFile(diag.c_str(), 4324, 1, work.file("none/new.dat").c_str(), false); }),
              "Not found.");
    // A path naming a directory: the file arrives next to it under the service's name and
    // cannot replace the directory.
    std::filesystem::create_directory(work.file("sub"));
    EXPECT_EQ(failureOf([&] { AnaData::getFile(diag.c_str(), 4324, 1, work.file("sub").c_str(), false); }),
              "File Cannot Movie.");
    EXPECT_EQ(readFile(work.file(diag + "@4324-1.dat")), text.str());
}

}  // namespace

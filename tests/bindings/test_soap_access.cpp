// The soapAnaData* family against a running anadata-server: handles chosen by the caller,
// exceptions passing through, and the kept quirks of Get and ChgPass.
#include "soapAnaData.h"

#include <string>
#include <vector>

#include "ClientFixture.h"
#include "ServiceFixture.h"
#include "clsAnaDataAccess.h"


namespace {

class SoapAccess : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        std::filesystem::create_directories(work);
        writeFile(home.file("client.ini"), "[tserver]\naccount=alice\npasswd=wonder\nendpoint=" + server->url() +
                                               "\nbase_dir=" + work + "\n[search]\nlimit=25\npage=3\n");
        ASSERT_EQ(soapAnaDataAccessNew(&handle, home.file("client.ini").c_str()), 0);
        diag = "soap" + std::to_string(getpid());
        oldCwd = std::filesystem::current_path();
        std::filesystem::current_path(work);
    }
    void TearDown() override {
        std::filesystem::current_path(oldCwd);
        expectNoLeftovers(diag, work);
    }

    // Registers a small text data file as (diag, shot, 1) through the handle.
    bool regist(int shot) {
        const std::string name = diag + "@" + std::to_string(shot) + ".dat";
        writeFile(work + "/" + name, "#name='" + diag + "'\n");
        int sub = 1;
        const bool ok = soapAnaDataRegist(&handle, work.c_str(), name.c_str(), diag.c_str(), &shot, &sub, "",
                                          "from soap");
        std::filesystem::remove(work + "/" + name);
        return ok;
    }

    TempDir home;
    std::string work = dir.file("work"), diag;
    std::filesystem::path oldCwd;
    int handle = 7;
};

TEST_F(SoapAccess, HandlesAreTheCallersNumbersAndUnknownOnesThrow) {
    int other = 8;
    EXPECT_THROW(soapAnaDataDelete(&other, "x", &other, &other), qx::NotAllocated);
    EXPECT_THROW(soapAnaDataGetPage(&other), qx::NotAllocated);
    EXPECT_EQ(soapAnaDataAccessRelease(&other), 0);
    EXPECT_EQ(soapAnaDataGetPage(&handle), 3);
    EXPECT_EQ(soapAnaDataGetLimit(&handle), 25);
    std::string base = "old";
    EXPECT_EQ(soapAnaDataGetBaseDir(&handle, base), 0);
    EXPECT_EQ(base, work);
    // A second settings file does not replace the loaded settings; the entry stays usable.
    writeFile(home.file("other.ini"), "[search]\npage=9\n");
    EXPECT_EQ(soapAnaDataAccessNew(&handle, home.file("other.ini").c_str()), 0);
    EXPECT_EQ(soapAnaDataGetPage(&handle), 3);
    EXPECT_EQ(soapAnaDataAccessRelease(&handle), 0);
    EXPECT_THROW(soapAnaDataGetLimit(&handle), qx::NotAllocated);
}

TEST_F(SoapAccess, GetAlwaysClearsTheFlagAndExtractsIntoTheCurrentDirectory) {
    ASSERT_TRUE(regist(500));
    int shot = 500, sub = 1;
    bool flag = true;
    std::string path = "copy.dat";
    EXPECT_TRUE(soapAnaDataGet(&handle, diag.c_str(), &shot, &sub, path, "/nonexistent", &flag));
    EXPECT_FALSE(flag);
    EXPECT_EQ(path, "./copy.dat");
    EXPECT_EQ(readFile(work + "/copy.dat"), "#name='" + diag + "'\n");
    std::filesystem::remove(work + "/copy.dat");

    flag = true;
    shot = 501;
    EXPECT_FALSE(soapAnaDataGet(&handle, diag.c_str(), &shot, &sub, path, nullptr, &flag));
    EXPECT_FALSE(flag);
}

TEST_F(SoapAccess, ListsAreAppendedAndTheLogIsReplaced) {
    ASSERT_TRUE(regist(600));
    std::vector<std::string> names{diag};
    std::vector<qx::TavolenInfo> rows(1);
    int lower = 600, higher = 700, sub = 0, limit = 10;
    EXPECT_TRUE(soapAnaDataSearch(&handle, names, &lower, &higher, &sub, "alice", &limit, rows));
    EXPECT_EQ(rows.size(), 2u);
    std::vector<std::string> columns{"stale"}, values{"stale"};
    int shot = 100;
    EXPECT_EQ(soapAnaDataGetExplogColNames(&handle, columns) + soapAnaDataGetExplogColValues(&handle, &shot, values), 0);
    EXPECT_EQ(columns, (std::vector<std::string>{"shot", "date", "gas", "comment"}));
    EXPECT_EQ(values.size(), 4u);
    std::string value = "stale";
    EXPECT_EQ(soapAnaDataGetExplogColValue(&handle, &shot, "gas", value), 0);
    EXPECT_EQ(value, "H2");
    EXPECT_THROW(soapAnaDataGetExplogColValue(&handle, &shot, "nosuch", value), qx::clsException);
    int gone = 600;
    EXPECT_TRUE(soapAnaDataDelete(&handle, diag.c_str(), &gone, &sub));
}

TEST_F(SoapAccess, ChgPassGivesZeroAndTheChangeTakesButNotInTheProcessPassword) {
    EXPECT_EQ(soapAnaDataChgPass(&handle, "alice", "wonder", "wonder2"), 0);
    EXPECT_EQ(qx::clsAnaDataAccess::pass, "wonder");
    EXPECT_FALSE(regist(700));  // the configured old password no longer registers anything
}

TEST(SoapHelpers, ResultsComeBackInTheCallersStringsAndCodesPassThrough) {
    TempDir dir;
    std::string out = "stale";
    EXPECT_EQ(soapAnaDataGetFileName("a/b/c.txt", out), 0);
    EXPECT_EQ(out, "c.txt");
    EXPECT_EQ(soapAnaDataGetDirName("plain", out), 0);
    EXPECT_EQ(out, ".");

    const std::string data = dir.file("d.dat"), zip = dir.file("d.zip"), back = dir.file("back.dat");
    writeFile(data,
              "#Name = 'x'\n#shotno=1\n#date='03/07/2009 14:05:00'\n#dimno=1\n#dimname='t'\n#dimsize=2\n"
              "#valno=1\n#valname='v'\n");
    EXPECT_EQ(soapAnaDataMinizip(zip, data), 0);
    EXPECT_EQ(soapAnaDataUnzip(zip, back), 0);
    EXPECT_EQ(readFile(back), readFile(data));

    // The parser's own codes and results are the summary tests' part; here they only pass through.
    std::string summary = "s", date = "d", time = "t";
    EXPECT_THROW(soapAnaDataGetSummary(data, summary, date, time), int);  // no "#valunit" line
    EXPECT_EQ(summary, "s");
    writeFile(data, readFile(data) + "#valunit='V'\n");
    EXPECT_EQ(soapAnaDataGetSummary(data, summary, date, time), 0);
    EXPECT_EQ(summary + date + " " + time, "#dimno=1\n#dimname='t'\n#dimsize=2\n#valno=1\n#valname='v'\n2009/03/07 14:05:00");
}

}  // namespace

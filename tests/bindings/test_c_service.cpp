// The server half of the C and Fortran entry points against a running anadata-server: status
// codes, result sets, inverted results, bounded copies and experiment-log quirks.
#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "ClientFixture.h"
#include "ServiceFixture.h"
#include "anadata_c.h"
#include "clsException.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

extern "C" {
int g77exploggetcolumnno_(int*), g77exploggetcolumnnames_(char*, int),
    g77exploggetvalue_(int*, char*, char*, int, int);
}

namespace {

class CService : public ServiceFixture {
protected:
    void SetUp() override {
        ServiceFixture::SetUp();
        // A three-column log, so that the slot arithmetic below is the documented 3 * 256.
        writeFile(dir.file("explog.csv"), "shotno,date,energy\n1234,2009/03/07,1.5\n1235,2009/03/08,2.5\n");
        start();
        configureAccess(home, server->url(), "alice", "wonder");
        diag = "cbind" + std::to_string(getpid());
        std::filesystem::create_directories(work);
    }
    void TearDown() override { expectNoLeftovers(diag, work); }

    // Registers a small text data file as (diag, shot, 1); returns what cAnaDataRegistFile returns.
    int registFile(int shot, const char* pass = "wonder") {
        writeFile(work + "/f.dat", "# Name='" + diag + "'\n# ShotNo=1\n# Date='d'\n# DimNo=1\n# DimName='x'\n"
                                   "# DimSize=1\n# DimUnit='s'\n# ValNo=1\n# ValName='v'\n# ValUnit='V'\n# [Data]\n1, 2\n");
        return cAnaDataRegistFile(work.c_str(), "f.dat", diag.c_str(), shot, 1, "", "made by cbind", "alice", pass);
    }

    TempDir home;
    std::string diag, work = dir.file("work");
};

TEST_F(CService, RegistFileAndDeleteReturnOneOnSuccessAndZeroOnFailure) {
    EXPECT_EQ(registFile(4000), 1);
    EXPECT_EQ(cAnaDataDelete(diag.c_str(), 4000, 1, "alice", "wonder"), 1);
    EXPECT_EQ(cAnaDataDelete(diag.c_str(), 4000, 1, "alice", "wonder"), 0);
    // A refused account replaces the configured one for the rest of the process.
    EXPECT_EQ(registFile(4001, "wrong"), 0);
    EXPECT_EQ(qx::clsAnaDataAccess::pass, "wrong");
}

TEST_F(CService, SearchRowsAreReadOneByOneAndPointIntoTheSet) {
    ASSERT_EQ(registFile(4100), 1);
    ASSERT_EQ(registFile(4102), 1);
    EXPECT_EQ(cAnaDataGetPage() * 1000 + cAnaDataGetLimit(), 1100);  // page=1, limit=100 in the settings
    const char* names[] = {diag.c_str()};
    ResultSet_s set = cAnaDataSearch(names, 1, 4100, 4200, 0, "", cAnaDataGetLimit());
    ASSERT_EQ(set.type, 1);
    ASSERT_EQ(cAnaDataGetNumRow(set), 2);
    TavolenInfo_s row[2];
    for (int i = 0; i < 2; ++i) ASSERT_EQ(cAnaDataGetRow(set, i, &row[i]), 1);
    // Both rows' strings stay valid side by side until the set is released.
    EXPECT_EQ(row[0].diagnostics + std::string("|") + row[1].summary + "|" + row[1].userid, diag + "|made by cbind|alice");
    EXPECT_GT(row[1].filelen, 0);
    EXPECT_THROW(cAnaDataGetRow(set, 2, &row[0]), std::out_of_range);
    EXPECT_THROW(cAnaDataGetRow(set, -1, &row[0]), std::out_of_range);
    cAnaDataReleaseResultSet(set);

    ResultSet_s counts = cAnaDataGetNumEntry(diag.c_str(), 4100, 10);
    NumEntry_s count{};
    ASSERT_EQ(counts.type * 10 + cAnaDataGetNumRow(counts), 22);
    ASSERT_EQ(cAnaDataGetRow(counts, 1, &count), 1);
    EXPECT_EQ(count.no * 10 + count.sum, 41021);
    cAnaDataReleaseResultSet(counts);

    ResultSet_s entries = cAnaDataGetDiagEntry();
    DiagEntry_s entry{};
    ASSERT_EQ(entries.type, 3);
    ASSERT_EQ(cAnaDataGetRow(entries, 0, &entry), 1);
    EXPECT_EQ(entry.diagnostics + std::to_string(entry.sum), diag + "2");
    cAnaDataReleaseResultSet(entries);
}

TEST_F(CService, RefusedQueriesGiveTheEmptySetButColumnQueriesLetTheFailurePass) {
    const ResultSet_s refused[] = {cAnaDataSearch(nullptr, 0, 0, 0, -1, "", 10),  // negative sub-shot
                                   cAnaDataGetNumEntry("", 1, -5)};                // negative range
    server->stop();
    int n = 0;
    char names[1024];
    EXPECT_THROW(cExplogGetColumnNo(&n), qx::clsException);
    EXPECT_THROW(cExplogGetColumnNames(names, 4), qx::clsException);
    EXPECT_THROW(g77exploggetcolumnno_(&n), qx::clsException);
    const ResultSet_s unreachable = cAnaDataGetDiagEntry();
    for (const ResultSet_s& set : {refused[0], refused[1], unreachable}) {
        EXPECT_EQ(set.type, 0);
        EXPECT_EQ(set.rows, nullptr);
        EXPECT_EQ(cAnaDataGetNumRow(set), -1);
        NumEntry_s row{-7, -7};
        EXPECT_EQ(cAnaDataGetRow(set, 0, &row), 0);
        EXPECT_EQ(row.no, -7);
        cAnaDataReleaseResultSet(set);
    }
}

TEST_F(CService, GetFillsTheWholePathBufferAndReportsFailure) {
    ASSERT_EQ(registFile(4200), 1);
    char path[1100];
    std::memset(path, '#', sizeof path);
    std::strcpy(path, "fetched.dat");
    EXPECT_EQ(cAnaDataGet(diag.c_str(), 4200, 1, path, work.c_str(), false), 0);
    const std::string expected = work + "/fetched.dat";
    EXPECT_EQ(std::string(path), expected);
    EXPECT_EQ(std::string(path + expected.size(), path + 1024), std::string(1024 - expected.size(), '\0'));
    EXPECT_EQ(std::string(path + 1024, path + sizeof path), std::string(sizeof path - 1024, '#'));
    EXPECT_EQ(readFile(expected).rfind("# Name=", 0), 0u);
    std::filesystem::remove(expected);

    std::strcpy(path, "kept");
    CaptureStderr();
    EXPECT_EQ(cAnaDataGet(diag.c_str(), 9999, 1, path, work.c_str(), false), 3);
    EXPECT_NE(GetCapturedStderr().find("data acquisition failure.\n"), std::string::npos);
    EXPECT_STREQ(path, "kept");
}

TEST_F(CService, AFailedFetchGives3AndTakesNoHandleNumber) {
    // A registered file that is empty is the text reader's refusal.
    writeFile(work + "/empty.dat", "");
    ASSERT_EQ(registFile(4300), 1);
    ASSERT_EQ(cAnaDataRegistFile(work.c_str(), "empty.dat", diag.c_str(), 4301, 1, "", "", "alice", "wonder"), 1);
    for (auto [shot, message] : {std::pair{1, "Not found.\n"}, {4301, "NAME parameter error\n"}}) {
        int none = -5;
        CaptureStderr();
        EXPECT_EQ(cAnaDataRetrieve(&none, diag.c_str(), shot, 1), 3);
        EXPECT_NE(GetCapturedStderr().find(message), std::string::npos) << message;
        EXPECT_EQ(none, -5);
    }
    int first = -1;
    ASSERT_EQ(cAnaDataRetrieve(&first, diag.c_str(), 4300, 1), 0);
    EXPECT_EQ(first, 0);
}

TEST_F(CService, ExperimentLogNamesFillWholeSlots) {
    int n = 0;
    ASSERT_EQ(cExplogGetColumnNo(&n), 0);
    ASSERT_EQ(n, 3);
    std::vector<char> buf(1000, '#');
    EXPECT_EQ(cExplogGetColumnNames(buf.data(), 1), 0);
    EXPECT_STREQ(buf.data() + 256, "date");
    EXPECT_EQ(std::string(buf.data() + 512 + 6, 256 - 6), std::string(250, '\0'));
    EXPECT_EQ(std::string(buf.data() + 768, 232), std::string(232, '#'));

    // The Fortran member pads with blanks (the Fortran program checks that) and stops at n slots too.
    std::vector<char> fortran(800, '#');
    ASSERT_EQ(g77exploggetcolumnno_(&n) + g77exploggetcolumnnames_(fortran.data(), 256), 0);
    EXPECT_EQ(fortran[767], ' ');
    EXPECT_EQ(fortran[768], '#');
}

TEST_F(CService, ExperimentLogValuesAndTheSwallowedFailure) {
    char value[300];
    std::memset(value, '#', sizeof value);
    EXPECT_EQ(cExploGetValue(1234, "date", value), 0);
    EXPECT_EQ(std::string(value, 256), "2009/03/07" + std::string(246, '\0'));
    EXPECT_EQ(value[256], '#');

    // Unknown column or shot: no status, no message, the buffer untouched.
    std::strcpy(value, "untouched");
    EXPECT_EQ(cExploGetValue(1234, "nosuch", value), 0);
    EXPECT_EQ(cExploGetValue(99, "date", value), 0);
    EXPECT_STREQ(value, "untouched");

    char column[8] = {'d', 'a', 't', 'e', ' ', ' ', ' ', ' '};
    int shot = 1235;
    // A short variable still receives 256 bytes, blanks only within its own length.
    std::memset(value, '#', sizeof value);
    EXPECT_EQ(g77exploggetvalue_(&shot, column, value, 8, 12), 0);
    EXPECT_EQ(std::string(value, 257), "2009/03/08  " + std::string(244, '\0') + "#");
}

TEST(CHelpers, BuffersGetExactlyTheirBoundAndSummaryCodesPassThrough) {
    TempDir dir;
    const std::string file = dir.file("h.dat");
    writeFile(file, "#name='x'\n#shotno=1\n#date='3/7/2009 14:05'\n#dimno=1\n#dimname='t'\n#dimsize=2\n"
                    "#valno=1\n#valname='v'\n#valunit='V'\n");
    std::vector<char> summary(1100, '#'), date(1100, '#'), time(1100, '#');
    cAnaDataGetSummary(file.c_str(), summary.data(), date.data(), time.data());
    EXPECT_STREQ(date.data(), "2009/03/07");
    EXPECT_STREQ(time.data(), "14:05:00");
    EXPECT_STREQ(summary.data(), "#dimno=1\n#dimname='t'\n#dimsize=2\n#valno=1\n#valname='v'\n");
    for (const auto* buf : {&summary, &date, &time}) EXPECT_EQ(std::string(buf->data() + 1023, 2), std::string("\0#", 2));
    EXPECT_THROW(cAnaDataGetSummary(dir.file("missing").c_str(), summary.data(), date.data(), time.data()), int);

    std::vector<char> out(1030, '#');
    EXPECT_EQ(cAnaDataGetDirName(file.c_str(), out.data()), 0);
    EXPECT_EQ(std::string(out.data()), dir.path());
    EXPECT_EQ(std::string(out.data() + 1023, 2), std::string("\0#", 2));
    EXPECT_EQ(cAnaDataThe_date(out.data()), 0);
    EXPECT_EQ(std::string(out.data()).size(), 21u);
    // A result of the bound's length or more fills the buffer and has no terminator.
    std::fill(out.begin(), out.end(), '#');
    EXPECT_EQ(cAnaDataGetFileName(("/d/" + std::string(1030, 'n')).c_str(), out.data()), 0);
    EXPECT_EQ(std::string(out.data(), 1030), std::string(1024, 'n') + "######");
}

}  // namespace

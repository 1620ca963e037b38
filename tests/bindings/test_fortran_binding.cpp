// String rules, status codes and the separate handle table of the g77anadata*_ entry points.
#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "anadata_c.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// What a Fortran compiler calls: every argument by reference, hidden lengths last.
extern "C" {
int g77anadatanew_(int*, int*, int*), g77anadatarelease_(int*), g77anadataload_(int*, char*, int),
    g77anadatasave_(int*, char*, int*, int), g77anadatagetshotnumber_(int*, int*),
    g77anadatasetshotnumber_(int*, int*), g77anadatagetdate_(int*, char*, int),
    g77anadatasetdate_(int*, char*, int), g77anadatagetdiagnostics_(int*, char*, int),
    g77anadatasetdiagnostics_(int*, char*, int), g77anadatagetdimno_(int*, int*),
    g77anadatagetdimname_(int*, int*, char*, int), g77anadatagetvalname_(int*, int*, char*, int),
    g77anadatagetvaldata2_(int*, char*, double*, int), g77anadatagetsubnumber_(int*, int*),
    g77anadatagetdimunit_(int*, int*, char*, int), g77anadatagetvalunit_(int*, int*, char*, int),
    g77anadatagetdimunit2_(int*, char*, char*, int, int),
    g77anadatagetvalunit2_(int*, char*, char*, int, int), g77anadataregist_(int*),
    g77anadatalasterror_(char*, int),
    g77anadatasetdimdata_(int*, int*, char*, char*, int*, double*, int, int),
    g77anadatasetvaldata_(int*, int*, char*, char*, int*, double*, int, int);
}
// The two members with C++ linkage.
int g77anadatagetvaldata_(int*, double*, int*), g77anadatagetcomment_(int*, char*, int);

namespace {

// A blank-padded CHARACTER*16 variable holding text.
std::string field(const std::string& text) { return text + std::string(16 - text.size(), ' '); }

int sample() {
    int h = -1, dims = 1, vals = 1, index = 0, size = 3, shot = 1234;
    double x[3] = {1, 2, 3}, v[3] = {4, 5, 6};
    std::string name = field("x"), unit = field("s"), vname = field("v"), vunit = field("V"),
                diag = field("te"), date = field("03/07/2009");
    EXPECT_EQ(g77anadatanew_(&h, &dims, &vals), 0);
    EXPECT_EQ(g77anadatasetdimdata_(&h, &index, name.data(), unit.data(), &size, x, 16, 16) +
                  g77anadatasetvaldata_(&h, &index, vname.data(), vunit.data(), &size, v, 16, 16) +
                  g77anadatasetdiagnostics_(&h, diag.data(), 16) + g77anadatasetdate_(&h, date.data(), 16) +
                  g77anadatasetshotnumber_(&h, &shot),
              0);
    return h;
}

}  // namespace

TEST(FortranStrings, IncomingTextIsCutToItsLengthAndLosesTrailingBlanks) {
    int h = sample();
    char out[8];
    // No terminator inside the length: the rest of the buffer must not be read.
    char unterminated[6] = {'a', 'b', ' ', 'Z', 'Z', 'Z'};
    EXPECT_EQ(g77anadatasetdiagnostics_(&h, unterminated, 3), 0);
    EXPECT_EQ(g77anadatagetdiagnostics_(&h, out, 8), 0);
    EXPECT_EQ(std::string(out, 8), "ab      ");
    char early[] = "cd\0ef   ";
    EXPECT_EQ(g77anadatasetdate_(&h, early, 8), 0);
    EXPECT_EQ(g77anadatagetdate_(&h, out, 8), 0);
    EXPECT_EQ(std::string(out, 8), "cd      ");
}

TEST(FortranStrings, OutgoingTextWritesNothingPastTheLength) {
    int h = sample(), index = 0;
    char buf[17];
    buf[16] = '#';
    EXPECT_EQ(g77anadatagetvalname_(&h, &index, buf, 16), 0);
    EXPECT_EQ(std::string(buf, 17), "v" + std::string(15, ' ') + "#");
    buf[1] = '#';
    EXPECT_EQ(g77anadatagetdiagnostics_(&h, buf, 1), 0);
    EXPECT_EQ(std::string(buf, 2), "t#");
}

TEST(FortranStrings, EachGetterPadsWithBlanksOrZerosAsItsMemberDoes) {
    int h = sample(), zero = 0, sub = 0;
    char out[6];
    std::string x = "x ", v = "v";
    const std::vector<std::pair<std::function<int()>, std::string>> cases = {
        {[&] { return g77anadatagetdiagnostics_(&h, out, 6); }, "te    "},
        {[&] { return g77anadatagetdimname_(&h, &zero, out, 6); }, "x     "},
        {[&] { return g77anadatagetvalunit_(&h, &zero, out, 6); }, "V     "},
        {[&] { return g77anadatagetcomment_(&h, out, 6); }, "      "},
        {[&] { return g77anadatagetdimunit_(&h, &zero, out, 6); }, std::string("s\0\0\0\0\0", 6)},
        {[&] { return g77anadatagetdimunit2_(&h, x.data(), out, 2, 6); }, std::string("s\0\0\0\0\0", 6)},
        {[&] { return g77anadatagetvalunit2_(&h, v.data(), out, 1, 6); }, std::string("V\0\0\0\0\0", 6)},
        {[&] { return g77anadatagetdate_(&h, out, 4); }, "03/0##"}};
    for (const auto& [call, expected] : cases) {
        std::fill(out, out + 6, '#');
        EXPECT_EQ(call(), 0);
        EXPECT_EQ(std::string(out, 6), expected);
    }
    EXPECT_EQ(g77anadatagetsubnumber_(&h, &sub), 0);
    EXPECT_EQ(sub, 1234);  // the shot number, on purpose
}

TEST(FortranHandles, TableIsSeparateFromTheCEntryPoints) {
    int c = -1, n = 0;
    ASSERT_EQ(cAnaDataNew(&c, 2, 2) + cAnaDataNew(&c, 2, 2), 0);
    EXPECT_EQ(c, 1);
    int h = sample();
    EXPECT_EQ(h, 0);
    EXPECT_EQ(g77anadatagetdimno_(&c, &n), 1);
    EXPECT_EQ(g77anadatarelease_(&h), 0);
    EXPECT_EQ(sample(), 1);
}

TEST(FortranRecord, RefusalsGiveTheCMembersCodesAndMessages) {
    int h = sample(), bad = 99, n = 0, index = 5;
    char buf[4];
    double data[3];
    std::string key = "nope";
    CaptureStderr();
    const std::vector<int> codes{g77anadatagetvaldata_(&h, data, &index), g77anadatagetshotnumber_(&bad, &n),
                                 g77anadatagetdimname_(&bad, &n, buf, 4), g77anadatagetvalname_(&h, &index, buf, 4),
                                 g77anadatagetvaldata2_(&h, key.data(), data, 4), g77anadatagetdate_(nullptr, buf, 4),
                                 g77anadataload_(&h, nullptr, 5), g77anadataregist_(&bad)};  // in this order, as the messages are
    EXPECT_EQ(codes, (std::vector<int>{3, 1, 1, 3, 3, 3, 3, 1}));
    EXPECT_EQ(GetCapturedStderr(),
              "getValData out of range\nNotAllocated\ngetValName out of range\nInvalid Val Name\n"
              "g77anadatagetdate_: null argument\ng77anadataload_: null argument\n");
    char last[16];
    EXPECT_EQ(g77anadatalasterror_(last, sizeof last), 0);
    EXPECT_EQ(std::string(last, sizeof last), "NotAllocated    ");
}

TEST(FortranFiles, LoadOfAnUnknownFormatOrAnEmptyNameFails) {
    TempDir dir;
    int h = sample(), text = 0, loaded = -1;
    writeFile(dir.file("junk"), "junk");
    std::string junk = dir.file("junk");
    EXPECT_EQ(g77anadataload_(&loaded, junk.data(), static_cast<int>(junk.size())), 4);
    EXPECT_EQ(loaded, -1);
    EXPECT_EQ(g77anadatasave_(&h, junk.data(), &text, 0), 2);  // an empty name opens nothing
    EXPECT_EQ(readFile(junk), "junk");

    // The example program saves and loads text; mode 1 is a dump.
    int dumpMode = 1;
    std::string dump = dir.file("r.dump");
    ASSERT_EQ(g77anadatasave_(&h, dump.data(), &dumpMode, static_cast<int>(dump.size())), 0);
    EXPECT_EQ(readFile(dump).substr(0, 4), std::string("\x10\x89\0\0", 4));
}

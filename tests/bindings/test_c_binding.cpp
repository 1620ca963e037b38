// Status codes, messages and kept quirks of the cAnaData* entry points.
#include "anadata_c.h"

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "TempDir.h"

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

const double times[2] = {0.5, 1.5};
const double radii[3] = {3.0, 3.5, 4.0};
const double te[6] = {1, 2, 3, 4, 5, 6};
const double ne[6] = {-1, -2, -3, -4, -5, -6};

int sample() {
    int h = -1;
    // The elements of a braced list run in order, so every call after the first sees the new h.
    for (int status : {cAnaDataNew(&h, 2, 2), cAnaDataSetDiagnostics_(h, "te"), cAnaDataSetShotNumber(h, 1234),
                       cAnaDataSetSubnumber(h, 2), cAnaDataSetdate(h, "03/07/2009 14:05"),
                       cAnaDataSetDimData(h, 0, "Time", "s", 2, times), cAnaDataSetDimData(h, 1, "R", "m", 3, radii),
                       cAnaDataSetValData(h, 0, "Te", "keV", 6, te), cAnaDataSetValData(h, 1, "ne", "m-3", 6, ne)})
        EXPECT_EQ(status, 0);
    return h;
}

std::vector<double> numbers(const double* p, int n) { return std::vector<double>(p, p + n); }

// Every getter on a record that holds what sample() put in; `comment` is what its file format left.
void expectSample(int h, const std::string& comment) {
    char* text = nullptr;
    const std::vector<std::pair<std::function<int()>, std::string>> texts = {
        {[&] { return cAnaDataGetDiagnostics(h, &text); }, "te"},
        {[&] { return cAnaDataGetDate(h, &text); }, "03/07/2009 14:05"},
        {[&] { return cAnaDataGetComment(h, &text); }, comment},
        {[&] { return cAnaDataGetDimName(h, 1, &text); }, "R"},
        {[&] { return cAnaDataGetDimUnit(h, 0, &text); }, "s"},
        {[&] { return cAnaDataGetDimUnit2(h, "R", &text); }, "m"},
        {[&] { return cAnaDataGetValName(h, 1, &text); }, "ne"},
        {[&] { return cAnaDataGetValUnit(h, 1, &text); }, "m-3"},
        {[&] { return cAnaDataGetValUnit2(h, "Te", &text); }, "keV"}};
    for (const auto& [call, expected] : texts) {
        text = nullptr;
        EXPECT_EQ(call(), 0) << expected;
        EXPECT_EQ(text ? text : "<none>", expected);
    }
    int n[7];
    for (int status : {cAnaDataGetShotnumber(h, &n[0]), cAnaDataGetSubnumber(h, &n[1]), cAnaDataGetDimNo(h, &n[2]),
                       cAnaDataGetValnNo(h, &n[3]), cAnaDataGetDimSize(h, 1, &n[4]), cAnaDataGetDimSize2(h, "Time", &n[5]),
                       cAnaDataGetValSize(h, &n[6])})
        EXPECT_EQ(status, 0);
    EXPECT_EQ(std::vector<int>(n, n + 7), (std::vector<int>{1234, 1234, 2, 2, 3, 2, 6}));  // sub-shot: the shot number
    double b[4][6];
    for (int status : {cAnaDataGetDimData(h, 1, b[0]), cAnaDataGetDimData2(h, "Time", b[1]),
                       cAnaDataGetValData(h, b[2], 1), cAnaDataGetValData2(h, "Te", b[3])})
        EXPECT_EQ(status, 0);
    EXPECT_EQ(numbers(b[0], 3), numbers(radii, 3));
    EXPECT_EQ(numbers(b[1], 2), numbers(times, 2));
    EXPECT_EQ(numbers(b[2], 6), numbers(ne, 6));
    EXPECT_EQ(numbers(b[3], 6), numbers(te, 6));
}

}  // namespace

TEST(CBindingHandles, UnknownHandleGives1AndWritesNothing) {
    int n = 77;
    char* text = nullptr;
    double buf[1] = {9};
    CaptureStderr();
    for (int status : {cAnaDataGetShotnumber(5, &n), cAnaDataGetSubnumber(5, &n), cAnaDataGetValnNo(5, &n),
                       cAnaDataGetDate(5, &text), cAnaDataGetValData(5, buf, 0), cAnaDataSetShotNumber(5, 1),
                       cAnaDataSetDiagnostics_(5, "x"), cAnaDataSave(5, "/nonexistent-dir/never-written", 0)})
        EXPECT_EQ(status, 1);
    EXPECT_EQ(GetCapturedStderr(), "");
    EXPECT_EQ(n, 77);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(buf[0], 9);
    // cAnaDataGetDimName says so on stderr.
    CaptureStderr();
    EXPECT_EQ(cAnaDataGetDimName(5, 0, &text), 1);
    EXPECT_EQ(GetCapturedStderr(), "NotAllocated\n");
}

TEST(CBindingRecord, SettersDropTrailingBlanksOnly) {
    const int h = sample();
    char* text = nullptr;
    for (int status : {cAnaDataSetdate(h, "  03/07/2009   "), cAnaDataGetDate(h, &text)}) ASSERT_EQ(status, 0);
    EXPECT_STREQ(text, "  03/07/2009");
    for (int status : {cAnaDataSetDiagnostics_(h, " ece\t  "), cAnaDataGetDiagnostics(h, &text)}) ASSERT_EQ(status, 0);
    EXPECT_STREQ(text, " ece\t");
}

TEST(CBindingRecord, CopiesExactlyTheSizeAndTakesTheBufferBeforeTheIndex) {
    const int h = sample();
    std::vector<double> buf(7, 99.0);
    EXPECT_EQ(cAnaDataGetValData(h, buf.data(), 1), 0);
    EXPECT_EQ(std::vector<double>(buf.begin(), buf.begin() + 6), std::vector<double>(ne, ne + 6));
    EXPECT_EQ(buf[6], 99.0);
    EXPECT_EQ(cAnaDataGetDimData(h, 1, buf.data()), 0);
    EXPECT_EQ(buf[3], ne[3]);
}

TEST(CBindingRecord, RecordRefusalsGive3WithTheirMessage) {
    const int h = sample();
    char* text = nullptr;
    int n = 0;
    double buf[6];
    const std::vector<std::pair<std::function<int()>, std::string>> cases = {
        {[&] { return cAnaDataGetDimName(h, 2, &text); }, "getDimName out of range\n"},
        {[&] { return cAnaDataGetDimUnit(h, -1, &text); }, "getDimUnit out of range\n"},
        {[&] { return cAnaDataGetDimSize(h, 2, &n); }, "getDimSize out of range\n"},
        {[&] { return cAnaDataGetDimData(h, 2, buf); }, "getDimData out of range\n"},
        {[&] { return cAnaDataGetValName(h, 2, &text); }, "getValName out of range\n"},
        {[&] { return cAnaDataGetValUnit(h, 2, &text); }, "getValUnit out of range\n"},
        {[&] { return cAnaDataGetValData(h, buf, 2); }, "getValData out of range\n"},
        {[&] { return cAnaDataSetDimData(h, 2, "Z", "m", 1, te); }, "setDim out of range\n"},
        {[&] { return cAnaDataSetValData(h, -1, "Z", "m", 1, te); }, "setVal out of range\n"},
        {[&] { return cAnaDataGetDimSize2(h, "time", &n); }, "Invalid Dim Name\n"},
        {[&] { return cAnaDataGetDimData2(h, "r", buf); }, "Invalid Dim Name\n"},
        {[&] { return cAnaDataGetValUnit2(h, "TE", &text); }, "Invalid Val Name\n"},
        {[&] { return cAnaDataGetValData2(h, "Ne", buf); }, "Invalid Val Name\n"},
    };
    for (const auto& [call, message] : cases) {
        CaptureStderr();
        EXPECT_EQ(call(), ANADATA_REFUSED) << message;
        EXPECT_EQ(GetCapturedStderr(), message);
        EXPECT_EQ(cAnaDataLastError() + std::string("\n"), message);
    }
    EXPECT_EQ(text, nullptr);
    // Each thread has its own last error.
    std::thread([] { EXPECT_STREQ(cAnaDataLastError(), ""); }).join();
}

TEST(CBindingRecord, NullArgumentsAndNegativeSizesAreRefused) {
    const int h = sample();
    CaptureStderr();
    for (int status : {cAnaDataGetDate(h, nullptr), cAnaDataGetDimUnit2(h, nullptr, nullptr),
                       cAnaDataSetDiagnostics_(h, nullptr), cAnaDataGetValData(h, nullptr, 0),
                       cAnaDataSetDimData(h, 0, "x", nullptr, 0, nullptr), cAnaDataSetValData(h, 0, "v", "1", -1, te),
                       cAnaDataNew(nullptr, 1, 1), cAnaDataLoad(nullptr, "x"), cAnaDataSave(h, nullptr, 0)})
        EXPECT_EQ(status, 3);  // the calls run in order, before the loop: the messages below follow it
    EXPECT_FALSE(cAnaDataIsDigit(nullptr));
    EXPECT_TRUE(cAnaDataIsDigit("0123456789") && !cAnaDataIsDigit("12a") && cAnaDataIsDigit(""));
    EXPECT_EQ(GetCapturedStderr(),
              "cAnaDataGetDate: null argument\ncAnaDataGetDimUnit2: null argument\n"
              "cAnaDataSetDiagnostics_: null argument\ncAnaDataGetValData: null argument\n"
              "cAnaDataSetDimData: null argument\ncAnaDataSetValData: negative size\n"
              "cAnaDataNew: null argument\ncAnaDataLoad: null argument\n"
              "cAnaDataSave: null argument\ncAnaDataIsDigit: null argument\n");
    int h2 = -1;
    EXPECT_EQ(cAnaDataNew(&h2, -1, 1), 3);
    EXPECT_EQ(h2, -1);
    // An empty column needs no data pointer.
    EXPECT_EQ(cAnaDataSetValData(h, 1, "v", "1", 0, nullptr), 0);
}

TEST(CBindingFiles, EveryGetterAnswersAlikeBeforeAndAfterBothFormatsAndNumbersAreNotReused) {
    TempDir dir;
    const int h = sample();
    EXPECT_EQ(h, 0);  // the first handle of the process
    expectSample(h, "");
    int text = -1, dump = -1, n = 0;
    ASSERT_EQ(cAnaDataSave(h, dir.file("r.txt").c_str(), 0) + cAnaDataSave(h, dir.file("r.dump").c_str(), 7), 0);
    ASSERT_EQ(cAnaDataLoad(&text, dir.file("r.txt").c_str()) + cAnaDataLoad(&dump, dir.file("r.dump").c_str()), 0);
    EXPECT_EQ(std::vector<int>({text, dump}), std::vector<int>({1, 2}));
    expectSample(text, "\n\n");  // a text file adds an empty comment line before and after
    expectSample(dump, "");
    for (int handle : {h, h, text, dump}) EXPECT_EQ(cAnaDataRelease(handle), 0);  // a second release is harmless
    EXPECT_EQ(cAnaDataGetDimNo(h, &n), 1);
    EXPECT_EQ(cAnaDataLoad(&n, dir.file("missing").c_str()), 2);
    EXPECT_EQ(cAnaDataNew(&n, 1, 1), 0);
    EXPECT_EQ(n, 3);  // failed loads take no number and released ones are not handed out again
}

TEST(CBindingFiles, SaveWritesTextForMode0AndDumpOtherwise) {
    TempDir dir;
    const int h = sample();
    const std::string text = dir.file("r.txt"), dump = dir.file("r.dump");
    writeFile(text, std::string(100000, 'x'));  // truncated, not appended to
    EXPECT_EQ(cAnaDataSave(h, text.c_str(), 0), 0);
    EXPECT_EQ(readFile(text).rfind("# [Parameters]\r\n# Name='te'\r\n# ShotNo=1234\r\n", 0), 0u);
    EXPECT_EQ(readFile(text).find('x'), std::string::npos);
    for (int mode : {1, -3}) {
        EXPECT_EQ(cAnaDataSave(h, dump.c_str(), mode), 0);
        EXPECT_EQ(readFile(dump).substr(0, 4), std::string("\x10\x89\0\0", 4));
    }
    EXPECT_EQ(cAnaDataSave(h, dir.file("missing/r.txt").c_str(), 0), 2);
}

TEST(CBindingFiles, LoadFailuresTakeNoHandleExceptAfterAStreamFailure) {
    TempDir dir;
    const int h = sample();
    int loaded = -1;
    writeFile(dir.file("tiny"), "#");
    EXPECT_EQ(cAnaDataLoad(&loaded, dir.file("tiny").c_str()), 4);
    EXPECT_EQ(loaded, -1);

    ASSERT_EQ(cAnaDataSave(h, dir.file("r.txt").c_str(), 0), 0);
    const std::string full = readFile(dir.file("r.txt"));
    writeFile(dir.file("bad.txt"), std::string(full).replace(full.find("ShotNo=1234"), 11, "ShotNo=0"));
    CaptureStderr();
    EXPECT_EQ(cAnaDataLoad(&loaded, dir.file("bad.txt").c_str()), 3);
    EXPECT_EQ(GetCapturedStderr(), "ShotNo parameter error\n");
    EXPECT_EQ(loaded, -1);

    // A header cut short still yields a record, which the caller must release.
    writeFile(dir.file("cut.txt"), full.substr(0, full.find("# [Comments]")));
    EXPECT_EQ(cAnaDataLoad(&loaded, dir.file("cut.txt").c_str()), 2);
    EXPECT_EQ(loaded, h + 1);
    EXPECT_EQ(cAnaDataRelease(loaded), 0);
}

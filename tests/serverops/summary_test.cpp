// getSummary on files from our own writer and on hand-made headers: keys, dates, bounds, codes and messages.
#include <fstream>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "explog.h"

namespace {

struct Result {
    int code = 0;  // the thrown int, 0 when none
    std::string summary = "-", date = "-", time = "-", err;
};

Result summarise(const std::string& path) {
    Result r;
    testing::internal::CaptureStderr();
    try {
        qx::getSummary(path, r.summary, r.date, r.time);
    } catch (int code) {
        r.code = code;
    }
    r.err = testing::internal::GetCapturedStderr();
    return r;
}

const std::string kept = "# DimNo=1\n# DimName='t'\n# DimSize=2\n# ValNo=1\n# ValName='v'\n";

std::string header(const std::string& dateLine) {
    return "# [Parameters]\n# Name='x'\n# ShotNo=5\n" + dateLine + "\n" + kept + "# ValUnit='V'\n#\n# [Data] \n1, 2\n";
}

TEST(Summary, FileOfOurOwnWriterGivesItsFiveDeclarationLinesDateAndTime) {
    TempDir dir;
    std::ofstream(dir.file("te.dat"), std::ios::binary)
        << "# [Parameters]\r\n# Name='te'\r\n# ShotNo=1234\r\n# Date='03/07/2009 14:05'\r\n# DimNo=2\r\n"
           "# DimName='Time', 'R'\r\n# DimSize=2, 2\r\n# DimUnit='s', 'm'\r\n# ValNo=1\r\n# ValName='Te'\r\n"
           "# ValUnit='keV'\r\n#\r\n# [Comments]\r\n#\r\n# first fit # DimNo=7\r\n#\r\n# [Data] \r\n1, 2, 3\r\n";
    Result got = summarise(dir.file("te.dat"));
    EXPECT_EQ(got.code, 0);
    // The comment line holds a key too, and is kept like any other line that does.
    EXPECT_EQ(got.summary, "# DimNo=2\r\n# DimName='Time', 'R'\r\n# DimSize=2, 2\r\n# ValNo=1\r\n# ValName='Te'\r\n"
                           "# first fit # DimNo=7\r\n");
    EXPECT_EQ(got.date + " " + got.time + got.err, "2009/03/07 14:05:00");
}

TEST(Summary, EachDatePatternMixedCaseKeysAndBlanksAroundTheEqualsSign) {
    const std::pair<std::string, std::string> cases[] = {
        {"# DATE = '03/07/2009 14:05:09'", "2009/03/07 14:05:09"},
        {"#date='03/07/2009 14:05'", "2009/03/07 14:05:00"},
        {"# Date=  '03/07 14:05:09'", "1900/03/07 14:05:09"},
        {"# dAtE ='03/07 14:05'", "1900/03/07 14:05:00"},
        {"# Date='03/07/2009'", "2009/03/07 00:00:00"},
    };
    TempDir dir;
    for (const auto& [line, expected] : cases) {
        writeFile(dir.file("h.dat"), "# [Parameters]\n# NAME='x'\n#shotno = 5\n" + line +
                                         "\n# dimno =1\n# DimName='t'\n#DIMSIZE= 2\n# ValNo=1\n# VALNAME  ='v'\n"
                                         "# valunit='V'\n");
        Result got = summarise(dir.file("h.dat"));
        ASSERT_EQ(got.code, 0) << line;
        EXPECT_EQ(got.date + " " + got.time, expected) << line;
        EXPECT_EQ(got.summary, "# dimno =1\n# DimName='t'\n#DIMSIZE= 2\n# ValNo=1\n# VALNAME  ='v'\n") << line;
    }
}

TEST(Summary, EveryMissingKeyThrowsThreeSilentlyAfterTheWholeFile) {
    const char* keys[] = {"# Name=", "# ShotNo=", "# Date=", "# DimNo=", "# DimName=",
                          "# DimSize=", "# ValNo=", "# ValName=", "# ValUnit="};
    TempDir dir;
    for (const char* key : keys) {
        std::string text = header("# Date='03/07/2009 14:05'");
        size_t at = text.find(key);
        text.erase(at, text.find('\n', at) + 1 - at);
        writeFile(dir.file("h.dat"), text);
        Result got = summarise(dir.file("h.dat"));
        EXPECT_EQ(got.code, 3) << key;
        EXPECT_EQ(got.err, "") << key;
        EXPECT_EQ(got.summary, "-") << key;
    }
}

TEST(Summary, FailuresGiveTheirCodesAndExactMessages) {
    TempDir dir;
    Result missing = summarise(dir.file("none.dat"));
    EXPECT_EQ(missing.code, 1);
    EXPECT_EQ(missing.err, "cant open file " + dir.file("none.dat") + "\n");

    // A directory opens but cannot be read: the message deliberately has no newline.
    Result unreadable = summarise(dir.path());
    EXPECT_EQ(unreadable.code, 2);
    EXPECT_EQ(unreadable.err, "File Cannot Open " + dir.path());

    writeFile(dir.file("d.dat"), header("# Date='2009-03-07 14:05'"));
    Result badDate = summarise(dir.file("d.dat"));
    EXPECT_EQ(badDate.code, 3);
    EXPECT_EQ(badDate.err, "Date Format Error\n");
    EXPECT_EQ(badDate.date + badDate.time + badDate.summary, "---");
}

// Keys are tested in a fixed order and the first one found decides, so a data name holding
// "#date=" is only a name line; a line longer than 1023 bytes is read in pieces, each tested on its own.
TEST(Summary, FirstKeyInOrderDecidesAndLongLinesAreReadInPieces) {
    const std::string longLine = "#" + std::string(1022, 'c') + "# DimNo=1\n";
    const std::string text = "# Name='x'\n# ShotNo=5\n# Date='03/07/2009'\n# DimName='#date=nonsense'\n" + longLine +
                             "# DimSize=2\n# ValNo=1\n# ValName='#name'\n# ValUnit='V'\n";
    TempDir dir;
    writeFile(dir.file("order.dat"), text);
    Result got = summarise(dir.file("order.dat"));
    ASSERT_EQ(got.code, 0) << got.err;
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(got.date, "2009/03/07");
    EXPECT_EQ(got.summary, "# DimName='#date=nonsense'\n# DimNo=1\n# DimSize=2\n# ValNo=1\n# ValName='#name'\n");
}

TEST(Summary, StaysBelow1024CharactersYetTakesLaterShorterLines) {
    std::string l1 = "# DimNo=2\r\n", l2 = "# DimName='" + std::string(967, 'a') + "', 'R'\r\n", l3 = "# DimSize=2, 2\r\n";
    ASSERT_EQ((l1 + l2 + l3).size(), 1013u);
    std::string text = "# Name='x'\n# ShotNo=5\n# Date='03/07/2009'\n" + l1 + l2 + l3 +
                       "# ValNo=1\r\n"       // 1024 characters: left out
                       "#valno=1\n"          // 1022: taken
                       "# ValName='v'\n"     // 1036: left out
                       "#valname=\n"         // 1032: left out
                       "# ValUnit='V'\n";
    TempDir dir;
    writeFile(dir.file("long.dat"), text);
    Result got = summarise(dir.file("long.dat"));
    ASSERT_EQ(got.code, 0);
    EXPECT_EQ(got.summary, l1 + l2 + l3 + "#valno=1\n");
}

TEST(Summary, DispSummaryShowsNothing) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    qx::dispSummary(3, "a\nb\n");
    qx::dispSummary(0, "no newline");
    qx::dispSummary(1, "");
    EXPECT_EQ(testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout(), "");
}

}  // namespace

// The text format: byte-exact writer output, the reader's key rules, messages and quirks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "record_fixture.h"

using qx::AnaData;

namespace {

std::string header(const std::string& extra = "") {
    return "# Name='te'\n# ShotNo=1234\n# Date='d'\n# DimNo=1\n# DimName='x'\n# DimSize=3\n# DimUnit='s'\n"
           "# ValNo=2\n# ValName='a', 'b'\n# ValUnit='u', 'v'\n" + extra;
}

AnaData marked() {
    AnaData rec;
    rec.setDiagnostics("untouched");
    return rec;
}

}  // namespace

TEST(TextFormat, WriterGivesTheExampleByteForByteAndRestoresFlags) {
    std::ostringstream out;
    out.setf(std::ios::fixed, std::ios::floatfield);
    out << exampleRecord();
    EXPECT_EQ(out.str(), exampleText());
    EXPECT_EQ(out.flags() & std::ios::floatfield, std::ios::fixed);

    std::ostringstream upper;
    upper.setf(std::ios::uppercase | std::ios::showpos);
    upper << exampleRecord();
    EXPECT_NE(upper.str().find("\r\n+1.000000E-01, +3.000000E+00, +2.100000E+00\r\n"), std::string::npos);
    EXPECT_TRUE(upper.flags() & std::ios::uppercase);
}

TEST(TextFormat, RowsMatchPrintfAtEveryPrecision) {
    std::vector<double> numbers = {0.125, 2.5, 0.5, 1e300, 5e-324, -0.0, 9.9999995e-5, 1.0 / 3,
                                   std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::max()};
    std::mt19937_64 bits(7);
    for (int i = 0; i < 2000; ++i) {
        const std::uint64_t b = bits();
        double d;
        std::memcpy(&d, &b, sizeof d);
        numbers.push_back(d);
    }
    AnaData rec(1, 1);
    rec.setDiagnostics("n");
    rec.setDate("d");
    rec.setDim(0, "x", "", static_cast<int>(numbers.size()), numbers.data());
    rec.setVal(0, "v", "", static_cast<int>(numbers.size()), numbers.data());
    for (int precision : {0, 1, 6, 17, 40}) {
        std::ostringstream out;
        out.precision(precision);
        out << rec;
        std::string expected;
        for (double d : numbers) {
            char line[256];
            std::snprintf(line, sizeof line, "%.*e, %.*e\r\n", precision, d, precision, d);
            expected += line;
        }
        const std::string text = out.str();
        ASSERT_TRUE(text.substr(text.find("# [Data] \r\n") + 11) == expected) << "precision " << precision;
    }
}

TEST(TextFormat, WriterRefusesRecordsItCannotWrite) {
    std::ostringstream out;
    EXPECT_EQ(messageOf([&] { out << AnaData(1, 0); }), "ValNo Error");
    const double one = 1;
    AnaData shortColumn = exampleRecord();
    shortColumn.setVal(0, "Te", "keV", 1, &one);
    EXPECT_THROW(out << shortColumn, qx::AnaDataException);
    AnaData negative(2, 1);
    negative.setDim(0, "a", "", -1, &one);
    negative.setDim(1, "b", "", -1, &one);
    negative.setVal(0, "v", "", 1, &one);
    EXPECT_THROW(out << negative, qx::AnaDataException);
}

TEST(TextFormat, RoundTripAddsEmptyCommentLinesAndDropsSubShot) {
    AnaData original = exampleRecord();
    original.setSubNo(7);
    std::stringstream file;
    file << original;
    AnaData back;
    file >> back;
    EXPECT_FALSE(file.fail());
    // Names, units and numbers coming back are checked getter by getter by c_roundtrip.c.
    EXPECT_EQ(back.getSubNo(), 0);
    EXPECT_STREQ(back.getComment(), "\nfirst fit\n\n");
}

TEST(TextFormat, HeaderKeysMatchAnyCaseAndSubShotLineSetsShotNumber) {
    AnaData rec;
    ASSERT_EQ(readInto(rec, "# name = ' abc '\n# shotno=5\n# SubShotNo=7\n# date='d'\n# dimno=1\n# DIMNAME='x'\n"
                            "# dimsize= 1 ,\n# dimunit=''\n# valno=1\n# valname='v'\n# valunit='u'\n# [data]\n4,5\n"),
              "");
    EXPECT_STREQ(rec.getDiagnostics(), "abc");
    EXPECT_EQ(rec.getShotNo(), 7);
    EXPECT_EQ(rec.getSubNo(), 0);
    EXPECT_STREQ(rec.getDimUnit(0), " ");
    EXPECT_EQ(rec.getDimData(0)[0], 4);
    EXPECT_EQ(rec.getValData(0)[0], 5);
}

TEST(TextFormat, EveryValidationMessageAndAMissingMarkerLeaveTheTargetAlone) {
    const struct {
        std::string text;
        const char* message;
    } cases[] = {
        {"# ShotNo=1\n# [Data]\n", "NAME parameter error"},
        {"# Name='n'\n# ShotNo=0\n# [Data]\n", "ShotNo parameter error"},
        {"# Name='n'\n# ShotNo=x\n# [Data]\n", "ShotNo parameter error"},
        {"# Name='n'\n# ShotNo=3\n# [Data]\n", "Date parameter error"},
        {"# Name='n'\n# ShotNo=3\n# Date='d'\n# DimNo=2\n# DimName='a', 'b', 'c'\n# DimSize=1,1\n"
         "# DimUnit='', ''\n# [Data]\n",
         "DimNo Error"},
        {"# Name='n'\n# ShotNo=3\n# Date='d'\n# DimNo=1\n# DimName='Date'\n# DimSize=1\n# DimUnit=''\n"
         "# [Data]\n",
         "DimNo Error"},
        {"# Name='n'\n# ShotNo=3\n# Date='d'\n# DimNo=1\n# DimName='a'\n# DimSize=1\n# DimUnit=''\n"
         "# ValNo=0\n# [Data]\n",
         "ValNo Error"},
        {header("# [Data]\n1,2,3\n2,3,4\n"), "Datasize error"},
        // No data marker where the header ends, or a comment block that never reaches one: silence.
        {header("\n# [Data]\n1,2,3\n"), ""},
        {header("# [Comments]\n# one\n"), ""},
    };
    for (const auto& c : cases) {
        AnaData rec = marked();
        EXPECT_EQ(readInto(rec, c.text), c.message) << c.text;
        EXPECT_STREQ(rec.getDiagnostics(), "untouched");
    }
}

TEST(TextFormat, ShortRowsKeepPreviousNumbersAndExtraLinesAreIgnored) {
    AnaData rec;
    ASSERT_EQ(readInto(rec, header("# [Data] \r\n1, 10, 100\r\n2, 20\n\n4,40,400,999\n5,50,500\n")), "");
    const double *a = rec.getValData("a"), *b = rec.getValData("b");
    ASSERT_EQ(rec.getValSize(), 3);
    // Row 2 has no b, so keeps 100; row 3 is empty, so repeats row 2.
    EXPECT_EQ(std::vector<double>(a, a + 3), (std::vector<double>{10, 20, 20}));
    EXPECT_EQ(std::vector<double>(b, b + 3), (std::vector<double>{100, 100, 100}));
    EXPECT_EQ(rec.getDimData(0)[2], 2);
}

TEST(TextFormat, NumbersParseExactlyAsAtof) {
    const char* pieces[] = {" \t+1.5",   "-0.1e-3x", "0x1.8p3",  "inf",        "-Infinity", "1e400",
                            "1e-400",    "4.9e-324", "abc",      ".5",         "+-2",       "1.7976931348623157e308",
                            "  -nan",    "7.",       "1e+",      "0.1000000000000000055511151231257827"};
    for (const char* piece : pieces) {
        AnaData rec(1, 1);
        const std::string text = std::string("1,") + piece + "\r\n";
        qx::dimval_set(rec, text, {1}, {"x"}, {""}, {"v"}, {""});
        const double expected = std::atof(piece);
        const double got = rec.getValData(0)[0];
        if (std::isnan(expected)) {
            EXPECT_TRUE(std::isnan(got)) << piece;
        } else {
            EXPECT_EQ(std::memcmp(&got, &expected, sizeof got), 0) << piece << " gave " << got;
        }
    }
}

TEST(TextFormat, DimvalSetTakesCoordinatesFromGridCornersEvenFromAnEmptyLine) {
    AnaData rec(2, 1);
    qx::dimval_set(rec, "1,7,0\n1,8,1\n1,9,2\n2,7,3\n2,8,4\n2,9,5", {2, 3}, {"a", "b"}, {"", ""}, {"v"}, {""});
    EXPECT_EQ(rec.getDimData(0)[1], 2);
    EXPECT_EQ(rec.getDimData(1)[2], 9);
    EXPECT_EQ(rec.getValData(0)[5], 5);
    // An empty line on a corner takes the previous row's coordinates.
    qx::dimval_set(rec, "1,10,100\n1,20,200\n\n2,20,400\n", {2, 2}, {"a", "b"}, {"", ""}, {"v"}, {""});
    EXPECT_EQ(rec.getDimData(0)[1] * 100 + rec.getDimData(1)[1], 120);
    EXPECT_EQ(std::vector<double>(rec.getValData(0), rec.getValData(0) + 4), (std::vector<double>{100, 200, 200, 400}));
    EXPECT_THROW(qx::dimval_set(rec, "1,2,3\n", {2, 3}, {"a", "b"}, {"", ""}, {"v"}, {""}), qx::AnaDataException);
}

TEST(TextFormat, HelpersTrimPickUpAndSearch) {
    EXPECT_EQ(qx::pickup("# Name = ' abc '", false), "' abc '");
    EXPECT_EQ(qx::pickup("no equals", true), "");
    EXPECT_EQ(qx::pickup_sizes("# DimSize=3,4,"), (std::vector<int>{3, 4}));
    EXPECT_EQ(qx::pickup_sizes("# DimSize= 3 , 4"), (std::vector<int>{3, 4}));
    std::string x = "xxaxx", crlf = "\r\n", s = "##  c";
    EXPECT_EQ(qx::trim(x, 'x') + qx::chop(crlf), "a");
    EXPECT_EQ(qx::ltrim(s, '#'), "  c");
    EXPECT_EQ(qx::rtrim(s, 'c'), "  ");
    const char* text = "# DimName='x'";
    EXPECT_EQ(qx::strstri(text, "dimname"), text + 2);
    EXPECT_EQ(qx::strstri(text, ""), text);
    EXPECT_EQ(qx::strstri(text, "valname"), nullptr);
    EXPECT_EQ(qx::strchri(text, 'D'), text + 2);
    EXPECT_EQ(qx::strchri(text, 0), text + std::strlen(text));
    EXPECT_EQ(qx::strchri(text, 'z'), nullptr);
}

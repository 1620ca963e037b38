// The record model: construction, counted sharing of arrays, lookups and grid access.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include <anadata/columns.h>
#include "record_fixture.h"

using qx::AnaData;

namespace {

AnaData grid234() {
    AnaData rec(3, 1);
    const std::vector<double> a{0, 1}, b{0, 1, 2}, c{0, 1, 2, 3};
    rec.setDim(0, "A", "", 2, a.data());
    rec.setDim(1, "B", "", 3, b.data());
    rec.setDim(2, "C", "", 4, c.data());
    std::vector<double> v(24);
    for (int i = 0; i < 24; ++i) v[static_cast<std::size_t>(i)] = i;
    rec.setVal(0, "v", "", 24, v.data());
    return rec;
}

}  // namespace

TEST(RecordModel, FreshAndClearedRecordsDifferInShotNumbersAndTheDateIsToTheMinute) {
    AnaData rec(2, 1);
    using V = std::vector<int>;
    EXPECT_EQ((V{rec.getShotNo(), rec.getSubNo()}), (V{1, 1}));
    EXPECT_EQ(rec.getDimData(0), nullptr);
    rec.clear();
    EXPECT_EQ((V{rec.getShotNo(), rec.getSubNo(), rec.getDimNo()}), (V{0, 0, 0}));
    EXPECT_EQ(rec.getValSize(), 1);
    rec.setDate();  // now, to the minute
    EXPECT_TRUE(std::regex_match(rec.getDate(), std::regex("[01][0-9]/[0-3][0-9]/[0-9]{4} [0-2][0-9]:[0-5][0-9]")))
        << rec.getDate();
}

TEST(RecordModel, ReplacedNameStillResolvesAndNamesAreCaseSensitive) {
    AnaData rec(1, 1);
    const double x = 1;
    rec.setDim(0, "x", "s", 1, &x);
    rec.setDim(0, "y", "s", 1, &x);
    EXPECT_EQ(rec.getDimIndex("x"), 0);
    EXPECT_EQ(rec.getDimIndex("y"), 0);
    rec.setDim(0, "Time", "s", 1, &x);
    EXPECT_EQ(messageOf([&] { rec.getDimIndex("time"); }), "Invalid Dim Name");
    EXPECT_THROW(rec.getDimIndex("time"), qx::clsException);  // the base class catches it across the library
}

TEST(RecordModel, CopiesShareNumbersUntilTheLastOwnerGoes) {
    double* shared = nullptr;
    AnaData survivor;
    {
        AnaData original = exampleRecord();
        AnaData copy(original);
        survivor = original;
        EXPECT_EQ(copy.getValData(0), original.getValData(0));
        copy.getValData(0)[0] = 42.0;
        EXPECT_EQ(original.getValData(0)[0], 42.0);
        shared = survivor.getValData(0);
    }
    // Under ASan a premature free shows here as a use after free.
    EXPECT_EQ(shared[0], 42.0);
    EXPECT_EQ(survivor.getValData("Te")[3], 1.8);
    survivor = survivor;
    EXPECT_EQ(survivor.getValData(0), shared);
}

TEST(RecordModel, ColumnsFilledInPlaceActLikeTheSetters) {
    AnaData rec = grid234();
    int idx[3] = {1, 0, 0};
    EXPECT_EQ(rec.index(idx), 12);
    double* c = anadata::newDimension(rec, 2, "D", "m", 5);  // the strides follow the new size
    for (int i = 0; i < 5; ++i) c[i] = i;
    EXPECT_EQ(rec.index(idx), 15);
    double* v = anadata::newValue(rec, 0, "w", "V", 30);
    using S = std::vector<std::string>;
    EXPECT_EQ((S{rec.getDimName(2), rec.getDimUnit(2), rec.getValName(0)}), (S{"D", "m", "w"}));
    EXPECT_EQ((std::vector<int>{rec.getDimIndex("C"), rec.getDimIndex("D"), rec.getValIndex("v")}),
              (std::vector<int>{2, 2, 0}));
    EXPECT_EQ(rec.getDimData("D")[4], 4.0);
    EXPECT_EQ(rec.getValData("w"), v);
    EXPECT_EQ(anadata::valueSize(rec, 0), 30);
    anadata::setComment(rec, "one\ntwo\n");
    EXPECT_STREQ(rec.getComment(), "one\ntwo\n");
    EXPECT_EQ((S{messageOf([&] { anadata::newDimension(rec, 3, "x", "", 1); }),
                 messageOf([&] { anadata::newValue(rec, -1, "x", "", 1); }),
                 messageOf([&] { anadata::valueSize(rec, 1); })}),
              (S{"setDim out of range", "setVal out of range", "valueSize out of range"}));
}

TEST(RecordModel, StridesAndFlatIndexFollowRowMajorOrder) {
    AnaData rec = grid234();
    EXPECT_EQ(rec.getValSize(), 24);
    int point[] = {1, 2, 3};
    EXPECT_EQ(rec.index(point), 23);
    int other[] = {1, 0, 2};
    EXPECT_EQ(rec.index(other), 14);
    // A new size invalidates the strides; a value does not touch them.
    const double b[] = {0, 1};
    rec.setDim(1, "B", "", 2, b);
    EXPECT_EQ(rec.index(point), 8 + 2 * 4 + 3);
    const double w = 0;
    rec.setVal(0, "w", "", 1, &w);
    EXPECT_EQ(rec.index(point), 19);
}

TEST(RecordModel, LineReadersPickTheFreeDimension) {
    AnaData rec = grid234();
    int idx[] = {1, 0, 2};
    double line[3];
    rec.getValData(idx, 1, 0, line);
    EXPECT_EQ(line[0], 14);
    EXPECT_EQ(line[2], 22);
    EXPECT_EQ(idx[1], 2);

    const char* names[] = {"C", "A"};
    const int fixed[] = {3, 1};
    rec.getValData(names, fixed, "v", line);
    EXPECT_EQ(std::vector<double>(line, line + 3), (std::vector<double>{15, 19, 23}));
    EXPECT_EQ(messageOf([&] { rec.getValData(names, fixed, "u", line); }), "Invalid Val Name");
}

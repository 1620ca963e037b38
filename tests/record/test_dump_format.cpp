// The dump format: exact bytes, round trips, format detection and refusal of damaged images.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "record_fixture.h"

using qx::AnaData;

namespace {

std::string bytes(std::initializer_list<int> list) {
    std::string s;
    for (int b : list) s += static_cast<char>(b);
    return s;
}

std::string encoded(const std::function<void(std::ostream&)>& write) {
    std::ostringstream out;
    write(out);
    return out.str();
}

}  // namespace

TEST(DumpFormat, PrimitiveEncodingsAreLittleEndianAndOrderedAndReadBack) {
    EXPECT_EQ(encoded([](std::ostream& o) { qx::dump(o, 35088); }), bytes({0x10, 0x89, 0, 0}));
    EXPECT_EQ(encoded([](std::ostream& o) { qx::dump(o, -2); }), bytes({0xfe, 0xff, 0xff, 0xff}));
    EXPECT_EQ(encoded([](std::ostream& o) { qx::dump(o, std::string()); }), bytes({0, 0, 0, 0, 0}));
    EXPECT_EQ(encoded([](std::ostream& o) { qx::DimType().dump(o); }), std::string(18, '\0'));
    const double one = 1.0;
    EXPECT_EQ(encoded([&](std::ostream& o) { qx::dump(o, &one, 1); }),
              bytes({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xf0, 0x3f}));
    const std::map<std::string, int> map{{"b", 1}, {"a", 2}};
    EXPECT_EQ(encoded([&](std::ostream& o) { qx::dump(o, map); }),
              bytes({2, 0, 0, 0, 1, 0, 0, 0, 'a', 0, 2, 0, 0, 0, 1, 0, 0, 0, 'b', 0, 1, 0, 0, 0}));
    // Read back, strings stop at their first zero byte.
    std::istringstream in(bytes({3, 0, 0, 0, 'a', 0, 'b', 0}));
    EXPECT_EQ(qx::read_string(in), "a");
    EXPECT_TRUE(in.good());
    std::istringstream hash(bytes({2, 0, 0, 0, 1, 0, 0, 0, 'k', 0, 1, 0, 0, 0, 1, 0, 0, 0, 'k', 0, 9, 0, 0, 0}));
    EXPECT_EQ(qx::read_hash(hash).at("k"), 9);
}

TEST(DumpFormat, RecordRoundTripKeepsEverythingButTheStrideFlag) {
    AnaData original = exampleRecord();
    original.setSubNo(3);
    int point[] = {1, 1};
    original.index(point);
    std::stringstream image;
    original.dump(image);
    ASSERT_EQ(image.str().substr(0, 4), bytes({0x10, 0x89, 0, 0}));
    AnaData back = AnaData::restore(image);
    EXPECT_TRUE(image.good());
    // The C binding's tests read every field of a loaded dump back through its getters.
    EXPECT_EQ(back.getSubNo(), 3);
    EXPECT_STREQ(back.getComment(), "first fit\n");
    EXPECT_EQ(back.index(point), 3);
    std::ostringstream again;
    back.dump(again);
    EXPECT_EQ(again.str(), image.str());
}

TEST(DumpFormat, CheckHeaderTellsFormatsApartAndRewinds) {
    std::stringstream image;
    exampleRecord().dump(image);
    const struct {
        std::string bytes;
        int kind;
    } cases[] = {{image.str(), 1}, {exampleText(), 0}, {"PK\3\4rest", 2}, {"#x", 2}};
    for (const auto& c : cases) {
        for (bool pipe : {false, true}) {
            SCOPED_TRACE(c.bytes.substr(0, 8) + (pipe ? " through a pipe" : ""));
            std::istringstream seekable(c.bytes);
            PipeBuffer buffer(c.bytes);
            std::istream piped(&buffer);
            std::istream& in = pipe ? piped : seekable;
            EXPECT_EQ(AnaData::checkHeader(in), c.kind);
            EXPECT_EQ(in.get(), static_cast<unsigned char>(c.bytes[0]));
        }
    }
    // A file that never opened stays failed, so callers still see the stream failure.
    std::ifstream missing("/nonexistent/anadata-record-test");
    EXPECT_EQ(AnaData::checkHeader(missing), 2);
    EXPECT_TRUE(missing.fail());
    std::istringstream text2(exampleText());
    EXPECT_THROW(AnaData::restore(text2), qx::AnaDataException);
}

TEST(DumpFormat, ImpossibleCountsFailTheStreamInsteadOfAllocating) {
    const std::string huge = bytes({0xff, 0xff, 0xff, 0x7f});
    const std::string negative = bytes({0xfe, 0xff, 0xff, 0xff});
    for (const std::string& count : {huge, negative}) {
        std::istringstream s(count + "abc");
        EXPECT_EQ(qx::read_string(s), "");
        EXPECT_TRUE(s.fail());
        std::istringstream l(count);
        EXPECT_TRUE(qx::read_string_array(l).empty());
        EXPECT_TRUE(l.fail());
        std::istringstream d(count + std::string(16, '\0'));
        double out[2];
        EXPECT_EQ(qx::read_double_array(d, out), -1);
        EXPECT_TRUE(d.fail());
        // The same through a stream of unknown length: bounded reads, then failure.
        PipeBuffer pipe(bytes({0, 0, 0, 0, 0, 0, 0, 0}) + count + std::string(40, 'x'));
        std::istream piped(&pipe);
        qx::DimType dim = qx::DimType::restore(piped);
        EXPECT_TRUE(piped.fail());
        EXPECT_EQ(dim.getNum(), 0);
    }
}

// A column's numbers carry their own count, which must be the one its header gives: a reader that
// went by either alone would read into the next column or leave numbers behind for it.
TEST(DumpFormat, AColumnWhoseStoredCountIsNotItsHeaderCountIsRefused) {
    const double numbers[2] = {1.5, -2};
    const std::string image = encoded([&](std::ostream& os) { qx::DimType("x", "m", 2, numbers).dump(os); });
    const std::size_t at = encoded([](std::ostream& os) {
                               qx::dump(os, std::string("x"));
                               qx::dump(os, std::string("m"));
                               qx::dump(os, 2);
                           }).size();
    ASSERT_EQ(image.substr(at, 4), bytes({2, 0, 0, 0}));
    for (char stored : {1, 3}) {
        std::string changed = image + std::string(8, '\0');  // room for a third number
        changed[at] = stored;
        std::istringstream in(changed);
        qx::DimType::restore(in);
        EXPECT_TRUE(in.fail()) << int(stored);
    }
}

TEST(DumpFormat, TruncatedImageLeavesTheStreamFailed) {
    std::stringstream image;
    exampleRecord().dump(image);
    const std::string full = image.str();
    for (std::size_t cut = 4; cut < full.size(); cut += 7) {
        std::istringstream in(full.substr(0, cut));
        AnaData rec = AnaData::restore(in);
        EXPECT_TRUE(in.fail()) << cut;
        PipeBuffer pipe(full.substr(0, cut));
        std::istream piped(&pipe);
        AnaData::restore(piped);
        EXPECT_TRUE(piped.fail()) << cut;
    }
}

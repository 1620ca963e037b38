// Damaged and hostile inputs: huge claimed sizes, pipes of unknown length and corrupt dumps must
// fail cleanly without allocating beyond what the input holds.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "record_fixture.h"

using qx::AnaData;

namespace {

long peakRssKb() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
    return 0;
}

std::string headerWithSizes(const std::string& sizes) {
    return "# Name='te'\r\n# ShotNo=1234\r\n# Date='d'\r\n# DimNo=2\r\n# DimName='Time', 'R'\r\n# DimSize=" + sizes +
           "\r\n# DimUnit='s', 'm'\r\n# ValNo=1\r\n# ValName='Te'\r\n# ValUnit='keV'\r\n# [Data] \r\n";
}

}  // namespace

// Found by fuzzing: a grid of 677777777 x 2 points read from a pipe allocated every coordinate
// up front (5 GB) before a single row had arrived.
TEST(HostileInput, HugeClaimedGridFromAPipeFailsWithoutAllocating) {
    const long before = peakRssKb();
    AnaData rec;
    for (const char* sizes : {"677777777, 2", "2147483647, 1", "65536, 65536", "-1, 4", "0, 3"}) {
        PipeBuffer pipe(headerWithSizes(sizes) + "1,2,3\r\n1,2,4\r\n");
        std::istream piped(&pipe);
        EXPECT_EQ(readInto(rec, piped), "Datasize error") << sizes;
        EXPECT_FALSE(piped.fail());
        std::istringstream seekable(headerWithSizes(sizes) + "1,2,3\r\n");
        EXPECT_EQ(readInto(rec, seekable), "Datasize error") << sizes;
    }
    EXPECT_LT(peakRssKb() - before, 64 * 1024);
}

// Blocks of several megabytes with empty and short lines scattered over them: reading through a
// pipe (block by block) must give exactly what parsing the whole text at once gives.
TEST(HostileInput, BlockBoundariesDoNotChangeWhatIsRead) {
    const int rows = 300, cols = 1000;
    std::mt19937 random(11);
    std::string data;
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < cols; ++c) {
            const unsigned roll = random() % 50;  // an empty line, a short one, or a whole row
            data += roll == 0   ? std::string("\r\n")
                    : roll == 1 ? std::to_string(r) + "\r\n"
                                : std::to_string(r) + ".5, " + std::to_string(c) + "e-3, " + std::to_string(random()) + ", 7\r\n";
        }
    }
    AnaData whole(2, 1);
    qx::dimval_set(whole, data, {rows, cols}, {"Time", "R"}, {"s", "m"}, {"Te"}, {"keV"});
    PipeBuffer pipe(headerWithSizes(std::to_string(rows) + ", " + std::to_string(cols)) + data);
    std::istream piped(&pipe);
    AnaData streamed;
    piped >> streamed;
    for (int d = 0; d < 2; ++d)
        ASSERT_EQ(std::memcmp(whole.getDimData(d), streamed.getDimData(d), sizeof(double) * (d == 0 ? rows : cols)), 0);
    EXPECT_EQ(std::memcmp(whole.getValData(0), streamed.getValData(0), sizeof(double) * rows * cols), 0);
}

// The reader parses coordinates lazily; one whose text sits at the very end of a 1 MiB block
// must be taken before the block is reused, or an empty line opening the next block would copy
// whatever text has moved there since.
TEST(HostileInput, CoordinateFromThePreviousBlockSurvivesTheRefill) {
    const int half = (1 << 20) / 16;
    std::string data;
    for (int i = 0; i < half; ++i) data += "1,2,3.000000000\n";  // 16 bytes each: exactly one block
    data += "\n";
    for (int i = 1; i < half; ++i) data += "9,9,9.000000000\n";
    PipeBuffer pipe(headerWithSizes("2, " + std::to_string(half)) + data);
    std::istream piped(&pipe);
    AnaData rec;
    piped >> rec;
    EXPECT_EQ(rec.getDimData(0)[0], 1);
    EXPECT_EQ(rec.getDimData(0)[1], 1);
    EXPECT_EQ(rec.getValData(0)[half], 3);
}

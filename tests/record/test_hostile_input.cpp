// Damaged and hostile inputs: huge claimed sizes, pipes of unknown length and corrupt dumps must
// fail cleanly without allocating beyond what the input holds.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <streambuf>
#include <string>

#include "anadata.h"
#include "record_fixture.h"

using qx::AnaData;

namespace {

// Forward-only bytes, like a pipe: seeking fails, so readers cannot learn the length.
class PipeBuffer : public std::streambuf {
public:
    explicit PipeBuffer(std::string text) : text(std::move(text)) {
        setg(&this->text[0], &this->text[0], &this->text[0] + this->text.size());
    }

private:
    std::string text;
};

long peakRssKb() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0) return std::atol(line.c_str() + 6);
    }
    return 0;
}

std::string headerWithSizes(const std::string& sizes) {
    return "# Name='te'\r\n# ShotNo=1234\r\n# Date='d'\r\n# DimNo=2\r\n# DimName='Time', 'R'\r\n# DimSize=" + sizes +
           "\r\n# DimUnit='s', 'm'\r\n# ValNo=1\r\n# ValName='Te'\r\n# ValUnit='keV'\r\n# [Data] \r\n";
}

std::string readMessage(std::istream& in) {
    AnaData rec;
    try {
        in >> rec;
    } catch (const qx::AnaDataException& e) {
        return e.getMessage();
    }
    return "";
}

}  // namespace

// Found by fuzzing: a grid of 677777777 x 2 points read from a pipe allocated every coordinate
// up front (5 GB) before a single row had arrived.
TEST(HostileInput, HugeClaimedGridFromAPipeFailsWithoutAllocating) {
    const long before = peakRssKb();
    for (const char* sizes : {"677777777, 2", "2147483647, 1", "65536, 65536", "-1, 4", "0, 3"}) {
        PipeBuffer pipe(headerWithSizes(sizes) + "1,2,3\r\n1,2,4\r\n");
        std::istream piped(&pipe);
        EXPECT_EQ(readMessage(piped), "Datasize error") << sizes;
        EXPECT_FALSE(piped.fail());
        std::istringstream seekable(headerWithSizes(sizes) + "1,2,3\r\n");
        EXPECT_EQ(readMessage(seekable), "Datasize error") << sizes;
    }
    EXPECT_LT(peakRssKb() - before, 64 * 1024);
}

TEST(HostileInput, PipeAndFileReadTheSameRecord) {
    std::ostringstream text;
    text << exampleRecord();
    PipeBuffer pipe(text.str() + "9,9,9\r\n");
    std::istream piped(&pipe);
    AnaData fromPipe;
    piped >> fromPipe;
    EXPECT_FALSE(piped.fail());
    EXPECT_TRUE(piped.eof());
    std::ostringstream again;
    fromPipe.setSubNo(1);
    again << fromPipe;
    std::istringstream reread(again.str());
    AnaData second;
    reread >> second;
    EXPECT_EQ(second.getValData(0)[3], 1.8);
    EXPECT_EQ(second.getDimData("Time")[1], 0.2);
}

TEST(HostileInput, DumpWithHugeCountsFailsTheStream) {
    std::ostringstream image;
    exampleRecord().dump(image);
    std::string bytes = image.str();
    // Patch the length of the date string (right after magic, two counts, shot and sub-shot).
    const char huge[4] = {'\xff', '\xff', '\xff', '\x7f'};
    std::memcpy(&bytes[20], huge, 4);
    const long before = peakRssKb();
    std::istringstream seekable(bytes);
    AnaData::restore(seekable);
    EXPECT_TRUE(seekable.fail());
    PipeBuffer pipe(bytes);
    std::istream piped(&pipe);
    AnaData::restore(piped);
    EXPECT_TRUE(piped.fail());
    EXPECT_LT(peakRssKb() - before, 64 * 1024);
}

TEST(HostileInput, WriterRefusesNegativeDimensionSizes) {
    AnaData rec(2, 1);
    const double one = 1;
    rec.setDim(0, "a", "", -1, &one);
    rec.setDim(1, "b", "", -1, &one);
    rec.setVal(0, "v", "", 1, &one);
    std::ostringstream out;
    EXPECT_THROW(out << rec, qx::AnaDataException);
}

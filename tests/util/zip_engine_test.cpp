// Tests of the session's zip engine: its archives read back by itself, Info-ZIP, Python and minizip.
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TempDir.h"
#include "anadata_util.h"
#include "parallel_deflater.h"
#include "zip_stream_reader.h"
#include "zip_writer.h"

namespace {

using namespace anadata::detail;
using ::testing::HasSubstr;

constexpr std::size_t kPiece = 40000;  // above the 32 KiB window, small enough for quick tests

std::string zipped(const std::string& data, unsigned threads, std::size_t writeSize = 1 << 20) {
    std::string archive;
    ZipWriter writer("data.dat", [&](const char* p, std::size_t n) { archive.append(p, n); },
                     {threads, kPiece});
    for (std::size_t at = 0; at < data.size(); at += writeSize)
        writer.write(data.data() + at, std::min(writeSize, data.size() - at));
    writer.finish();
    return archive;
}

std::string unzipped(const std::string& archive, InflateEngine engine, std::size_t block) {
    std::string out;
    ZipStreamReader reader([&](const char* p, std::size_t n) { out.append(p, n); }, engine);
    for (std::size_t at = 0; at < archive.size(); at += block)
        reader.feed(archive.data() + at, std::min(block, archive.size() - at));
    reader.finish();
    return out;
}

// Rows of numbers as the data files hold them, with enough noise not to compress to nothing.
std::string sample(std::size_t size) {
    std::string text;
    unsigned seed = 12345;
    while (text.size() < size) {
        seed = seed * 1103515245 + 12345;
        text += std::to_string(text.size() % 977) + ", " + std::to_string((seed >> 8) % 100000 * 1e-3) + "\n";
    }
    return text.substr(0, size);
}

std::vector<InflateEngine> engines() {
    std::vector<InflateEngine> all{InflateEngine::zlib};
    if (inflateEngineAvailable(InflateEngine::isal)) all.push_back(InflateEngine::isal);
    return all;
}

// Reads the archive with Python's zipfile: one entry, deflated, minizip's date, the data intact.
const char* const kCheck = R"(import sys, zipfile
z = zipfile.ZipFile(sys.argv[1]); [i] = z.infolist()
assert (i.filename, i.compress_type, i.date_time, z.testzip()) == ('data.dat', 8, (1980, 1, 0, 0, 0, 0), None)
assert z.read(i) == open(sys.argv[2], 'rb').read())";

}  // namespace

TEST(ZipEngine, ArchivesAtPieceBoundariesRoundTripEverywhereAndMatchAcrossThreadCounts) {
    TempDir dir;
    writeFile(dir.file("check.py"), kCheck);
    for (std::size_t size : {std::size_t{0}, std::size_t{1}, kPiece, kPiece + 1, 3 * kPiece + 17}) {
        SCOPED_TRACE(size);
        const std::string data = sample(size);
        const std::string archive = zipped(data, 1);
        EXPECT_EQ(zipped(data, 3), archive);
        EXPECT_EQ(zipped(data, 2, 7), archive);  // many small writes, as a text writer makes them
        for (InflateEngine engine : engines())
            for (std::size_t block : {std::size_t{1}, std::size_t{819200}})
                EXPECT_EQ(unzipped(archive, engine, block), data);

        writeFile(dir.file("a.zip"), archive);
        writeFile(dir.file("data.dat"), data);
        EXPECT_EQ(std::system(("unzip -tqq " + dir.file("a.zip")).c_str()), 0);
        const std::string check = "/usr/bin/python3 " + dir.file("check.py") + " " + dir.file("a.zip") + " ";
        EXPECT_EQ(std::system((check + dir.file("data.dat")).c_str()), 0);
        ASSERT_EQ(qx::unzip(dir.file("a.zip"), dir.file("back.dat")), 0);
        EXPECT_EQ(readFile(dir.file("back.dat")), data);
    }
}

// Pieces smaller than the 32 KiB window are primed with all of it, not just the piece before: data
// that repeats 16 KiB back compresses across 4 KiB pieces about as well as in one piece.
TEST(ZipEngine, PiecesSmallerThanTheWindowSeeAllOfIt) {
    std::string period(16 * 1024, '\0');
    unsigned seed = 99;
    for (char& c : period) c = static_cast<char>((seed = seed * 1103515245 + 12345) >> 16);
    std::string data;
    for (int i = 0; i < 16; ++i) data += period;
    auto deflated = [&](std::size_t piece) {
        ParallelDeflater deflater([](const char*, std::size_t) {}, {2, piece});
        deflater.write(data.data(), data.size());
        deflater.finish();
        return deflater.outputSize();
    };
    const std::uint64_t whole = deflated(data.size());
    EXPECT_LT(deflated(4096), whole + whole / 8) << "one piece: " << whole;
}

TEST(ZipEngine, ReaderTakesMinizipAndStoredArchives) {
    TempDir dir;
    const std::string data = sample(300000);
    writeFile(dir.file("data.dat"), data);
    ASSERT_EQ(qx::minizip(dir.file("m.zip"), dir.file("data.dat")), 0);
    ASSERT_EQ(std::system(("cd " + dir.path() + " && zip -q0 s.zip data.dat").c_str()), 0);
    for (const char* name : {"m.zip", "s.zip"})
        for (InflateEngine engine : engines())
            for (std::size_t block : {std::size_t{13}, std::size_t{819200}})
                EXPECT_EQ(unzipped(readFile(dir.file(name)), engine, block), data) << name;
}

TEST(ZipEngine, ReaderNamesTheFaultOfDamagedArchives) {
    const std::string data = sample(100000);
    const std::string good = zipped(data, 2);
    const std::size_t dataStart = 30 + 8, descriptor = good.size() - 22 - 46 - 8 - 16;
    auto patched = [&](std::size_t at, const std::string& bytes) {
        return std::string(good).replace(at, bytes.size(), bytes);
    };
    auto flipped = [&](std::size_t at) { return patched(at, std::string(1, static_cast<char>(~good[at]))); };
    const struct {
        std::string archive;
        const char* fault;
    } cases[] = {
        {"", "empty"},
        {"this is not a zip archive at all", "not a zip archive"},
        {std::string("PK\x05\x06", 4) + std::string(18, '\0'), "no entry"},
        {good.substr(0, 20), "truncated in the local file header"},
        {good.substr(0, 33), "truncated in the entry name"},
        {good.substr(0, descriptor - 100), "truncated in the entry data"},
        {good.substr(0, descriptor + 10), "truncated in the data descriptor"},
        {good.substr(0, good.size() - 1), "no end of central directory"},
        {good + "trailing garbage", "no end of central directory"},
        {patched(6, "\x09"), "encrypted"},
        {patched(8, "\x63"), "compression method 99"},
        {patched(22, "\xff\xff\xff\xff"), "zip64"},
        {patched(dataStart, "\xff"), "corrupt deflate data"},
        {flipped(descriptor + 4), "CRC-32 mismatch"},
        {flipped(descriptor + 12), "size differs"},
    };
    for (const auto& c : cases)
        for (InflateEngine engine : engines())
            for (std::size_t block : {std::size_t{1}, std::size_t{819200}}) {
                try {
                    unzipped(c.archive, engine, block);
                    ADD_FAILURE() << "no error for: " << c.fault;
                } catch (const ZipError& e) {
                    EXPECT_THAT(e.what(), HasSubstr(c.fault));
                }
            }
}

TEST(ZipEngine, SinkErrorsReachTheCallerAndAbandonedWritersStopCleanly) {
    const std::string data = sample(10 * kPiece);
    for (unsigned threads : {1u, 3u}) {
        std::size_t taken = 0;
        ZipWriter writer("data.dat",
                         [&](const char*, std::size_t n) {
                             if ((taken += n) > kPiece / 2) throw std::runtime_error("disk full");
                         },
                         {threads, kPiece});
        EXPECT_THROW(writer.write(data.data(), data.size()), std::runtime_error);
        EXPECT_THROW(writer.finish(), ZipError);
        ZipWriter abandoned("data.dat", [](const char*, std::size_t) {}, {threads, kPiece});
        abandoned.write(data.data(), data.size());
    }
    ZipWriter writer("data.dat", [](const char*, std::size_t) {}, {2, kPiece});
    EXPECT_THROW(writer.write(data.data(), 0xFFFFFFFFu), ZipError);  // refused before a byte is read

    ZipStreamReader reader([](const char*, std::size_t) { throw std::runtime_error("disk full"); });
    EXPECT_THROW(reader.feed(zipped(data, 1).data(), 1000), std::runtime_error);
}

// Record files: strict reading with the file and line of each fault, the lenient reading, staged writes.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "TempDir.h"
#include <anadata/record_file.h>
#include "record_fixture.h"

namespace {

// The code and message of the anadata::Error that `call` throws.
template <class Call>
std::pair<anadata::ErrorCode, std::string> errorOf(Call call) {
    try {
        call();
    } catch (const anadata::Error& e) {
        return {e.code(), e.what()};
    }
    return {anadata::ErrorCode::busy, "<nothing thrown>"};
}

std::vector<std::string> listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir)) names.push_back(entry.path().filename());
    return names;
}

}  // namespace

TEST(RecordFile, StrictReadingRefusesWhatTheLenientOneMisreads) {
    TempDir dir;
    qx::AnaData rec = exampleRecord();
    rec.getValData(0)[3] = 0.02;  // the last number written, 2.000000e-02, the one a cut loses
    anadata::WriteOptions six;
    six.precision = 6;
    anadata::writeRecord(rec, dir.file("good.dat"), six);
    const std::string text = readFile(dir.file("good.dat"));
    ASSERT_EQ(text.substr(text.size() - 14), "2.000000e-02\r\n");
    const std::string lastRow = "2.000000e-01, 3.500000e+00, 2.000000e-02\r\n";
    const std::string withoutLast = text.substr(0, text.size() - lastRow.size());
    // Rows are on lines 18 to 21.
    const struct {
        const char* name;
        std::string bytes;
        std::string fault;
    } cases[] = {
        {"cut.dat", text.substr(0, text.size() - 5), ":21: the last line has no line feed"},
        {"nolf.dat", text.substr(0, text.size() - 1), ":21: the last line has no line feed"},
        {"short.dat", withoutLast + "2.000000e-01, 3.500000e+00\r\n", ":21: 2 numbers in a row of 3"},
        {"long.dat", withoutLast + "2.0e-01, 3.5, 2.0e-02, 9\r\n", ":21: 4 numbers in a row of 3"},
        {"extra.dat", text + lastRow, ":22: a row more than the grid's 4"},
        {"rows.dat", withoutLast, ":21: the data end after 3 of the grid's 4 rows"},
        {"word.dat", withoutLast + "2.000000e-01, 3.500000e+00, 2.0e-02x\r\n", ":21: column 3 is not a number: '2.0e-02x'"},
        {"header.dat", text.substr(0, text.find("# ShotNo")) + "# ShotNo=0\r\n" + text.substr(text.find("# Date")),
         ":3: ShotNo parameter error"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = dir.file(c.name);
        writeFile(path, c.bytes);
        const auto read = errorOf([&] { anadata::readRecord(path); });
        EXPECT_EQ(read.first, anadata::ErrorCode::format);
        EXPECT_EQ(read.second.substr(0, path.size() + c.fault.size()), path + c.fault);
        EXPECT_EQ(errorOf([&] { anadata::checkRecordFile(path); }), read);
    }
    anadata::ReadOptions lenient;
    lenient.lenient = true;
    EXPECT_EQ(anadata::readRecord(dir.file("cut.dat"), lenient).getValData(0)[3], 2.0);
    EXPECT_EQ(anadata::readRecord(dir.file("short.dat"), lenient).getValData(0)[3], 2.2);
    EXPECT_EQ(anadata::readRecord(dir.file("extra.dat"), lenient).getValSize(), 4);
    EXPECT_EQ(errorOf([&] { anadata::readRecord(dir.file("rows.dat"), lenient); }).second,
              dir.file("rows.dat") + ": Datasize error");
    EXPECT_EQ(anadata::readRecord(dir.file("good.dat")).getValData(0)[3], 0.02);
    const qx::AnaData head = anadata::readRecordHeader(dir.file("cut.dat"));
    EXPECT_EQ(std::string(head.getDiagnostics()) + " " + std::to_string(head.getShotNo()), "te 1234");
}

TEST(RecordFile, WritesKeepEveryBitAndNeverLeaveHalfFiles) {
    TempDir dir;
    std::mt19937_64 random(7);
    qx::AnaData rec = exampleRecord();
    for (int i = 0; i < 4; ++i) {
        const std::uint64_t bits = random();
        std::memcpy(&rec.getValData(0)[i], &bits, sizeof bits);  // doubles of every magnitude
    }
    const std::string path = dir.file("r.dat");
    anadata::writeRecord(rec, path);
    EXPECT_EQ(readFile(path).back(), '\n');
    const qx::AnaData back = anadata::readRecord(path);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(std::memcmp(&back.getValData(0)[i], &rec.getValData(0)[i], 8), 0) << i;

    // Never replaced unasked; an interruption between the staged file and the rename keeps the old one.
    const std::string old = readFile(path);
    anadata::WriteOptions dump;
    dump.format = anadata::FileFormat::dump;
    EXPECT_EQ(errorOf([&] { anadata::writeRecord(rec, path, dump); }).second, path + ": exists (not overwritten)");
    dump.overwrite = true;
    dump.progress = [](std::uint64_t done, std::uint64_t total) { return done != total; };
    EXPECT_EQ(errorOf([&] { anadata::writeRecord(rec, path, dump); }).first, anadata::ErrorCode::cancelled);
    EXPECT_EQ(readFile(path), old);
    EXPECT_EQ(listing(dir.path()), std::vector<std::string>{"r.dat"});

    dump.progress = nullptr;
    rec.setSubNo(3);
    anadata::writeRecord(rec, path, dump);
    EXPECT_EQ(anadata::recordFileFormat(path), anadata::FileFormat::dump);
    EXPECT_EQ(anadata::readRecordHeader(path).getSubNo(), 3);
    EXPECT_EQ(errorOf([&] { anadata::writeRecord(qx::AnaData(1, 0), dir.file("none.dat")); }).second,
              dir.file("none.dat") + ": ValNo Error");
    EXPECT_EQ(errorOf([&] { anadata::writeRecord(rec, dir.file("no/such/x.dat")); }).first,
              anadata::ErrorCode::local_io);
    EXPECT_EQ(listing(dir.path()), std::vector<std::string>{"r.dat"});
}

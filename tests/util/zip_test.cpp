// Tests of qx::minizip and qx::unzip: statuses and messages, archives of other tools, hostile archives.
#include <cstdio>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "anadata_util.h"

namespace {

// Runs a shell command; returns its exit status and what it wrote to standard output.
int run(const std::string& command, std::string* output = nullptr) {
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return -1;
    char chunk[4096];
    size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, pipe)) > 0)
        if (output != nullptr) output->append(chunk, got);
    return ::pclose(pipe);
}

// Builds and inspects archives with Python's zipfile; the patched ones lie about their sizes.
const char* const kZipScript = R"(import struct, sys, zipfile
mode, path = sys.argv[1], sys.argv[2]
def patch(form, local, central, value):  # the same field in the local and the central header
    b = bytearray(open(path, 'rb').read())
    struct.pack_into(form, b, b.find(b'PK\x03\x04') + local, value)
    struct.pack_into(form, b, b.find(b'PK\x01\x02') + central, value)
    open(path, 'wb').write(b)
if mode == 'read':
    with zipfile.ZipFile(path) as z:
        for i in z.infolist():
            print(i.filename, i.compress_type, i.date_time, z.testzip(), z.read(i) == open(sys.argv[3], 'rb').read())
else:
    with zipfile.ZipFile(path, 'w', zipfile.ZIP_DEFLATED) as z:
        if mode == 'two': z.writestr('first.txt', 'first'); z.writestr('second.txt', 'second')
        if mode == 'stored': z.writestr('sub/stored.txt', 'stored data', zipfile.ZIP_STORED)
        if mode == 'escape': z.writestr('../escape.txt', 'inside')
        if mode == 'huge': z.writestr('h.txt', b'abc' * 1000)
        if mode == 'method': z.writestr('m.txt', 'unknown method')
        if mode == 'bomb': z.writestr('b.txt', bytes(20 << 20))
    if mode == 'method': patch('<H', 8, 10, 99)
    if mode == 'huge': patch('<I', 22, 24, 0xFFFFFF00)
    if mode == 'bomb': patch('<I', 22, 24, 1000)
)";

class ZipArchive : public ::testing::Test {
protected:
    TempDir dir;
    std::string python(const std::string& args) {
        writeFile(dir.file("zipscript.py"), kZipScript);
        std::string out;
        EXPECT_EQ(run("/usr/bin/python3 " + dir.file("zipscript.py") + " " + args, &out), 0);
        return out;
    }
    std::string data() {
        std::string text;
        for (int i = 0; text.size() < 50000; ++i) text += std::to_string(i * 0.25) + "\n";
        return text;
    }
};

}  // namespace

TEST_F(ZipArchive, PacksOneDeflatedEntryNamedAfterTheFileWithZeroDate) {
    std::filesystem::create_directories(dir.file("sub"));
    writeFile(dir.file("sub/data.txt"), data());
    ASSERT_EQ(qx::minizip(dir.file("a.zip"), dir.file("sub/data.txt")), 0);
    EXPECT_EQ(python("read " + dir.file("a.zip") + " " + dir.file("sub/data.txt")),
              "data.txt 8 (1980, 1, 0, 0, 0, 0) None True\n");
    std::string raw = readFile(dir.file("a.zip"));
    EXPECT_EQ(raw.substr(6, 8), std::string("\0\0\x08\0\0\0\x20\0", 8));  // flags of the default level, time, date
    EXPECT_LT(raw.size(), data().size() / 3);  // really compressed, not stored in deflate blocks
    ASSERT_EQ(qx::unzip(dir.file("a.zip"), dir.file("back.txt")), 0);
    EXPECT_EQ(readFile(dir.file("back.txt")), data());

    writeFile(dir.file("empty"), "");
    ASSERT_EQ(qx::minizip(dir.file("e.zip"), dir.file("empty")), 0);
    ASSERT_EQ(qx::unzip(dir.file("e.zip"), dir.file("empty.out")), 0);
    EXPECT_TRUE(std::filesystem::exists(dir.file("empty.out")));
    EXPECT_EQ(readFile(dir.file("empty.out")), "");
}

TEST_F(ZipArchive, PackingFailuresPrintAndReturnTheClosingStatus) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(qx::minizip(dir.file("m.zip"), dir.file("missing")), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error in opening " + dir.file("missing") + " for reading\n");
    writeFile(dir.file("missing"), "");
    EXPECT_EQ(python("read " + dir.file("m.zip") + " " + dir.file("missing")),
              "missing 8 (1980, 1, 0, 0, 0, 0) None True\n");

    writeFile(dir.file("f"), "x");
    EXPECT_EQ(qx::minizip(dir.file("f"), dir.file("f")), -102);  // never packed into itself
    EXPECT_EQ(readFile(dir.file("f")), "x");
    std::string bad = dir.file("no/such.zip");
    testing::internal::CaptureStderr();
    EXPECT_EQ(qx::minizip(bad, dir.file("f")), -102);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "error opening zip file=" + bad + "\nerror opening file    =" + dir.file("f") +
                  "\nerror in opening " + dir.file("f") + " in zipfile\nerror in closing " + bad +
                  bad + "\n");
}

TEST_F(ZipArchive, UnpacksOnlyTheFirstEntryIntoTheGivenFile) {
    python("two " + dir.file("two.zip"));
    EXPECT_EQ(qx::unzip(dir.file("two.zip"), dir.file("out")), 0);
    EXPECT_EQ(readFile(dir.file("out")), "first");
    EXPECT_FALSE(std::filesystem::exists(dir.file("second.txt")));

    python("escape " + dir.file("sub.zip"));
    std::filesystem::create_directories(dir.file("inner"));
    EXPECT_EQ(qx::unzip(dir.file("sub.zip"), dir.file("inner/named")), 0);
    EXPECT_EQ(readFile(dir.file("inner/named")), "inside");
    EXPECT_FALSE(std::filesystem::exists(dir.file("escape.txt")));

    // An output that cannot be created reads nothing and still reports success.
    EXPECT_EQ(qx::unzip(dir.file("two.zip"), dir.file("no/dir/out")), 0);
    std::string archive = readFile(dir.file("two.zip"));
    EXPECT_EQ(qx::unzip(dir.file("two.zip"), dir.file("two.zip")), 0);
    EXPECT_EQ(readFile(dir.file("two.zip")), archive);

    testing::internal::CaptureStdout();
    EXPECT_EQ(qx::unzip(dir.file("absent.zip"), dir.file("x")), -102);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "error -102 with zipfile in unzGetCurrentFileInfo\n");
    EXPECT_FALSE(std::filesystem::exists(dir.file("x")));
}

// Python's zipfile reads ours above; Info-ZIP's own archives carry extra fields in their headers.
TEST_F(ZipArchive, WeReadTheArchivesOfInfoZipAndPython) {
    writeFile(dir.file("data.txt"), data());
    ASSERT_EQ(run("cd " + dir.path() + " && zip -6 -q zipped.zip data.txt"), 0);
    EXPECT_EQ(qx::unzip(dir.file("zipped.zip"), dir.file("from-zip")), 0);
    EXPECT_EQ(readFile(dir.file("from-zip")), data());
    python("stored " + dir.file("stored.zip"));
    EXPECT_EQ(qx::unzip(dir.file("stored.zip"), dir.file("from-python")), 0);
    EXPECT_EQ(readFile(dir.file("from-python")), "stored data");
}

TEST_F(ZipArchive, HostileArchivesEndInAnErrorWithBoundedOutput) {
    writeFile(dir.file("garbage.zip"), std::string(5000, 'Z'));
    EXPECT_EQ(qx::unzip(dir.file("garbage.zip"), dir.file("o1")), -102);

    writeFile(dir.file("data.txt"), data());
    ASSERT_EQ(qx::minizip(dir.file("ok.zip"), dir.file("data.txt")), 0);
    std::string archive = readFile(dir.file("ok.zip"));
    writeFile(dir.file("cut.zip"), archive.substr(0, archive.size() / 2));
    EXPECT_NE(qx::unzip(dir.file("cut.zip"), dir.file("o2")), 0);
    for (size_t i = 200; i < 260; ++i) archive[i] = static_cast<char>(archive[i] ^ 0x5a);
    writeFile(dir.file("flipped.zip"), archive);
    EXPECT_NE(qx::unzip(dir.file("flipped.zip"), dir.file("o3")), 0);

    python("empty " + dir.file("empty.zip"));  // no entry at all
    EXPECT_EQ(qx::unzip(dir.file("empty.zip"), dir.file("o0")), -102);

    python("method " + dir.file("method.zip"));
    testing::internal::CaptureStdout();
    EXPECT_EQ(qx::unzip(dir.file("method.zip"), dir.file("o6")), -103);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "error -103 with zipfile in unzOpenCurrentFile\n"
              "error -102 with zipfile in unzReadCurrentFile\n");

    python("huge " + dir.file("huge.zip"));  // claims almost 4 GiB, holds 3000 bytes
    EXPECT_EQ(qx::unzip(dir.file("huge.zip"), dir.file("o4")), -103);
    EXPECT_EQ(std::filesystem::file_size(dir.file("o4")), 3000u);

    python("bomb " + dir.file("bomb.zip"));  // 20 MiB of zeros declared as 1000 bytes
    EXPECT_EQ(qx::unzip(dir.file("bomb.zip"), dir.file("o5")), -105);
    EXPECT_EQ(std::filesystem::file_size(dir.file("o5")), 1000u);
}

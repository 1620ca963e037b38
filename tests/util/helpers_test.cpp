// Tests of the_date, isDigit, getFileName, getDirName, MoveFile and clsSeparater.
#include <filesystem>
#include <regex>
#include <string>
#include <utility>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "anadata_util.h"
#include "clsSeparater.h"

TEST(PathHelpers, DateDigitsFileNameAndDirName) {
    std::string date = qx::the_date();
    EXPECT_TRUE(std::regex_match(date, std::regex(R"(>>\d{4}/\d\d/\d\d,\d\d:\d\d:\d\d)"))) << date;

    EXPECT_TRUE(qx::isDigit("") && qx::isDigit("0123456789"));
    for (const char* no : {"12a", "-3", " 1", "1.0", "\xb2", "+1"}) EXPECT_FALSE(qx::isDigit(no)) << no;

    for (auto [path, name] : {std::pair{"a/b/c.txt", "c.txt"}, {"abc", "abc"}, {"/", ""}, {"a/", ""}})
        EXPECT_EQ(qx::getFileName(path), name) << path;

    // The directory name follows the file system.
    TempDir dir;
    writeFile(dir.file("f"), "x");
    ::mkdir(dir.file("sub").c_str(), 0755);
    EXPECT_EQ(qx::getDirName(dir.file("f").c_str()), dir.path());
    EXPECT_EQ(qx::getDirName(dir.file("new.txt").c_str()), dir.file("new.txt"));
    EXPECT_EQ(qx::getDirName(dir.file("sub").c_str()), dir.file("sub"));
    EXPECT_EQ(qx::getDirName((dir.path() + "/").c_str()), dir.path() + "/");
    EXPECT_EQ(qx::getDirName("/nonexistent/f"), "/nonexistent/f");
    EXPECT_EQ(qx::getDirName("tmp"), ".");  // no slash: "." even for an existing directory
    for (const auto& entry : std::filesystem::directory_iterator("/")) {
        if (entry.is_regular_file() && !entry.is_symlink()) {
            EXPECT_EQ(qx::getDirName(entry.path().c_str()), "") << entry.path();
            break;
        }
    }
}

TEST(MoveFile, RenamesOnOneFileSystemAndKeepsSourceOnFailure) {
    TempDir dir;
    writeFile(dir.file("a"), "payload");
    ASSERT_TRUE(qx::MoveFile(dir.file("a").c_str(), dir.file("b").c_str()));
    EXPECT_EQ(readFile(dir.file("b")), "payload");
    EXPECT_NE(::access(dir.file("a").c_str(), F_OK), 0);
    EXPECT_FALSE(qx::MoveFile(dir.file("missing").c_str(), dir.file("c").c_str()));
    EXPECT_FALSE(qx::MoveFile(dir.file("b").c_str(), dir.file("no/such/dir/c").c_str()));
    EXPECT_EQ(readFile(dir.file("b")), "payload");
}

// True when `path` exists on another file system than the build directory.
static bool apartFromBuildDir(const char* path) {
    struct stat there, build;
    return ::stat(path, &there) == 0 && ::stat(ANADATA_TEST_BUILD_DIR, &build) == 0 &&
           there.st_dev != build.st_dev;
}

TEST(MoveFile, CopiesAcrossFileSystemsAndKeepsTheSourceOnFailure) {
    if (!apartFromBuildDir("/dev/shm") || !apartFromBuildDir("/dev/full"))
        GTEST_SKIP() << "/dev/shm or /dev/full is on the build directory's file system here";
    TempDir unique;  // only for its name
    std::string from = "/dev/shm/" + qx::getFileName(unique.path().c_str());
    std::string to = std::string(ANADATA_TEST_BUILD_DIR) + "/moved-" + qx::getFileName(from.c_str());
    std::string data;
    for (int i = 0; data.size() < 3 * 8192 + 100; ++i) data += std::to_string(i) + ",";
    writeFile(from, data);
    writeFile(to, std::string(data.size() + 8, '#'));  // an existing target is not truncated
    bool moved = qx::MoveFile(from.c_str(), to.c_str());
    std::string result = readFile(to);
    ::unlink(to.c_str());
    ASSERT_TRUE(moved);
    EXPECT_EQ(result, data + "########");
    EXPECT_NE(::access(from.c_str(), F_OK), 0);

    writeFile(from, data);
    EXPECT_FALSE(qx::MoveFile(from.c_str(), (std::string(ANADATA_TEST_BUILD_DIR) + "/no/x").c_str()));
    EXPECT_FALSE(qx::MoveFile(from.c_str(), "/dev/full"));  // every write fails with ENOSPC
    EXPECT_EQ(readFile(from), data);
    ::unlink(from.c_str());
}

TEST(Separater, DropsEmptyFieldsBoundsIndexesAndCopiesDeeply) {
    clsSeparater s("a b  c", ' ');
    EXPECT_EQ(s.count, 3);
    EXPECT_STREQ(s[2], "c");
    for (int i : {3, 100, -1}) EXPECT_EQ(s[i], &clsSeparater::nul) << i;
    EXPECT_EQ(s.set(",a,,b,", ','), 2);
    EXPECT_EQ(std::string(s[0]) + s[1], "ab");
    EXPECT_EQ(s.set(",,,", ','), 0);
    EXPECT_EQ(s.set("", ','), 0);
    EXPECT_NE(s.list, nullptr);
    EXPECT_EQ(s.set("x,y", '\0'), 1);
    EXPECT_STREQ(s[0], "x,y");

    // Copies are deep and independent.
    clsSeparater empty, copyOfEmpty(empty);
    EXPECT_TRUE(copyOfEmpty.list == nullptr && copyOfEmpty.count == 0);

    clsSeparater a("1:2:3", ':'), b("x", ':');
    b = a;
    a.set("9", ':');
    EXPECT_EQ(b.count, 3);
    EXPECT_STREQ(b[1], "2");
    b = b;
    EXPECT_STREQ(b[2], "3");
    a.free();
    EXPECT_EQ(a.list, nullptr);
    EXPECT_EQ(a.count, 1);  // free() leaves the count
    EXPECT_EQ(a[0], &clsSeparater::nul);
    clsSeparater c(a);
    EXPECT_EQ(c.count, 0);
}

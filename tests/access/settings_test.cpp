// Tests of the settings file: where it is found, when it is read, and how its lines are taken.
#include <cstdlib>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "clsAnaDataAccess.h"

using qx::clsAnaDataAccess;

namespace {

// Every test runs in its own process; this keeps the machine's own settings out of it.
class Settings : public ::testing::Test {
protected:
    TempDir home;
    void SetUp() override {
        ::setenv("HOME", home.path().c_str(), 1);
        ::unsetenv("CLIENT_INI2");
    }
    std::string settings(const std::string& name, const std::string& text) {
        writeFile(home.file(name), text);
        return home.file(name);
    }
};

}  // namespace

TEST_F(Settings, SearchOrderIsVariableThenHomeThenSystem) {
    settings(".client2.ini", "[tserver]\naccount=from-home\n");
    ::setenv("CLIENT_INI2", home.file("missing.ini").c_str(), 1);
    clsAnaDataAccess first;
    EXPECT_TRUE(clsAnaDataAccess::isInitialized);
    EXPECT_EQ(clsAnaDataAccess::user, "from-home");

    ::setenv("CLIENT_INI2", settings("other.ini", "[tserver]\naccount=other\n").c_str(), 1);
    clsAnaDataAccess second;
    clsAnaDataAccess third(home.file("other.ini").c_str());
    EXPECT_EQ(clsAnaDataAccess::user, "from-home");  // read once per process
    EXPECT_EQ(std::string(INITFILE) + " " + qx::REGISTORY, ".client2.ini Software\\client_ini");
}

TEST_F(Settings, NoFileAnywhereIsReportedAndSearchedAgain) {
    if (::access("/etc/client2.ini", F_OK) == 0)
        GTEST_SKIP() << "/etc/client2.ini exists on this machine; the not-found path cannot be tested";
    testing::internal::CaptureStderr();
    clsAnaDataAccess first;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ini file Not found.\n");
    EXPECT_FALSE(clsAnaDataAccess::isInitialized);

    ::setenv("CLIENT_INI2", settings("late.ini", "[search]\nlimit=7\n").c_str(), 1);
    clsAnaDataAccess second;
    EXPECT_TRUE(clsAnaDataAccess::isInitialized);
    EXPECT_EQ(clsAnaDataAccess::getLimit(), "7");
}

TEST_F(Settings, PathConstructorEndsTheSearchEvenWhenTheFileIsMissing) {
    testing::internal::CaptureStderr();
    clsAnaDataAccess first(home.file("missing.ini").c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_TRUE(clsAnaDataAccess::isInitialized);
    ::setenv("CLIENT_INI2", settings("a.ini", "[tserver]\naccount=a\n").c_str(), 1);
    clsAnaDataAccess second;
    EXPECT_EQ(clsAnaDataAccess::user, "");
}

TEST_F(Settings, SectionsPrefixesAndQuotes) {
    std::string longValue(100000, 'v');
    ASSERT_TRUE(clsAnaDataAccess::iniload(settings("s.ini",
        "limit=1\n"                 // before any section
        "[tserver]\n"
        "limit=5\n"                 // wrong section
        "account_name=x\n"          // prefix match
        "[misc]\n"                  // unknown header keeps [tserver]
        "passwd=\"a\"b\"\"\n"
        "endpoint=\"\n"
        " base_dir=/ignored\n"      // keys start in the first column
        "base_dir = /data\n"        // blanks are kept
        "[search]\n"
        "account=y\n"
        "page=" + longValue + "\n"
        "[tserver] \n"              // not a header: trailing blank
        "limit\n"                   // no '=': the whole line
        "[tserver]\r\n"
        "page=\"\"")                // no final newline
        .c_str()));
    EXPECT_EQ(clsAnaDataAccess::user, "x");
    EXPECT_EQ(clsAnaDataAccess::pass, "a\"b\"");  // one quote off each end
    EXPECT_EQ(clsAnaDataAccess::endpoint, "");
    EXPECT_EQ(clsAnaDataAccess::getBaseDir(), " /data");
    EXPECT_EQ(clsAnaDataAccess::getLimit(), "limit");
    EXPECT_EQ(clsAnaDataAccess::getPage(), "");
    EXPECT_FALSE(clsAnaDataAccess::isInitialized);  // iniload alone does not mark it

    clsAnaDataAccess::iniload(settings("t.ini", "[tserver]\naccount\npage=9\n").c_str());
    EXPECT_EQ(clsAnaDataAccess::user, "account");
    EXPECT_EQ(clsAnaDataAccess::getPage(), "");
    EXPECT_FALSE(clsAnaDataAccess::iniload(home.file("missing.ini").c_str()));
}

// The variable's place wins over HOME's even when it holds nothing to read.
TEST_F(Settings, SomethingThatOpensButIsNoRegularFileEndsTheSearchUnread) {
    settings(".client2.ini", "[tserver]\naccount=from-home\n");
    ::mkdir(home.file("dir").c_str(), 0755);
    ::setenv("CLIENT_INI2", home.file("dir").c_str(), 1);
    clsAnaDataAccess access;
    EXPECT_TRUE(clsAnaDataAccess::isInitialized);
    EXPECT_EQ(clsAnaDataAccess::user, "");  // never another account's file
    const std::string fifo = home.file("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const char* path : {"/dev/zero", fifo.c_str()}) EXPECT_TRUE(clsAnaDataAccess::iniload(path)) << path;
}

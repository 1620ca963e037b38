// Settings pointing the access object at a test service, and a check for leftover files.
#ifndef ANADATA_TEST_CLIENTFIXTURE_H
#define ANADATA_TEST_CLIENTFIXTURE_H

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "clsAnaDataAccess.h"
#include "clsException.h"

// Names in a directory that look like our temporary files: "temp*" archives and "*.zip".
inline std::set<std::string> temporaryNames(const std::string& dir) {
    std::set<std::string> names;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(dir, ec)) {
        std::string n = e.path().filename().string();
        if (n.rfind("temp", 0) == 0 || (n.size() > 4 && n.compare(n.size() - 4, 4, ".zip") == 0)) names.insert(n);
    }
    return names;
}

// Writes a settings file for endpoint and account and loads it through the variables the
// library reads ("CLIENT_INI2", "HOME"); every test runs in its own process, so this is the
// process's only configuration.
inline void configureAccess(const TempDir& home, const std::string& endpoint, const std::string& account,
                            const std::string& password) {
    writeFile(home.file("client.ini"), "[tserver]\naccount=" + account + "\npasswd=" + password +
                                           "\nendpoint=" + endpoint + "\nbase_dir=" + home.path() +
                                           "\n[search]\nlimit=100\npage=1\n");
    setenv("CLIENT_INI2", home.file("client.ini").c_str(), 1);
    setenv("HOME", home.path().c_str(), 1);
    qx::clsAnaDataAccess::isInitialized = false;  // an earlier construction may have searched already
    qx::clsAnaDataAccess access;
    ASSERT_TRUE(qx::clsAnaDataAccess::isInitialized);
    ASSERT_EQ(qx::clsAnaDataAccess::endpoint, endpoint);
}

// Fails the test when a registration archive named with `token` is left in /tmp, or a
// "temp*" download archive in the work directory. (Other programs may create their own
// temporary files in /tmp meanwhile, so only our names are looked at there.)
inline void expectNoLeftovers(const std::string& token, const std::string& work) {
    for (const auto& n : temporaryNames("/tmp"))
        EXPECT_EQ(n.find(token), std::string::npos) << "left in /tmp: " << n;
    for (const auto& n : temporaryNames(work)) EXPECT_NE(n.rfind("temp", 0), 0u) << "left in " << work << ": " << n;
}

#endif

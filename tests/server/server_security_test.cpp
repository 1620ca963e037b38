// What a guessing client or a local user cannot do to anadata-server: guess passwords at full speed,
// change anything unrecorded, read the store, or lead the server out of it through a planted link.
#include <fstream>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ServiceFixture.h"

namespace {

using SecurityTest = ServiceFixture;

TEST_F(SecurityTest, FailedLoginsLockTheAccountThenTheClientAddressForAWhile) {
    start({"--login-failures", "2"});  // an address after 8
    auto c = client();
    int ret = 0;
    // A deletion of nothing: a login that passes ends in "unknown data set".
    auto login = [&](const std::string& user, const char* pass) {
        return c->refused(c->call(soap_call_ns__delTavolenData, s(user), s(pass), s("none"), 1, 1, ret));
    };
    const std::string refused = "bad user name or password", locked = "too many failed logins, try again in 1 s",
                      passed = "unknown data set none shot 1 sub-shot 1";
    EXPECT_EQ(login("alice", "bad"), refused);
    EXPECT_EQ(login("alice", "bad"), refused);
    EXPECT_EQ(login("alice", "wonder"), locked);
    EXPECT_EQ(c->faultCode(), "SOAP-ENV:Client.Unauthorized");
    EXPECT_EQ(login("bob", "builder"), passed);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(login("nobody" + std::to_string(i), "x"), refused);
    EXPECT_EQ(login("bob", "builder"), locked);
    sleep(2);
    EXPECT_EQ(login("alice", "wonder"), passed);
}

TEST_F(SecurityTest, AuditTrailHasALinePerChangeAndRefusedLogin) {
    start({"--log", dir.file("audit.log")});
    auto c = client();
    int ret = 0;
    ASSERT_EQ(c->upload(dataSet("au dit", 5, 0), "one"), 0);
    ASSERT_EQ(c->upload(dataSet("au dit", 5, 1), "two"), 0);
    ASSERT_EQ(c->call(soap_call_ns__delTavolenData, s("alice"), s("wonder"), s("au dit"), 5, 0, ret), 0);
    ASSERT_EQ(c->call(soap_call_ns__changePassword, s("bob"), s("builder"), s("rebuilt"), ret), 0);
    std::string guesser = "mal\tlory" + std::string(300, 'y');  // escaped, and cut after 255 bytes
    EXPECT_NE(c->call(soap_call_ns__changePassword, s(guesser), s("x"), s("y"), ret), 0);
    EXPECT_NE(c->upload("bob", "builder", dataSet("x", 1, 1), "z"), 0);
    server->stop();

    std::ifstream in(dir.file("audit.log"));
    std::vector<std::string> lines;
    const std::regex stamp("^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z ");
    for (std::string line; std::getline(in, line);) {
        EXPECT_TRUE(std::regex_search(line, stamp)) << line;
        lines.push_back(line.substr(line.find(' ') + 1));
    }
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "register account=alice client=127.0.0.1 data=au%20dit shot=5 sub=1",
                         "replace account=alice client=127.0.0.1 data=au%20dit shot=5 sub=1",
                         "delete account=alice client=127.0.0.1 data=au%20dit shot=5 sub=1",
                         "password account=bob client=127.0.0.1",
                         "login-refused account=mal%09lory" + std::string(247, 'y') +
                             "%.. client=127.0.0.1 reason=password",
                         "login-refused account=bob client=127.0.0.1 data=x shot=1 sub=1 reason=password",
                     }));
}

mode_t modeOf(const std::string& path) {
    struct stat st {};
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

TEST_F(SecurityTest, StoreIsTheOwnersAloneWhateverTheUmask) {
    // A store made before the rule, opened by a server started with the most open umask.
    server.reset();
    chmod(store.c_str(), 0755);
    chmod((store + "/catalogue.sqlite").c_str(), 0644);
    mode_t saved = umask(0);
    start();
    umask(saved);
    auto c = client();
    ASSERT_EQ(c->upload(dataSet("p", 1, 1), "x"), 0);
    std::string file = c->pathOf("p", 1, 1);
    for (const auto& [path, mode] : std::vector<std::pair<std::string, mode_t>>{
             {store, 0700},
             {store + "/data", 0700},
             {store + "/staging", 0700},
             {file.substr(0, file.rfind('/')), 0700},
             {file, 0600},
             {store + "/catalogue.sqlite", 0600},
             {store + "/catalogue.sqlite-wal", 0600},
             {store + "/catalogue.sqlite-shm", 0600},
             {store + "/lock", 0600},
         })
        EXPECT_EQ(modeOf(path), mode) << path;
}

TEST_F(SecurityTest, LinksPlantedInTheStoreAreNotFollowed) {
    auto c = client();
    ASSERT_EQ(c->upload(dataSet("l", 1, 1), "inside"), 0);
    std::string path = c->pathOf("l", 1, 1), folder = path.substr(0, path.rfind('/'));
    std::string outside = dir.file("outside");
    ASSERT_EQ(mkdir(outside.c_str(), 0700), 0);
    writeFile(outside + path.substr(path.rfind('/')), "secret");
    // The file, then its directory, moved aside and replaced by a link to a look-alike outside the store.
    for (const auto& [moved, target] : {std::pair{path, outside + path.substr(path.rfind('/'))}, {folder, outside}}) {
        ASSERT_EQ(rename(moved.c_str(), (moved + ".away").c_str()), 0);
        ASSERT_EQ(symlink(target.c_str(), moved.c_str()), 0);
        ns__Binary bin;
        EXPECT_EQ(c->refused(c->call(soap_call_ns__getData, s(path), 0, 100, bin)), "unknown path: " + path)
            << moved;
        unlink(moved.c_str());
        ASSERT_EQ(rename((moved + ".away").c_str(), moved.c_str()), 0);
    }
    std::string back;
    ASSERT_EQ(c->download(path, back), 0);
    EXPECT_EQ(back, "inside");
}

}  // namespace

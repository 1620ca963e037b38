// A running server over a fresh store with two accounts and an experiment log, for end-to-end tests.
#ifndef ANADATA_TEST_SERVICEFIXTURE_H
#define ANADATA_TEST_SERVICEFIXTURE_H

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ServerProcess.h"
#include "ServiceClient.h"
#include "TempDir.h"

class ServiceFixture : public ::testing::Test {
protected:
    void SetUp() override {
        store = dir.file("store");
        ASSERT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", store, "--add-user", "alice"}, "wonder\n"), 0);
        ASSERT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", store, "--add-user", "bob"}, "builder\n"), 0);
        writeFile(dir.file("explog.csv"),
                  "shot,date,gas,comment\n"
                  "100,2024-01-02,H2,\"first, with comma\"\r\n"
                  "101,2024-01-03,He,\"quoted \"\"word\"\"\"\n");
        start();
    }

    void start(std::vector<std::string> extra = {}) {
        server.reset();
        extra.insert(extra.end(), {"--explog", dir.file("explog.csv")});
        server = std::make_unique<ServerProcess>(ANADATA_SERVER_PROGRAM, ServerProcess::storeArgs(store, extra));
    }

    std::unique_ptr<ServiceClient> client() { return std::make_unique<ServiceClient>(server->url()); }

    size_t stagingFiles() const {
        size_t n = 0;
        for (const auto& e : std::filesystem::directory_iterator(store + "/staging")) n += e.is_regular_file();
        return n;
    }

    static std::string pattern(size_t n, unsigned seed = 1) {
        std::string s(n, '\0');
        for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 131 + seed * 7 + (i >> 9)) & 0xff);
        return s;
    }

    TempDir dir;
    std::string store;
    std::unique_ptr<ServerProcess> server;
};

#endif

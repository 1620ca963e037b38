// anadata-server keeps answering while connections trickle or stay silent, cuts them at their
// deadlines, and serves https only when given a certificate.
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "ServiceFixture.h"
#include "SlowClients.h"
#include "TestAuthority.h"

namespace {

using ConnectionsTest = ServiceFixture;

// The standard output of command and its exit status.
std::pair<std::string, int> capture(const std::string& command) {
    std::string out;
    FILE* p = popen((command + " 2>/dev/null").c_str(), "r");
    if (!p) return {out, -1};
    std::array<char, 4096> buf;
    size_t n;
    while ((n = fread(buf.data(), 1, buf.size(), p)) > 0) out.append(buf.data(), n);
    int status = pclose(p);
    return {out, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

// ns:getDiagnostics through curl; max-time well below the deadlines, so that an answer that waited
// for a silent connection to be cut off fails.
std::pair<std::string, int> curlDiagnostics(const std::string& url, const std::string& options = "") {
    return capture("curl -s --max-time 5 " + options + " -H 'Content-Type: text/xml' --data-binary "
                   "'<?xml version=\"1.0\"?><SOAP-ENV:Envelope xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/"
                   "envelope/\" xmlns:ns=\"" ANADATA_SERVICE_NAMESPACE "\"><SOAP-ENV:Body><ns:getDiagnostics/>"
                   "</SOAP-ENV:Body></SOAP-ENV:Envelope>' " + url);
}

TEST_F(ConnectionsTest, TricklingConnectionsHoldNoOperationAndAreCutAtTheHeadDeadline) {
    start({"--threads", "2", "--head-timeout", "20"});
    SlowClients slow(server->port(), 8);
    ASSERT_EQ(slow.connected(), 8u);
    ServiceClient c(server->url(), nullptr, 5);  // gives up long before the slow ones are cut
    ns__StringArray names;
    EXPECT_EQ(c.call(soap_call_ns__getDiagnostics, names), 0) << c.fault();

    start({"--head-timeout", "1", "--request-timeout", "2"});
    SlowClients cut(server->port(), 2);
    EXPECT_EQ(cut.closedWithin(std::chrono::seconds(10)), 2u);
}

TEST_F(ConnectionsTest, HttpsWithAPrivateAuthority) {
    TestAuthority authority(dir.path()), stranger(dir.path(), "stranger");
    ASSERT_TRUE(authority.made && stranger.made) << "openssl could not make the test certificates";
    start({"--tls-cert", authority.certificate, "--tls-key", authority.key, "--head-timeout", "1"});
    EXPECT_EQ(server->url(), "https://127.0.0.1:" + std::to_string(server->port()) + "/");

    SlowClients silent(server->port(), 8, true);  // connected, never starting the handshake
    auto [answer, status] = curlDiagnostics(server->url(), "--cacert " + authority.ca);
    EXPECT_EQ(status, 0);
    EXPECT_NE(answer.find("getDiagnosticsResponse"), std::string::npos) << answer;
    EXPECT_EQ(silent.closedWithin(std::chrono::seconds(10)), 8u);

    EXPECT_EQ(curlDiagnostics(server->url(), "--cacert " + stranger.ca).second, 60);  // peer certificate not trusted
    std::string plain = "http" + server->url().substr(5);
    EXPECT_NE(curlDiagnostics(plain).second, 0);
    EXPECT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM,
                                      ServerProcess::storeArgs(dir.file("other"), {"--tls-cert", authority.certificate,
                                                                                   "--tls-key", stranger.key}),
                                      ""),
              1);
}

}  // namespace

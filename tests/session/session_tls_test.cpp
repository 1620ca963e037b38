// https end to end: the session and the record's own calls against a service with a throwaway authority.
#include <cstdlib>

#include <sys/wait.h>

#include "ServiceFixture.h"
#include "SessionError.h"
#include "TestAuthority.h"

namespace {

using anadata::ErrorCode;

class Https : public ServiceFixture {
protected:
    void SetUp() override {
        ASSERT_TRUE(authority.made && stranger.made) << "openssl could not make the test certificates";
        ServiceFixture::SetUp();
    }
    void serve(const std::string& cert, const std::string& key) { start({"--tls-cert", cert, "--tls-key", key}); }
    anadata::Session session(const std::string& url, const std::string& ca) {
        anadata::SessionOptions o;
        o.endpoint = url;
        o.account = "alice";
        o.password = "wonder";
        o.caFile = ca;
        return anadata::Session(o);
    }

    TempDir home;
    TestAuthority authority{dir.path()}, stranger{dir.path(), "stranger"};
};

TEST_F(Https, RoundTripsWithTheAuthorityAndRefusesOthers) {
    serve(authority.certificate, authority.key);
    ASSERT_EQ(server->url().compare(0, 8, "https://"), 0);
    qx::AnaData rec(1, 1);
    const double x[2] = {1, 2};
    rec.setDiagnostics("tls");
    rec.setShotNo(9);
    rec.setDate("11/23/2026 12:00");
    rec.setDim(0, "x", "m", 2, x);
    rec.setVal(0, "y", "V", 2, x);
    session(server->url(), authority.ca).registerRecord(rec);
    EXPECT_EQ(session(server->url(), authority.ca).fetch("tls", 9).getValData(0)[1], 2.0);

    // A plain request to the TLS port says what is wrong with the endpoint, at once (no retry).
    const std::string plain = "http://" + server->url().substr(8);
    const anadata::Error wrongScheme = errorOf([&] { session(plain, authority.ca).names(); });
    EXPECT_EQ(wrongScheme.code(), ErrorCode::transport);
    EXPECT_EQ(std::string(wrongScheme.what()),
              "list data names: getDiagnostics at " + plain + ": the port speaks TLS: the endpoint must start with https://");

    const anadata::Error refused = errorOf([&] { session(server->url(), stranger.ca).names(); });
    EXPECT_EQ(refused.code(), ErrorCode::certificate) << refused.what();
    EXPECT_NE(std::string(refused.what()).find("certificate"), std::string::npos) << refused.what();

    // The record's own calls take the authority from the settings' cafile.
    writeFile(home.file("client.ini"), "[tserver]\naccount=alice\npasswd=wonder\nendpoint=" + server->url() +
                                           "\ncafile=" + authority.ca + "\n");
    setenv("CLIENT_INI2", home.file("client.ini").c_str(), 1);
    EXPECT_EQ(qx::AnaData::retrieve("tls", 9, 1, false).getValData(0)[1], 2.0);

    // So does the tool, which says why it refuses a peer it cannot verify (status 3).
    const std::string tool = std::string(ANADATA_TOOL_PROGRAM) + " --ini " + home.file("client.ini");
    EXPECT_EQ(std::system((tool + " list >/dev/null").c_str()), 0);
    writeFile(home.file("client.ini"), readFile(home.file("client.ini")) + "cafile=" + stranger.ca + "\n");
    const int status = std::system((tool + " list 2>" + home.file("err") + " >/dev/null").c_str());
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_NE(readFile(home.file("err")).find("certificate"), std::string::npos) << readFile(home.file("err"));
}

TEST_F(Https, ACertificateForAnotherHostIsRefused) {
    // Signed by a trusted authority, but for another name than the address the session connects to.
    TestAuthority elsewhere{dir.path(), "elsewhere", "DNS:elsewhere.example"};
    ASSERT_TRUE(elsewhere.made);
    serve(elsewhere.certificate, elsewhere.key);
    const anadata::Error refused = errorOf([&] { session(server->url(), elsewhere.ca).names(); });
    EXPECT_EQ(refused.code(), ErrorCode::certificate) << refused.what();
}

}  // namespace

// anadata-server refuses bad input with a fault, keeps serving, and loses nothing committed on a crash.
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "RawExchange.h"
#include "ServiceFixture.h"

namespace {

using FaultsTest = ServiceFixture;

// Still answers a plain call after whatever came before.
void expectServing(const std::string& url) {
    ServiceClient c(url);
    ns__StringArray names;
    EXPECT_EQ(c.call(soap_call_ns__getDiagnostics, names), 0) << c.fault();
}

TEST_F(FaultsTest, RecordsThatCannotBeStoredSafelyAreRefused) {
    auto c = client();
    struct Case {
        ns__TavolenInfo info;
        const char* fault;
    } cases[] = {
        {dataSet("..", 1, 1), "data name must not be '..'"},
        {dataSet("a/b", 1, 1), "data name 'a/b' contains a character not allowed in a file name"},
        {dataSet("", 1, 1), "data name is empty"},
        {dataSet(nullptr, 1, 1), "data name is empty"},
        {dataSet("d", 0, 1), "shot number 0 is not positive"},
        {dataSet("d", 1, -2), "sub-shot number -2 is negative"},
        {dataSet("d", 1, 1, 0, "../../etc/x.zip"),
         "file name '../../etc/x.zip' contains a character not allowed in a file name"},
    };
    for (auto& k : cases) EXPECT_EQ(c->refused(c->upload(k.info, "x")), k.fault);
    EXPECT_EQ(c->refused(c->upload(nullptr, nullptr, dataSet("d", 1, 1), "x")), "bad user name or password");
    std::string session;
    EXPECT_EQ(c->refused(c->begin(dataSet("d", 1, 1, -1), session)), "file length -1 is negative");
    EXPECT_EQ(stagingFiles(), 0u);
}

TEST_F(FaultsTest, OnlyCataloguedFilesAreServed) {
    auto c = client();
    ASSERT_EQ(c->upload(dataSet("t", 1, 1), "secret"), 0);
    std::string path = c->pathOf("t", 1, 1);
    std::string dirOfFile = path.substr(0, path.rfind('/'));
    ns__Binary bin;
    for (const std::string& p : {std::string("/etc/passwd"), dirOfFile + "/../../catalogue.sqlite", std::string()})
        EXPECT_EQ(c->refused(c->call(soap_call_ns__getData, s(p), 0, 100, bin)), "unknown path: " + p) << p;
    EXPECT_NE(c->call(soap_call_ns__getData, s(nullptr), 0, 100, bin), 0);
    EXPECT_EQ(c->refused(c->call(soap_call_ns__getData, s(path), -1, 100, bin)), "position -1 is negative");
    EXPECT_EQ(c->refused(c->call(soap_call_ns__getData, s(path), 0, -5, bin)), "size -5 is negative");
    ASSERT_EQ(c->call(soap_call_ns__getData, s(path), 2, 3, bin), 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(bin.__ptr), static_cast<size_t>(bin.__size)), "cre");
}

TEST_F(FaultsTest, OversizeBlocksAndWrongLengthsLeaveNothingBehind) {
    start({"--max-block", "65536"});
    auto c = client();
    std::string big = pattern(65537);
    EXPECT_NE(c->upload("alice", "wonder", dataSet("big", 1, 1), big, 65537), 0);
    EXPECT_EQ(c->fault(), "block of 65537 bytes is larger than 65536");
    // Far beyond the message limit: refused while reading, before any operation runs.
    std::string huge = pattern(1 << 21);
    EXPECT_NE(c->upload("alice", "wonder", dataSet("big", 1, 1), huge, huge.size()), 0);
    expectServing(server->url());

    // More bytes than announced, then fewer.
    std::string session;
    ASSERT_EQ(c->begin(dataSet("len", 1, 1, 4), session), 0);
    EXPECT_EQ(c->refused(c->put(session, "12345")), "block goes past the announced file length of 4 bytes");
    ASSERT_EQ(c->put(session, "123"), 0);
    EXPECT_EQ(c->refused(c->end(session)), "received 3 bytes but the record announced 4");
    EXPECT_EQ(c->pathOf("len", 1, 1), "");
    EXPECT_EQ(c->pathOf("big", 1, 1), "");
    EXPECT_EQ(stagingFiles(), 2u);  // the sessions of the refused blocks stay open until ended or expired
}

TEST_F(FaultsTest, MalformedRequestsGetAFaultAndTheServerGoesOn) {
    start({"--timeout", "1"});  // some of these leave the parser waiting for input that never comes
    const std::vector<std::string> bodies = {
        "this is not xml",
        envelope + "><SOAP-ENV:Body><unknownOp/></SOAP-ENV:Body></SOAP-ENV:Envelope>",
        envelope + "><SOAP-ENV:Body><a><b><c>",
        std::string(200, '<'),
    };
    for (const auto& body : bodies) {
        std::string answer = rawExchange(server->port(), post(body));
        EXPECT_NE(answer.find("Fault"), std::string::npos) << body.substr(0, 40) << " -> " << answer.substr(0, 200);
    }
    std::string deep = envelope + "><SOAP-ENV:Body>";
    for (int i = 0; i < 10000; ++i) deep += "<x>";
    EXPECT_NE(rawExchange(server->port(), post(deep)).find("Fault"), std::string::npos);
    rawExchange(server->port(), "GARBAGE\r\n\r\n");
    // Heads announcing lengths that no request can have; the status-line form made the runtime
    // size a buffer from the length before the guard.
    for (const std::string head : {"POST / HTTP/1.1\r\nContent-Length: -521\r\n\r\n",
                                   "HTTP/1.1 300 OK\r\nContent-Length: -521\r\n\r\n",
                                   "HTTP/1.1 300 OK\r\nContent-Length: 99999999999\r\n\r\n",
                                   "POST / HTTP/1.1\r\nContent-Length: 12x\r\n\r\n"})
        EXPECT_EQ(rawExchange(server->port(), head).find("200 OK"), std::string::npos) << head;
    expectServing(server->url());
}

// Requests worded as another SOAP stack words them (other prefixes, the namespace on the operation,
// optional members and array types left out), blocks in any white space, and replies in padded base64.
TEST_F(FaultsTest, ForeignWordingAndBlocksInAnyWhiteSpace) {
    auto request = [&](const std::string& op, const std::string& inner) {
        return rawExchange(server->port(),
                           post("<soap-env:Envelope xmlns:soap-env=\"http://schemas.xmlsoap.org/soap/envelope/\">"
                                "<soap-env:Body><ns0:" + op + " xmlns:ns0=\"" ANADATA_SERVICE_NAMESPACE "\">" + inner +
                                "</ns0:" + op + "></soap-env:Body></soap-env:Envelope>"));
    };
    std::string begun = request("beginTavolenDataRegistration", "<user>alice</user><password>wonder</password><replace>"
                                "true</replace><info><diagnostics>b64</diagnostics><shotno>1</shotno><filelen>6</filelen>"
                                "</info>");
    size_t at = begun.find("<session>") + 9;
    const std::string key = begun.substr(at, begun.find('<', at) - at);
    auto putData = [&](const std::string& base64) {
        return request("putData", "<session>" + key + "</session><bin>" + base64 + "</bin>");
    };
    for (const char* bad : {"YW&amp;Jj", "YWJj\x01", "YW<!-- x -->Jj", "YQ==YQ=="}) {
        EXPECT_NE(putData(bad).find("Fault"), std::string::npos) << bad;
    }
    EXPECT_NE(putData("YWJj\r\n ZGVm\t").find("<ret>6</ret>"), std::string::npos);
    EXPECT_NE(request("endTavolenDataRegistration", "<session>" + key + "</session>").find("<ret>0</ret>"),
              std::string::npos);
    EXPECT_NE(request("listTavolenInfo", "<diags><item>b64</item></diags><lower>0</lower><higher>0</higher><subshot>"
                      "0</subshot><user></user><limit>0</limit>").find("<filename>b64@1-1.dat.zip</filename>"),
              std::string::npos);
    const std::string path = client()->pathOf("b64", 1, 1);
    EXPECT_NE(request("getData", "<path>" + path + "</path><pos>1</pos><size>4</size>").find(">YmNkZQ==</bin>"),
              std::string::npos);
}

TEST_F(FaultsTest, AbandonedSessionsExpireWithoutATrace) {
    start({"--session-timeout", "1"});
    auto c = client();
    std::string session;
    ASSERT_EQ(c->begin(dataSet("gone", 1, 1, 10), session), 0);
    ASSERT_EQ(c->put(session, "12345"), 0);
    // A client that drops the connection in the middle of a block.
    std::string partial = post(std::string(4000, ' '));
    rawExchange(server->port(), partial.substr(0, partial.size() - 1000), true);
    EXPECT_EQ(stagingFiles(), 1u);
    std::this_thread::sleep_for(std::chrono::milliseconds(2600));
    EXPECT_EQ(stagingFiles(), 0u);
    EXPECT_EQ(c->refused(c->put(session, "12345")), "unknown or expired upload session");
    EXPECT_EQ(c->pathOf("gone", 1, 1), "");
}

TEST_F(FaultsTest, UploadSessionsAndStagingSpaceAreBoundedInAllAndPerAccount) {
    start({"--max-sessions", "3", "--max-sessions-per-account", "2", "--max-staging-per-account", "100"});
    auto c = client();
    std::string first, session;
    // Larger than an account may ever stage: no point in trying again.
    EXPECT_EQ(c->refused(c->begin(dataSet("q", 1, 1, 101), session)),
              "a file of 101 bytes is larger than the staging space of an account (100 bytes)");
    EXPECT_EQ(c->faultCode(), "SOAP-ENV:Client");
    ASSERT_EQ(c->begin(dataSet("q", 1, 1, 60), first), 0);
    EXPECT_EQ(c->refused(c->begin(dataSet("q", 2, 1, 60), session)),
              "not enough staging space left to account alice for 60 bytes, try again in 1 s");
    EXPECT_EQ(c->faultCode(), "SOAP-ENV:Server.Busy");
    EXPECT_EQ(c->faultDetail(), "<retryAfter>1</retryAfter>");
    ASSERT_EQ(c->begin(dataSet("q", 2, 1, 40), session), 0);
    EXPECT_EQ(c->refused(c->begin(dataSet("q", 3, 1, 0), session)),
              "too many open upload sessions of account alice, try again in 1 s");
    ASSERT_EQ(c->begin(dataSet("q", 3, 1, 60), session, "bob", "builder"), 0) << c->fault();
    EXPECT_EQ(c->refused(c->begin(dataSet("q", 4, 1, 0), session, "bob", "builder")),
              "too many open upload sessions, try again in 1 s");
    EXPECT_EQ(c->faultCode(), "SOAP-ENV:Server.Busy");
    int ret = 0;
    ASSERT_EQ(c->call(soap_call_ns__abortTavolenDataRegistration, s(first), ret), 0);
    EXPECT_EQ(c->begin(dataSet("q", 4, 1, 60), session), 0) << c->fault();
}

TEST_F(FaultsTest, FaultCodesTellTheKindOfError) {
    auto c = client();
    ns__Binary bin;
    ns__NumEntryArray counts;
    int ret = 0;
    const std::string notFound = "SOAP-ENV:Client.NotFound", unauthorized = "SOAP-ENV:Client.Unauthorized";
    // Missing data sets and log entries reach the session tests as their error codes.
    const std::vector<std::pair<std::function<int()>, std::string>> cases = {
        {[&] { return c->call(soap_call_ns__getData, s(store + "/data/x/y"), 0, 1, bin); }, notFound},
        {[&] { return c->call(soap_call_ns__changePassword, s("alice"), s("bad"), s("x"), ret); }, unauthorized},
        {[&] { return c->call(soap_call_ns__getNumEntry, s("A"), 1, -1, counts); }, "SOAP-ENV:Client"},
    };
    for (const auto& [call, code] : cases) {
        EXPECT_NE(call(), 0);
        EXPECT_EQ(c->faultCode(), code) << c->fault();
    }
}

TEST_F(FaultsTest, KillDuringUploadKeepsCommittedDataAndDropsTheRest) {
    auto c = client();
    std::string kept = pattern(819200 + 5, 3);
    ASSERT_EQ(c->upload(dataSet("kept", 1, 1), kept), 0);
    ASSERT_EQ(c->upload(dataSet("repl", 1, 1), "version one"), 0);

    // A new data set and a replacement, each stopped half-way.
    for (const char* diag : {"half", "repl"}) {
        std::string session;
        ASSERT_EQ(c->begin(dataSet(diag, 1, 1, 819200 * 2), session), 0);
        ASSERT_EQ(c->put(session, pattern(819200, 9)), 0);
    }
    EXPECT_EQ(stagingFiles(), 2u);
    server->kill9();
    server->restart();

    auto after = client();
    std::string back;
    ASSERT_EQ(after->download(after->pathOf("kept", 1, 1), back), 0) << after->fault();
    EXPECT_TRUE(back == kept);
    ASSERT_EQ(after->download(after->pathOf("repl", 1, 1), back), 0);
    EXPECT_EQ(back, "version one");
    EXPECT_EQ(stagingFiles(), 0u);
    EXPECT_EQ(after->list({}, 0, 0, 0, nullptr, 0).size(), 2u);  // the new data set is gone
}

TEST_F(FaultsTest, StopsCleanlyOnSigtermAndGuardsItsStore) {
    EXPECT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, ServerProcess::storeArgs(store), ""), 1);
    int status = server->stop();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", store, "--add-user", "eve"}, "\n"), 1);
    EXPECT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM,
                                      ServerProcess::storeArgs(store, {"--explog", dir.file("missing.csv")}), ""), 1);
    writeFile(dir.file("bad.csv"), "shot,a\n1,x\nnot-a-shot,y\n");
    EXPECT_EQ(ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM,
                                      ServerProcess::storeArgs(store, {"--explog", dir.file("bad.csv")}), ""), 1);
}

}  // namespace

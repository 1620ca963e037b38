// anadata-server under load and attack: idle connections, one account's parallel uploads, busy
// answers, what the metrics count, a stop in the middle of an upload, lookalike length headers.
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "FakeService.h"
#include "MessageLimits.h"
#include "RawExchange.h"
#include "ServiceFixture.h"

namespace {

using LoadTest = ServiceFixture;

// A request whose head is complete and whose body is cut off after a few bytes, on a new connection.
int requestInHand(int port) {
    int fd = connectLoopback(port);
    std::string partial = post(std::string(1000, ' ')).substr(0, 200);
    EXPECT_EQ(send(fd, partial.data(), partial.size(), MSG_NOSIGNAL), static_cast<ssize_t>(partial.size()));
    return fd;
}

TEST_F(LoadTest, IdleConnectionsHoldNoThreadAndEachAddressIsCapped) {
    start({"--connections", "1", "--connections-per-address", "4", "--head-timeout", "30"});
    SlowClients idle(server->port(), 4, true, "127.0.0.2");
    ASSERT_EQ(idle.connected(), 4u);
    ServiceClient c(server->url(), nullptr, 5);  // gives up long before the idle ones are cut
    ns__StringArray names;
    EXPECT_EQ(c.call(soap_call_ns__getDiagnostics, names), 0) << c.fault();
    SlowClients excess(server->port(), 1, true, "127.0.0.2");
    EXPECT_EQ(excess.closedWithin(std::chrono::seconds(5)), 1u);
    EXPECT_EQ(idle.closedWithin(std::chrono::milliseconds(100)), 0u);

    // The one thread and the one queued place taken by requests still arriving: a third is busy.
    int inHand = requestInHand(server->port()), queued = requestInHand(server->port());
    EXPECT_NE(c.call(soap_call_ns__getDiagnostics, names), 0);
    EXPECT_EQ(c.fault(), "all 1 request threads of the service are busy, try again in 1 s");
    EXPECT_EQ(c.faultCode(), "SOAP-ENV:Server.Busy");
    EXPECT_EQ(c.faultDetail(), "<retryAfter>1</retryAfter>");
    close(inHand);
    close(queued);
}

TEST_F(LoadTest, OneAccountsConcurrentRegistrationsAllLand) {
    const int clients = 32;
    const std::string bytes = pattern(65536);
    std::mutex mutex;
    std::condition_variable allBegun;
    int begun = 0;
    std::atomic<int> failed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < clients; ++i)
        threads.emplace_back([&, i] {
            ServiceClient c(server->url());
            std::string session;
            bool ok = c.begin(dataSet("par", i + 1, 1, static_cast<int>(bytes.size())), session) == 0;
            {
                // Every session is open before any ends.
                std::unique_lock<std::mutex> lock(mutex);
                ++begun;
                allBegun.notify_all();
                allBegun.wait(lock, [&] { return begun == clients; });
            }
            if (!ok || c.put(session, bytes) || c.end(session)) ++failed;
        });
    for (auto& t : threads) t.join();
    EXPECT_EQ(failed, 0);
    EXPECT_EQ(client()->list({"par"}, 0, 0, 0, nullptr, 0).size(), static_cast<size_t>(clients));
    EXPECT_EQ(stagingFiles(), 0u);
}

TEST_F(LoadTest, MetricsCountARequestOfEachOutcome) {
    start({"--max-sessions-per-account", "1", "--metrics-port", "0"});
    const std::string metricsLine = server->nextLine();
    const int metricsPort = std::stoi(metricsLine.substr(metricsLine.rfind(':') + 1));
    auto c = client();
    ns__StringArray names;
    ns__NumEntryArray counts;
    char* path = nullptr;
    int ret = 0;
    std::string session;
    c->call(soap_call_ns__getDiagnostics, names);
    c->call(soap_call_ns__getNumEntry, s("d"), 1, -1, counts);
    c->call(soap_call_ns__getTavolenDataPath, s("nothing"), 1, 1, path);
    c->call(soap_call_ns__changePassword, s("alice"), s("wrong"), s("x"), ret);
    c->begin(dataSet("m", 1, 1, 10), session);
    c->begin(dataSet("m", 2, 1, 10), session);
    std::filesystem::remove_all(store + "/staging");  // the next upload cannot be staged
    c->begin(dataSet("m", 3, 1, 10), session, "bob", "builder");
    rawExchange(server->port(), post("this is not xml"));

    const std::vector<std::string> expected = {
        "anadata_requests_total{operation=\"getDiagnostics\",outcome=\"ok\"} 1\n",
        "anadata_requests_total{operation=\"getNumEntry\",outcome=\"client_error\"} 1\n",
        "anadata_requests_total{operation=\"getTavolenDataPath\",outcome=\"not_found\"} 1\n",
        "anadata_requests_total{operation=\"changePassword\",outcome=\"unauthorized\"} 1\n",
        "anadata_requests_total{operation=\"beginTavolenDataRegistration\",outcome=\"ok\"} 1\n",
        "anadata_requests_total{operation=\"beginTavolenDataRegistration\",outcome=\"busy\"} 1\n",
        "anadata_requests_total{operation=\"beginTavolenDataRegistration\",outcome=\"server_error\"} 1\n",
        "anadata_requests_total{operation=\"none\",outcome=\"client_error\"} 1\n",
        "anadata_request_duration_seconds_count{operation=\"getDiagnostics\"} 1\n",
        "anadata_login_failures_total 1\n",
        "anadata_upload_sessions 1\n",
        "anadata_staging_announced_bytes 10\n",
    };
    // A request is counted once its answer is out; the client may have read it a moment before.
    std::string metrics;
    auto missing = [&] {
        metrics = rawExchange(metricsPort, "GET /metrics HTTP/1.1\r\n\r\n");
        for (const auto& line : expected)
            if (metrics.find(line) == std::string::npos) return line;
        return std::string();
    };
    std::string absent;
    for (int i = 0; i < 100 && !(absent = missing()).empty(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(absent, "");
    EXPECT_EQ(metrics.compare(0, 15, "HTTP/1.1 200 OK"), 0);
    EXPECT_NE(rawExchange(metricsPort, "GET / HTTP/1.1\r\n\r\n").find("404 Not Found"), std::string::npos);
}

TEST_F(LoadTest, SigtermFinishesRequestsInHandAndDropsOpenUploads) {
    start({"--grace", "1", "--metrics-port", "0"});
    const std::string metricsLine = server->nextLine();
    const int metricsPort = std::stoi(metricsLine.substr(metricsLine.rfind(':') + 1));
    auto c = client();
    std::string session;
    ASSERT_EQ(c->begin(dataSet("cut", 1, 1, 20), session), 0);
    ASSERT_EQ(c->put(session, "0123456789"), 0);
    const std::string block = post(envelope + " xmlns:ns=\"" ANADATA_SERVICE_NAMESPACE "\"><SOAP-ENV:Body><ns:putData>"
                                   "<session>" + session + "</session><bin>YWJjZGVmZ2hpag==</bin></ns:putData>"
                                   "</SOAP-ENV:Body></SOAP-ENV:Envelope>");
    int arriving = connectLoopback(server->port());
    ASSERT_EQ(send(arriving, block.data(), block.size() - 50, MSG_NOSIGNAL), static_cast<ssize_t>(block.size() - 50));
    int stuck = requestInHand(server->port());
    // Both heads must be in the service's hands before the stop; on a loaded machine the accept can lag.
    for (int i = 0; i < 500; ++i) {
        if (rawExchange(metricsPort, "GET /metrics HTTP/1.1\r\n\r\n")
                .find("anadata_open_connections{state=\"serving\"} 2\n") != std::string::npos)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    kill(server->pid(), SIGTERM);
    for (int i = 0; i < 500; ++i) {  // the listener closes once the stop has begun
        int probe = connectLoopback(server->port());
        if (probe < 0) break;
        close(probe);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(send(arriving, block.data() + block.size() - 50, 50, MSG_NOSIGNAL), 50);
    std::string answer;
    char buf[4096];
    for (ssize_t n; (n = read(arriving, buf, sizeof buf)) > 0;) answer.append(buf, static_cast<size_t>(n));
    EXPECT_NE(answer.find("<ret>20</ret>"), std::string::npos) << answer;
    close(arriving);

    auto t0 = std::chrono::steady_clock::now();
    int status = server->stop();  // the stuck request is given up at the end of the grace period
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(3));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    close(stuck);
    EXPECT_EQ(stagingFiles(), 0u);
    start();
    EXPECT_EQ(client()->pathOf("cut", 1, 1), "");
}

TEST_F(LoadTest, LookalikeLengthHeadersAreRefusedOnBothSides) {
    start({"--timeout", "2"});
    for (const char* head : {"HTTP/1.1 492 x\r\nContent-Length: 5\r\n\r\nhello", "HTTP/1.1 200 OK\r\n\r\n"})
        EXPECT_NE(rawExchange(server->port(), head).find("request head is the status line of a reply"),
                  std::string::npos) << head;
    for (const char* head : {"HTTP/1.1 492 x\r\nContent/Length: 20000000000\r\n\r\n",
                             "POST / HTTP/1.1\r\nContent_Length: 20000000000\r\n\r\n",
                             "POST / HTTP/1.1\r\ncontent-length\"x: -598\r\n\r\n"})
        EXPECT_NE(rawExchange(server->port(), head).find("content length violation"), std::string::npos) << head;

    // A service answering that way: the client gives up at the head, without waiting or allocating.
    for (std::string head : {"HTTP/1.1 492 x\r\nContent/Length: -598\r\n\r\n",
                             "HTTP/1.1 492 x\r\nContentXLength: 20000000000\r\n\r\n"}) {
        FakeService fake([&](const std::string&) { return FakeService::Answer{FakeService::Action::reply, head}; });
        struct soap* soap = soap_new();
        soap->send_timeout = soap->recv_timeout = 2;
        limitIncomingMessages(soap, 1 << 20);
        ns__StringArray names;
        EXPECT_EQ(soap_call_ns__getDiagnostics(soap, fake.url().c_str(), nullptr, names), SOAP_LENGTH) << head;
        soap_destroy(soap);
        soap_end(soap);
        soap_free(soap);
    }
}

}  // namespace

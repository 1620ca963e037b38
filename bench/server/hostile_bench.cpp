// What hostile clients cost anadata-server: a normal request while slow connections trickle, refused
// logins of existing and unknown accounts, and a 100 MB ns:getData transfer over https next to http.
//
// hostile_bench [MB] [--server PROGRAM]: PROGRAM defaults to the server of this build; another one
// (an older build) gives the figures it had. Parts a server cannot run (https) are reported skipped.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ServerProcess.h"
#include "ServiceClient.h"
#include "SlowClients.h"
#include "TempDir.h"
#include "TestAuthority.h"

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

std::string program = ANADATA_SERVER_PROGRAM;

void addUser(const std::string& store, const std::string& name) {
    ServerProcess::runToEnd(program, {"--store", store, "--add-user", name}, "right\n");
}

// Seconds of one ns:getDiagnostics on a new connection, or a negative number when it failed.
double diagnosticsCall(const std::string& url, int timeout = 60) {
    ServiceClient c(url, nullptr, timeout);
    ns__StringArray names;
    auto t0 = Clock::now();
    int rc = c.call(soap_call_ns__getDiagnostics, names);
    return rc ? -since(t0) : since(t0);
}

void slowClients(const TempDir& dir) {
    std::string store = dir.file("slow");
    ServerProcess server(program, ServerProcess::storeArgs(store));
    double alone = 1e9;
    for (int i = 0; i < 5; ++i) alone = std::min(alone, diagnosticsCall(server.url()));
    std::printf("normal request, nothing else connected      %8.2f ms\n", alone * 1e3);
    SlowClients slow(server.port(), 8);
    std::this_thread::sleep_for(std::chrono::seconds(3));
    double t = diagnosticsCall(server.url());
    if (t < 0) std::printf("normal request, 8 slow connections trickling  no answer after %.1f s\n", -t);
    else std::printf("normal request, 8 slow connections trickling %8.2f ms\n", t * 1e3);
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

void logins(const TempDir& dir) {
    // Three accounts of each kind, tried in turn three times: 18 failures, below every lock, so that
    // each refusal checks a password, and both kinds see the same load.
    std::string store = dir.file("logins");
    std::vector<std::string> known{"k1", "k2", "k3"}, unknown{"u1", "u2", "u3"};
    for (const auto& name : known) addUser(store, name);
    ServerProcess server(program, ServerProcess::storeArgs(store));
    std::vector<double> times[2];
    for (int round = 0; round < 3; ++round)
        for (size_t i = 0; i < known.size(); ++i)
            for (int kind = 0; kind < 2; ++kind) {
                ServiceClient c(server.url());
                int ret = 0;
                std::string name = kind == 0 ? known[i] : unknown[i];
                auto t0 = Clock::now();
                if (c.call(soap_call_ns__changePassword, s(name), s("wrong"), s("other"), ret) == 0) return;
                times[kind].push_back(since(t0));
            }
    std::printf("refused login, existing account (median of 9)  %8.2f ms\n", median(times[0]) * 1e3);
    std::printf("refused login, unknown  account (median of 9)  %8.2f ms\n", median(times[1]) * 1e3);
}

// Seconds of one download of path through a new connection; negative on failure.
double download(const std::string& url, const char* ca, const std::string& path, size_t expected) {
    ServiceClient c(url, ca);
    std::string back;
    auto t0 = Clock::now();
    if (c.download(path, back) || back.size() != expected) {
        std::printf("download from %s failed: %s\n", url.c_str(), c.fault().c_str());
        return -1;
    }
    return since(t0);
}

// One server, on a store of its own holding the payload; https when given an authority.
struct TransferServer {
    TransferServer(const std::string& store, const std::string& payload, const TestAuthority* tls)
        : ca(tls ? tls->ca.c_str() : nullptr) {
        addUser(store, "bench");
        std::vector<std::string> extra;
        if (tls) extra = {"--tls-cert", tls->certificate, "--tls-key", tls->key};
        server = std::make_unique<ServerProcess>(program, ServerProcess::storeArgs(store, extra));
        ServiceClient up(server->url(), ca);
        if (up.upload("bench", "right", dataSet("bench", 1, 1), payload) == 0) path = up.pathOf("bench", 1, 1);
        else std::printf("upload to %s failed: %s\n", server->url().c_str(), up.fault().c_str());
    }
    std::unique_ptr<ServerProcess> server;
    const char* ca;
    std::string path;
};

void transfer(const TempDir& dir, size_t bytes) {
    std::string payload(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) payload[i] = static_cast<char>((i * 2654435761u) >> 13);
    double mb = static_cast<double>(bytes) / (1 << 20);
    TransferServer plain(dir.file("plain"), payload, nullptr);
    std::unique_ptr<TransferServer> secure;
    TestAuthority authority(dir.path());
    try {
        if (authority.made) secure = std::make_unique<TransferServer>(dir.file("secure"), payload, &authority);
    } catch (const std::exception& e) {
        std::printf("getData over https: skipped (%s)\n", e.what());
    }
    // Rounds alternate between the two, so that both see the same load; the first warms the caches.
    double best[2] = {1e30, 1e30};
    for (int round = 0; round < 4; ++round)
        for (int k = 0; k < (secure ? 2 : 1); ++k) {
            TransferServer& s = k ? *secure : plain;
            double t = download(s.server->url(), s.ca, s.path, bytes);
            if (t < 0) return;
            if (round > 0) best[k] = std::min(best[k], t);
        }
    std::printf("getData %.0f MB over http  (best of 3)      %8.1f MB/s (%.2f s)\n", mb, mb / best[0], best[0]);
    if (secure)
        std::printf("getData %.0f MB over https (best of 3)      %8.1f MB/s (%.2f s)\n", mb, mb / best[1], best[1]);
}

}  // namespace

int main(int argc, char** argv) {
    size_t mb = 100;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--server" && i + 1 < argc) program = argv[++i];
        else mb = std::stoul(arg);
    }
    soap_ssl_init();
    std::printf("server %s\n", program.c_str());
    TempDir dir;
    slowClients(dir);
    logins(dir);
    transfer(dir, mb << 20);
    return 0;
}

// What hostile clients cost anadata-server: a normal request while slow connections trickle, refused
// logins of existing and unknown accounts, and a 100 MB ns:getData transfer over https next to http.
//
// hostile_bench [MB] [--server PROGRAM]: PROGRAM defaults to the server of this build; another one
// (an older build) gives the figures it had. Parts a server cannot run (https) are reported skipped.
#include <algorithm>
#include <chrono>
#include <cstdio>
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

// Median seconds of refused ns:changePassword calls, each account tried `rounds` times.
double refusedLogins(const std::string& url, const std::vector<std::string>& accounts, int rounds) {
    std::vector<double> times;
    for (int r = 0; r < rounds; ++r)
        for (const auto& name : accounts) {
            ServiceClient c(url);
            int ret = 0;
            auto t0 = Clock::now();
            if (c.call(soap_call_ns__changePassword, s(name), s("wrong"), s("other"), ret) == 0) return -1;
            times.push_back(since(t0));
        }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void logins(const TempDir& dir) {
    // Three accounts of each kind, three attempts each: below any lock, so every refusal checks a password.
    std::string store = dir.file("logins");
    std::vector<std::string> known{"k1", "k2", "k3"}, unknown{"u1", "u2", "u3"};
    for (const auto& name : known) addUser(store, name);
    for (const auto* group : {&known, &unknown}) {
        ServerProcess server(program, ServerProcess::storeArgs(store));
        double median = refusedLogins(server.url(), *group, 3);
        std::printf("refused login, %-8s account (median of 9)  %8.2f ms\n", group == &known ? "existing" : "unknown",
                    median * 1e3);
    }
}

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

void transfer(const TempDir& dir, size_t bytes) {
    std::string store = dir.file("transfer");
    addUser(store, "bench");
    std::string payload(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) payload[i] = static_cast<char>((i * 2654435761u) >> 13);
    std::string path;
    double mb = static_cast<double>(bytes) / (1 << 20), plain = -1;
    {
        ServerProcess server(program, ServerProcess::storeArgs(store));
        ServiceClient up(server.url());
        if (up.upload("bench", "right", dataSet("bench", 1, 1), payload)) {
            std::printf("upload failed: %s\n", up.fault().c_str());
            return;
        }
        path = up.pathOf("bench", 1, 1);
        download(server.url(), nullptr, path, bytes);  // warm the page cache
        plain = download(server.url(), nullptr, path, bytes);
    }
    std::printf("getData %.0f MB over http                   %8.1f MB/s (%.2f s)\n", mb, mb / plain, plain);
    TestAuthority authority(dir.path());
    if (!authority.made) {
        std::printf("getData over https: skipped (openssl could not make a certificate)\n");
        return;
    }
    try {
        ServerProcess server(program, ServerProcess::storeArgs(store, {"--tls-cert", authority.certificate,
                                                                       "--tls-key", authority.key}));
        download(server.url(), authority.ca.c_str(), path, bytes);
        double secure = download(server.url(), authority.ca.c_str(), path, bytes);
        std::printf("getData %.0f MB over https                  %8.1f MB/s (%.2f s)\n", mb, mb / secure, secure);
    } catch (const std::exception& e) {
        std::printf("getData over https: skipped (%s)\n", e.what());
    }
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

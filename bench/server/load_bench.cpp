// anadata-server under load: request latency from 127.0.0.1 while 127.0.0.2 holds idle connections,
// 64 clients of one account registering at once through Session::registerRecord, and 8 concurrent
// fetches of a 100 MB data set.
//
// load_bench [MB] [--before PROGRAM]: MB is the size of the fetched data set (default 100); PROGRAM
// is an older build of the server, measured in the same run next to this build's (options it does
// not know are left out for it).
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>

#include "ServerProcess.h"
#include "ServiceClient.h"
#include "SlowClients.h"
#include "TempDir.h"
#include "anadata/session.h"

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point t0) { return std::chrono::duration<double>(Clock::now() - t0).count(); }

struct Build {
    std::string name, program;
    bool current;
};

std::unique_ptr<ServerProcess> startServer(const Build& build, const std::string& store,
                                           std::vector<std::string> options = {}) {
    ServerProcess::runToEnd(build.program, {"--store", store, "--add-user", "bench"}, "bench\n");
    return std::make_unique<ServerProcess>(build.program, ServerProcess::storeArgs(store, options));
}

size_t openDescriptors(pid_t pid) {
    size_t n = 0;
    if (DIR* d = opendir(("/proc/" + std::to_string(pid) + "/fd").c_str())) {
        while (readdir(d)) ++n;
        closedir(d);
    }
    return n > 2 ? n - 2 : 0;
}

// count connections from 127.0.0.2 that send nothing; connected without waiting, so that a full
// listen queue cannot stall the bench.
std::vector<int> idleConnections(int port, int count) {
    std::vector<int> fds;
    for (int i = 0; i < count; ++i) {
        int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        inet_pton(AF_INET, "127.0.0.2", &a.sin_addr);
        if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
            if (fd >= 0) close(fd);
            continue;
        }
        a.sin_port = htons(static_cast<uint16_t>(port));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
        fds.push_back(fd);
    }
    return fds;
}

// Connections the server has not closed (a closed one reads as the end of input).
size_t stillOpen(const std::vector<int>& fds) {
    size_t open = 0;
    for (int fd : fds) {
        char c;
        ssize_t n = recv(fd, &c, 1, MSG_DONTWAIT);
        open += n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
    }
    return open;
}

double percentile(std::vector<double> v, double p) {
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<size_t>(std::ceil(p * v.size())) - 1)];
}

void idleLatency(const TempDir& dir, const Build& build, int idle, const std::vector<std::string>& options,
                 const char* label) {
    std::unique_ptr<ServerProcess> server = startServer(build, dir.file("idle-" + build.name + label), options);
    std::vector<int> fds = idleConnections(server->port(), idle);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // let the server take them in
    const int requests = build.current ? 200 : 10;
    std::vector<double> times;
    int failed = 0;
    for (int i = 0; i < requests && failed < 3; ++i) {
        ServiceClient c(server->url(), nullptr, 15);
        ns__StringArray names;
        auto t0 = Clock::now();
        if (c.call(soap_call_ns__getDiagnostics, names) == 0) times.push_back(since(t0) * 1e3);
        else ++failed;
    }
    std::printf("%-7s %-26s %4d idle: p50 %8.2f ms  p99 %8.2f ms  (%zu answered, %d failed)  idle held %4zu, "
                "server descriptors %4zu\n",
                build.name.c_str(), label, idle, times.empty() ? 0 : percentile(times, 0.5),
                times.empty() ? 0 : percentile(times, 0.99), times.size(), failed, stillOpen(fds),
                openDescriptors(server->pid()));
    for (int fd : fds) close(fd);
}

// A record whose archive is about 1 MB: 87000 rows of two columns of noise.
qx::AnaData oneMegabyte(int shot) {
    const int rows = 87000;
    std::vector<double> t(rows), a(rows), b(rows);
    for (int i = 0; i < rows; ++i) {
        t[i] = i * 1e-6;
        a[i] = std::sin(i * 0.7 + shot) * 3.14159;
        b[i] = std::cos(i * 1.3) / 7.0;
    }
    qx::AnaData rec(1, 2);
    rec.setDiagnostics("par");
    rec.setShotNo(shot);
    rec.setSubNo(1);
    rec.setDate("11/25/2026 10:00");
    rec.setDim(0, "time", "s", rows, t.data());
    rec.setVal(0, "a", "V", rows, a.data());
    rec.setVal(1, "b", "V", rows, b.data());
    return rec;
}

void registrations(const TempDir& dir, const Build& build) {
    const std::string store = dir.file("par-" + build.name);
    std::unique_ptr<ServerProcess> server = startServer(build, store);
    const int clients = 64;
    std::vector<qx::AnaData> records;
    for (int i = 0; i < clients; ++i) records.push_back(oneMegabyte(i + 1));
    std::atomic<int> done{0}, busy{0}, other{0};
    std::string firstError;
    std::mutex mutex;
    auto t0 = Clock::now();
    std::vector<std::thread> threads;
    for (int i = 0; i < clients; ++i)
        threads.emplace_back([&, i] {
            anadata::SessionOptions o;
            o.endpoint = server->url();
            o.account = o.password = "bench";
            o.compressionThreads = 1;
            try {
                anadata::Session(o).registerRecord(records[static_cast<size_t>(i)]);
                ++done;
            } catch (const anadata::Error& e) {
                ++(e.code() == anadata::ErrorCode::busy ? busy : other);
                std::lock_guard<std::mutex> lock(mutex);
                if (firstError.empty()) firstError = e.what();
            }
        });
    for (auto& t : threads) t.join();
    double wall = since(t0);
    ServiceClient c(server->url());
    auto listed = c.list({"par"}, 0, 0, 0, nullptr, 0);
    long long bytes = 0;
    for (auto& e : listed) bytes += e.filelen;
    size_t staging = 0;
    for (const auto& e : std::filesystem::directory_iterator(store + "/staging")) staging += e.is_regular_file();
    std::printf("%-7s 64 clients x registerRecord (%.2f MB archives): %2d completed, %2d busy, %2d other errors, "
                "wall %.2f s, %zu listed, %zu left in staging%s%s\n",
                build.name.c_str(), listed.empty() ? 0.0 : bytes / 1048576.0 / listed.size(), done.load(), busy.load(),
                other.load(), wall, listed.size(), staging, firstError.empty() ? "" : "; first error: ",
                firstError.c_str());
}

// Fetches path in 819200-byte blocks, dropping the bytes; returns how many came.
size_t fetch(const std::string& url, const std::string& path) {
    struct soap* soap = soap_new();
    soap->recv_timeout = soap->send_timeout = 60;
    size_t total = 0;
    for (;;) {
        ns__Binary bin;
        if (soap_call_ns__getData(soap, url.c_str(), nullptr, const_cast<char*>(path.c_str()), static_cast<int>(total),
                                  819200, bin) ||
            bin.__size <= 0)
            break;
        total += static_cast<size_t>(bin.__size);
        soap_end(soap);
    }
    soap_destroy(soap);
    soap_end(soap);
    soap_free(soap);
    return total;
}

struct FetchServer {
    std::unique_ptr<ServerProcess> server;
    std::string path;
};

FetchServer fetchServer(const TempDir& dir, const Build& build, const std::string& payload) {
    FetchServer s{startServer(build, dir.file("fetch-" + build.name)), ""};
    ServiceClient up(s.server->url());
    if (up.upload("bench", "bench", dataSet("big", 1, 1), payload) == 0) s.path = up.pathOf("big", 1, 1);
    else std::printf("upload to %s failed: %s\n", build.name.c_str(), up.fault().c_str());
    return s;
}

void concurrentFetches(const TempDir& dir, const std::vector<Build>& builds, size_t bytes) {
    std::string payload(bytes, '\0');
    for (size_t i = 0; i < bytes; ++i) payload[i] = static_cast<char>((i * 2654435761u) >> 13);
    std::vector<FetchServer> servers;
    for (const Build& b : builds) servers.push_back(fetchServer(dir, b, payload));
    std::vector<double> best(builds.size(), 1e30);
    for (int round = 0; round < 3; ++round)  // the builds take turns, so that both see the same load
        for (size_t k = 0; k < builds.size(); ++k) {
            if (servers[k].path.empty()) continue;
            std::atomic<size_t> got{0};
            auto t0 = Clock::now();
            std::vector<std::thread> threads;
            for (int i = 0; i < 8; ++i)
                threads.emplace_back([&, k] { got += fetch(servers[k].server->url(), servers[k].path); });
            for (auto& t : threads) t.join();
            double wall = since(t0);
            if (got != 8 * bytes) std::printf("%s: %zu of %zu bytes fetched\n", builds[k].name.c_str(), got.load(), 8 * bytes);
            best[k] = std::min(best[k], wall);
        }
    for (size_t k = 0; k < builds.size(); ++k)
        std::printf("%-7s 8 concurrent fetches of %zu MB (best of 3): %7.1f MB/s in all (%.2f s)\n",
                    builds[k].name.c_str(), bytes >> 20, 8.0 * (bytes >> 20) / best[k], best[k]);
}

}  // namespace

int main(int argc, char** argv) {
    size_t mb = 100;
    std::vector<Build> builds{{"after", ANADATA_SERVER_PROGRAM, true}};
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--before" && i + 1 < argc) builds.push_back({"before", argv[++i], false});
        else mb = std::stoul(arg);
    }
    // 1000 idle connections and the bench's own: more descriptors than the usual 1024.
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = std::min<rlim_t>(files.rlim_max, 8192);
    setrlimit(RLIMIT_NOFILE, &files);

    TempDir dir;
    std::printf("getDiagnostics on a new connection from 127.0.0.1, idle connections from 127.0.0.2\n");
    for (const Build& b : builds)
        for (int idle : {0, 100, 1000}) {
            if (!b.current && idle > 100) continue;  // a full listen queue: minutes per request
            idleLatency(dir, b, idle, {}, "defaults");
            if (b.current && idle == 1000)
                idleLatency(dir, b, idle, {"--connections-per-address", "2000"}, "all held (cap 2000)");
        }
    for (const Build& b : builds) registrations(dir, b);
    concurrentFetches(dir, builds, mb << 20);
    return 0;
}

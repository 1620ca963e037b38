// One large archive through a proxy that delays each way (10 ms unless told): fetchFile over one
// connection against 4 and 8 streams, and the same download cut at its middle, against the bytes of
// a download that is not cut. Then 15 MB of it straight from the service over https against http.
// Usage: ranged_bench [megabytes (default 200)] [rounds (default 3)] [delay ms each way (default 10)]
// The archive is random bytes registered as they are (fetched with keepArchive), so that the
// figures are those of the transfer alone, not of inflating or parsing.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "DelayProxy.h"
#include "ServerProcess.h"
#include "ServiceClient.h"
#include "TempDir.h"
#include "TestAuthority.h"
#include <anadata/session.h>

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

// Registers `bytes` as NAME 1/1 through the generated stubs (a file of the service, kept as it is).
void upload(const std::string& url, const char* caFile, const char* name, const std::string& bytes) {
    ServiceClient client(url, caFile);
    if (client.upload("bench", "bench", dataSet(name, 1, 1, 0, (std::string(name) + ".dat.zip").c_str()), bytes) != 0) {
        std::fprintf(stderr, "upload to %s failed: %s\n", url.c_str(), client.fault().c_str());
        std::exit(1);
    }
}

// Seconds of fetchFile (keepArchive) of NAME 1/1 from `url`.
double timeFetch(const std::string& url, const std::string& caFile, const char* name, int streams,
                 const std::string& target) {
    anadata::SessionOptions o;
    o.endpoint = url;
    o.caFile = caFile;
    o.streams = streams;
    anadata::FetchFileOptions keep;
    keep.keepArchive = true;
    const auto start = Clock::now();
    anadata::Session(o).fetchFile(name, 1, 1, target, keep);
    const double seconds = since(start);
    std::filesystem::remove(target);
    return seconds;
}

// The first 15 MB of `bytes` from a service over https against one over plain http, no proxy.
void httpsAgainstHttp(const TempDir& dir, const std::string& plainUrl, const std::string& bytes, int rounds) {
    TestAuthority authority(dir.path());
    if (!authority.made) {
        std::printf("https: openssl could not make the certificates, skipped\n");
        return;
    }
    const std::string store = dir.file("tls-store");
    ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", store, "--add-user", "bench"}, "bench\n");
    ServerProcess tls(ANADATA_SERVER_PROGRAM, ServerProcess::storeArgs(store, {"--log", dir.file("tls-audit"),
                                                                          "--tls-cert", authority.certificate,
                                                                          "--tls-key", authority.key}));
    const std::string mid = bytes.substr(0, std::min<std::size_t>(bytes.size(), 15000000));
    upload(plainUrl, nullptr, "mid", mid);
    upload(tls.url(), authority.ca.c_str(), "mid", mid);
    std::printf("fetchFile of %.0f MB straight from the service, median of %d:\n", mid.size() / 1e6, rounds);
    for (const int streams : {1, 4}) {
        std::vector<double> plain, secure;
        for (int r = 0; r < rounds; ++r) {
            plain.push_back(timeFetch(plainUrl, "", "mid", streams, dir.file("mid")));
            secure.push_back(timeFetch(tls.url(), authority.ca, "mid", streams, dir.file("mid")));
        }
        std::printf("  streams=%d  http %6.3f s  https %6.3f s  %.2fx http\n", streams, median(plain), median(secure),
                    median(secure) / median(plain));
    }
}

struct Bench {
    const ServerProcess& server;
    const TempDir& dir;
    std::chrono::milliseconds delay;
    std::uint64_t size;

    // fetchFile over `streams` through a fresh proxy; the seconds, and the bytes that reached the
    // client. cutAt: the proxy cuts the connection carrying that byte (0: none).
    std::pair<double, std::uint64_t> fetch(int streams, std::uint64_t cutAt = 0) const {
        bench::DelayProxy proxy(server.port(), delay);
        proxy.toClient().cutAt = cutAt;
        anadata::SessionOptions o;
        o.endpoint = proxy.url();
        o.streams = streams;
        o.retryDelay = std::chrono::milliseconds(1);
        anadata::FetchFileOptions keep;
        keep.keepArchive = true;
        const std::string target = dir.file("fetched");
        const auto start = Clock::now();
        anadata::Session(o).fetchFile("big", 1, 1, target, keep);
        const double seconds = since(start);
        const bool whole = std::filesystem::file_size(target) == size;
        std::filesystem::remove(target);
        if (!whole || (cutAt != 0 && proxy.toClient().cutAt != 0)) {
            std::fprintf(stderr, "download incomplete or never cut\n");
            std::exit(1);
        }
        return {seconds, proxy.toClient().moved};
    }
};

}  // namespace

int main(int argc, char** argv) {
    const std::uint64_t megabytes = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 200;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
    const std::chrono::milliseconds delay(argc > 3 ? std::atoi(argv[3]) : 10);

    TempDir dir;
    ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", dir.file("store"), "--add-user", "bench"}, "bench\n");
    ServerProcess server(ANADATA_SERVER_PROGRAM, ServerProcess::storeArgs(dir.file("store"), {"--log", dir.file("audit")}));
    const Bench bench{server, dir, delay, megabytes * 1000000};
    std::string bytes(bench.size, '\0');
    std::mt19937_64 random(1);
    for (std::size_t i = 0; i + 8 <= bytes.size(); i += 8) {
        const std::uint64_t r = random();
        std::copy_n(reinterpret_cast<const char*>(&r), 8, &bytes[i]);
    }
    upload(server.url(), nullptr, "big", bytes);
    std::printf("fetchFile of a %llu MB archive, %lld ms each way, median of %d:\n",
                static_cast<unsigned long long>(megabytes), static_cast<long long>(delay.count()), rounds);
    const int modes[] = {1, 4, 8};
    std::vector<double> times[3];
    std::uint64_t whole = 0;
    for (int r = 0; r < rounds; ++r)
        for (int m = 0; m < 3; ++m) {
            const auto [seconds, moved] = bench.fetch(modes[m]);
            times[m].push_back(seconds);
            whole = moved;
        }
    for (int m = 0; m < 3; ++m)
        std::printf("  streams=%d %7.3f s  %6.1f MB/s  %.2fx streams=1\n", modes[m], median(times[m]),
                    static_cast<double>(bench.size) / 1e6 / median(times[m]), median(times[0]) / median(times[m]));

    std::printf("cut at half way and continued (bytes that reached the client against an uncut download, %llu):\n",
                static_cast<unsigned long long>(whole));
    for (const int streams : {1, 4}) {
        const auto [seconds, moved] = bench.fetch(streams, whole / 2);
        std::printf("  streams=%d %7.3f s  %llu bytes, %.3fx\n", streams, seconds, static_cast<unsigned long long>(moved),
                    static_cast<double>(moved) / static_cast<double>(whole));
    }
    httpsAgainstHttp(dir, server.url(), bytes, rounds);
    return 0;
}

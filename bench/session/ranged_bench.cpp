// One large archive through a proxy that delays each way (10 ms unless told): fetchFile over one
// connection against 4 and 8 streams, and the same download cut at its middle, against the bytes of
// a download that is not cut.
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
#include <anadata/session.h>

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
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
    {
        std::string bytes(bench.size, '\0');
        std::mt19937_64 random(1);
        for (std::size_t i = 0; i + 8 <= bytes.size(); i += 8) {
            const std::uint64_t r = random();
            std::copy_n(reinterpret_cast<const char*>(&r), 8, &bytes[i]);
        }
        ServiceClient client(server.url());
        if (client.upload("bench", "bench", dataSet("big", 1, 1, 0, "big.dat.zip"), bytes) != 0) {
            std::fprintf(stderr, "upload failed: %s\n", client.fault().c_str());
            return 1;
        }
    }
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
    return 0;
}

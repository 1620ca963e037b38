// The local cache against anadata-server on 127.0.0.1, through a proxy that delays each way by 10 ms:
//  1. a shot loop over data sets of 500 points: AnaData::retrieve one by one, Session::fetchMany
//     with 16 jobs without a cache, into an empty cache (cold), and once the cache holds them (warm);
//  2. one data set of 10^6 rows: Session::fetch without a cache against a fetch the cache serves.
// Usage: cached_fetch_bench [shots (default 200)] [rows (default 1000000)] [rounds (default 3)]; the
// runs of one comparison take turns, and each comparison ends with medians and ratios.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "DelayProxy.h"
#include "ServerProcess.h"
#include "TempDir.h"
#include "clsAnaDataAccess.h"
#include <anadata/session.h>

namespace {

using Clock = std::chrono::steady_clock;

// A time base of `points` and two smooth columns over it: numbers with every bit, as measured.
qx::AnaData series(const char* name, int shot, int points) {
    qx::AnaData rec(1, 2);
    rec.setDiagnostics(name);
    rec.setShotNo(shot);
    rec.setSubNo(1);
    rec.setDate("11/25/2026 10:00");
    std::vector<double> column(points);
    for (int c = 0; c < 3; ++c) {
        for (int i = 0; i < points; ++i) column[i] = c == 0 ? i * 2e-6 : std::sin(shot + i * 1e-3 * c) * 3.7 / c;
        if (c == 0) rec.setDim(0, "time", "s", points, column.data());
        else rec.setVal(c - 1, c == 1 ? "signal" : "noise", "V", points, column.data());
    }
    return rec;
}

anadata::SessionOptions sessionOn(const std::string& url, const std::string& cache = "") {
    anadata::SessionOptions o;
    o.endpoint = url;
    o.account = "bench";
    o.password = "bench";
    o.cache.directory = cache;
    return o;
}

// Medians of the runs of each mode, taken in turns round after round, printed with the first
// mode's median over each.
void compare(const char* title, const std::vector<std::pair<const char*, std::function<void()>>>& modes,
             int rounds) {
    std::vector<std::vector<double>> seconds(modes.size());
    for (int r = 0; r < rounds; ++r)
        for (std::size_t m = 0; m < modes.size(); ++m) {
            const auto start = Clock::now();
            modes[m].second();
            seconds[m].push_back(std::chrono::duration<double>(Clock::now() - start).count());
        }
    std::printf("%s\n", title);
    double reference = 0;
    for (std::size_t m = 0; m < modes.size(); ++m) {
        std::sort(seconds[m].begin(), seconds[m].end());
        const double median = seconds[m][seconds[m].size() / 2];
        if (m == 0) reference = median;
        std::printf("  %-28s %8.4f s  %8.1fx the first\n", modes[m].first, median, reference / median);
    }
    std::fflush(stdout);
}

void check(bool good, const char* what) {
    if (good) return;
    std::fprintf(stderr, "cached_fetch_bench: %s failed\n", what);
    std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
    const int count = argc > 1 ? std::atoi(argv[1]) : 200;
    const int rows = argc > 2 ? std::atoi(argv[2]) : 1000000;
    const int rounds = argc > 3 ? std::atoi(argv[3]) : 3;

    TempDir dir;
    ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", dir.file("store"), "--add-user", "bench"}, "bench\n");
    ServerProcess server(ANADATA_SERVER_PROGRAM, ServerProcess::storeArgs(dir.file("store")));
    bench::DelayProxy proxy(server.port(), std::chrono::milliseconds(10));
    const anadata::Session direct(sessionOn(server.url()));
    std::vector<int> shots;
    for (int s = 1; s <= count; ++s) {
        direct.registerRecord(series("loop", s, 500));
        shots.push_back(s);
    }
    direct.registerRecord(series("large", 1, rows));

    // The record's own calls read their settings file.
    std::ofstream(dir.file("client.ini")) << "[tserver]\naccount=bench\npasswd=bench\nendpoint=" << proxy.url() << "\n";
    setenv("CLIENT_INI2", dir.file("client.ini").c_str(), 1);
    qx::clsAnaDataAccess::isInitialized = false;

    const std::string warm = dir.file("warm"), cold = dir.file("cold");
    anadata::BatchOptions jobs;
    jobs.jobs = 16;
    const auto batch = [&](const std::string& cache, bool fromCache) {
        for (const anadata::FetchOutcome& o : anadata::Session(sessionOn(proxy.url(), cache)).fetchMany("loop", shots, 1, jobs))
            check(o.ok() && o.fromCache == fromCache, "fetchMany");
    };
    batch(warm, false);  // fills the warm cache
    std::printf("%d shots of 500 points, 10 ms each way:\n", count);
    compare("shot loop",
            {{"retrieve loop",
              [&] {
                  for (int s : shots) check(qx::AnaData::retrieve("loop", s, 1, false).getShotNo() == s, "retrieve");
              }},
             {"fetchMany(16), no cache", [&] { batch("", false); }},
             {"fetchMany(16), cold cache",
              [&] {
                  std::filesystem::remove_all(cold);
                  batch(cold, false);
              }},
             {"fetchMany(16), warm cache", [&] { batch(warm, true); }}},
            rounds);

    const anadata::Session plain(sessionOn(proxy.url())), cached(sessionOn(proxy.url(), warm));
    check(cached.fetch("large", 1).getValSize() == rows, "fetch");  // fills the cache
    std::printf("one data set of %d rows, 10 ms each way:\n", rows);
    compare("fetch",
            {{"fetch, no cache", [&] { check(plain.fetch("large", 1).getValSize() == rows, "fetch"); }},
             {"fetch, warm cache", [&] { check(cached.fetch("large", 1).getValSize() == rows, "fetch"); }}},
            rounds);
    return 0;
}

// The session layer next to the record's own calls, against anadata-server on 127.0.0.1:
//  1. a shot loop: 200 data sets of 500 points, AnaData::retrieve one by one against
//     Session::fetchMany with 16 jobs, through a proxy that delays each way by 10 ms and plain;
//  2. one data set of 10^6 rows: AnaData::retrieve against Session::fetch (time, peak memory), and
//     AnaData::regist against Session::registerRecord/registerFile by compression threads, and
//     AnaData::regist() against registerFile and `anadata put` (the whole tool run: settings, the
//     file's check and its registration) of the file regist() sends, its 6 digits.
// Usage: session_bench [rows (default 1000000)] [rounds (default 3)]; the runs of one comparison take
// turns, and each comparison ends with medians and ratios.
// Every measurement of part 2 runs in a fresh process of this program, so that its peak memory
// is its own.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "DelayProxy.h"
#include "ServerProcess.h"
#include "TempDir.h"
#include "bench_common.h"
#include "clsAnaDataAccess.h"
#include <anadata/session.h>

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A grid of `rows` points (time by channel) with two value columns.
qx::AnaData makeRecord(const char* name, int shot, long rows) {
    const int channels = rows >= 1000 ? 1000 : 5;
    const int times = static_cast<int>(rows / channels);
    std::vector<double> time(times), channel(channels), signal(static_cast<std::size_t>(times) * channels),
        noise(signal.size());
    for (int t = 0; t < times; ++t) time[t] = t * 1e-6;
    for (int c = 0; c < channels; ++c) channel[c] = c;
    for (std::size_t i = 0; i < signal.size(); ++i) {
        signal[i] = std::sin(i * 1e-3) * 3.7;
        noise[i] = std::cos(i * 7e-4) / 1024.0;
    }
    qx::AnaData rec(2, 2);
    rec.setDiagnostics(name);
    rec.setShotNo(shot);
    rec.setSubNo(1);
    rec.setDate("11/23/2026 10:00");
    rec.setDim(0, "time", "s", times, time.data());
    rec.setDim(1, "channel", "", channels, channel.data());
    rec.setVal(0, "signal", "V", static_cast<int>(signal.size()), signal.data());
    rec.setVal(1, "noise", "V", static_cast<int>(noise.size()), noise.data());
    return rec;
}

// The large data set's name, this run's own: AnaData::regist() stages under /tmp/NAME@SHOT.dat, a
// name every process on the machine shares. A child run by another program fetches "large".
const char* largeName() {
    const char* name = std::getenv("ANADATA_BENCH_NAME");
    return name != nullptr ? name : "large";
}

anadata::SessionOptions optionsFor(const std::string& url) {
    anadata::SessionOptions o;
    o.endpoint = url;
    o.account = "bench";
    o.password = "bench";
    return o;
}

// The settings file of the record's own calls, pointing at url.
void configure(const TempDir& dir, const std::string& url) {
    writeFile(dir.file("client.ini"), "[tserver]\naccount=bench\npasswd=bench\nendpoint=" + url + "\n");
    setenv("CLIENT_INI2", dir.file("client.ini").c_str(), 1);
    qx::clsAnaDataAccess::isInitialized = false;
    qx::clsAnaDataAccess access;
}

void shotLoop(const ServerProcess& server, const TempDir& dir) {
    const int count = 200;
    std::vector<int> shots;
    for (int s = 1; s <= count; ++s) shots.push_back(s);
    anadata::Session direct(optionsFor(server.url()));
    for (int s : shots) direct.registerRecord(makeRecord("loop", s, 500));

    auto faithful = [&](const std::string& url) {
        configure(dir, url);
        const auto start = Clock::now();
        for (int s : shots)
            if (qx::AnaData::retrieve("loop", s, 1, false).getShotNo() != s) std::exit(1);
        return since(start);
    };
    auto batch = [&](const std::string& url) {
        anadata::BatchOptions options;
        options.jobs = 16;
        const auto start = Clock::now();
        for (const auto& o : anadata::Session(optionsFor(url)).fetchMany("loop", shots, 1, options))
            if (!o.ok()) std::exit(1);
        return since(start);
    };
    {
        bench::DelayProxy proxy(server.port(), std::chrono::milliseconds(10));
        const double one = faithful(proxy.url()), many = batch(proxy.url());
        std::printf("shot loop, 10 ms each way: retrieve loop %.2f s, fetchMany(16) %.3f s, %.1fx\n", one, many,
                    one / many);
    }
    const double one = faithful(server.url()), many = batch(server.url());
    std::printf("shot loop, plain loopback: retrieve loop %.0f fetches/s, fetchMany(16) %.0f fetches/s\n",
                count / one, count / many);
}

// Runs this program again as "child MODE URL THREADS", prints its line with its peak memory and
// returns the seconds the child measured.
double measure(const std::string& mode, const std::string& url, int threads) {
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid == 0) {
        const std::string t = std::to_string(threads);
        execl("/proc/self/exe", "session_bench", "child", mode.c_str(), url.c_str(), t.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) std::exit(1);
    std::printf("   peak %4ld MB\n", usage.ru_maxrss / 1024);
    double seconds = 0;
    std::ifstream(std::getenv("ANADATA_BENCH_RESULT")) >> seconds;
    return seconds;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

// The modes of one comparison, run in turn round after round so that a noisy neighbour slows each
// alike; prints each mode's median and the reference's median over it.
void compare(const std::vector<std::pair<std::string, int>>& modes, const std::string& url, int rounds) {
    std::vector<std::vector<double>> times(modes.size());
    for (int r = 0; r < rounds; ++r)
        for (std::size_t m = 0; m < modes.size(); ++m) times[m].push_back(measure(modes[m].first, url, modes[m].second));
    const double reference = median(times[0]);
    for (std::size_t m = 0; m < modes.size(); ++m)
        std::printf("  median %-14s %d thread(s) %6.3f s, %.2fx the first\n", modes[m].first.c_str(), modes[m].second,
                    median(times[m]), reference / median(times[m]));
}

// `anadata put` of the large file at 6 digits as large 1/2 (its own name and shot, so the file goes
// as it is), with the child's settings; true when it succeeds.
bool runTool(const TempDir& dir, int threads) {
#ifdef ANADATA_TOOL_PROGRAM
    const pid_t pid = fork();
    if (pid == 0) {
        if (!std::freopen("/dev/null", "w", stdout)) _exit(127);
        const std::string ini = dir.file("client.ini"), t = std::to_string(threads);
        execl(ANADATA_TOOL_PROGRAM, "anadata", "--ini", ini.c_str(), "--threads", t.c_str(), "put",
              std::getenv("ANADATA_BENCH_FILE6"), "--subshot", "2", nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
#else
    (void)dir;
    (void)threads;
    return false;
#endif
}

int child(const std::string& mode, const std::string& url, int threads) {
    TempDir dir;
    configure(dir, url);
    anadata::SessionOptions options = optionsFor(url);
    options.compressionThreads = threads;
    anadata::Session session(options);
    const auto start = Clock::now();
    auto ready = start;  // a registration is timed from when its record has been read
    if (mode == "retrieve") {
        qx::AnaData rec = qx::AnaData::retrieve(largeName(), 1, 1, false);
        std::printf("retrieve                    %6.3f s (%d points)", since(start), rec.getValSize());
    } else if (mode == "fetch") {
        qx::AnaData rec = session.fetch(largeName(), 1, 1);
        std::printf("Session::fetch              %6.3f s (%d points)", since(start), rec.getValSize());
    } else if (mode == "put") {
        if (!runTool(dir, threads)) return 1;
        std::printf("anadata put (6 digits), %d thread%s %6.3f s", threads, threads == 1 ? " " : "s", since(start));
    } else {
        qx::AnaData rec;
        std::ifstream(std::getenv("ANADATA_BENCH_FILE")) >> rec;
        ready = Clock::now();
        if (mode == "regist") {
            if (!rec.regist()) return 1;
            std::printf("AnaData::regist()           %6.3f s", since(ready));
        } else if (mode == "regist-file") {
            qx::AnaData::regist(largeName(), 3, 1, std::getenv("ANADATA_BENCH_FILE"), "bench", "bench");
            std::printf("AnaData::regist(file)       %6.3f s", since(ready));
        } else if (mode == "register") {
            anadata::RegisterOptions six;  // the digits regist() writes, for the same text
            six.precision = 6;
            session.registerRecord(rec, six);
            std::printf("registerRecord, %d thread%s    %6.3f s", threads, threads == 1 ? " " : "s", since(ready));
        } else {
            const bool six = mode == "register-file6";
            session.registerFile(std::getenv(six ? "ANADATA_BENCH_FILE6" : "ANADATA_BENCH_FILE"), largeName(), 3, 1);
            std::printf("registerFile%s, %d thread%s %s%6.3f s", six ? " (6 digits)" : "", threads,
                        threads == 1 ? " " : "s", six ? "" : "     ", since(ready));
        }
    }
    if (const char* result = std::getenv("ANADATA_BENCH_RESULT"))  // unset when another program runs the child
        std::ofstream(result) << since(ready);
    std::fflush(stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 5 && std::string(argv[1]) == "child") return child(argv[2], argv[3], std::atoi(argv[4]));
    const long rows = argc > 1 ? std::atol(argv[1]) : 1000000;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 3;
    setenv("ANADATA_BENCH_NAME", ("large" + std::to_string(getpid())).c_str(), 1);

    TempDir dir;
    ServerProcess::runToEnd(ANADATA_SERVER_PROGRAM, {"--store", dir.file("store"), "--add-user", "bench"}, "bench\n");
    ServerProcess server(ANADATA_SERVER_PROGRAM, ServerProcess::storeArgs(dir.file("store"), {"--log", dir.file("audit")}));
    shotLoop(server, dir);

    // The large data set at full precision, registered once for the fetches and kept as a file for
    // the registrations, and at the 6 digits that AnaData::regist() writes.
    {
        const qx::AnaData large = makeRecord(largeName(), 1, rows);
        std::ofstream out(dir.file(std::string(largeName()) + ".dat"));
        out.precision(16);
        out << large;
        std::ofstream(dir.file(std::string(largeName()) + "-6.dat")) << large;
        anadata::RegisterOptions full;
        full.precision = 16;
        anadata::Session(optionsFor(server.url())).registerRecord(large, full);
    }
    setenv("ANADATA_BENCH_FILE", dir.file(std::string(largeName()) + ".dat").c_str(), 1);
    setenv("ANADATA_BENCH_FILE6", dir.file(std::string(largeName()) + "-6.dat").c_str(), 1);
    std::printf("one data set of %ld rows (%.0f MB of text):\n", rows,
                static_cast<double>(std::ifstream(std::getenv("ANADATA_BENCH_FILE"), std::ios::ate).tellg()) / 1e6);
    setenv("ANADATA_BENCH_RESULT", dir.file("seconds").c_str(), 1);
    compare({{"retrieve", 0}, {"fetch", 0}}, server.url(), rounds);
    compare({{"regist", 0}, {"register", 1}, {"register", 2}}, server.url(), rounds);
    compare({{"regist-file", 0}, {"register-file", 1}, {"register-file", 2}}, server.url(), rounds);
#ifdef ANADATA_TOOL_PROGRAM
    compare({{"regist", 0}, {"register-file6", 2}, {"put", 2}}, server.url(), rounds);
#endif
    for (const auto& e : anadata::Session(optionsFor(server.url())).search({{largeName()}, 0, 0, 0, "", 0}))
        std::printf("archive of %s %d/%d: %lld bytes\n", e.name.c_str(), e.shot, e.subshot,
                    static_cast<long long>(e.size));
    return 0;
}

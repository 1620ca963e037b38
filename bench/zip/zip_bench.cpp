// Times qx::minizip and qx::unzip against `zip -6` and `unzip -p` on one generated data file.
// Usage: bench_zip [megabytes (default 100)] [work directory (default /tmp)] [rounds (default 3)]
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>

#include <unistd.h>

#include "anadata_util.h"

namespace {

// A text data file like the service stores: rows of grid coordinates and values in %e form.
void writeDataFile(const std::string& path, std::size_t bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    std::mt19937_64 random(20090317);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::string row;
    char number[32];
    std::size_t written = 0;
    for (long i = 0; written < bytes; ++i) {
        row.clear();
        for (double value : {static_cast<double>(i % 1024) * 0.01, static_cast<double>(i / 1024) * 0.5,
                             std::sin(i * 1e-3) + noise(random)}) {
            auto end = std::to_chars(number, number + sizeof number, value, std::chars_format::scientific, 6).ptr;
            if (!row.empty()) row += ',';
            row.append(number, end);
        }
        row += '\n';
        out << row;
        written += row.size();
    }
}

double bestSeconds(int rounds, const std::function<bool()>& step) {
    double best = 1e30;
    for (int r = 0; r < rounds; ++r) {
        auto start = std::chrono::steady_clock::now();
        if (!step()) {
            std::fprintf(stderr, "step failed\n");
            std::exit(1);
        }
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t megabytes = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 100;
    std::string base = argc > 2 ? argv[2] : "/tmp";
    int rounds = argc > 3 ? std::atoi(argv[3]) : 3;
    std::string dir = base + "/bench-zip-XXXXXX";
    if (::mkdtemp(dir.data()) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    std::string data = dir + "/data.dat", ours = dir + "/ours.zip", theirs = dir + "/theirs.zip";
    writeDataFile(data, megabytes << 20);

    double pack = bestSeconds(rounds, [&] { return qx::minizip(ours, data) == 0; });
    double zip = bestSeconds(rounds, [&] {
        std::filesystem::remove(theirs);
        return std::system(("zip -6 -q -j " + theirs + " " + data).c_str()) == 0;
    });
    double unpack = bestSeconds(rounds, [&] { return qx::unzip(ours, dir + "/out1") == 0; });
    double unzip = bestSeconds(rounds, [&] {
        return std::system(("unzip -p " + theirs + " > " + dir + "/out2").c_str()) == 0;
    });

    std::printf("data file      %zu bytes, archives: ours %ju bytes, zip -6 %ju bytes\n",
                static_cast<std::size_t>(std::filesystem::file_size(data)),
                static_cast<std::uintmax_t>(std::filesystem::file_size(ours)),
                static_cast<std::uintmax_t>(std::filesystem::file_size(theirs)));
    std::printf("pack   qx::minizip %.3f s   zip -6   %.3f s   ratio %.3f\n", pack, zip, pack / zip);
    std::printf("unpack qx::unzip   %.3f s   unzip -p %.3f s   ratio %.3f\n", unpack, unzip, unpack / unzip);
    std::filesystem::remove_all(dir);
    return 0;
}

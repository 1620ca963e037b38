// Helpers shared by the benchmark programs: a generated data file and best-of-N timing.
#pragma once

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <string>

namespace bench {

// Rows of grid coordinates and values in %e form, as the service stores them (about 28% zipped).
// The seed is fixed so that every run times the same bytes.
inline void writeDataFile(const std::string& path, std::size_t bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    std::mt19937_64 random(20090317);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::string row;
    char number[32];
    std::size_t written = 0;
    for (long i = 0; written < bytes; ++i) {
        row.clear();
        for (double value : {static_cast<double>(i % 1024) * 0.01, static_cast<double>(i / 1024) * 0.5,
                             std::sin(static_cast<double>(i) * 1e-3) + noise(random)}) {
            auto end = std::to_chars(number, number + sizeof number, value, std::chars_format::scientific, 6).ptr;
            if (!row.empty()) row += ',';
            row.append(number, end);
        }
        row += '\n';
        out << row;
        written += row.size();
    }
}

// The fastest of `rounds` runs of `step`, in seconds; a failing step ends the program.
inline double bestSeconds(int rounds, const std::function<bool()>& step) {
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

}  // namespace bench

// Loading a 10^6-row record from a warm local cache entry, next to reading the same record from a
// dump file and from a text file, and storing it in the cache next to writing the dump file. The
// machine is shared: the contenders of each comparison take turns, and medians are reported.
// Then a batch of 200 shots of 500 points each: one lookupMany against 200 dump files.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <anadata/anadata.h>

#include "cache_store.h"

namespace {

constexpr int bigRows = 1000000;
constexpr int rounds = 15;

// One time axis and three profiles of `points` points each.
qx::AnaData profilesOf(int points) {
    qx::AnaData rec(1, 3);
    rec.setDiagnostics("profiles");
    rec.setShotNo(200000);
    rec.setDate("01/02/2026 03:04");
    std::vector<double> column(points);
    for (int i = 0; i < points; ++i) column[static_cast<std::size_t>(i)] = 1e-6 * i;
    rec.setDim(0, "Time", "s", points, column.data());
    const char* names[] = {"ne", "te", "pe"};
    for (int v = 0; v < 3; ++v) {
        for (int i = 0; i < points; ++i) column[static_cast<std::size_t>(i)] = std::exp(-1e-6 * i * (v + 1)) * (v + 1.5);
        rec.setVal(v, names[v], "a.u.", points, column.data());
    }
    return rec;
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// Runs the contenders in turn `rounds` times; prints each one's median time and the first's
// median over it. A contender that fails ends the program.
void compare(const char* title, int rounds, const std::vector<std::pair<const char*, std::function<bool()>>>& runs) {
    std::vector<std::vector<double>> times(runs.size());
    for (int r = 0; r < rounds; ++r) {
        for (std::size_t i = 0; i < runs.size(); ++i) {
            const auto start = std::chrono::steady_clock::now();
            if (!runs[i].second()) {
                std::fprintf(stderr, "%s failed\n", runs[i].first);
                std::exit(1);
            }
            times[i].push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        }
    }
    std::printf("\n%s (median of %d)\n", title, rounds);
    for (std::size_t i = 0; i < runs.size(); ++i)
        std::printf("  %-34s %8.2f ms   %5.2fx the first\n", runs[i].first, median(times[i]) * 1e3,
                    median(times[0]) / median(times[i]));
}

}  // namespace

int main() {
    const char* tmp = std::getenv("TMPDIR");
    std::string dir = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/anadata-cache-bench-XXXXXX";
    if (mkdtemp(dir.data()) == nullptr) return 1;
    const std::string dumpPath = dir + "/profiles.dump", textPath = dir + "/profiles.dat";
    anadata::CacheOptions options;
    options.directory = dir + "/cache";
    const anadata::detail::CacheStore store(options);
    const anadata::detail::CacheKey key{"http://127.0.0.1:1/", "profiles", 200000, 1};
    anadata::Entry row;
    row.filename = "profiles@200000.dat.zip";
    row.filedate = "2026-01-02 03:04:05";
    row.size = 12345678;

    const qx::AnaData rec = profilesOf(bigRows);
    std::printf("record: %d rows, 1 dimension and 3 values (%.1f MB of numbers)\n", bigRows, 4.0 * bigRows * 8 / 1e6);
    {
        std::ofstream text(textPath, std::ios::binary);
        text.precision(16);
        text << rec;
    }
    compare("writing", rounds,
            {{"dump file (AnaData::dump)",
              [&] {
                  std::ofstream out(dumpPath, std::ios::binary);
                  rec.dump(out);
                  return static_cast<bool>(out);
              }},
             {"cache entry (store)", [&] { return store.store(key, row, rec); }}});
    compare("reading, files in the page cache", rounds,
            {{"dump file (AnaData::restore)",
              [&] {
                  std::ifstream in(dumpPath, std::ios::binary);
                  return qx::AnaData::restore(in).getValSize() == bigRows && static_cast<bool>(in);
              }},
             {"warm cache entry (lookup)",
              [&] {
                  const auto hit = store.lookup(key, row);
                  return hit && hit->getValSize() == bigRows;
              }}});
    compare("reading the text file", 3,
            {{"text file (operator>>)", [&] {
                  std::ifstream in(textPath, std::ios::binary);
                  qx::AnaData back;
                  in >> back;
                  return back.getValSize() == bigRows;
              }}});
    std::printf("entry %.1f MB, dump file %.1f MB, text file %.1f MB\n", store.stats().bytes / 1e6,
                std::filesystem::file_size(dumpPath) / 1e6, std::filesystem::file_size(textPath) / 1e6);

    // A shot loop's worth: 200 small records, looked up as one batch against one listing.
    constexpr int shots = 200;
    std::vector<int> shotList;
    std::vector<anadata::Entry> listing;
    const qx::AnaData small = profilesOf(500);
    for (int shot = 1; shot <= shots; ++shot) {
        anadata::Entry listed = row;
        listed.shot = shot;
        listed.subshot = 1;
        shotList.push_back(shot);
        listing.push_back(listed);
        if (!store.store({key.endpoint, key.name, shot, 1}, listed, small)) return 1;
        std::ofstream out(dir + "/small" + std::to_string(shot) + ".dump", std::ios::binary);
        small.dump(out);
    }
    compare("200 shots of 500 points", rounds,
            {{"200 dump files (AnaData::restore)",
              [&] {
                  for (int shot = 1; shot <= shots; ++shot) {
                      std::ifstream in(dir + "/small" + std::to_string(shot) + ".dump", std::ios::binary);
                      if (qx::AnaData::restore(in).getValSize() != 500) return false;
                  }
                  return true;
              }},
             {"one lookupMany of 200 entries", [&] {
                  const auto items = store.lookupMany(key.endpoint, key.name, 1, shotList, listing);
                  return std::all_of(items.begin(), items.end(), [](const auto& item) { return item.record.has_value(); });
              }}});

    std::filesystem::remove_all(dir);
    return 0;
}

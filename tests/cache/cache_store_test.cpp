// Tests of the local cache's store: validation against the catalogue row, corrupt and planted
// files, writers in two processes, eviction order, and the [cache] settings.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "TempDir.h"
#include "cache_store.h"
#include <anadata/session.h>

using anadata::CacheOptions;
using anadata::Entry;
using anadata::detail::CacheKey;
using anadata::detail::CacheStore;

namespace {

qx::AnaData makeRecord(int shot, int points, double scale = 1.0) {
    qx::AnaData rec(1, 1);
    rec.setDiagnostics("ne");
    rec.setShotNo(shot);
    rec.addComment("cache test");
    std::vector<double> x(static_cast<std::size_t>(points)), y(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) {
        x[i] = 0.5 * static_cast<double>(i);
        y[i] = scale / (1.0 + static_cast<double>(i));
    }
    rec.setDim(0, "Time", "s", points, x.data());
    rec.setVal(0, "ne", "m^-3", points, y.data());
    return rec;
}

std::string dumpOf(const qx::AnaData& rec) {
    std::ostringstream out;
    rec.dump(out);
    return out.str();
}

Entry rowOf(int shot, const std::string& date = "2026-01-02 03:04:05", std::int64_t size = 1000) {
    Entry row;
    row.name = "ne";
    row.shot = shot;
    row.subshot = 1;
    row.filename = "ne@" + std::to_string(shot) + ".dat.zip";
    row.filedate = date;
    row.user = "analyst";
    row.size = size;
    return row;
}

CacheKey keyOf(int shot) {
    return CacheKey{"http://127.0.0.1:1/", "ne", shot, 1};
}

class Cache : public ::testing::Test {
protected:
    TempDir dir;
    CacheOptions options() const {
        CacheOptions o;
        o.directory = dir.path();
        return o;
    }
    // The entry files below the cache's directory.
    std::vector<std::filesystem::path> entryFiles() const {
        std::vector<std::filesystem::path> files;
        for (const auto& item : std::filesystem::recursive_directory_iterator(dir.path()))
            if (item.path().extension() == ".entry") files.push_back(item.path());
        return files;
    }
};

}  // namespace

TEST_F(Cache, ServedOnlyUnderTheSameCatalogueRow) {
    const CacheStore store(options());
    const qx::AnaData rec = makeRecord(7, 100);
    EXPECT_FALSE(store.lookup(keyOf(7), rowOf(7)));
    ASSERT_TRUE(store.store(keyOf(7), rowOf(7), rec));

    const auto hit = store.lookup(keyOf(7), rowOf(7));
    ASSERT_TRUE(hit);
    EXPECT_EQ(dumpOf(*hit), dumpOf(rec));
    // A re-registered data set: another date or size is another file.
    EXPECT_FALSE(store.lookup(keyOf(7), rowOf(7, "2026-01-02 03:04:06")));
    EXPECT_FALSE(store.lookup(keyOf(7), rowOf(7, "2026-01-02 03:04:05", 1001)));
    EXPECT_FALSE(store.lookup(CacheKey{"http://127.0.0.1:2/", "ne", 7, 1}, rowOf(7)));
    EXPECT_FALSE(store.lookup(CacheKey{"http://127.0.0.1:1/", "ne", 7, 2}, rowOf(7)));

    // Offline, what is held is served with the row it was stored under.
    const auto held = store.lookupOffline(keyOf(7));
    ASSERT_TRUE(held);
    EXPECT_EQ(dumpOf(held->record), dumpOf(rec));
    EXPECT_EQ(held->row.filedate, "2026-01-02 03:04:05");
    EXPECT_EQ(held->row.filename, "ne@7.dat.zip");

    // A batch: shot 8 is listed but not held, shot 9 not listed, shot 7 held under a newer row.
    std::vector<Entry> listing = {rowOf(8), rowOf(7)};
    auto items = store.lookupMany("http://127.0.0.1:1/", "ne", 1, {7, 8, 9}, listing);
    ASSERT_EQ(items.size(), 3u);
    EXPECT_TRUE(items[0].record && items[0].listed == &listing[1]);
    EXPECT_TRUE(!items[1].record && items[1].listed == &listing[0]);
    EXPECT_TRUE(!items[2].record && items[2].listed == nullptr);
    listing[1].size = 2000;
    items = store.lookupMany("http://127.0.0.1:1/", "ne", 1, {7}, listing);
    EXPECT_FALSE(items[0].record);
}

TEST_F(Cache, CorruptEntriesAreDroppedAndPlantedFilesIgnored) {
    const CacheStore store(options());
    const qx::AnaData rec = makeRecord(1, 5000);
    ASSERT_TRUE(store.store(keyOf(1), rowOf(1), rec));
    const std::filesystem::path file = entryFiles().at(0);
    const std::string good = readFile(file.string());

    // One bit of one number, the header, a cut: each is removed and never returned.
    for (const std::size_t at : {good.size() - 4000, std::size_t(30), good.size()}) {
        std::string bad = good;
        if (at < bad.size())
            bad[at] = static_cast<char>(bad[at] ^ 1);
        else
            bad.resize(good.size() / 2);
        writeFile(file.string(), bad);
        EXPECT_FALSE(store.lookup(keyOf(1), rowOf(1))) << at;
        EXPECT_FALSE(std::filesystem::exists(file)) << at;
    }
    // Garbage with a huge length field under the entry's name.
    writeFile(file.string(), std::string("ADCACHE1\xff\xff\xff\x7f", 12) + std::string(100, 'x'));
    EXPECT_FALSE(store.lookupOffline(keyOf(1)));

    // A link, a FIFO and a directory where the entry belongs: misses, nothing followed or removed.
    TempDir elsewhere;
    writeFile(elsewhere.file("target"), good);
    std::filesystem::create_symlink(elsewhere.file("target"), file);
    EXPECT_FALSE(store.lookup(keyOf(1), rowOf(1)));
    std::filesystem::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(store.lookup(keyOf(1), rowOf(1)));
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_FALSE(store.lookup(keyOf(1), rowOf(1)));
    EXPECT_FALSE(store.store(keyOf(1), rowOf(1), rec));
    EXPECT_TRUE(std::filesystem::is_directory(file));
    EXPECT_EQ(readFile(elsewhere.file("target")), good);
    // The failed store left no temporary file behind.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(file.parent_path()), {}), 1);
}

// Two processes write the same entry over and over while this one reads it: every read is one of
// the two records whole, and nothing is ever taken for corrupt and removed.
TEST_F(Cache, TwoProcessesFillingOneEntry) {
    const qx::AnaData records[2] = {makeRecord(3, 100000, 1.0), makeRecord(3, 100000, 2.0)};
    const std::string dumps[2] = {dumpOf(records[0]), dumpOf(records[1])};
    pid_t writers[2];
    for (int w = 0; w < 2; ++w) {
        writers[w] = ::fork();
        ASSERT_GE(writers[w], 0);
        if (writers[w] == 0) {
            const CacheStore own(options());
            bool ok = true;
            for (int i = 0; i < 15; ++i) ok = own.store(keyOf(3), rowOf(3), records[w]) && ok;
            ::_exit(ok ? 0 : 1);
        }
    }
    const CacheStore store(options());
    int hits = 0, missesAfterHit = 0;
    for (int running = 2; running > 0;) {
        // Once there, the entry is only ever replaced whole: a miss would be a half entry seen,
        // or a good one taken for corrupt.
        if (const auto hit = store.lookup(keyOf(3), rowOf(3))) {
            const std::string got = dumpOf(*hit);
            EXPECT_TRUE(got == dumps[0] || got == dumps[1]);
            ++hits;
        } else if (hits > 0) {
            ++missesAfterHit;
        }
        running = 0;
        for (pid_t w : writers) running += ::waitpid(w, nullptr, WNOHANG) == 0 ? 1 : 0;
    }
    for (pid_t w : writers) {
        int status = 0;
        ::waitpid(w, &status, 0);
    }
    EXPECT_EQ(missesAfterHit, 0);
    ASSERT_TRUE(store.lookup(keyOf(3), rowOf(3)));
    EXPECT_EQ(entryFiles().size(), 1u);
    EXPECT_EQ(store.stats().entries, 1u);
    // Only the entry is left in its shard: every writer's temporary file was renamed or removed.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(entryFiles().at(0).parent_path()), {}), 1);
    RecordProperty("reads_that_hit", hits);
}

TEST_F(Cache, LeastRecentlyUsedAreEvictedFirstAndOnlyCacheFilesRemoved) {
    // Five entries of about 8 KiB against a limit of 4.5: trimming keeps 7/8 of it, three entries.
    CacheOptions small = options();
    const qx::AnaData rec = makeRecord(0, 500);
    small.maxBytes = 0;
    {
        const CacheStore probe(options());
        ASSERT_TRUE(probe.store(keyOf(100), rowOf(100), rec));
        small.maxBytes = probe.stats().bytes * 9 / 2;
        probe.clear();
    }
    const CacheStore store(small);
    for (int shot = 1; shot <= 4; ++shot) ASSERT_TRUE(store.store(keyOf(shot), rowOf(shot), rec));
    ASSERT_TRUE(store.lookup(keyOf(1), rowOf(1)));  // now the most recently used
    ASSERT_TRUE(store.store(keyOf(5), rowOf(5), rec));
    store.prune();
    std::vector<int> held;
    for (int shot = 1; shot <= 5; ++shot)
        if (store.lookupOffline(keyOf(shot))) held.push_back(shot);
    EXPECT_EQ(held, (std::vector<int>{1, 4, 5}));

    // clear removes the entries and nothing else that happens to be in the directory.
    writeFile(dir.file("notes.txt"), "mine");
    writeFile(dir.file("anadata-cache-v1/notes.txt"), "mine too");
    const anadata::CacheInfo removed = anadata::clearCache(small);
    EXPECT_EQ(removed.entries, 3u);
    EXPECT_EQ(anadata::cacheInfo(small).entries, 0u);
    EXPECT_EQ(readFile(dir.file("notes.txt")), "mine");
    EXPECT_EQ(readFile(dir.file("anadata-cache-v1/notes.txt")), "mine too");
}

TEST_F(Cache, SettingsSection) {
    ::setenv("HOME", dir.path().c_str(), 1);
    writeFile(dir.file("a.ini"), "[tserver]\nendpoint=http://127.0.0.1:1/\n[cache]\ndir= ~/cache \nmax_bytes=3G\n"
                                 "account=still-tserver\n[other]\ndir=/not/this\n");
    const anadata::SessionOptions o = anadata::loadSettings(dir.file("a.ini"));
    EXPECT_EQ(o.cache.directory, dir.path() + "/cache");
    EXPECT_EQ(o.cache.maxBytes, std::uint64_t(3) << 30);
    EXPECT_EQ(o.account, "still-tserver");  // [cache] leaves the section before it in force

    writeFile(dir.file("b.ini"), "[cache]\nmax_bytes=12x\n");
    try {
        anadata::loadSettings(dir.file("b.ini"));
        ADD_FAILURE() << "max_bytes=12x was taken";
    } catch (const anadata::Error& e) {
        EXPECT_EQ(e.code(), anadata::ErrorCode::local_io);
        EXPECT_NE(std::string(e.what()).find("max_bytes=12x"), std::string::npos);
    }
    writeFile(dir.file("c.ini"), "[tserver]\nendpoint=http://127.0.0.1:1/\n");
    EXPECT_TRUE(anadata::loadSettings(dir.file("c.ini")).cache.directory.empty());
}

TEST(CacheKeys, TheSpellingsOfOneEndpointShareTheirEntries) {
    using anadata::detail::cacheEndpoint;
    EXPECT_EQ(cacheEndpoint("HTTP://Host.Example:80"), "http://host.example/");
    EXPECT_EQ(cacheEndpoint("https://h:443/svc"), cacheEndpoint("https://H/svc"));
    EXPECT_EQ(cacheEndpoint("http://Alice@h:8080"), "http://Alice@h:8080/");
    EXPECT_NE(cacheEndpoint("http://h:443/"), cacheEndpoint("https://h/"));
}

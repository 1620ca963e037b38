// The local cache of fetched records: lookups checked against the catalogue row, stores that
// other processes never see half done, and the size limit kept by evicting the least recently used.
#ifndef ANADATA_CACHE_CACHE_STORE_H
#define ANADATA_CACHE_CACHE_STORE_H

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <anadata/anadata.h>
#include <anadata/cache.h>
#include "cache_key.h"
#include <anadata/session.h>

namespace anadata::detail {

// One object per session; any number of threads, objects and processes may use one directory at
// once. Lookups never throw: a missing, stale, foreign or unreadable entry is a miss, and a
// corrupt one (bad header or checksum, truncated, not a dump) is removed as well. Only the
// filename, filedate, user and size of an Entry are kept and compared.
class CacheStore {
public:
    // Throws Error(local_io) when options.directory is empty. Touches no file.
    explicit CacheStore(CacheOptions options);
    CacheStore(const CacheStore&) = delete;
    CacheStore& operator=(const CacheStore&) = delete;

    const CacheOptions& options() const { return options_; }

    // The record of `key` when its entry was stored under the same catalogue row as `row`; the
    // entry counts as used now.
    std::optional<qx::AnaData> lookup(const CacheKey& key, const Entry& row) const;

    // Whatever the cache holds for `key`, with the row it was stored under (name, shot and
    // subshot of the key; filename, filedate, user and size as stored): for working offline.
    struct Held {
        qx::AnaData record;
        Entry row;
    };
    std::optional<Held> lookupOffline(const CacheKey& key) const;

    // One catalogue listing against many shots of one name: per shot (in the order given) the
    // listing's row for (name, shot, subshot), null when the listing has none, and the cached
    // record when the cache holds it under that row. Entries are read one after another.
    struct BatchItem {
        const Entry* listed = nullptr;  // points into `listing`
        std::optional<qx::AnaData> record;
    };
    std::vector<BatchItem> lookupMany(const std::string& endpoint, const std::string& name, int subshot,
                                      const std::vector<int>& shots, const std::vector<Entry>& listing) const;

    // Keeps `record` as the entry of `key`, fetched under `row`, replacing what was there; now and
    // then trims the cache to its limit. False, with nothing changed, when the entry cannot be
    // written or alone would pass the limit: a cache that cannot keep something is no failure.
    bool store(const CacheKey& key, const Entry& row, const qx::AnaData& record) const;

    // See cacheInfo, clearCache and pruneCache in cache.h; these throw the same errors.
    CacheInfo stats() const;
    CacheInfo clear() const;
    CacheInfo prune() const;

private:
    struct Found;
    std::optional<Found> load(const CacheKey& key, const Entry* row) const;
    std::uint64_t trimInterval() const;

    CacheOptions options_;
    // Bytes stored since this object last trimmed the cache; it starts at a random share of the
    // trimming interval, so that many short-lived processes trim as often as one long one.
    mutable std::atomic<std::uint64_t> sinceTrim_;
};

}  // namespace anadata::detail

#endif

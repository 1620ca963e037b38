// The local cache of fetched records: lookups checked against the catalogue row, stores that
// other processes never see half done, and the size limit kept by evicting the least recently used.
#ifndef ANADATA_CACHE_CACHE_STORE_H
#define ANADATA_CACHE_CACHE_STORE_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <anadata/anadata.h>
#include <anadata/cache.h>
#include "cache_directory.h"
#include "cache_key.h"
#include "entry_header.h"
#include <anadata/session.h>

namespace anadata::detail {

// An entry file whose header was found sound, held open; its payload is checked as it is read.
struct OpenEntry {
    Descriptor shard;
    Descriptor file;
    struct stat info {};
    EntryName where{};
    EntryHeader header;
    std::size_t headerBytes = 0;

    // Removes the entry unless another process has put a new one in its place meanwhile.
    void drop() const;
};

// A file entry (PayloadKind dataFile or archive) found under the row asked for, not read yet.
class CachedFile {
public:
    // The row it was stored under (name, shot and sub-shot of the key; filename, filedate, user
    // and size as stored).
    const Entry& row() const { return row_; }
    std::uint64_t bytes() const { return entry_.header.payloadBytes; }

    // Hands the file's bytes to `write` in pieces, in order. True when every byte went and their
    // checksum holds; false for a corrupt entry, which is removed: the caller then throws away
    // what it was given. Whatever `write` throws passes through.
    bool copyTo(const std::function<void(const char* data, std::size_t size)>& write) const;

private:
    friend class CacheStore;
    CachedFile(OpenEntry entry, Entry row) : entry_(std::move(entry)), row_(std::move(row)) {}
    OpenEntry entry_;
    Entry row_;
};

// One object per session; any number of threads, objects and processes may use one directory at
// once. Lookups never throw: a missing, stale, foreign or unreadable entry is a miss, and a
// corrupt one (bad header or checksum, truncated, not a dump) is removed as well. Only the
// filename, filedate, user and size of an Entry are kept and compared. lookup, lookupOffline and
// lookupMany read record entries (PayloadKind::record), whatever the kind of the key given.
class CacheStore {
public:
    // Throws Error(local_io) when options.directory is empty. Touches no file.
    explicit CacheStore(CacheOptions options);
    CacheStore(const CacheStore&) = delete;
    CacheStore& operator=(const CacheStore&) = delete;

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

    // The file entry of `key` (a file kind) when it was stored under the same catalogue row as
    // `row`, or under any row when `row` is null (offline); the entry counts as used now.
    std::optional<CachedFile> lookupFile(const CacheKey& key, const Entry* row) const;

    // Keeps `record` as the entry of `key`, fetched under `row`, replacing what was there; now and
    // then trims the cache to its limit. False, with nothing changed, when the entry cannot be
    // written or alone would pass the limit: a cache that cannot keep something is no failure.
    bool store(const CacheKey& key, const Entry& row, const qx::AnaData& record) const;
    // The same for the bytes of the file at `path` (a key of a file kind), as they are now.
    bool storeFile(const CacheKey& key, const Entry& row, const std::string& path) const;

    // See cacheInfo, clearCache and pruneCache in cache.h; these throw the same errors.
    CacheInfo stats() const;
    CacheInfo clear() const;
    CacheInfo prune() const;

private:
    struct Found;
    std::optional<OpenEntry> open(const CacheKey& key, const Entry* row) const;
    std::optional<Found> load(const CacheKey& key, const Entry* row) const;
    bool write(const CacheKey& key, const Entry& row, const std::function<bool(std::ostream&)>& payload) const;
    std::uint64_t trimInterval() const;

    CacheOptions options_;
    // Bytes stored since this object last trimmed the cache; it starts at a random share of the
    // trimming interval, so that many short-lived processes trim as often as one long one.
    mutable std::atomic<std::uint64_t> sinceTrim_;
};

}  // namespace anadata::detail

#endif

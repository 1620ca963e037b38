// Walking the cache's shards to count, empty and trim it.
#include "cache_upkeep.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <functional>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "cache_directory.h"
#include "cache_key.h"

namespace anadata::detail {

namespace {

// A writer that has not touched its temporary file for this long is gone.
constexpr std::time_t abandonedAfter = 3600;
// Eviction candidates held per pass; a cache with more entries to evict takes further passes.
constexpr std::size_t candidatesPerPass = 4096;

using Visit = std::function<void(int shard, const char* shardName, const char* name, const struct stat& info)>;

[[noreturn]] void failOn(const CacheOptions& options) {
    throw Error(ErrorCode::local_io,
                "cache " + entriesDirectory(options.directory) + ": " + std::strerror(errno));
}

// The names of a directory, read through its own descriptor.
void forEachName(int dir, const std::function<void(const char*)>& visit) {
    const int copy = ::dup(dir);
    if (copy < 0) return;
    DIR* listing = ::fdopendir(copy);
    if (listing == nullptr) {
        ::close(copy);
        return;
    }
    while (const dirent* item = ::readdir(listing)) visit(item->d_name);
    ::closedir(listing);
}

// Calls visit for every regular entry file of every shard; removes abandoned temporary files
// when `sweep` is set. Returns false when there is no cache directory yet.
bool walk(const CacheOptions& options, bool sweep, const Visit& visit) {
    if (options.directory.empty()) throw Error(ErrorCode::local_io, "cache: no directory configured");
    const Descriptor entries = openEntries(options.directory, false);
    if (!entries) {
        if (errno == ENOENT) return false;
        failOn(options);
    }
    const std::time_t now = std::time(nullptr);
    forEachName(entries.get(), [&](const char* shardName) {
        if (!isShardName(shardName)) return;
        const Descriptor shard = openShard(entries.get(), shardName, false);
        if (!shard) return;
        forEachName(shard.get(), [&](const char* name) {
            const bool entry = isEntryName(name);
            if (!entry && !(sweep && isTemporaryName(name))) return;
            struct stat info;
            if (::fstatat(shard.get(), name, &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode)) return;
            if (entry)
                visit(shard.get(), shardName, name, info);
            else if (now - info.st_mtime > abandonedAfter)
                removeIfSame(shard.get(), name, info);
        });
    });
    return true;
}

CacheInfo emptyInfo(const CacheOptions& options) {
    CacheInfo info;
    info.directory = entriesDirectory(options.directory);
    info.maxBytes = options.maxBytes;
    return info;
}

struct Candidate {
    struct timespec used;
    char shard[3];
    char name[23];
    struct stat info;

    bool operator<(const Candidate& other) const {
        if (used.tv_sec != other.used.tv_sec) return used.tv_sec < other.used.tv_sec;
        if (used.tv_nsec != other.used.tv_nsec) return used.tv_nsec < other.used.tv_nsec;
        const int byShard = std::strcmp(shard, other.shard);
        return byShard != 0 ? byShard < 0 : std::strcmp(name, other.name) < 0;
    }
};

// Removes the candidates oldest first while the total is above `low`.
void evict(const CacheOptions& options, std::vector<Candidate>& candidates, std::uint64_t& total, std::uint64_t low,
           CacheInfo& removed, bool& removedAny) {
    std::sort(candidates.begin(), candidates.end());
    const Descriptor entries = openEntries(options.directory, false);
    if (!entries) return;
    for (const Candidate& c : candidates) {
        if (total <= low) return;
        const Descriptor shard = openShard(entries.get(), c.shard, false);
        if (!shard || !removeIfSame(shard.get(), c.name, c.info)) continue;
        const auto size = static_cast<std::uint64_t>(c.info.st_size);
        total -= std::min(total, size);
        ++removed.entries;
        removed.bytes += size;
        removedAny = true;
    }
}

}  // namespace

CacheInfo cacheContents(const CacheOptions& options) {
    CacheInfo info = emptyInfo(options);
    walk(options, false, [&](int, const char*, const char*, const struct stat& file) {
        ++info.entries;
        info.bytes += static_cast<std::uint64_t>(file.st_size);
    });
    return info;
}

CacheInfo removeAllEntries(const CacheOptions& options) {
    CacheInfo removed = emptyInfo(options);
    int failure = 0;
    walk(options, true, [&](int shard, const char*, const char* name, const struct stat& file) {
        if (removeIfSame(shard, name, file)) {
            ++removed.entries;
            removed.bytes += static_cast<std::uint64_t>(file.st_size);
        } else if (errno != 0 && failure == 0) {
            failure = errno;
        }
    });
    if (failure != 0) {
        errno = failure;
        failOn(options);
    }
    return removed;
}

CacheInfo trimToLimit(const CacheOptions& options) {
    CacheInfo removed = emptyInfo(options);
    const std::uint64_t low = options.maxBytes - options.maxBytes / 8;
    for (bool trimming = false;;) {
        std::uint64_t total = 0;
        // A max-heap of the oldest entries seen so far, at most candidatesPerPass of them.
        std::vector<Candidate> oldest;
        const bool exists = walk(options, true, [&](int, const char* shardName, const char* name, const struct stat& file) {
            total += static_cast<std::uint64_t>(file.st_size);
            Candidate c;
            c.used = file.st_mtim;
            std::memcpy(c.shard, shardName, sizeof c.shard);
            std::memcpy(c.name, name, sizeof c.name);
            c.info = file;
            if (oldest.size() == candidatesPerPass) {
                if (!(c < oldest.front())) return;
                std::pop_heap(oldest.begin(), oldest.end());
                oldest.pop_back();
            }
            oldest.push_back(c);
            std::push_heap(oldest.begin(), oldest.end());
        });
        if (!exists || total <= (trimming ? low : options.maxBytes)) return removed;
        trimming = true;
        bool removedAny = false;
        evict(options, oldest, total, low, removed, removedAny);
        if (total <= low || !removedAny) return removed;
    }
}

}  // namespace anadata::detail

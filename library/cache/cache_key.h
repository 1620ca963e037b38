// The key of a cache entry (endpoint, data name, shot, sub-shot, what it holds) and the file name
// it is kept under.
#ifndef ANADATA_CACHE_CACHE_KEY_H
#define ANADATA_CACHE_CACHE_KEY_H

#include <cstdint>
#include <string>

namespace anadata::detail {

// What an entry holds: the record in the dump format (for fetch), or the bytes of a file exactly
// as a download wrote them (for fetchFile): the data file the service's archive holds, or the
// archive itself. One data set may have an entry of each kind.
enum class PayloadKind : std::uint32_t { record = 1, dataFile = 2, archive = 3 };

struct CacheKey {
    std::string endpoint;  // as cacheEndpoint() gives it
    std::string name;
    int shot = 0;
    int subshot = 1;
    PayloadKind kind = PayloadKind::record;

    bool operator==(const CacheKey& other) const {
        return shot == other.shot && subshot == other.subshot && kind == other.kind && name == other.name &&
               endpoint == other.endpoint;
    }
};

// The endpoint as keys hold it, so that the spellings of one service share their entries: scheme
// and host in lower case, the scheme's default port left out, and "/" for an empty path
// ("HTTP://Host:80" and "http://host/" are one).
std::string cacheEndpoint(const std::string& endpoint);

// Where an entry lives below the cache's own directory: a shard directory of two hex digits and a
// file of sixteen hex digits with ".entry", both from a 64-bit hash of the key. Keys that collide
// share the file; the header names its key, so the other key simply misses.
struct EntryName {
    char shard[3];
    char file[23];
};

EntryName entryNameOf(const CacheKey& key);

// True for names the cache gives its shard directories, its entries and its temporary files;
// nothing else below the cache's directory is ever removed.
bool isShardName(const char* name);
bool isEntryName(const char* name);
bool isTemporaryName(const char* name);

// A temporary name in a shard directory, unique to this process and call.
std::string temporaryName();

}  // namespace anadata::detail

#endif

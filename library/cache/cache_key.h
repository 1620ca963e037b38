// The key of a cache entry (endpoint, data name, shot, sub-shot) and the file name it is kept under.
#ifndef ANADATA_CACHE_CACHE_KEY_H
#define ANADATA_CACHE_CACHE_KEY_H

#include <string>

namespace anadata::detail {

struct CacheKey {
    std::string endpoint;  // as the session was given it
    std::string name;
    int shot = 0;
    int subshot = 1;

    bool operator==(const CacheKey& other) const {
        return shot == other.shot && subshot == other.subshot && name == other.name && endpoint == other.endpoint;
    }
};

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

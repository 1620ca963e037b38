// anadata/cache.h: the local cache of fetched data sets, its settings and its upkeep.
#ifndef ANADATA_CACHE_H
#define ANADATA_CACHE_H

#include <cstdint>
#include <string>

#include "anadata_export.h"
#include "error.h"

// The cache keeps records a Session has fetched, in the dump format, one file per data set, under
// DIRECTORY/anadata-cache-v1/. A record is served from it only while the catalogue still lists
// the same file (file name, date, size and account); an entry that fails its checksum is removed
// and fetched again. Entries are written under a temporary name and renamed, so any number of
// processes may share one directory. Past the size limit the least recently used entries are
// removed. Apart from making DIRECTORY when it is missing, nothing outside
// DIRECTORY/anadata-cache-v1/ is ever written or removed, and inside it only files named as the
// cache names its own; links, FIFOs and directories found there are never followed or read.

namespace anadata {

struct CacheOptions {
    // Where the entries are kept; empty: no cache. The directory is made on the first store.
    std::string directory;
    // Past this many bytes of entries the least recently used are removed until 7/8 of it
    // remain; a record whose entry alone would pass it is not kept.
    std::uint64_t maxBytes = std::uint64_t(8) << 30;
};

// What a cache holds, or what an upkeep call removed.
struct CacheInfo {
    std::string directory;        // the directory of the entries (DIRECTORY/anadata-cache-v1)
    std::uint64_t entries = 0;    // entry files
    std::uint64_t bytes = 0;      // their sizes together
    std::uint64_t maxBytes = 0;   // the limit of the options
};

// What the cache of `options` holds. A cache directory that does not exist yet holds nothing.
// Throws Error(local_io) when options.directory is empty or the directory cannot be read.
ANADATA_API CacheInfo cacheInfo(const CacheOptions& options);

// Removes every entry (and the temporary files of writes that were abandoned); returns what was
// removed. Writes under way in other processes finish normally. Throws Error(local_io) as
// cacheInfo does, or when an entry cannot be removed.
ANADATA_API CacheInfo clearCache(const CacheOptions& options);

// Trims the cache to its limit now, least recently used entries first (as it does by itself as
// it fills), and removes temporary files abandoned for an hour; returns what was removed.
// Throws Error(local_io) as clearCache does.
ANADATA_API CacheInfo pruneCache(const CacheOptions& options);

}  // namespace anadata

#endif

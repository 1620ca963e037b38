// Looking over a cache's whole directory: what it holds, emptying it, trimming it to its limit.
#ifndef ANADATA_CACHE_CACHE_UPKEEP_H
#define ANADATA_CACHE_CACHE_UPKEEP_H

#include <anadata/cache.h>

namespace anadata::detail {

// Each walks every shard once per pass, holding at most a bounded list of eviction candidates
// whatever the number of files. A missing entries' directory holds nothing; one that cannot be
// read throws Error(local_io) naming it. Temporary files untouched for an hour (writers that
// died) are removed by clear and trim.
CacheInfo cacheContents(const CacheOptions& options);
// Returns what was removed.
CacheInfo removeAllEntries(const CacheOptions& options);
// Past maxBytes, removes entries least recently used first until 7/8 of it remain (ties: by
// name). Returns what was removed.
CacheInfo trimToLimit(const CacheOptions& options);

}  // namespace anadata::detail

#endif

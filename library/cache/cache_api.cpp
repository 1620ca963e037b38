// The public upkeep calls of the cache, for the tool and for programs.
#include <anadata/cache.h>

#include "cache_upkeep.h"

namespace anadata {

CacheInfo cacheInfo(const CacheOptions& options) {
    return detail::cacheContents(options);
}

CacheInfo clearCache(const CacheOptions& options) {
    return detail::removeAllEntries(options);
}

CacheInfo pruneCache(const CacheOptions& options) {
    return detail::trimToLimit(options);
}

}  // namespace anadata

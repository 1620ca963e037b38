// The [cache] section of the settings file as the session's cache options.
#ifndef ANADATA_CACHE_CACHE_SETTINGS_H
#define ANADATA_CACHE_CACHE_SETTINGS_H

#include <anadata/cache.h>
#include "settings_file.h"

namespace anadata::detail {

// dir= (blanks around it removed, a leading "~" or "~/" taken from $HOME; empty or missing: no
// cache) and max_bytes= (a whole number of bytes, or of KiB, MiB, GiB or TiB with a K, M, G or T
// after it; missing: the default of CacheOptions). Throws Error(local_io) naming the line for a
// max_bytes= that is no such number and for a "~" without $HOME.
CacheOptions cacheOptionsOf(const SettingsValues& values);

}  // namespace anadata::detail

#endif

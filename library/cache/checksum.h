// The checksum of cache entries: CRC-32 as gzip and zlib compute it, by ISA-L where it is built in.
#ifndef ANADATA_CACHE_CHECKSUM_H
#define ANADATA_CACHE_CHECKSUM_H

#include <cstddef>
#include <cstdint>

namespace anadata::detail {

// The CRC-32 of `size` more bytes after those that gave `crc` (0 to start). Builds with and
// without ISA-L give the same numbers, so one cache serves both.
std::uint32_t crc32Update(std::uint32_t crc, const void* data, std::size_t size);

}  // namespace anadata::detail

#endif

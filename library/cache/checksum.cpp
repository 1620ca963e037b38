// CRC-32 by ISA-L's folding code (tens of GB/s) or, without it, by zlib's (a few GB/s).
#include "checksum.h"

#ifdef ANADATA_HAVE_ISAL
#include <isa-l/crc.h>
#else
#include <zlib.h>
#endif

namespace anadata::detail {

std::uint32_t crc32Update(std::uint32_t crc, const void* data, std::size_t size) {
#ifdef ANADATA_HAVE_ISAL
    return crc32_gzip_refl(crc, static_cast<const unsigned char*>(data), static_cast<std::uint64_t>(size));
#else
    // zlib takes a uInt length: longer buffers go in pieces.
    const auto* bytes = static_cast<const Bytef*>(data);
    uLong value = crc;
    for (std::size_t step; size > 0; size -= step, bytes += step) {
        step = size < (1u << 30) ? size : (1u << 30);
        value = ::crc32(value, bytes, static_cast<uInt>(step));
    }
    return static_cast<std::uint32_t>(value);
#endif
}

}  // namespace anadata::detail

// The byte layout of the zip records that the session's zip writer produces and its reader accepts.
#ifndef ANADATA_SESSION_ZIP_FORMAT_H
#define ANADATA_SESSION_ZIP_FORMAT_H

#include <cstddef>
#include <cstdint>

namespace anadata::detail {

namespace zipformat {

constexpr std::uint32_t localSignature = 0x04034b50;       // "PK\3\4"
constexpr std::uint32_t descriptorSignature = 0x08074b50;  // "PK\7\8"
constexpr std::uint32_t centralSignature = 0x02014b50;     // "PK\1\2"
constexpr std::uint32_t endSignature = 0x06054b50;         // "PK\5\6"

constexpr std::size_t localHeaderSize = 30;
constexpr std::size_t descriptorSize = 16;  // with its signature
constexpr std::size_t centralHeaderSize = 46;
constexpr std::size_t endRecordSize = 22;
constexpr std::size_t maxCommentSize = 0xFFFF;

constexpr std::uint16_t versionNeeded = 20;
constexpr std::uint16_t flagEncrypted = 0x0001;
constexpr std::uint16_t flagDescriptor = 0x0008;
constexpr std::uint16_t flagStrongEncryption = 0x0040;
constexpr std::uint16_t methodStored = 0;
constexpr std::uint16_t methodDeflated = 8;
constexpr std::uint16_t zip64ExtraId = 0x0001;

// What minizip writes for its all-zero time stamp: time 0 and date 0x0020, the month counted from 1.
constexpr std::uint16_t dosTime = 0;
constexpr std::uint16_t dosDate = 0x0020;

// Sizes and offsets are 32-bit fields; 0xFFFFFFFF announces zip64, which neither side speaks.
constexpr std::uint64_t maxSize = 0xFFFFFFFE;
constexpr std::uint32_t zip64Marker = 0xFFFFFFFF;

inline void put16(unsigned char* p, std::uint16_t v) {
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}
inline void put32(unsigned char* p, std::uint32_t v) {
    put16(p, static_cast<std::uint16_t>(v));
    put16(p + 2, static_cast<std::uint16_t>(v >> 16));
}
inline std::uint16_t get16(const unsigned char* p) {
    return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}
inline std::uint32_t get32(const unsigned char* p) {
    return get16(p) | static_cast<std::uint32_t>(get16(p + 2)) << 16;
}

}  // namespace zipformat
}  // namespace anadata::detail

#endif

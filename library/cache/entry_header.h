// The header of a cache entry file: its key, the catalogue row it was fetched under, and the
// length and checksum of the dump that follows.
#ifndef ANADATA_CACHE_ENTRY_HEADER_H
#define ANADATA_CACHE_ENTRY_HEADER_H

#include <cstdint>
#include <optional>
#include <string>

#include "cache_key.h"
#include <anadata/session.h>

namespace anadata::detail {

// What the catalogue said of the data set when it was fetched; an entry is served only while the
// catalogue says the same.
struct CatalogueRow {
    std::string filename;
    std::string filedate;
    std::string user;
    std::int64_t size = 0;

    static CatalogueRow of(const Entry& entry) { return {entry.filename, entry.filedate, entry.user, entry.size}; }
    bool operator==(const CatalogueRow& other) const {
        return size == other.size && filedate == other.filedate && filename == other.filename && user == other.user;
    }
};

// File layout, all numbers little-endian:
//   "ADCACHE1"           8 bytes
//   header length        u32, all of the header including its checksum (at most maxHeaderBytes)
//   payload format       u32, the key's PayloadKind: 1 the qx::AnaData dump format, 2 a data file,
//                        3 a zip archive (both byte for byte as downloaded)
//   payload length       u64, bytes after the header; the file is exactly header + payload
//   payload checksum     u32, CRC-32 (gzip's) of the payload
//   shot, sub-shot       i32 each
//   catalogue size       i64
//   stored at            i64, seconds since 1970
//   endpoint, name, filename, filedate, user: each a u32 length and its bytes
//   header checksum      u32, CRC-32 of every header byte before it
struct EntryHeader {
    CacheKey key;
    CatalogueRow row;
    std::uint64_t payloadBytes = 0;
    std::uint32_t payloadCrc = 0;
    std::int64_t storedAt = 0;
};

constexpr std::size_t maxHeaderBytes = 64 * 1024;

// The header's bytes. Throws Error(local_io) when its texts do not fit in maxHeaderBytes.
std::string encodeHeader(const EntryHeader& header);

// Reads and checks the header at the start of the open file fd of fileBytes bytes: magic, length,
// format, checksum, and that the payload fills the rest of the file exactly. Sets headerBytes.
// Empty for anything else; never allocates more than the header's bounded length.
std::optional<EntryHeader> readHeader(int fd, std::uint64_t fileBytes, std::size_t& headerBytes);

}  // namespace anadata::detail

#endif

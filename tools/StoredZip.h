// A zip archive of uncompressed (stored) entries, written to a stream: what an .npz file is.
#ifndef ANADATA_TOOLS_STOREDZIP_H
#define ANADATA_TOOLS_STOREDZIP_H

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace tool {

// Receives the bytes of one entry.
using ByteSink = std::function<void(const char* data, std::size_t size)>;

// Entries and archive stay below 4 GiB and 65535 entries (no zip64). Entries carry the fixed
// time stamp of the library's own archives, so the same content makes the same archive.
class StoredZip {
public:
    explicit StoredZip(std::ostream& out) : out_(out) {}

    // Adds the entry that `produce` writes into the sink it is given. It is called twice, for
    // the checksum and length and then for the bytes, and must give the same bytes both times.
    // Throws ToolError (exitFile) when the archive would outgrow the format.
    void add(const std::string& name, const std::function<void(const ByteSink&)>& produce);
    // Writes the central directory. Throws ToolError (exitFile) as add().
    void finish();

private:
    struct Entry {
        std::string name;
        std::uint32_t crc = 0;
        std::uint32_t size = 0;
        std::uint32_t offset = 0;
    };
    void put(const std::string& bytes);

    std::ostream& out_;
    std::uint64_t written_ = 0;
    std::vector<Entry> entries_;
};

}  // namespace tool

#endif

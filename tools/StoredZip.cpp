// Writing the local headers, the central directory and its end record of a stored zip archive.
#include "StoredZip.h"

#include <algorithm>

#include <zlib.h>

#include "ToolError.h"

namespace tool {

namespace {

constexpr std::uint64_t formatLimit = 0xffffffffu;  // beyond this the sizes need zip64
constexpr std::uint16_t version = 20;               // 2.0, what plain stored entries need
constexpr std::uint16_t dosDate = (0 << 9) | (1 << 5) | 1;  // 1980-01-01

void le16(std::string& out, std::uint16_t v) {
    out += static_cast<char>(v & 0xff);
    out += static_cast<char>(v >> 8);
}

void le32(std::string& out, std::uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>((v >> shift) & 0xff);
}

[[noreturn]] void tooLarge() {
    throw ToolError(exitFile, "the arrays do not fit an .npz file (4 GiB); write one --npy table instead");
}

}  // namespace

void StoredZip::put(const std::string& bytes) {
    out_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    written_ += bytes.size();
}

void StoredZip::add(const std::string& name, const std::function<void(const ByteSink&)>& produce) {
    if (entries_.size() >= 0xffff || name.size() > 0xffff) tooLarge();
    Entry entry;
    entry.name = name;
    std::uint64_t size = 0;
    uLong crc = crc32(0, nullptr, 0);
    produce([&](const char* data, std::size_t n) {
        size += n;
        // zlib takes the length as uInt; feed it in slices that fit.
        for (std::size_t done = 0; done < n;) {
            const uInt slice = static_cast<uInt>(std::min<std::size_t>(n - done, 1u << 30));
            crc = crc32(crc, reinterpret_cast<const Bytef*>(data + done), slice);
            done += slice;
        }
    });
    if (size > formatLimit || written_ + 30 + name.size() + size > formatLimit) tooLarge();
    entry.crc = static_cast<std::uint32_t>(crc);
    entry.size = static_cast<std::uint32_t>(size);
    entry.offset = static_cast<std::uint32_t>(written_);

    std::string header;
    le32(header, 0x04034b50);
    le16(header, version);
    le16(header, 0);  // flags
    le16(header, 0);  // stored
    le16(header, 0);  // time
    le16(header, dosDate);
    le32(header, entry.crc);
    le32(header, entry.size);
    le32(header, entry.size);
    le16(header, static_cast<std::uint16_t>(name.size()));
    le16(header, 0);  // extra field
    header += name;
    put(header);
    produce([&](const char* data, std::size_t n) {
        out_.write(data, static_cast<std::streamsize>(n));
        written_ += n;
    });
    entries_.push_back(entry);
}

void StoredZip::finish() {
    std::string directory;
    for (const Entry& e : entries_) {
        le32(directory, 0x02014b50);
        le16(directory, version);  // made by
        le16(directory, version);  // needed
        le16(directory, 0);
        le16(directory, 0);
        le16(directory, 0);
        le16(directory, dosDate);
        le32(directory, e.crc);
        le32(directory, e.size);
        le32(directory, e.size);
        le16(directory, static_cast<std::uint16_t>(e.name.size()));
        le16(directory, 0);  // extra field
        le16(directory, 0);  // comment
        le16(directory, 0);  // disk
        le16(directory, 0);  // internal attributes
        le32(directory, 0);  // external attributes
        le32(directory, e.offset);
        directory += e.name;
    }
    if (written_ + directory.size() + 22 > formatLimit) tooLarge();
    const std::uint64_t start = written_;
    put(directory);
    std::string end;
    le32(end, 0x06054b50);
    le16(end, 0);
    le16(end, 0);
    le16(end, static_cast<std::uint16_t>(entries_.size()));
    le16(end, static_cast<std::uint16_t>(entries_.size()));
    le32(end, static_cast<std::uint32_t>(directory.size()));
    le32(end, static_cast<std::uint32_t>(start));
    le16(end, 0);  // comment
    put(end);
}

}  // namespace tool

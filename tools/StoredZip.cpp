// Writing the local headers, the central directory and its end record of a stored zip archive.
#include "StoredZip.h"

#include <algorithm>

#include <zlib.h>

#include "ToolError.h"
#include "zip_format.h"

namespace tool {

namespace zf = anadata::detail::zipformat;

namespace {

void le16(std::string& out, std::uint16_t v) {
    unsigned char bytes[2];
    zf::put16(bytes, v);
    out.append(reinterpret_cast<const char*>(bytes), 2);
}

void le32(std::string& out, std::uint32_t v) {
    unsigned char bytes[4];
    zf::put32(bytes, v);
    out.append(reinterpret_cast<const char*>(bytes), 4);
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
    if (size > zf::maxSize || written_ + zf::localHeaderSize + name.size() + size > zf::maxSize) tooLarge();
    entry.crc = static_cast<std::uint32_t>(crc);
    entry.size = static_cast<std::uint32_t>(size);
    entry.offset = static_cast<std::uint32_t>(written_);

    std::string header;
    le32(header, zf::localSignature);
    le16(header, zf::versionNeeded);
    le16(header, 0);  // flags
    le16(header, zf::methodStored);
    le16(header, zf::dosTime);
    le16(header, zf::dosDate);
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
        le32(directory, zf::centralSignature);
        le16(directory, zf::versionNeeded);  // made by
        le16(directory, zf::versionNeeded);
        le16(directory, 0);  // flags
        le16(directory, zf::methodStored);
        le16(directory, zf::dosTime);
        le16(directory, zf::dosDate);
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
    if (written_ + directory.size() + zf::endRecordSize > zf::maxSize) tooLarge();
    const std::uint64_t start = written_;
    put(directory);
    std::string end;
    le32(end, zf::endSignature);
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

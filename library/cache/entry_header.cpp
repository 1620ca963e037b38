// Writing and checking the header of a cache entry file.
#include "entry_header.h"

#include <cerrno>
#include <cstring>
#include <type_traits>

#include <unistd.h>

#include "stream_inflater.h"

namespace anadata::detail {

namespace {

constexpr char magic[8] = {'A', 'D', 'C', 'A', 'C', 'H', 'E', '1'};
// Magic, header length, format, payload length and checksum, shot, sub-shot, size, time.
constexpr std::size_t fixedBytes = 8 + 4 + 4 + 8 + 4 + 4 + 4 + 8 + 8;
constexpr std::size_t smallestHeader = fixedBytes + 5 * 4 + 4;

class Writer {
public:
    void bytes(const void* data, std::size_t size) { out_.append(static_cast<const char*>(data), size); }
    void number(std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) out_.push_back(static_cast<char>(value >> (8 * i)));
    }
    void text(const std::string& s) {
        number(s.size(), 4);
        out_ += s;
    }
    std::string& out() { return out_; }

private:
    std::string out_;
};

class Reader {
public:
    Reader(const unsigned char* data, std::size_t size) : data_(data), left_(size) {}
    bool number(std::uint64_t& value, int size) {
        if (left_ < static_cast<std::size_t>(size)) return false;
        value = 0;
        for (int i = 0; i < size; ++i) value |= static_cast<std::uint64_t>(data_[i]) << (8 * i);
        data_ += size;
        left_ -= static_cast<std::size_t>(size);
        return true;
    }
    template <class T>
    bool field(T& value, int size) {
        std::uint64_t bits;
        if (!number(bits, size)) return false;
        // Two's complement for the signed fields, without shifting into the sign bit.
        if constexpr (std::is_signed_v<T>) {
            if (size == 4) value = static_cast<T>(static_cast<std::int32_t>(static_cast<std::uint32_t>(bits)));
            else value = static_cast<T>(static_cast<std::int64_t>(bits));
        } else {
            value = static_cast<T>(bits);
        }
        return true;
    }
    bool text(std::string& s) {
        std::uint64_t size;
        if (!number(size, 4) || size > left_) return false;
        s.assign(reinterpret_cast<const char*>(data_), static_cast<std::size_t>(size));
        data_ += size;
        left_ -= static_cast<std::size_t>(size);
        return true;
    }
    std::size_t left() const { return left_; }

private:
    const unsigned char* data_;
    std::size_t left_;
};

bool readAll(int fd, void* out, std::size_t size) {
    auto* to = static_cast<char*>(out);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::pread(fd, to + done, size - done, static_cast<off_t>(done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        done += static_cast<std::size_t>(got);
    }
    return true;
}

}  // namespace

std::string encodeHeader(const EntryHeader& header) {
    const std::string* texts[] = {&header.key.endpoint, &header.key.name, &header.row.filename,
                                  &header.row.filedate, &header.row.user};
    std::size_t length = smallestHeader;
    for (const std::string* text : texts) length += text->size();
    if (length > maxHeaderBytes)
        throw Error(ErrorCode::local_io, "cache: the names of " + header.key.name + " are too long for an entry");
    Writer w;
    w.bytes(magic, sizeof magic);
    w.number(length, 4);
    w.number(static_cast<std::uint32_t>(header.key.kind), 4);
    w.number(header.payloadBytes, 8);
    w.number(header.payloadCrc, 4);
    w.number(static_cast<std::uint32_t>(header.key.shot), 4);
    w.number(static_cast<std::uint32_t>(header.key.subshot), 4);
    w.number(static_cast<std::uint64_t>(header.row.size), 8);
    w.number(static_cast<std::uint64_t>(header.storedAt), 8);
    for (const std::string* text : texts) w.text(*text);
    w.number(crc32Update(0, reinterpret_cast<const unsigned char*>(w.out().data()), w.out().size()), 4);
    return std::move(w.out());
}

std::optional<EntryHeader> readHeader(int fd, std::uint64_t fileBytes, std::size_t& headerBytes) {
    unsigned char start[12];
    if (fileBytes < smallestHeader || !readAll(fd, start, sizeof start)) return std::nullopt;
    if (std::memcmp(start, magic, sizeof magic) != 0) return std::nullopt;
    std::uint64_t length;
    Reader(start + 8, 4).number(length, 4);
    if (length < smallestHeader || length > maxHeaderBytes || length > fileBytes) return std::nullopt;

    std::string bytes(static_cast<std::size_t>(length), '\0');
    auto* data = reinterpret_cast<unsigned char*>(&bytes[0]);
    if (!readAll(fd, data, bytes.size())) return std::nullopt;
    std::uint64_t storedCrc;
    Reader(data + length - 4, 4).number(storedCrc, 4);
    if (crc32Update(0, data, static_cast<std::size_t>(length) - 4) != storedCrc) return std::nullopt;

    Reader r(data + sizeof start, static_cast<std::size_t>(length) - sizeof start - 4);
    EntryHeader header;
    std::uint32_t format = 0;
    const bool complete = r.field(format, 4) && r.field(header.payloadBytes, 8) && r.field(header.payloadCrc, 4) &&
                          r.field(header.key.shot, 4) && r.field(header.key.subshot, 4) &&
                          r.field(header.row.size, 8) && r.field(header.storedAt, 8) &&
                          r.text(header.key.endpoint) && r.text(header.key.name) && r.text(header.row.filename) &&
                          r.text(header.row.filedate) && r.text(header.row.user);
    if (!complete || r.left() != 0) return std::nullopt;
    if (format != static_cast<std::uint32_t>(PayloadKind::record) &&
        format != static_cast<std::uint32_t>(PayloadKind::dataFile) &&
        format != static_cast<std::uint32_t>(PayloadKind::archive))
        return std::nullopt;
    header.key.kind = static_cast<PayloadKind>(format);
    if (header.payloadBytes != fileBytes - length) return std::nullopt;
    headerBytes = static_cast<std::size_t>(length);
    return header;
}

}  // namespace anadata::detail

// Stream buffers over a file descriptor that keep the CRC-32 of the bytes that pass, so that a
// cache entry is checked and written in one pass without a copy of its payload in memory.
#ifndef ANADATA_CACHE_CHECKSUM_STREAMS_H
#define ANADATA_CACHE_CHECKSUM_STREAMS_H

#include <cstdint>
#include <memory>
#include <streambuf>

namespace anadata::detail {

// Bytes [begin, begin + length) of a file as a seekable input stream (positions count from
// begin). The checksum covers the bytes read from the file in order; reading after a seek past
// unread bytes, or a file that ends early, spoils it. Large reads go from the file straight into
// the caller's memory.
class ChecksumReader : public std::streambuf {
public:
    ChecksumReader(int fd, std::uint64_t begin, std::uint64_t length);

    // True when every byte of the range was read, in order, once the stream stands at its end,
    // and their CRC-32 is `expected`.
    bool intact(std::uint32_t expected) const;

protected:
    int_type underflow() override;
    std::streamsize xsgetn(char* to, std::streamsize count) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir dir, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

private:
    std::uint64_t position() const;
    // Reads up to `size` bytes at position `at` into `to`; 0 at the end of the range or on an error.
    std::size_t readAt(std::uint64_t at, char* to, std::size_t size);
    void place(std::uint64_t at);

    int fd_;
    std::uint64_t begin_;
    std::uint64_t length_;
    std::unique_ptr<char[]> buffer_;
    std::uint64_t bufferStart_ = 0;  // range position of buffer_[0]
    std::size_t bufferBytes_ = 0;    // bytes of buffer_ that hold the file
    std::uint64_t parked_ = 0;       // the position while it lies outside the buffer
    std::uint64_t readUpTo_ = 0;     // bytes read in order from the start
    std::uint32_t crc_;
    bool spoilt_ = false;
};

// Writes a stream to a file descriptor at its current offset, at most `limit` bytes: past it,
// and after a failed write, the stream fails. Large writes go straight from the caller's memory.
class ChecksumWriter : public std::streambuf {
public:
    ChecksumWriter(int fd, std::uint64_t limit);

    // Writes what is buffered; false when anything failed or passed the limit.
    bool finish();
    std::uint32_t checksum() const { return crc_; }
    std::uint64_t written() const { return written_; }

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char* data, std::streamsize count) override;
    int sync() override;

private:
    bool emit(const char* data, std::size_t size);
    bool flushBuffer();

    int fd_;
    std::uint64_t limit_;
    std::unique_ptr<char[]> buffer_;
    std::uint64_t written_ = 0;
    std::uint32_t crc_;
    bool failed_ = false;
};

}  // namespace anadata::detail

#endif

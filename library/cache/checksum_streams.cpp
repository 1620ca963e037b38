// The checksumming stream buffers of the cache's entry files.
#include "checksum_streams.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "stream_inflater.h"

namespace anadata::detail {

namespace {

constexpr std::size_t bufferSize = 64 * 1024;
// Direct transfers go in pieces that stay in the processor's cache between the copy and the
// checksum.
constexpr std::size_t pieceSize = 256 * 1024;

}  // namespace

ChecksumReader::ChecksumReader(int fd, std::uint64_t begin, std::uint64_t length)
    : fd_(fd), begin_(begin), length_(length), buffer_(new char[bufferSize]), crc_(0) {
    setg(buffer_.get(), buffer_.get(), buffer_.get());
}

bool ChecksumReader::intact(std::uint32_t expected) const {
    return !spoilt_ && readUpTo_ == length_ && position() == length_ && crc_ == expected;
}

std::uint64_t ChecksumReader::position() const {
    return gptr() != nullptr ? bufferStart_ + static_cast<std::uint64_t>(gptr() - eback()) : parked_;
}

std::size_t ChecksumReader::readAt(std::uint64_t at, char* to, std::size_t size) {
    if (at >= length_) return 0;
    size = static_cast<std::size_t>(std::min<std::uint64_t>(size, length_ - at));
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::pread(fd_, to + done, size - done, static_cast<off_t>(begin_ + at + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    if (done < size) spoilt_ = true;  // the file is shorter than its header says
    if (at == readUpTo_) {
        crc_ = crc32Update(crc_, reinterpret_cast<const unsigned char*>(to), done);
        readUpTo_ += done;
    } else if (done > 0) {
        spoilt_ = true;
    }
    return done;
}

// Puts the read position at `at`: inside the buffer the bytes stay, elsewhere the get area empties.
void ChecksumReader::place(std::uint64_t at) {
    if (at >= bufferStart_ && at - bufferStart_ <= bufferBytes_) {
        setg(buffer_.get(), buffer_.get() + (at - bufferStart_), buffer_.get() + bufferBytes_);
    } else {
        setg(nullptr, nullptr, nullptr);
        parked_ = at;
    }
}

ChecksumReader::int_type ChecksumReader::underflow() {
    const std::uint64_t at = position();
    const std::size_t got = readAt(at, buffer_.get(), bufferSize);
    if (got == 0) return traits_type::eof();
    bufferStart_ = at;
    bufferBytes_ = got;
    setg(buffer_.get(), buffer_.get(), buffer_.get() + got);
    return traits_type::to_int_type(*gptr());
}

std::streamsize ChecksumReader::xsgetn(char* to, std::streamsize count) {
    const std::streamsize buffered = gptr() != nullptr ? std::min<std::streamsize>(egptr() - gptr(), count) : 0;
    if (count - buffered < static_cast<std::streamsize>(bufferSize)) return std::streambuf::xsgetn(to, count);
    if (buffered > 0) {
        std::memcpy(to, gptr(), static_cast<std::size_t>(buffered));
        gbump(static_cast<int>(buffered));
    }
    std::uint64_t at = position();
    std::streamsize done = buffered;
    while (done < count) {
        const std::size_t step = static_cast<std::size_t>(std::min<std::streamsize>(count - done, pieceSize));
        const std::size_t got = readAt(at, to + done, step);
        at += got;
        done += static_cast<std::streamsize>(got);
        if (got < step) break;
    }
    bufferStart_ = at;
    bufferBytes_ = 0;
    setg(buffer_.get(), buffer_.get(), buffer_.get());
    return done;
}

ChecksumReader::pos_type ChecksumReader::seekoff(off_type offset, std::ios_base::seekdir dir,
                                                 std::ios_base::openmode which) {
    if (!(which & std::ios_base::in)) return pos_type(off_type(-1));
    const std::uint64_t from = dir == std::ios_base::beg ? 0 : dir == std::ios_base::cur ? position() : length_;
    if ((offset < 0 && static_cast<std::uint64_t>(-offset) > from) ||
        (offset > 0 && static_cast<std::uint64_t>(offset) > length_ - from))
        return pos_type(off_type(-1));
    const std::uint64_t at = from + static_cast<std::uint64_t>(offset);
    place(at);
    return pos_type(static_cast<off_type>(at));
}

ChecksumReader::pos_type ChecksumReader::seekpos(pos_type position, std::ios_base::openmode which) {
    return seekoff(off_type(position), std::ios_base::beg, which);
}

ChecksumWriter::ChecksumWriter(int fd, std::uint64_t limit)
    : fd_(fd), limit_(limit), buffer_(new char[bufferSize]), crc_(0) {
    setp(buffer_.get(), buffer_.get() + bufferSize);
}

bool ChecksumWriter::emit(const char* data, std::size_t size) {
    if (failed_ || size > limit_ - written_) {
        failed_ = true;
        return false;
    }
    crc_ = crc32Update(crc_, reinterpret_cast<const unsigned char*>(data), size);
    for (std::size_t done = 0; done < size;) {
        const ssize_t put = ::write(fd_, data + done, size - done);
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) {
            failed_ = true;
            return false;
        }
        done += static_cast<std::size_t>(put);
    }
    written_ += size;
    return true;
}

bool ChecksumWriter::flushBuffer() {
    const std::size_t pending = static_cast<std::size_t>(pptr() - pbase());
    setp(buffer_.get(), buffer_.get() + bufferSize);
    return emit(buffer_.get(), pending);
}

ChecksumWriter::int_type ChecksumWriter::overflow(int_type c) {
    if (!flushBuffer()) return traits_type::eof();
    if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

std::streamsize ChecksumWriter::xsputn(const char* data, std::streamsize count) {
    if (count < static_cast<std::streamsize>(bufferSize)) return std::streambuf::xsputn(data, count);
    if (!flushBuffer()) return 0;
    for (std::streamsize done = 0; done < count;) {
        const std::size_t step = static_cast<std::size_t>(std::min<std::streamsize>(count - done, pieceSize));
        if (!emit(data + done, step)) return done;
        done += static_cast<std::streamsize>(step);
    }
    return count;
}

int ChecksumWriter::sync() {
    return flushBuffer() ? 0 : -1;
}

bool ChecksumWriter::finish() {
    return flushBuffer() && !failed_;
}

}  // namespace anadata::detail

// A bounded pipe of bytes from a producing thread to a consumer that reads it as a std::istream.
#ifndef ANADATA_SESSION_BYTE_PIPE_H
#define ANADATA_SESSION_BYTE_PIPE_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <streambuf>
#include <vector>

namespace anadata::detail {

// The producer writes with write() and ends with close(); the consumer reads through the
// streambuf. At most `capacity` bytes wait in between, so a fast producer blocks instead of
// piling up a large download in memory. Either side may stop early: abandon() from the consumer
// makes the producer's next write() return false; close() with failed = true ends the consumer's
// stream before its end, which the reader then sees as a truncated input.
class BytePipe : public std::streambuf {
public:
    explicit BytePipe(std::size_t capacity = 8u << 20);

    // Producer. Copies the bytes in; blocks while the pipe is full. False once the consumer has
    // abandoned the pipe (nothing more is wanted).
    bool write(const char* data, std::size_t size);
    void close();

    // Consumer: no more bytes will be read.
    void abandon();

protected:
    int_type underflow() override;

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::vector<char>> chunks_;
    std::vector<char> current_;  // the chunk the get area points into
    // Chunks read and kept for the next writes: a long stream needs no allocation per chunk
    // (which costs a fresh mapping each time where glibc is told to give memory back early).
    std::vector<std::vector<char>> spare_;
    std::size_t queued_ = 0;
    const std::size_t capacity_;
    bool closed_ = false;
    bool abandoned_ = false;
};

}  // namespace anadata::detail

#endif

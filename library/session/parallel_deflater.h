// A deflater that compresses consecutive pieces of its input on worker threads into one raw deflate stream.
#ifndef ANADATA_SESSION_PARALLEL_DEFLATER_H
#define ANADATA_SESSION_PARALLEL_DEFLATER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "zip_error.h"

namespace anadata::detail {

struct DeflateOptions {
    // Worker threads; 0 follows std::thread::hardware_concurrency(), 1 compresses on the calling
    // thread and starts no thread at all.
    unsigned threads = 0;
    // Input bytes per piece, 1 byte to 64 MiB. Each piece costs a dictionary load of up to 32 KiB
    // and a 5-byte flush marker; 512 KiB keeps both below 1% of the work and the output while
    // 2 pieces per thread in flight stay a few MiB.
    std::size_t pieceSize = 512 * 1024;
};

// Receives compressed bytes in stream order. It runs on the thread that called write() or
// finish(), and may throw: the exception leaves that call unchanged.
using ByteSink = std::function<void(const char* data, std::size_t size)>;

// Deflates (zlib level 6, raw) everything written into a single standard raw deflate stream, the
// same stream for every thread count. Each piece is primed with the 32 KiB before it and ends with
// a sync flush, the last with the final block. Holds at most 2 pieces per thread in flight plus the
// one being filled. One thread at a time may use an object; objects are independent.
class ParallelDeflater {
public:
    // Throws ZipError for a piece size out of range.
    explicit ParallelDeflater(ByteSink sink, DeflateOptions options = {});
    // Stops and joins the workers on every path, finished or not; never calls the sink.
    ~ParallelDeflater();
    ParallelDeflater(const ParallelDeflater&) = delete;
    ParallelDeflater& operator=(const ParallelDeflater&) = delete;

    // Copies the bytes in (any size, any number of calls); may deliver earlier pieces to the sink.
    // Throws ZipError on a zlib failure or after finish(), and whatever the sink throws; after any
    // exception the object only accepts destruction.
    void write(const void* data, std::size_t size);
    // Compresses what is left and delivers all output. Same exceptions as write().
    void finish();

    std::uint32_t crc() const;         // CRC-32 of the input delivered so far: all of it after finish()
    std::uint64_t inputSize() const;   // bytes written so far
    std::uint64_t outputSize() const;  // compressed bytes delivered so far
    unsigned threads() const;          // the thread count in use

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace anadata::detail

#endif

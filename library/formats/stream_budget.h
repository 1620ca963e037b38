// How many bytes a stream can still deliver, so that decoders never allocate beyond the input.
#ifndef ANADATA_STREAM_BUDGET_H
#define ANADATA_STREAM_BUDGET_H

#include <cstdint>
#include <istream>

namespace qx {

// Bytes between the read position and the end of a seekable stream; -1 when the stream cannot
// tell (a pipe, a failed stream). The position is restored.
inline std::int64_t bytesLeft(std::istream& is) {
    if (!is) return -1;
    std::streambuf* buf = is.rdbuf();
    if (buf == nullptr) return -1;
    const std::streampos here = buf->pubseekoff(0, std::ios::cur, std::ios::in);
    if (here == std::streampos(-1)) return -1;
    const std::streampos end = buf->pubseekoff(0, std::ios::end, std::ios::in);
    buf->pubseekpos(here, std::ios::in);
    if (end == std::streampos(-1) || end < here) return -1;
    return static_cast<std::int64_t>(end - here);
}

// True when `count` items of at least `itemBytes` bytes each may still be in the stream.
// Streams of unknown length pass; their readers grow in bounded steps instead.
inline bool mayHold(std::istream& is, std::int64_t count, std::int64_t itemBytes) {
    if (count < 0) return false;
    const std::int64_t left = bytesLeft(is);
    return left < 0 || count <= left / itemBytes;
}

}  // namespace qx

#endif

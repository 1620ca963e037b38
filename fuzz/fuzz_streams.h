// Input streams over a fuzzer's bytes: an ordinary seekable one and one that cannot seek,
// like a pipe, so that both ways of bounding allocations are exercised.
#ifndef ANADATA_FUZZ_STREAMS_H
#define ANADATA_FUZZ_STREAMS_H

#include <cstddef>
#include <cstdint>
#include <streambuf>

// Reads a byte range forward only: every seek fails.
class ForwardOnlyBuffer : public std::streambuf {
public:
    ForwardOnlyBuffer(const std::uint8_t* data, std::size_t size) {
        char* begin = const_cast<char*>(reinterpret_cast<const char*>(data));
        setg(begin, begin, begin + size);
    }
};

#endif

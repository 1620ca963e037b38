// Fixed-size output buffers of the C and Fortran helpers, filled the way strncpy fills them.
#ifndef ANADATA_BINDINGS_BOUNDED_COPY_H
#define ANADATA_BINDINGS_BOUNDED_COPY_H

#include <cstddef>
#include <string>

namespace qx {

// Buffer sizes that callers of the path, date, summary and experiment-log helpers provide.
constexpr std::size_t pathBufferSize = 1024;
constexpr std::size_t columnBufferSize = 256;

// Writes exactly `bound` bytes to buffer: the text up to its first NUL, cut to bound, then NUL
// bytes. A text of bound bytes or more is left without a terminator.
void copyBounded(char* buffer, std::size_t bound, const std::string& text);

}  // namespace qx

#endif

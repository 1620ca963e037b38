// The exception the session's zip engine throws for its own failures.
#ifndef ANADATA_SESSION_ZIP_ERROR_H
#define ANADATA_SESSION_ZIP_ERROR_H

#include <stdexcept>

namespace anadata::detail {

// Every failure of the zip engine itself: a damaged or unsupported archive, data too large for a
// zip without zip64, a zlib failure, a call after an earlier failure. The message names the fault.
// Exceptions thrown by a sink are never wrapped: they reach the caller unchanged.
class ZipError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace anadata::detail

#endif

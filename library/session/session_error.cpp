// anadata::Error and the names of its codes.
#include "error.h"

namespace anadata {

const char* toString(ErrorCode code) {
    switch (code) {
    case ErrorCode::not_found: return "not_found";
    case ErrorCode::unauthorized: return "unauthorized";
    case ErrorCode::refused: return "refused";
    case ErrorCode::transport: return "transport";
    case ErrorCode::timeout: return "timeout";
    case ErrorCode::protocol: return "protocol";
    case ErrorCode::local_io: return "local_io";
    case ErrorCode::format: return "format";
    case ErrorCode::cancelled: return "cancelled";
    case ErrorCode::certificate: return "certificate";
    case ErrorCode::busy: return "busy";
    }
    return "unknown";
}

Error::Error(ErrorCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

}  // namespace anadata

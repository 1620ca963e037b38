// anadata::Error: the one exception of the modern layer, with a code a program can act on.
#ifndef ANADATA_ERROR_H
#define ANADATA_ERROR_H

#include <stdexcept>
#include <string>

#include "anadata_export.h"

namespace anadata {

// What went wrong, for programs to act on.
enum class ErrorCode {
    not_found,     // no such data set, experiment-log shot or column
    unauthorized,  // the service refused the account or password, or the entry is another account's
    refused,       // any other refusal by the service; the message is its fault string
    transport,     // no connection, connection lost, HTTP error
    timeout,       // a read, write or whole request took longer than its time-out
    protocol,      // a reply that is malformed, over-long, or longer than the catalogue says
    local_io,      // a local file or directory that cannot be read, written or renamed
    format,        // a file or download that does not read as a record or archive
    cancelled,     // a progress callback returned false
    certificate,   // an https peer whose certificate or host name does not verify
    busy,          // the service refused for capacity and asks to try again later
};

// The name of a code, as written above ("not_found", ...).
ANADATA_API const char* toString(ErrorCode code);

class ANADATA_API Error : public std::runtime_error {
public:
    Error(ErrorCode code, const std::string& message);
    ErrorCode code() const noexcept { return code_; }

private:
    ErrorCode code_;
};

}  // namespace anadata

#endif

// The tool's exit statuses, the error that carries one of them to main(), and the one mapping
// of the session's error codes onto them.
#ifndef ANADATA_TOOLS_TOOLERROR_H
#define ANADATA_TOOLS_TOOLERROR_H

#include <stdexcept>
#include <string>

#include <anadata/error.h>

#include "Interrupts.h"

namespace tool {

enum ExitStatus {
    exitOk = 0,
    exitNotFound = 1,
    exitUsage = 2,
    exitService = 3,
    exitFile = 4,
};

// A failure of one subcommand found by the tool itself. The message is the whole error line
// after "anadata: "; it names what failed and must not contain a line break.
class ToolError : public std::runtime_error {
public:
    ToolError(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
    int status() const { return status_; }

private:
    int status_;
};

// The first line of `text` with control characters blanked: an error line of its own.
inline std::string oneLine(const std::string& text) {
    std::string line = text.substr(0, text.find('\n'));
    for (char& c : line)
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    return line;
}

// The exit status of a session error.
inline int exitStatusOf(anadata::ErrorCode code) {
    using anadata::ErrorCode;
    switch (code) {
    case ErrorCode::not_found:
        return exitNotFound;
    case ErrorCode::local_io:
    case ErrorCode::format:
        return exitFile;
    case ErrorCode::cancelled:
        return interruptStatus();
    case ErrorCode::refused:
    case ErrorCode::unauthorized:
    case ErrorCode::transport:
    case ErrorCode::timeout:
    case ErrorCode::protocol:
    case ErrorCode::certificate:
    case ErrorCode::busy:
        break;
    }
    return exitService;
}

// The error line of a library error: its message, and for a refused certificate what to do.
inline std::string errorLine(const anadata::Error& e) {
    std::string line = oneLine(e.what());
    if (e.code() == anadata::ErrorCode::certificate)
        line += " (set cafile= in the [tserver] section of the settings to the CA bundle that signed the service)";
    return line;
}

// Runs a session call; an error it throws keeps its code and gets `what` (the subcommand and
// its object) in front of its message.
template <typename Call>
auto serviceCall(const std::string& what, Call call) -> decltype(call()) {
    try {
        return call();
    } catch (const anadata::Error& e) {
        throw anadata::Error(e.code(), what + ": " + e.what());
    }
}

}  // namespace tool

#endif

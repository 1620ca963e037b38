// The tool's exit statuses and the error that carries one of them to main().
#ifndef ANADATA_TOOLS_TOOLERROR_H
#define ANADATA_TOOLS_TOOLERROR_H

#include <stdexcept>
#include <string>

namespace tool {

enum ExitStatus {
    exitOk = 0,
    exitNotFound = 1,
    exitUsage = 2,
    exitService = 3,
    exitFile = 4,
};

// A failure of one subcommand. The message is the whole error line after "anadata: ";
// it names what failed and must not contain a line break.
class ToolError : public std::runtime_error {
public:
    ToolError(ExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}
    ExitStatus status() const { return status_; }

private:
    ExitStatus status_;
};

}  // namespace tool

#endif

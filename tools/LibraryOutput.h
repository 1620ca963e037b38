// Captures what the library prints during one call, so the tool's own output stays clean.
#ifndef ANADATA_TOOLS_LIBRARYOUTPUT_H
#define ANADATA_TOOLS_LIBRARYOUTPUT_H

#include <string>

#include <anadata/clsException.h>

#include "ToolError.h"

namespace tool {

// While alive, file descriptors 1 and 2 point at a private in-memory file. The library writes
// progress words and zip errors on standard output and SOAP faults (several lines each) on
// standard error; left alone they would break --json output and the one-line error rule.
// finish() puts both descriptors back and returns what was written (at most 64 KiB).
class LibraryOutput {
public:
    LibraryOutput();
    ~LibraryOutput();
    LibraryOutput(const LibraryOutput&) = delete;
    LibraryOutput& operator=(const LibraryOutput&) = delete;

    std::string finish();

    // With --verbose the captured text is copied to standard error after each call.
    static void setEcho(bool echo);

private:
    void restore();

    int capture_ = -1;
    int savedOut_ = -1;
    int savedErr_ = -1;
    bool active_ = false;
};

// The reason of a service failure, in one line: the quoted fault string of a printed SOAP
// fault, else the first line that is not the registration trace; empty when nothing was printed.
std::string failureReason(const std::string& captured);

// `head`, then ": " and the failure reason when the captured text gives one.
std::string withReason(const std::string& head, const std::string& captured);

// True when the zip helpers reported an error (packing or extraction failed).
bool reportsZipError(const std::string& captured);

// Runs one library call with its output captured and returns what it printed; a false result
// or a thrown clsException becomes a service failure (exitService) named by `what`.
template <typename Call>
std::string serviceCall(const std::string& what, Call call) {
    LibraryOutput output;
    bool ok = false;
    try {
        ok = call();
    } catch (const qx::clsException&) {
        ok = false;
    }
    std::string captured = output.finish();
    if (!ok) throw ToolError(exitService, withReason(what, captured));
    return captured;
}

}  // namespace tool

#endif

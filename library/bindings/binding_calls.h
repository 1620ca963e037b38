// The call shape shared by the C and Fortran entry points: status codes and exception handling.
#ifndef ANADATA_BINDINGS_BINDING_CALLS_H
#define ANADATA_BINDINGS_BINDING_CALLS_H

#include <string>

#include "clsException.h"

namespace qx {

// Status codes returned by every handle-based entry point.
constexpr int statusOk = 0;
constexpr int statusNotAllocated = 1;
constexpr int statusStreamFailed = 2;
constexpr int statusRefused = 3;
constexpr int statusUnknownFormat = 4;

// Keeps the text of a failed call as this thread's last error (see cAnaDataLastError); returns
// the status.
int rememberFailure(int status, const std::string& text);
// This thread's last error text; valid until the thread's next failed call.
const char* lastFailureText();

// Writes the message and an end of line to standard error and keeps it as the last error;
// returns statusRefused.
int reportRefusal(const std::string& message);

// "<function>: null argument" on standard error; returns statusRefused. Used before any lookup,
// so a null out-parameter never reaches the record.
int reportNullArgument(const char* function);

// "<function>: negative size" on standard error; returns statusRefused.
int reportNegativeSize(const char* function);

// Whether the handle lookup failure is announced on standard error ("NotAllocated").
enum class NotAllocatedNotice { silent, printed };

// Runs one entry point's body (which returns its own status, usually statusOk) and turns the
// two exceptions a record call may raise into status codes. Everything else passes through.
template <typename Body>
int runRecordCall(Body&& body, NotAllocatedNotice notice = NotAllocatedNotice::silent) {
    try {
        return body();
    } catch (const NotAllocated&) {
        if (notice == NotAllocatedNotice::printed) reportRefusal("NotAllocated");
        return rememberFailure(statusNotAllocated, "NotAllocated");
    } catch (const AnaDataException& e) {
        return reportRefusal(e.getMessage());
    }
}

// The setters of the data-set name catch only the lookup failure.
template <typename Body>
int runLookupOnlyCall(Body&& body) {
    try {
        return body();
    } catch (const NotAllocated&) {
        return rememberFailure(statusNotAllocated, "NotAllocated");
    }
}

// Runs one entry point's body and reports the one exception type Reported as status 3 with its
// message; everything else passes through. The experiment-log members report DBException (the
// access object's own clsException "ERROR" passes through them), the service helpers
// AnaDataException.
template <typename Reported, typename Body>
int runReportingCall(Body&& body) {
    try {
        return body();
    } catch (const Reported& e) {
        return reportRefusal(e.getMessage());
    }
}

// The text without its trailing blanks (only ' '; tabs and leading blanks are kept).
std::string withoutTrailingBlanks(std::string text);

}  // namespace qx

#endif

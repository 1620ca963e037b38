// What a failed call of the service came to: the runtime's status read as a failure a caller can act on.
#ifndef ANADATA_CALLFAILURE_H
#define ANADATA_CALLFAILURE_H

#include <chrono>
#include <string>

#include "Connection.h"
#include "Operation.h"
#include "error.h"

namespace anadata::detail {

struct CallFailure {
    Operation operation;
    int status;         // the runtime's status
    struct soap* soap;  // the context, its fault as the runtime left it (for printing it)
    ErrorCode code;
    // The service answered with a fault; `text` is then its fault string (possibly empty).
    bool serviceFault;
    // Otherwise what went wrong: the runtime's fault string and detail, the refusal of a
    // certificate, "HTTP status 503", ...
    std::string text;
};

// Reads a failed call. A service fault is classified by its code ("...NotFound", "...Unauthorized",
// "...Busy"); one without a code of its own is `refused`, or `not_found` for a lookup. A local failure
// is `transport`, `timeout` (it took the shorter of the connection's time-outs), `certificate`
// (the handshake refused the peer: `refusal`), or `protocol` (a reply that does not read as one).
CallFailure describeFailure(const Connection& connection, Operation operation, int status,
                            std::chrono::steady_clock::duration elapsed, const std::string& refusal);

}  // namespace anadata::detail

#endif

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
    std::string endpoint;  // where the request went, as the connection was set up
    int status;         // the runtime's status
    struct soap* soap;  // the context, its fault as the runtime left it (for printing it)
    ErrorCode code;
    // The service answered with a fault; `text` is then its fault string (possibly empty).
    bool serviceFault;
    // Otherwise what went wrong: the runtime's fault string and detail, the refusal of a
    // certificate, "HTTP status 503", ...
    std::string text;
    // busy: the wait the service asked for (the <retryAfter> of its fault's detail); 0 without one.
    std::chrono::seconds retryAfter{0};
    // A plain http:// request went to a port that speaks TLS: no retry can help.
    bool tlsService = false;
};

// What describeFailure is told besides the status.
struct CallContext {
    std::chrono::steady_clock::duration elapsed{};  // the call's time
    std::string refusal;   // why the handshake refused the peer's certificate, "" when it did not
    bool fresh = false;    // the call opened its connection (no kept-alive one)
};

// Reads a failed call. A service fault is classified by its code ("...NotFound", "...Unauthorized",
// "...Busy"); one without a code of its own is `refused`, or `not_found` for a lookup. A local failure
// is `transport`, `timeout` (it took the shorter of the connection's time-outs), `certificate`
// (the handshake refused the peer: `refusal`), or `protocol` (a reply that does not read as one).
// When the connection's settings ask for it, a plain http:// call whose fresh connection was
// closed before any reply is followed by a TLS handshake attempt on the same port (tlsService).
CallFailure describeFailure(const Connection& connection, Operation operation, int status, const CallContext& context);

}  // namespace anadata::detail

#endif

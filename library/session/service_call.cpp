// How a failed call of the service becomes the session's Error.
#include "service_call.h"

#include "Endpoint.h"

namespace anadata::detail {

void throwCallFailure(const CallFailure& failure, const std::string& what) {
    if (failure.serviceFault)
        throw Error(failure.code, failure.text.empty() ? what + ": refused by the service" : failure.text);
    // A failure on the way names the request and where it went: "fetch d 1/1: getData at
    // http://host:8080/: connection refused".
    if (failure.code == ErrorCode::transport || failure.code == ErrorCode::timeout)
        throw Error(failure.code, what + ": " + traitsOf(failure.operation).name + " at " +
                                      endpointParts(failure.endpoint).origin + ": " + failure.text);
    throw Error(failure.code, what + ": " + failure.text);
}

}  // namespace anadata::detail

// The session's face of the request layer: each failed call thrown as an anadata::Error naming the operation.
#ifndef ANADATA_SESSION_SERVICE_CALL_H
#define ANADATA_SESSION_SERVICE_CALL_H

#include <string>

#include "CallFailure.h"
#include "error.h"

namespace anadata::detail {

// The one translation of a failed call into the session's errors. A service fault's own words are
// the message; everything else is named after `what` ("fetch sample 1234/1: ...").
[[noreturn]] void throwCallFailure(const CallFailure& failure, const std::string& what);

}  // namespace anadata::detail

#endif

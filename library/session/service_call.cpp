// How a failed call of the service becomes the session's Error.
#include "service_call.h"

namespace anadata::detail {

void throwCallFailure(const CallFailure& failure, const std::string& what) {
    if (failure.serviceFault)
        throw Error(failure.code, failure.text.empty() ? what + ": refused by the service" : failure.text);
    throw Error(failure.code, what + ": " + failure.text);
}

}  // namespace anadata::detail

// When a failed request is sent again, and how long the request layer waits before it does.
#ifndef ANADATA_RETRYPOLICY_H
#define ANADATA_RETRYPOLICY_H

#include <atomic>
#include <chrono>

#include "CallFailure.h"

namespace anadata::detail {

struct RetryPolicy {
    int attempts = 1;  // of one request, the first included; 1: a failure is final
    // Before the second attempt; each later wait doubles, up to maxDelay, and is drawn at random
    // from its upper half so that clients refused together do not come back together.
    std::chrono::milliseconds firstDelay{200};
    std::chrono::milliseconds maxDelay{5000};
    // Set by whoever no longer wants the result (a cancelled transfer): a wait ends at once and the
    // call fails with its last failure.
    const std::atomic<bool>* abandon = nullptr;
};

// Whether the failure may go away when the request is sent again: a transport failure, a time-out
// or a busy service, for an operation that can be repeated without harm; for the begin of a
// registration only a busy service (which opened nothing). Never a refusal of what was asked
// (unauthorized, not_found, refused), a reply that does not read (protocol, format), a refused
// certificate, or a plain request to a TLS port.
bool mayRetry(const CallFailure& failure);

// The wait before attempt `next` (2 for the first retry): the backoff with its jitter, or the
// service's retryAfter when that is longer.
std::chrono::milliseconds retryDelay(const RetryPolicy& policy, int next, const CallFailure& failure);

// Sleeps for `wait` unless the policy's abandon flag is set meanwhile; false when it was.
bool waitBeforeRetry(const RetryPolicy& policy, std::chrono::milliseconds wait);

}  // namespace anadata::detail

#endif

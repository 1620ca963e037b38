// Which failures are tried again, the backoff with jitter, and the wait itself.
#include "RetryPolicy.h"

#include <algorithm>
#include <random>
#include <thread>

namespace anadata::detail {

bool mayRetry(const CallFailure& failure) {
    if (failure.tlsService) return false;
    const bool connection = failure.code == ErrorCode::transport || failure.code == ErrorCode::timeout;
    if (failure.operation == Operation::beginRegistration) return failure.code == ErrorCode::busy;
    return traitsOf(failure.operation).idempotent && (connection || failure.code == ErrorCode::busy);
}

std::chrono::milliseconds retryDelay(const RetryPolicy& policy, int next, const CallFailure& failure) {
    using std::chrono::milliseconds;
    milliseconds ceiling = policy.firstDelay;
    for (int i = 2; i < next && ceiling < policy.maxDelay; ++i) ceiling *= 2;
    ceiling = std::min(ceiling, policy.maxDelay);
    thread_local std::minstd_rand random(std::random_device{}());
    std::uniform_int_distribution<long long> half(ceiling.count() / 2, ceiling.count());
    const milliseconds backoff(half(random));
    return std::max<milliseconds>(backoff, failure.retryAfter);
}

bool waitBeforeRetry(const RetryPolicy& policy, std::chrono::milliseconds wait) {
    const auto until = std::chrono::steady_clock::now() + wait;
    // In slices, so that an abandoned call does not sleep out its whole backoff.
    constexpr std::chrono::milliseconds slice(50);
    for (;;) {
        if (policy.abandon != nullptr && policy.abandon->load()) return false;
        const auto now = std::chrono::steady_clock::now();
        if (now >= until) return true;
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(until - now, slice));
    }
}

}  // namespace anadata::detail

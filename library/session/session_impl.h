// What a Session and its copies share: the options, the account's current password and the connections.
#ifndef ANADATA_SESSION_SESSION_IMPL_H
#define ANADATA_SESSION_SESSION_IMPL_H

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "ConnectionPool.h"
#include "ServiceCalls.h"
#include "service_call.h"
#include "session.h"

namespace anadata {

namespace detail {
class CacheStore;
}

struct Session::Impl {
    explicit Impl(SessionOptions opts);

    // Account and password as they are now (changePassword replaces the password).
    std::pair<std::string, std::string> credentials() const;
    void setPassword(const std::string& password);

    // A connection of the pool for one operation. Throws Error(certificate) when https cannot be
    // set up with the options' CA file.
    detail::ConnectionPool::Lease lease();

    // Calls on `connection` whose failures throw the session's Error for `what`, retried as the
    // options say; a wait between attempts ends early once `abandon` (if given) is set.
    detail::ServiceCalls calls(detail::Connection& connection, const std::string& what,
                               const std::atomic<bool>* abandon = nullptr) const {
        detail::RetryPolicy retry;
        retry.attempts = std::max(1, options.retries);
        retry.firstDelay = options.retryDelay;
        retry.abandon = abandon;
        return detail::ServiceCalls(
            connection, [what](const detail::CallFailure& failure) { detail::throwCallFailure(failure, what); },
            retry);
    }

    // Runs body(calls) on a connection of the pool.
    template <class Body>
    void call(const std::string& what, Body&& body) {
        auto leased = lease();
        auto wire = calls(leased.connection(), what);
        body(wire);
    }

    SessionOptions options;
    mutable std::mutex passwordMutex;
    detail::ConnectionPool pool;
    // The local cache of options.cache; null when none is configured.
    std::shared_ptr<const detail::CacheStore> cache;
    // The endpoint as the cache's keys name it.
    std::string cacheEndpoint;
};

namespace detail {

// "name shot/subshot", how messages name a data set.
std::string dataSetName(const std::string& name, int shot, int subshot);

// The catalogue's listing ("ns:listTavolenInfo") of what the query selects.
std::vector<Entry> searchCatalogue(Session::Impl& impl, const SearchQuery& query);

}  // namespace detail
}  // namespace anadata

#endif

// The Session itself: its options, checked once, and the connections its operations share.
#include "session_impl.h"

#include <new>

#include "cache_store.h"

namespace anadata {

namespace detail {

std::string dataSetName(const std::string& name, int shot, int subshot) {
    return name + " " + std::to_string(shot) + "/" + std::to_string(subshot);
}

}  // namespace detail

Session::Impl::Impl(SessionOptions opts)
    : options(std::move(opts)),
      pool(detail::ConnectionSettings{options.endpoint, options.caFile, options.ioTimeout, options.requestTimeout,
                                      true},
           options.connections),
      cacheEndpoint(detail::cacheEndpoint(options.endpoint)) {
    if (!options.cache.directory.empty()) cache = std::make_shared<const detail::CacheStore>(options.cache);
}

detail::ConnectionPool::Lease Session::Impl::lease() {
    auto leased = [this] {
        try {
            return pool.acquire();
        } catch (const std::bad_alloc&) {
            throw Error(ErrorCode::transport, "out of memory setting up a connection");
        }
    }();
    const detail::Connection& connection = leased.connection();
    if (connection.setupStatus() != 0) {
        const std::string detail = connection.setupFailure();
        throw Error(ErrorCode::certificate, "cannot set up https with CA file '" + options.caFile + "'" +
                                                (detail.empty() ? "" : ": " + detail));
    }
    return leased;
}

Session::Session(SessionOptions options) {
    const std::string& url = options.endpoint;
    if (url.compare(0, 7, "http://") != 0 && url.compare(0, 8, "https://") != 0)
        throw Error(ErrorCode::transport, "endpoint '" + url + "' is not an http:// or https:// URL");
    impl_ = std::make_shared<Impl>(std::move(options));
}

SessionOptions Session::options() const {
    std::lock_guard<std::mutex> lock(impl_->passwordMutex);
    return impl_->options;
}

}  // namespace anadata

// What a Session and its copies share: the options, the account's current password and the connections.
#ifndef ANADATA_SESSION_SESSION_IMPL_H
#define ANADATA_SESSION_SESSION_IMPL_H

#include <mutex>
#include <string>
#include <utility>

#include "connection_pool.h"
#include "service_call.h"
#include "session.h"

namespace anadata {

struct Session::Impl {
    explicit Impl(SessionOptions opts);

    // Account and password as they are now (changePassword replaces the password).
    std::pair<std::string, std::string> credentials() const;
    void setPassword(const std::string& password);

    // One call on a connection of the pool.
    template <class Call>
    void call(const std::string& what, ErrorCode plainFault, Call&& body) {
        auto lease = pool.acquire();
        detail::callService(lease, pool.settings(), what, plainFault, [&](struct soap* soap) { return body(soap); });
    }

    SessionOptions options;
    mutable std::mutex passwordMutex;
    detail::ConnectionPool pool;
};

namespace detail {

// The stubs take char* for parameters they only read.
inline char* text(const std::string& s) {
    return const_cast<char*>(s.c_str());
}

// "name shot/subshot", how messages name a data set.
std::string dataSetName(const std::string& name, int shot, int subshot);

// The catalogue's listing ("ns:listTavolenInfo") of what the query selects.
std::vector<Entry> searchCatalogue(Session::Impl& impl, const SearchQuery& query);

}  // namespace detail
}  // namespace anadata

#endif

// The session's one-call operations: catalogue, experiment log, deletion and password.
#include "session_impl.h"

#include "soapH.h"

namespace anadata {

namespace {

std::string copy(const char* s) {
    return s != nullptr ? s : "";
}

std::vector<std::string> strings(const ns__StringArray& items) {
    std::vector<std::string> out;
    if (items.__ptr == nullptr) return out;
    out.reserve(static_cast<std::size_t>(items.__size));
    for (int i = 0; i < items.__size; ++i) out.push_back(copy(items.__ptr[i]));
    return out;
}

}  // namespace

namespace detail {

std::string dataSetName(const std::string& name, int shot, int subshot) {
    return name + " " + std::to_string(shot) + "/" + std::to_string(subshot);
}

}  // namespace detail

using detail::text;

Session::Impl::Impl(SessionOptions opts)
    : options(std::move(opts)),
      pool(detail::ConnectionSettings{options.endpoint, options.ioTimeout, options.requestTimeout, options.caFile},
           options.connections) {}

std::pair<std::string, std::string> Session::Impl::credentials() const {
    std::lock_guard<std::mutex> lock(passwordMutex);
    return {options.account, options.password};
}

void Session::Impl::setPassword(const std::string& password) {
    std::lock_guard<std::mutex> lock(passwordMutex);
    options.password = password;
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

void Session::remove(const std::string& name, int shot, int subshot) const {
    const auto [account, password] = impl_->credentials();
    impl_->call("delete " + detail::dataSetName(name, shot, subshot), ErrorCode::refused, [&](struct soap* soap) {
        int ret = 0;  // the status decides, as in the qx:: client
        return soap_call_ns__delTavolenData(soap, text(impl_->options.endpoint), nullptr, text(account),
                                            text(password), text(name), shot, subshot, ret);
    });
}

std::vector<Entry> detail::searchCatalogue(Session::Impl& impl, const SearchQuery& query) {
    std::vector<Entry> out;
    impl.call("search", ErrorCode::refused, [&](struct soap* soap) {
        std::vector<const char*> names;
        for (const auto& n : query.names) names.push_back(n.c_str());
        ns__StringArray list(soap, names.data(), static_cast<int>(names.size()));
        ns__TavolenInfoArray rows;
        const int status = soap_call_ns__listTavolenInfo(soap, text(impl.options.endpoint), nullptr, list,
                                                         query.firstShot, query.lastShot, query.subshot,
                                                         text(query.user), query.limit, rows);
        if (status != SOAP_OK || rows.__ptr == nullptr) return status;
        out.reserve(static_cast<std::size_t>(rows.__size));
        for (int i = 0; i < rows.__size; ++i) {
            const ns__TavolenInfo& r = rows.__ptr[i];
            Entry e;
            e.name = copy(r.diagnostics);
            e.shot = r.shotno;
            e.subshot = r.subshotno;
            e.filename = copy(r.filename);
            e.filedate = copy(r.filedate);
            e.user = copy(r.userid);
            e.summary = copy(r.summary);
            e.size = r.filelen;
            e.server = copy(r.server);
            e.directory = copy(r.directory);
            out.push_back(std::move(e));
        }
        return status;
    });
    return out;
}

std::vector<Entry> Session::search(const SearchQuery& query) const {
    return detail::searchCatalogue(*impl_, query);
}

std::vector<std::string> Session::names() const {
    std::vector<std::string> out;
    impl_->call("list data names", ErrorCode::refused, [&](struct soap* soap) {
        ns__StringArray items;
        const int status = soap_call_ns__getDiagnostics(soap, text(impl_->options.endpoint), nullptr, items);
        if (status == SOAP_OK) out = strings(items);
        return status;
    });
    return out;
}

std::vector<NameCount> Session::counts() const {
    std::vector<NameCount> out;
    impl_->call("count entries", ErrorCode::refused, [&](struct soap* soap) {
        ns__DiagEntryArray items;
        const int status = soap_call_ns__getDiagEntry(soap, text(impl_->options.endpoint), nullptr, items);
        for (int i = 0; status == SOAP_OK && items.__ptr != nullptr && i < items.__size; ++i)
            out.push_back({copy(items.__ptr[i].diagnostics), items.__ptr[i].sum});
        return status;
    });
    return out;
}

std::vector<ShotCount> Session::entryCounts(const std::string& name, int shot, int range) const {
    std::vector<ShotCount> out;
    impl_->call("count entries of " + name, ErrorCode::refused, [&](struct soap* soap) {
        ns__NumEntryArray items;
        const int status =
            soap_call_ns__getNumEntry(soap, text(impl_->options.endpoint), nullptr, text(name), shot, range, items);
        for (int i = 0; status == SOAP_OK && items.__ptr != nullptr && i < items.__size; ++i)
            out.push_back({items.__ptr[i].no, items.__ptr[i].sum});
        return status;
    });
    return out;
}

std::vector<std::string> Session::explogColumns() const {
    std::vector<std::string> out;
    impl_->call("experiment-log columns", ErrorCode::refused, [&](struct soap* soap) {
        ns__StringArray items;
        const int status = soap_call_ns__getExplogColumnNames(soap, text(impl_->options.endpoint), nullptr, items);
        if (status == SOAP_OK) out = strings(items);
        return status;
    });
    return out;
}

// A lookup by shot or column has no other refusal than that the key is unknown.
std::vector<std::string> Session::explogRow(int shot) const {
    std::vector<std::string> out;
    impl_->call("experiment log of shot " + std::to_string(shot), ErrorCode::not_found, [&](struct soap* soap) {
        ns__StringArray items;
        const int status =
            soap_call_ns__getExplogColumnValues(soap, text(impl_->options.endpoint), nullptr, shot, items);
        if (status == SOAP_OK) out = strings(items);
        return status;
    });
    return out;
}

std::string Session::explogValue(int shot, const std::string& column) const {
    std::string out;
    impl_->call("experiment log of shot " + std::to_string(shot) + ", column " + column, ErrorCode::not_found,
                [&](struct soap* soap) {
                    char* value = nullptr;
                    const int status = soap_call_ns__getExplogColumnValue(soap, text(impl_->options.endpoint),
                                                                          nullptr, shot, text(column), value);
                    out = copy(value);
                    return status;
                });
    return out;
}

void Session::changePassword(const std::string& newPassword) const {
    const auto [account, password] = impl_->credentials();
    impl_->call("change the password of " + account, ErrorCode::refused, [&](struct soap* soap) {
        int ret = 0;  // the status decides, as in the qx:: client
        return soap_call_ns__changePassword(soap, text(impl_->options.endpoint), nullptr, text(account),
                                            text(password), text(newPassword), ret);
    });
    impl_->setPassword(newPassword);
}

}  // namespace anadata

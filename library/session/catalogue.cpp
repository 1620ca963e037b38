// The session's catalogue calls: search, data names, entry counts, and the deletion of an entry.
#include "session_impl.h"

namespace anadata {

std::vector<Entry> detail::searchCatalogue(Session::Impl& impl, const SearchQuery& query) {
    std::vector<qx::TavolenInfo> rows;
    impl.call("search", [&](ServiceCalls& calls) {
        calls.listEntries(query.names, query.firstShot, query.lastShot, query.subshot, query.user.c_str(),
                          query.limit, rows);
    });
    std::vector<Entry> out;
    out.reserve(rows.size());
    for (qx::TavolenInfo& row : rows) {
        Entry e;
        e.name = std::move(row.diagnostics);
        e.shot = row.shotno;
        e.subshot = row.subshotno;
        e.filename = std::move(row.filename);
        e.filedate = std::move(row.filedate);
        e.user = std::move(row.userid);
        e.summary = std::move(row.summary);
        e.size = row.filelen;
        e.server = std::move(row.server);
        e.directory = std::move(row.directory);
        out.push_back(std::move(e));
    }
    return out;
}

std::vector<Entry> Session::search(const SearchQuery& query) const {
    return detail::searchCatalogue(*impl_, query);
}

std::vector<std::string> Session::names() const {
    std::vector<std::string> out;
    impl_->call("list data names", [&](detail::ServiceCalls& calls) { calls.names(out); });
    return out;
}

std::vector<NameCount> Session::counts() const {
    std::vector<qx::DiagEntry> rows;
    impl_->call("count entries", [&](detail::ServiceCalls& calls) { calls.nameCounts(rows); });
    std::vector<NameCount> out;
    for (qx::DiagEntry& row : rows) out.push_back({std::move(row.diagnostics), row.sum});
    return out;
}

std::vector<ShotCount> Session::entryCounts(const std::string& name, int shot, int range) const {
    std::vector<qx::NumEntry> rows;
    impl_->call("count entries of " + name,
                [&](detail::ServiceCalls& calls) { calls.shotCounts(name.c_str(), shot, range, rows); });
    std::vector<ShotCount> out;
    for (const qx::NumEntry& row : rows) out.push_back({row.no, row.sum});
    return out;
}

void Session::remove(const std::string& name, int shot, int subshot) const {
    const auto [account, password] = impl_->credentials();
    impl_->call("delete " + detail::dataSetName(name, shot, subshot), [&](detail::ServiceCalls& calls) {
        calls.deleteEntry(account.c_str(), password.c_str(), name.c_str(), shot, subshot);
    });
}

}  // namespace anadata

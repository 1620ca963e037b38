// The catalogue's rows of one data name over a shot range, read in pages as the service cuts them.
#include "cached_fetch.h"

#include <algorithm>

namespace anadata::detail {

namespace {

// Rows asked for at once; the reference service gives at most 10000 in one answer.
constexpr int pageRows = 10000;

}  // namespace

ShotListing listShots(Session::Impl& impl, const std::string& name, int first, int last, int subshot) {
    ShotListing listing;
    SearchQuery query;
    query.names = {name};
    query.lastShot = last;
    query.subshot = subshot == 0 ? 1 : subshot;
    for (int from = first; from <= last;) {
        const long long width = static_cast<long long>(last) - from + 1;
        query.firstShot = from;
        query.limit = static_cast<int>(std::min<long long>(width, pageRows));
        std::vector<Entry> rows;
        try {
            rows = searchCatalogue(impl, query);
        } catch (const Error& e) {
            // A service that will not list is still asked for the data itself.
            if (e.code() != ErrorCode::refused && e.code() != ErrorCode::protocol) throw;
            return ShotListing{};
        }
        int reached = from - 1;
        long long listed = 0;
        bool ascending = true;  // a cut answer only says where to go on when it is in shot order
        for (Entry& row : rows) {
            ascending = ascending && row.shot >= reached;
            if (row.shot < from || row.shot > last || row.name != name || row.subshot != query.subshot) continue;
            reached = std::max(reached, row.shot);
            listed += listing.rows.emplace(row.shot, std::move(row)).second;
        }
        // A shot has one row at most, so a page that lists every shot of its range, or its last
        // one, is whole. Any other answer may have been cut at a limit of the service's own,
        // below the one asked for, and the next page starts after its last row: one more round
        // trip when the last shots of the range do not exist.
        if (rows.empty() || listed == width || (reached == last && ascending)) {
            listing.complete = true;
            break;
        }
        // Rows, but none of those asked for, or out of order: nothing to page on, and the shots the
        // listing lacks are asked for one by one.
        if (reached < from || !ascending) break;
        from = reached + 1;
    }
    return listing;
}

}  // namespace anadata::detail

// Fetches checked against the catalogue before the local cache serves them: the catalogue's rows of a
// shot range, and the fetch of one data set (alone or as an item of a batch) through the cache.
#ifndef ANADATA_SESSION_CACHED_FETCH_H
#define ANADATA_SESSION_CACHED_FETCH_H

#include <map>
#include <string>

#include "transfers.h"

namespace anadata::detail {

// The catalogue's rows of `name` and `subshot` (0 counts as 1, as the service files it) for
// shots first..last, by shot. `complete` tells whether every row of the range is in it: the
// listing is read in pages, and a service that refuses to list (refused, protocol) leaves it
// empty and incomplete. Throws the other errors of the search.
struct ShotListing {
    std::map<int, Entry> rows;
    bool complete = false;
};
ShotListing listShots(Session::Impl& impl, const std::string& name, int first, int last, int subshot);

// One item of fetchMany or fetchFiles, with `row` the listing's row for it (null when it has
// none): fills out's record or path, fromCache and entry. Offline, only the cache is asked. With
// a cache, an entry stored under the same row is served; anything else is downloaded (with the
// row's length) and, when there is a row, kept. Throws what the download throws, not_found
// offline for what the cache lacks.
void fetchItem(Session::Impl& impl, const DataSetRef& ref, const Entry* row, const TransferControl& control,
               FetchOutcome& out);
void fetchFileItem(Session::Impl& impl, const DataSetRef& ref, const Entry* row, const std::string& path,
                   const FetchFileOptions& options, const TransferControl& control, FetchOutcome& out);

// Session::fetch and Session::fetchFile: without a cache (and not offline) the plain download;
// else the data set's row is listed first (one catalogue call, none offline; not_found when the
// catalogue lists none) and the item fetched as above.
qx::AnaData fetchThroughCache(Session::Impl& impl, const DataSetRef& ref, const TransferControl& control);
std::string fetchFileThroughCache(Session::Impl& impl, const DataSetRef& ref, const std::string& path,
                                  const FetchFileOptions& options, const TransferControl& control);

}  // namespace anadata::detail

#endif

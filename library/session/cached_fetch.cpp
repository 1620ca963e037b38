// Fetching through the local cache: an entry is served only under the catalogue row it was stored
// with, and what is downloaded under a row is kept for the next time.
#include "cached_fetch.h"

#include "cache_store.h"
#include "staged_file.h"

namespace anadata::detail {

namespace {

CacheKey keyOf(const Session::Impl& impl, const DataSetRef& ref, PayloadKind kind) {
    return CacheKey{impl.cacheEndpoint, ref.name, ref.shot, ref.subshot, kind};
}

Error notHeld(const Session::Impl& impl, const DataSetRef& ref) {
    return Error(ErrorCode::not_found, "fetch " + ref.text() +
                                           (impl.cache ? ": not in the local cache (offline)"
                                                       : ": offline, and no local cache is configured"));
}

// A progress report of the whole data set at once, for what the cache served.
void reportServed(const TransferControl& control, const DataSetRef& ref, std::int64_t size) {
    const auto bytes = static_cast<std::uint64_t>(std::max<std::int64_t>(size, 0));
    checkProgress(control, "fetch " + ref.text(), bytes, bytes);
}

// Writes the cached file where fetchFile would have written the download; empty when the entry
// turns out corrupt (nothing is left behind then).
std::string serveFile(const CachedFile& held, const DataSetRef& ref, const std::string& path,
                      const FetchFileOptions& options) {
    const std::string target =
        isDirectory(path) ? path + "/" + localName(held.row().filename, ref, options.keepArchive) : path;
    StagedFile file(target, options.overwrite);
    if (!held.copyTo([&](const char* data, std::size_t size) { file.write(data, size); })) return "";
    file.commit();
    return target;
}

// The row of the data set in the catalogue, for a fetch of its own (none offline); null when the
// listing could not be had. Throws Error(not_found) when the catalogue has no such data set.
const Entry* listOne(Session::Impl& impl, const DataSetRef& ref, ShotListing& listing) {
    if (impl.options.offline) return nullptr;
    listing = listShots(impl, ref.name, ref.shot, ref.shot, ref.subshot);
    const auto found = listing.rows.find(ref.shot);
    if (found != listing.rows.end()) return &found->second;
    if (listing.complete) throw Error(ErrorCode::not_found, "fetch " + ref.text() + ": not in the catalogue");
    return nullptr;
}

}  // namespace

void fetchItem(Session::Impl& impl, const DataSetRef& ref, const Entry* row, const TransferControl& control,
               FetchOutcome& out) {
    const CacheKey key = keyOf(impl, ref, PayloadKind::record);
    if (impl.options.offline) {
        auto held = impl.cache ? impl.cache->lookupOffline(key) : std::nullopt;
        if (!held) throw notHeld(impl, ref);
        reportServed(control, ref, held->row.size);
        out.record = std::move(held->record);
        out.entry = std::move(held->row);
        out.fromCache = true;
        return;
    }
    if (row != nullptr) out.entry = *row;
    if (impl.cache && row != nullptr) {
        if (auto hit = impl.cache->lookup(key, *row)) {
            reportServed(control, ref, row->size);
            out.record = std::move(*hit);
            out.fromCache = true;
            return;
        }
    }
    out.record = fetchRecord(impl, ref, listedLength(row), control);
    if (impl.cache && row != nullptr) impl.cache->store(key, *row, *out.record);
}

void fetchFileItem(Session::Impl& impl, const DataSetRef& ref, const Entry* row, const std::string& path,
                   const FetchFileOptions& options, const TransferControl& control, FetchOutcome& out) {
    const CacheKey key = keyOf(impl, ref, options.keepArchive ? PayloadKind::archive : PayloadKind::dataFile);
    if (!impl.options.offline && row != nullptr) out.entry = *row;
    if (impl.cache && (impl.options.offline || row != nullptr)) {
        const std::optional<CachedFile> held = impl.cache->lookupFile(key, impl.options.offline ? nullptr : row);
        if (held) {
            reportServed(control, ref, held->row().size);
            out.path = serveFile(*held, ref, path, options);
            if (!out.path.empty()) {
                if (impl.options.offline) out.entry = held->row();
                out.fromCache = true;
                return;
            }
        }
    }
    if (impl.options.offline) throw notHeld(impl, ref);
    out.path = fetchToFile(impl, ref, path, options, listedLength(row), control);
    if (impl.cache && row != nullptr) impl.cache->storeFile(key, *row, out.path);
}

qx::AnaData fetchThroughCache(Session::Impl& impl, const DataSetRef& ref, const TransferControl& control) {
    if (!impl.cache && !impl.options.offline) return fetchRecord(impl, ref, {}, control);
    ShotListing listing;
    const Entry* row = listOne(impl, ref, listing);
    FetchOutcome out;
    fetchItem(impl, ref, row, control, out);
    return std::move(*out.record);
}

std::string fetchFileThroughCache(Session::Impl& impl, const DataSetRef& ref, const std::string& path,
                                  const FetchFileOptions& options, const TransferControl& control) {
    if (!impl.cache && !impl.options.offline) return fetchToFile(impl, ref, path, options, {}, control);
    ShotListing listing;
    const Entry* row = listOne(impl, ref, listing);
    FetchOutcome out;
    fetchFileItem(impl, ref, row, path, options, control, out);
    return out.path;
}

}  // namespace anadata::detail

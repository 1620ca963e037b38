// The block download of a data set's archive, bounded by the catalogue's length.
#include "cached_fetch.h"

#include <climits>

#include "BlockTransfers.h"
#include "RangedDownload.h"

namespace anadata::detail {

void checkProgress(const TransferControl& control, const std::string& what, std::uint64_t done, std::uint64_t total) {
    if ((control.stop != nullptr && control.stop->load()) ||
        (control.progress != nullptr && *control.progress && !(*control.progress)(done, total)))
        throw Error(ErrorCode::cancelled, what + ": cancelled");
}

ArchiveLength listedLength(const Entry* row) {
    ArchiveLength length;
    if (row != nullptr && row->size > 0) {  // an archive is never empty: 0 or less says nothing
        length.bytes = row->size;
        length.date = row->filedate;
    }
    length.lookUp = false;
    return length;
}

void downloadArchive(Session::Impl& impl, const DataSetRef& ref, ArchiveLength length, const TransferControl& control,
                     const std::function<std::uint64_t(const ArchiveStart& start)>& onStart,
                     const std::function<void(const unsigned char* data, std::size_t size)>& sink) {
    const std::string what = "fetch " + ref.text();
    if (control.stop != nullptr && control.stop->load()) throw Error(ErrorCode::cancelled, what + ": cancelled");
    if (!length.bytes && length.lookUp) {
        const ShotListing listing = listShots(impl, ref.name, ref.shot, ref.shot, ref.subshot);
        if (const auto found = listing.rows.find(ref.shot); found != listing.rows.end())
            length = listedLength(&found->second);
    }
    std::optional<std::uint64_t> total;
    if (length.bytes) total = static_cast<std::uint64_t>(*length.bytes);

    std::string path;
    {
        auto lease = impl.lease();
        impl.calls(lease.connection(), what, control.stop).dataPath(ref.name.c_str(), ref.shot, ref.subshot, path);
    }
    const auto slash = path.rfind('/');
    std::uint64_t done = 0;
    if (onStart) done = onStart({slash == std::string::npos ? path : path.substr(slash + 1), length});

    const auto deliver = [&](const unsigned char* data, std::size_t size) {
        sink(data, size);
        checkProgress(control, what, done, total.value_or(0));
    };
    DownloadEnd end;
    if (total) {
        const int streams = control.streams > 0 ? control.streams : impl.options.streams;
        const CallsOn callsOn = [&](Connection& connection) { return impl.calls(connection, what, control.stop); };
        end = downloadRanges(impl.pool, callsOn, path.c_str(), *total, streams, done, deliver);
    } else {
        auto lease = impl.lease();
        auto calls = impl.calls(lease.connection(), what, control.stop);
        end = downloadBlocks(calls, path.c_str(), total, done, deliver);
    }
    if (end == DownloadEnd::overrun)
        throw Error(ErrorCode::protocol, what + (total && *total <= INT_MAX
                                                     ? ": the service sent more than the catalogue's " +
                                                           std::to_string(*total) + " bytes"
                                                     : ": the service sent more than 2 GiB"));
    if (total && done != *total)
        throw Error(ErrorCode::protocol, what + ": the download ended after " + std::to_string(done) + " of the " +
                                             std::to_string(*total) + " bytes the catalogue gives");
}

}  // namespace anadata::detail

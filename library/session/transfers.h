// The session's transfers of one data set, shared by the single operations and the batches.
#ifndef ANADATA_SESSION_TRANSFERS_H
#define ANADATA_SESSION_TRANSFERS_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "session_impl.h"

namespace anadata::detail {

struct DataSetRef {
    std::string name;
    int shot = 0;
    int subshot = 1;
    std::string text() const { return dataSetName(name, shot, subshot); }
};

// How a transfer reports and stops: `progress` per block (may be null), `stop` set by a batch
// that is being cancelled (may be null), `streams` the connections one archive may use at once
// (0: the session's streams).
struct TransferControl {
    const Progress* progress = nullptr;
    const std::atomic<bool>* stop = nullptr;
    int streams = 0;
};

// What is known of the archive before the download: its length and date from the catalogue,
// looked up first when `lookUp` is set and the length is not given.
struct ArchiveLength {
    std::optional<std::int64_t> bytes;
    std::string date;  // the catalogue's file date; "" when not known
    bool lookUp = true;
};

// What the download knows as its first block is about to be asked for.
struct ArchiveStart {
    std::string serverName;  // the server path's last component
    ArchiveLength length;    // as looked up
};

// Downloads the data set's archive: its catalogue length (see ArchiveLength), its server path,
// then its blocks up to that length (over the control's streams when it spans several), or
// without a length block after block until an empty one. onStart (may be null) is called before
// the first block and returns how many of the archive's first bytes the caller already holds:
// the download starts after them. sink receives the blocks in order. Throws Error: not_found for
// an unknown data set, protocol when the blocks pass the catalogue's length or end short of it,
// cancelled, and whatever onStart and sink throw.
void downloadArchive(Session::Impl& impl, const DataSetRef& ref, ArchiveLength length, const TransferControl& control,
                     const std::function<std::uint64_t(const ArchiveStart& start)>& onStart,
                     const std::function<void(const unsigned char* data, std::size_t size)>& sink);

// The length and date of the archive a catalogue row lists (`row` may be null: nothing known),
// with lookUp off: the catalogue is not asked again.
ArchiveLength listedLength(const Entry* row);

qx::AnaData fetchRecord(Session::Impl& impl, const DataSetRef& ref, ArchiveLength length,
                        const TransferControl& control);
std::string fetchToFile(Session::Impl& impl, const DataSetRef& ref, const std::string& path,
                        const FetchFileOptions& options, ArchiveLength length, const TransferControl& control);

// The name fetchToFile gives the file it writes into a directory: the service's file name
// (less ".zip" unless keepArchive), or the qx:: interface's name for one that is no plain name.
std::string localName(const std::string& serverName, const DataSetRef& ref, bool keepArchive);
bool isDirectory(const std::string& path);

// Throws Error(cancelled) when the control says to stop or the progress callback says no.
void checkProgress(const TransferControl& control, const std::string& what, std::uint64_t done, std::uint64_t total);

}  // namespace anadata::detail

#endif

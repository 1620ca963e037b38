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
// that is being cancelled (may be null).
struct TransferControl {
    const Progress* progress = nullptr;
    const std::atomic<bool>* stop = nullptr;
};

// What is known of the archive before the download: its length from the catalogue, looked up
// first when `lookUp` is set and the length is not given.
struct ArchiveLength {
    std::optional<std::int64_t> bytes;
    bool lookUp = true;
};

// Downloads the data set's archive on one connection: its catalogue length (see ArchiveLength),
// its server path, then block after block up to that length, or without one until an empty
// block. onPath receives the server's file
// name (the path's last component) before the first block; sink receives the blocks. Throws
// Error: not_found for an unknown data set, protocol when the blocks pass the catalogue's length
// or end short of it, cancelled, and whatever onPath and sink throw.
void downloadArchive(Session::Impl& impl, const DataSetRef& ref, ArchiveLength length, const TransferControl& control,
                     const std::function<void(const std::string& serverName)>& onPath,
                     const std::function<void(const unsigned char* data, std::size_t size)>& sink);

// The lengths of the catalogue's entries of `name`/`subshot` for shots first..last, by shot; empty
// when the service does not list them. `complete` tells whether every entry of the range is in
// it (a listing cut short by the limit is not).
std::map<int, std::int64_t> catalogueLengths(Session::Impl& impl, const std::string& name, int first, int last,
                                             int subshot, bool& complete);

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

// anadata::Session: the analysed-data service for programs and tools, with typed errors, progress,
// cancel, batches and many threads.
#ifndef ANADATA_SESSION_H
#define ANADATA_SESSION_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "anadata.h"
#include "anadata_export.h"
#include "cache.h"
#include "error.h"

// Beside the qx:: interface, which keeps its process-wide settings, its printed messages and its
// temporary files, a Session carries everything itself:
//
// - Settings are explicit (SessionOptions) or read once from a settings file into the session
//   (Session::fromSettings); nothing is process-wide, and two sessions with different accounts
//   or endpoints can live in one process.
// - Thread safety: one Session may be used from any number of threads at once; every operation
//   takes its own connection from the session's pool. Copies of a Session share that pool and are
//   equally safe. Records returned are the caller's own.
// - Connections: up to SessionOptions::connections idle connections stay open between operations,
//   so a loop of small operations does not pay a connection set-up each time.
// - Nothing is printed. Every failure is an anadata::Error with a code and a message naming what
//   failed; a service fault's own text is the message of a `refused` error.
// - No temporary file is written, except by fetchFile, which writes through a temporary name in
//   the target's directory and renames it at the end (the temporary is removed on failure).
//   Beside the target, TARGET.part keeps the archive received so far when the catalogue gives its
//   date and size: a download interrupted by a cancel, a dropped connection or a crash leaves it,
//   and a later fetchFile of the same, unchanged entry continues from it (a replaced entry's is
//   discarded). It is removed when the download completes or fails for good.
// - On the wire every operation sends exactly the requests of the service contract, in blocks of
//   819200 bytes, with the file names and summaries the qx:: interface uses for the same data.

namespace anadata {

// Called as a transfer goes (per 819200-byte block) or a batch goes (per item), with the amount
// done and the total (0 when not known). Returning false cancels the operation, which then throws
// Error(cancelled). Calls never overlap, but may come from a thread of the library.
using Progress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

struct SessionOptions {
    std::string endpoint;  // "http://host:port/path" or "https://..."
    std::string account;
    std::string password;
    // Each connect, send or receive; a stalled peer fails the call after this long.
    std::chrono::seconds ioTimeout{30};
    // Each request as a whole (one block of a transfer, one search...): a reply that trickles in
    // fails once this has passed, however slowly it keeps coming.
    std::chrono::seconds requestTimeout{120};
    // Idle connections kept open for later operations.
    int connections = 8;
    // https: a CA bundle (PEM) to verify the service with instead of the system's store.
    std::string caFile;
    // Threads that compress a registration; 0 follows the machine.
    int compressionThreads = 0;
    // A local cache of fetched data sets (see cache.h), off while cache.directory is empty: fetch,
    // fetchFile, fetchMany and fetchFiles serve a data set from it while the catalogue lists the
    // same file (name, date, size and account), asked once per call (one listing for a whole
    // batch), and keep what they download in it. Records and files are kept apart: a file comes
    // back byte for byte as the service's download wrote it.
    CacheOptions cache;
    // The fetches serve only what the cache holds, as it was stored, without asking the service;
    // what it lacks is not_found (everything, when no cache is configured). The other
    // operations still ask the service.
    bool offline = false;
    // [search] limit= of the settings file: the rows a search asks for when its query gives no
    // limit of its own, for callers that apply it (the tool does); 0: none.
    int searchLimit = 0;
    // Attempts of an operation that can be repeated without harm (fetch and its blocks, search,
    // names, counts, experiment log) after a transport failure, a time-out or a busy service,
    // with exponential backoff and jitter within the request's deadline (requestTimeout, from the
    // first attempt); 0 or 1: no retry. A registration's begin is retried when the service is busy,
    // and an upload whose connection drops continues from what the service holds (or begins
    // again) as often. Never retried: unauthorized, not_found, refused, format, certificate.
    int retries = 4;
    // The wait before the second attempt; each further one doubles, up to 5 s, drawn at random from
    // its upper half. A busy service's own wait is taken when it is longer.
    std::chrono::milliseconds retryDelay{200};
    // Connections one large download (fetch, fetchFile) uses at once, each fetching other blocks of
    // the archive, which are then inflated in order (at most two blocks per stream are held). A
    // batch runs one per item, as it already runs `jobs` at once; 0 or 1: one at a time.
    int streams = 4;
};

// Reads the settings file as the qx:: interface finds it ($CLIENT_INI2, else ~/.client2.ini, else
// /etc/client2.ini; the first that opens wins) or the given one: account, passwd, endpoint and
// cafile of [tserver], limit of [search], and dir= and max_bytes= of [cache] (a "~" at the start of
// dir= is the home directory; max_bytes= takes a K, M, G or T after the number). Throws
// Error(local_io) when no file opens or max_bytes= is no byte count, Error(format) when limit= is
// not a whole number of zero or more.
ANADATA_API SessionOptions loadSettings(const std::string& path = "");

// One registered data set as the catalogue lists it.
struct Entry {
    std::string name;  // data name (diagnostics)
    int shot = 0;
    int subshot = 0;
    std::string filename;  // on the service
    std::string filedate;  // "YYYY-MM-DD hh:mm:ss"
    std::string user;      // account that registered it
    std::string summary;
    std::int64_t size = 0;  // bytes of the stored archive
    std::string server;
    std::string directory;
};

struct SearchQuery {
    std::vector<std::string> names;  // data names; empty: every name
    int firstShot = 0;               // 0: open
    int lastShot = 0;                // 0: open
    int subshot = 0;                 // 0: every sub-shot
    std::string user;                // empty: every account
    int limit = 0;                   // 0: as many as the service gives
};

struct NameCount {
    std::string name;
    int entries = 0;
};

struct ShotCount {
    int shot = 0;
    int entries = 0;
};

struct FetchFileOptions {
    bool keepArchive = false;  // write the zip archive as the service holds it
    bool overwrite = false;    // replace an existing file (atomically) instead of refusing
    Progress progress;
};

struct RegisterOptions {
    Progress progress;  // per block sent, total = the archive's size
    // registerRecord: digits after the point in the text file sent; 16 keeps every bit of a
    // double, 6 is what AnaData::regist() writes.
    int precision = 16;
};

struct BatchOptions {
    int jobs = 8;       // transfers at once
    Progress progress;  // per item finished, total = number of items
};

// One item of a batch: the record or file on success, the error otherwise.
struct FetchOutcome {
    int shot = 0;
    std::optional<qx::AnaData> record;  // fetchMany
    std::string path;                   // fetchFiles
    std::optional<Error> error;
    bool fromCache = false;  // served by the local cache, without a download
    // The catalogue's row of the batch's one listing for this shot (offline: the row the cache
    // entry was stored under); empty when the listing had none. A record or file served from the
    // cache is exactly the version this row describes; a download began after the listing, so
    // the data set may have been replaced in between (a caller that must know lists again
    // after the batch).
    std::optional<Entry> entry;
    bool ok() const { return !error.has_value(); }
};

class ANADATA_API Session {
public:
    // No connection is made until the first operation.
    // Throws Error(transport) when the endpoint is not an http:// or https:// URL.
    explicit Session(SessionOptions options);
    // The session of the settings file (see loadSettings). Throws Error(local_io).
    static Session fromSettings(const std::string& path = "");

    // The options, with the password as it is now.
    SessionOptions options() const;

    // --- Data sets ---

    // Downloads, inflates and reads the data set into memory, streamed, without any file. With a
    // cache, one catalogue call first: the cached record when it was stored under the same row,
    // else the download, which is kept. Throws Error: not_found, format (not a record or not an
    // archive), protocol, transport, ...
    qx::AnaData fetch(const std::string& name, int shot, int subshot = 1, const Progress& progress = {}) const;
    // Downloads the data set to `path`, or into `path` under the service's file name (less ".zip"
    // unless keepArchive) when path is a directory. Returns the path written. With a cache, as
    // fetch, the file's bytes kept as the download wrote them. Throws Error(local_io) when the
    // target exists and overwrite is off, or cannot be written.
    std::string fetchFile(const std::string& name, int shot, int subshot, const std::string& path,
                          const FetchFileOptions& options = {}) const;
    // Registers the record under its own name, shot and sub-shot (0 registers 1) with its comment
    // as summary, replacing an earlier entry of this account, as AnaData::regist() does.
    void registerRecord(const qx::AnaData& record, const RegisterOptions& options = {}) const;
    // Registers the data file at path as (name, shot, subshot) with its header summary, as
    // AnaData::regist(...) does. Throws Error(format) when its header cannot be read.
    void registerFile(const std::string& path, const std::string& name, int shot, int subshot,
                      const RegisterOptions& options = {}) const;
    // Deletes the data set. Throws Error(not_found), Error(unauthorized), ...
    void remove(const std::string& name, int shot, int subshot = 1) const;

    // --- Batches ---

    // Fetches one data name over many shots, `jobs` at a time. Returns one outcome per shot, in
    // the order given; a failed item (a missing shot: not_found) does not stop the others. Only a
    // cancel (Error(cancelled)) or a failure that would fail every item before it starts throws.
    // The catalogue is listed once for the range of the shots (in pages when the service cuts
    // its answers); with a cache, the shots it holds under the listed rows are served from it
    // and only the others downloaded (and kept).
    std::vector<FetchOutcome> fetchMany(const std::string& name, const std::vector<int>& shots, int subshot = 1,
                                        const BatchOptions& options = {}) const;
    // The same into files in `directory`, under the service's file names (never overwriting).
    std::vector<FetchOutcome> fetchFiles(const std::string& name, const std::vector<int>& shots, int subshot,
                                         const std::string& directory, const BatchOptions& options = {}) const;
    // The same with each shot's file named: shots[i] goes to paths[i], written as `file` says
    // (overwrite, keepArchive); file.progress, when set, is called during every transfer, from the
    // batch's threads at once, and a false cancels the whole batch. Throws std::invalid_argument
    // when paths and shots differ in number.
    std::vector<FetchOutcome> fetchFiles(const std::string& name, const std::vector<int>& shots, int subshot,
                                         const std::vector<std::string>& paths, const FetchFileOptions& file,
                                         const BatchOptions& options = {}) const;

    // --- Catalogue ---

    std::vector<Entry> search(const SearchQuery& query) const;
    std::vector<std::string> names() const;
    std::vector<NameCount> counts() const;
    // Entry counts of `name` around `shot`, as the service's getNumEntry gives them.
    std::vector<ShotCount> entryCounts(const std::string& name, int shot, int range) const;

    // --- Experiment log ---

    std::vector<std::string> explogColumns() const;
    // The row of `shot`, one text per column. Throws Error(not_found) for an unknown shot.
    std::vector<std::string> explogRow(int shot) const;
    // Throws Error(not_found) for an unknown shot or column (the message says which).
    std::string explogValue(int shot, const std::string& column) const;

    // --- Account ---

    // Changes the account's password from the session's to newPassword; later operations of
    // this session (and its copies) use the new one.
    void changePassword(const std::string& newPassword) const;

    struct Impl;

private:
    std::shared_ptr<Impl> impl_;
};

}  // namespace anadata

#endif

// The Python class Session over anadata::Session: every service call runs with the GIL released,
// and progress callbacks take it back for each call.
#include "session_binding.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <anadata/record_file.h>
#include <anadata/session.h>

#include "errors.h"
#include "session_caster.h"

namespace py = pybind11;
using namespace py::literals;

namespace anadata::python {

namespace {

// Hands the library a Progress that calls a Python callable (or nothing) from whichever thread the
// library reports on. The callable cancels by returning False or by raising; Ctrl-C cancels too.
class ProgressBridge {
public:
    explicit ProgressBridge(py::object callable) : callable_(std::move(callable)) {}

    // Holds a pointer to this bridge, which outlives the operation it is given to.
    Progress function() {
        return [this](std::uint64_t done, std::uint64_t total) { return call(done, total); };
    }

    // With the GIL held, after a cancelled operation: raises what the callable raised, if it did.
    void rethrow() const {
        if (raised_) std::rethrow_exception(raised_);
    }

private:
    bool call(std::uint64_t done, std::uint64_t total) {
        py::gil_scoped_acquire gil;
        try {
            if (PyErr_CheckSignals() != 0) throw py::error_already_set();
            if (callable_.is_none()) return true;
            const py::object answer = callable_(done, total);
            if (answer.is_none()) return true;
            const int truth = PyObject_IsTrue(answer.ptr());
            if (truth < 0) throw py::error_already_set();
            return truth != 0;
        } catch (const py::error_already_set&) {
            raised_ = std::current_exception();
            return false;
        }
    }

    py::object callable_;
    std::exception_ptr raised_;
};

// Runs operation(progress) without the GIL; a cancel caused by the callable raises its exception.
template <typename Operation>
auto withProgress(const py::object& callable, Operation operation) {
    ProgressBridge bridge(callable);
    try {
        py::gil_scoped_release unlocked;
        return operation(bridge.function());
    } catch (const Error& e) {
        if (e.code() == ErrorCode::cancelled) bridge.rethrow();
        throw;
    }
}

// The cache= argument: a directory (str or path, "~" the home directory), or False for none.
std::string cacheDirectory(const py::object& cache) {
    if (py::isinstance<py::bool_>(cache)) {
        if (cache.cast<bool>())
            throw py::type_error("Session(): argument 'cache' must be a directory or False, not True");
        return "";
    }
    try {
        const py::module_ os = py::module_::import("os");
        return os.attr("path").attr("expanduser")(os.attr("fspath")(cache)).cast<std::string>();
    } catch (const py::error_already_set&) {
        throw py::type_error("Session(): argument 'cache' must be a directory (str or os.PathLike) or False, not " +
                             std::string(py::str(py::type::handle_of(cache).attr("__name__"))));
    }
}

Session makeSession(const std::optional<std::string>& endpoint, const std::optional<std::string>& account,
                    const std::optional<std::string>& password,
                    const std::optional<std::filesystem::path>& settings, std::optional<int> timeout,
                    std::optional<int> requestTimeout, std::optional<int> connections,
                    const std::optional<std::string>& cafile, const py::object& cache,
                    std::optional<std::uint64_t> cacheMaxBytes, std::optional<bool> offline,
                    std::optional<int> retries, std::optional<int> streams) {
    if ((timeout && *timeout < 1) || (requestTimeout && *requestTimeout < 1))
        throw py::value_error("Session(): time-outs are at least 1 second");
    if ((retries && *retries < 0) || (streams && *streams < 1))
        throw py::value_error("Session(): retries is 0 or more, streams 1 or more");
    const bool cacheGiven = !cache.is_none();
    const std::string cacheDir = cacheGiven ? cacheDirectory(cache) : "";  // while the GIL is held
    py::gil_scoped_release unlocked;
    // The settings file is read only when no endpoint is given; every argument given wins over it.
    SessionOptions options = endpoint ? SessionOptions{} : loadSettings(settings ? settings->string() : "");
    if (endpoint) options.endpoint = *endpoint;
    if (account) options.account = *account;
    if (password) options.password = *password;
    if (timeout) options.ioTimeout = std::chrono::seconds(*timeout);
    if (requestTimeout) options.requestTimeout = std::chrono::seconds(*requestTimeout);
    if (connections) options.connections = *connections;
    if (cafile) options.caFile = *cafile;
    if (cacheGiven) options.cache.directory = cacheDir;
    if (cacheMaxBytes) options.cache.maxBytes = *cacheMaxBytes;
    if (offline) options.offline = *offline;
    if (retries) options.retries = *retries;
    if (streams) options.streams = *streams;
    return Session(options);
}

// Every item of the batch is fetched before anything is raised, and the good records travel with
// the failures: as a result ("return") or on the exception (`records`, `failures`).
py::object fetchMany(const Session& session, const std::string& name, const std::vector<int>& shots,
                     int subshot, int jobs, const py::object& progress, const std::string& errors) {
    if (errors != "skip" && errors != "return" && errors != "raise")
        throw py::value_error("fetch_many(): errors is \"skip\", \"return\" or \"raise\", not \"" + errors + "\"");
    std::vector<FetchOutcome> outcomes = withProgress(progress, [&](Progress report) {
        BatchOptions options;
        options.jobs = jobs;
        options.progress = std::move(report);
        return session.fetchMany(name, shots, subshot, options);
    });
    const py::object records = py::module_::import("anadata.fetched").attr("FetchedRecords")();
    py::dict failures, raised, entries;
    py::set fromCache;
    for (FetchOutcome& outcome : outcomes) {
        const py::int_ shot(outcome.shot);
        if (outcome.entry) entries[shot] = py::cast(std::move(*outcome.entry));
        if (outcome.ok()) {
            records[shot] = py::cast(std::move(*outcome.record));
            if (outcome.fromCache) fromCache.add(shot);
            continue;
        }
        failures[shot] = exceptionFor(*outcome.error);
        if (errors == "raise" || outcome.error->code() != ErrorCode::not_found) raised[shot] = failures[shot];
    }
    records.attr("from_cache") = py::frozenset(fromCache);
    records.attr("entries") = entries;
    if (errors == "return") return py::make_tuple(records, failures);
    if (!raised.empty()) {
        const py::object error =
            py::module_::import("anadata.errors").attr("batch_error")("fetch_many " + name, raised, records);
        PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(error.ptr())), error.ptr());
        throw py::error_already_set();
    }
    return records;
}

std::vector<Entry> search(const Session& session, const py::object& names, int first, int last,
                          std::optional<int> subshot, std::optional<std::string> user,
                          std::optional<int> limit) {
    SearchQuery query;
    if (py::isinstance<py::str>(names))
        query.names.push_back(names.cast<std::string>());
    else if (!names.is_none())
        query.names = names.cast<std::vector<std::string>>();
    query.firstShot = first;
    query.lastShot = last;
    query.subshot = subshot.value_or(0);
    query.user = user.value_or("");
    query.limit = limit.value_or(0);
    py::gil_scoped_release unlocked;
    return session.search(query);
}

py::dict explog(const Session& session, int shot) {
    std::vector<std::string> columns, row;
    {
        py::gil_scoped_release unlocked;
        columns = session.explogColumns();
        row = session.explogRow(shot);
    }
    py::dict byColumn;
    for (std::size_t i = 0; i < columns.size() && i < row.size(); ++i) byColumn[py::str(columns[i])] = row[i];
    return byColumn;
}

}  // namespace

void bindSession(py::module_& m) {
    py::class_<Entry>(m, "Entry", "One registered data set as the catalogue lists it.")
        .def_readonly("name", &Entry::name, "Data name.")
        .def_readonly("shot", &Entry::shot, "Shot number.")
        .def_readonly("subshot", &Entry::subshot, "Sub-shot number.")
        .def_readonly("filename", &Entry::filename, "File name on the service.")
        .def_readonly("filedate", &Entry::filedate, "Registration date, \"YYYY-MM-DD hh:mm:ss\".")
        .def_readonly("user", &Entry::user, "Account that registered it.")
        .def_readonly("summary", &Entry::summary, "Summary text (the record's comment).")
        .def_readonly("size", &Entry::size, "Bytes of the stored archive.")
        .def_readonly("server", &Entry::server, "Server that holds it.")
        .def_readonly("directory", &Entry::directory, "Directory on that server.")
        .def("__repr__", [](const Entry& e) {
            return "<anadata.Entry " + e.name + " " + std::to_string(e.shot) + "/" +
                   std::to_string(e.subshot) + ", " + std::to_string(e.size) + " bytes, " + e.filedate +
                   ", " + e.user + ">";
        });

    const auto released = py::call_guard<py::gil_scoped_release>();
    py::class_<Session>(m, "Session",
                        "A connection pool to the analysed-data service; safe to share between threads, pickled as\n"
                        "its options (a copy opens its own connections). A context manager: leaving the block\n"
                        "closes the connections.")
        .def(py::init(&makeSession), "endpoint"_a = py::none(), "account"_a = py::none(),
             "password"_a = py::none(), py::kw_only(), "settings"_a = py::none(), "timeout"_a = py::none(),
             "request_timeout"_a = py::none(), "connections"_a = py::none(), "cafile"_a = py::none(),
             "cache"_a = py::none(), "cache_max_bytes"_a = py::none(), "offline"_a = py::none(),
             "retries"_a = py::none(), "streams"_a = py::none(),
             "A session on `endpoint` as `account`; without an endpoint, the settings file's ($CLIENT_INI2,\n"
             "~/.client2.ini, /etc/client2.ini, or `settings`), the arguments given winning over it.\n"
             "timeout: seconds for each connect, send or receive; request_timeout: seconds for a whole\n"
             "request; connections: idle connections kept; cafile: CA bundle for https. No connection is\n"
             "made until the first call.\n\n"
             "cache: a directory (~ the home directory) that keeps fetched data sets (False: none;\n"
             "default: [cache] dir= of the settings file when it is read), cache_max_bytes its size limit\n"
             "(default: max_bytes= or 8 GiB). A data set is served from it only while the catalogue lists the same file, asked once\n"
             "per fetch and once per fetch_many. offline=True serves only what the cache holds and raises\n"
             "NotFound for the rest, without asking the service. retries: attempts of a fetch or search\n"
             "after a lost connection, a time-out or a busy service (default 4; 0 or 1: no retry); streams:\n"
             "connections one large download uses at once (default 4).")
        .def_property_readonly(
            "endpoint", [](const Session& s) { return s.options().endpoint; }, "URL of the service.")
        .def_property_readonly(
            "account", [](const Session& s) { return s.options().account; }, "Account name.")
        .def_property_readonly(
            "cache",
            [](const Session& s) -> std::optional<std::string> {
                const std::string directory = s.options().cache.directory;
                if (directory.empty()) return std::nullopt;
                return directory;
            },
            "The directory of the local cache, or None.")
        .def_property_readonly(
            "offline", [](const Session& s) { return s.options().offline; },
            "True when fetches are served from the cache alone.")
        .def(
            "fetch",
            [](const Session& s, const std::string& name, int shot, int subshot, const py::object& progress) {
                return withProgress(progress,
                                    [&](Progress report) { return s.fetch(name, shot, subshot, report); });
            },
            "name"_a, "shot"_a, "subshot"_a = 1, "progress"_a = py::none(),
            "Downloads a data set into a Record.")
        .def("fetch_many", &fetchMany, "name"_a, "shots"_a, "subshot"_a = 1, "jobs"_a = 8,
             "progress"_a = py::none(), py::kw_only(), "errors"_a = "skip",
             "Fetches many shots of one name, `jobs` transfers at once, and returns {shot: Record}.\n\n"
             "Every shot is tried before anything is raised. errors=\"skip\" leaves out shots that do not\n"
             "exist and raises for any other failure; \"raise\" raises for every failure, missing shots\n"
             "included; \"return\" gives (records, failures) with failures {shot: exception}. A raised\n"
             "error lists each failed shot and carries `records` (the good ones) and `failures`.\n\n"
             "The records come as a FetchedRecords dict: its `from_cache` holds the shots the local cache\n"
             "served, its `entries` the catalogue row of each shot the batch's one search listed.")
        .def(
            "fetch_file",
            [](const Session& s, const std::string& name, int shot, const std::filesystem::path& path,
               int subshot, bool overwrite, bool keepArchive, const py::object& progress) {
                return withProgress(progress, [&](Progress report) {
                    FetchFileOptions options;
                    options.overwrite = overwrite;
                    options.keepArchive = keepArchive;
                    options.progress = std::move(report);
                    return s.fetchFile(name, shot, subshot, path.string(), options);
                });
            },
            "name"_a, "shot"_a, "path"_a, "subshot"_a = 1, "overwrite"_a = false, "keep_archive"_a = false,
            "progress"_a = py::none(),
            "Downloads a data set to a file (or into a directory); returns the path.")
        .def(
            "register",
            [](const Session& s, const qx::AnaData& record, int precision, const py::object& progress) {
                const qx::AnaData snapshot(record);  // shares the numbers; the fields may change meanwhile
                withProgress(progress, [&](Progress report) {
                    s.registerRecord(snapshot, RegisterOptions{std::move(report), precision});
                    return 0;
                });
            },
            "record"_a, "precision"_a = 16, "progress"_a = py::none(),
            "Registers the record under its name, shot and sub-shot, replacing an earlier entry. Its numbers\n"
            "travel as text with every bit (16 digits after the point) unless a smaller `precision` is given\n"
            "(6 is what the C++ record's own regist() sends).")
        .def(
            "register_file",
            [](const Session& s, const std::filesystem::path& path, const std::string& name, int shot,
               int subshot, const py::object& progress, bool lenient) {
                {
                    py::gil_scoped_release unlocked;
                    ReadOptions check;
                    check.lenient = lenient;
                    checkRecordFile(path.string(), check);
                }
                withProgress(progress, [&](Progress report) {
                    RegisterOptions options;
                    options.progress = std::move(report);
                    s.registerFile(path.string(), name, shot, subshot, options);
                    return 0;
                });
            },
            "path"_a, "name"_a, "shot"_a, "subshot"_a = 1, "progress"_a = py::none(), py::kw_only(),
            "lenient"_a = false,
            "Registers the data file as it is under name, shot and sub-shot, replacing an earlier entry.\n\n"
            "The file is first read as anadata.read() reads it: one that it refuses (cut short, rows\n"
            "missing numbers...) raises anadata.FormatError and is not sent; lenient=True accepts what\n"
            "anadata.read(path, lenient=True) accepts.")
        .def("delete", &Session::remove, "name"_a, "shot"_a, "subshot"_a = 1, released,
             "Deletes a data set of this account from the service.")
        .def("search", &search, "names"_a = py::none(), "first"_a = 0, "last"_a = 0, "subshot"_a = py::none(),
             "user"_a = py::none(), "limit"_a = py::none(),
             "Catalogue entries of the names (a name, a list, or None for every name) within the shots.")
        .def("names", &Session::names, released, "The data names the catalogue holds.")
        .def("counts",
             [](const Session& s) {
                 std::vector<NameCount> counts;
                 {
                     py::gil_scoped_release unlocked;
                     counts = s.counts();
                 }
                 py::dict byName;
                 for (const NameCount& c : counts) byName[py::str(c.name)] = c.entries;
                 return byName;
             },
             "Entries per data name: {name: count}.")
        .def("explog", &explog, "shot"_a, "The experiment log's row of the shot: {column: text}.")
        .def("explog_columns", &Session::explogColumns, released, "The column names of the experiment log.")
        .def("change_password", &Session::changePassword, "new_password"_a, released,
             "Changes the account's password; later calls of this session use the new one.")
        .def("__repr__", [](const Session& s) {
            return "<anadata.Session " + s.options().account + " at " + s.options().endpoint + ">";
        });
}

}  // namespace anadata::python

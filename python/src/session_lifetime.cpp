// A Session's life in Python: pickled as its options, closed by close() or a with block, and a
// login check that moves no data.
#include "session_binding.h"

#include <chrono>
#include <memory>
#include <string>

#include <anadata/session.h>

#include "session_caster.h"

namespace py = pybind11;
using namespace py::literals;

namespace anadata::python {

namespace {

// The options by the names of the constructor's arguments ("cache": the directory, "" for none).
// A process that loads it opens its own connections and cache object (on the same directory);
// the password is in it, as the new session needs it to log in.
py::dict optionsState(const Session& session) {
    const SessionOptions o = session.options();
    return py::dict("endpoint"_a = o.endpoint, "account"_a = o.account, "password"_a = o.password,
                    "timeout"_a = o.ioTimeout.count(), "request_timeout"_a = o.requestTimeout.count(),
                    "connections"_a = o.connections, "cafile"_a = o.caFile,
                    "compression_threads"_a = o.compressionThreads, "cache"_a = o.cache.directory,
                    "cache_max_bytes"_a = o.cache.maxBytes, "offline"_a = o.offline, "retries"_a = o.retries,
                    "streams"_a = o.streams);
}

// Keys that are absent keep their defaults, so that a state written by an older version loads.
Session sessionFromState(const py::dict& state) {
    SessionOptions o;
    auto take = [&state](const char* key, auto& field) {
        if (state.contains(key)) field = state[key].cast<std::remove_reference_t<decltype(field)>>();
    };
    take("endpoint", o.endpoint);
    take("account", o.account);
    take("password", o.password);
    take("connections", o.connections);
    take("cafile", o.caFile);
    take("compression_threads", o.compressionThreads);
    take("cache", o.cache.directory);
    take("cache_max_bytes", o.cache.maxBytes);
    take("offline", o.offline);
    take("retries", o.retries);
    take("streams", o.streams);
    if (state.contains("timeout")) o.ioTimeout = std::chrono::seconds(state["timeout"].cast<long>());
    if (state.contains("request_timeout"))
        o.requestTimeout = std::chrono::seconds(state["request_timeout"].cast<long>());
    return Session(o);
}

// The Session inside the Python instance itself, not the per-call copy of session_caster.h.
Session& heldSession(py::handle self) {
    py::detail::type_caster_base<Session> held;
    if (!held.load(self, false)) throw py::type_error("close(): not a Session");
    return static_cast<Session&>(held);
}

// Drops this object's share of the connection pool: idle connections close now (when no copy is
// left), those in use when their call returns. The session stays usable and connects again.
void close(py::handle self) {
    Session& session = heldSession(self);
    auto old = std::make_unique<Session>(session);
    session = Session(session.options());
    py::gil_scoped_release unlocked;
    old.reset();
}

// Logs in with the cheapest authenticated request that moves no data: the deletion of a data
// set that no service can hold (an empty name), which the service answers with "not found" only
// after it has accepted the account and password.
void check(const Session& session) {
    try {
        py::gil_scoped_release unlocked;
        session.remove("", 0, 1);
    } catch (const Error& e) {
        if (e.code() == ErrorCode::not_found) return;
        if (e.code() == ErrorCode::unauthorized)
            throw Error(e.code(), "log in as " + session.options().account + " at " + session.options().endpoint +
                                      ": " + e.what());
        throw;
    }
}

}  // namespace

void bindSessionLifetime(py::module_& m) {
    auto session = py::reinterpret_borrow<py::class_<Session>>(m.attr("Session"));
    session
        .def(py::pickle(&optionsState, &sessionFromState))
        .def("close", &close,
             "Closes the session's connections (those in use when their call ends); a later call opens\n"
             "new ones.")
        .def("__enter__", [](py::object self) { return self; })
        .def(
            "__exit__", [](py::handle self, const py::args&) { close(self); },
            "Closes the connections (see close()).")
        .def("check", &check,
             "Logs in and returns; raises AuthError for a wrong account or password, before any data\n"
             "moves (one request, which changes nothing on the service).");
}

}  // namespace anadata::python

// How a Python Session reaches the bound functions: as a copy of its anadata::Session for each call.
#ifndef ANADATA_PYTHON_SESSION_CASTER_H
#define ANADATA_PYTHON_SESSION_CASTER_H

#include <optional>

#include <pybind11/pybind11.h>

#include <anadata/session.h>

// Every function that takes a Session (`self` included) gets a copy made while the GIL is held.
// A copy shares the connection pool, so this costs one reference count; it lets Session.close()
// replace the object inside the Python instance while other threads are still inside calls that
// released the GIL: each of those keeps the pool it started with until it returns.
// Included by every file that binds a function taking a Session.
namespace pybind11::detail {

template <>
class type_caster<anadata::Session> : public type_caster_base<anadata::Session> {
public:
    bool load(handle source, bool convert) {
        if (!type_caster_base<anadata::Session>::load(source, convert)) return false;
        if (value != nullptr) {
            copy_.emplace(*static_cast<const anadata::Session*>(value));
            value = &*copy_;
        }
        return true;
    }

private:
    std::optional<anadata::Session> copy_;
};

}  // namespace pybind11::detail

#endif

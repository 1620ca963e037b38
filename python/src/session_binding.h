// The Python class Session over anadata::Session, and its catalogue entries.
#ifndef ANADATA_PYTHON_SESSION_BINDING_H
#define ANADATA_PYTHON_SESSION_BINDING_H

#include <pybind11/pybind11.h>

namespace anadata::python {

void bindSession(pybind11::module_& m);

// Adds pickling, close() and check() to the class Session that bindSession put into m
// (session_lifetime.cpp).
void bindSessionLifetime(pybind11::module_& m);

}  // namespace anadata::python

#endif

// Pickling, closing and the login check of the Python class Session.
#ifndef ANADATA_PYTHON_SESSION_LIFETIME_H
#define ANADATA_PYTHON_SESSION_LIFETIME_H

#include <pybind11/pybind11.h>

namespace anadata::python {

// Adds them to the class Session that bindSession put into m.
void bindSessionLifetime(pybind11::module_& m);

}  // namespace anadata::python

#endif

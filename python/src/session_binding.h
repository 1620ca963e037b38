// The Python class Session over anadata::Session, and its catalogue entries.
#ifndef ANADATA_PYTHON_SESSION_BINDING_H
#define ANADATA_PYTHON_SESSION_BINDING_H

#include <pybind11/pybind11.h>

namespace anadata::python {

void bindSession(pybind11::module_& m);

}  // namespace anadata::python

#endif

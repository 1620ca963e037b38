// Turning the C++ library's failures into the package's Python exceptions.
#ifndef ANADATA_PYTHON_ERRORS_H
#define ANADATA_PYTHON_ERRORS_H

#include <string>

#include <pybind11/pybind11.h>

#include <anadata/error.h>

namespace anadata::python {

// A local file that cannot be opened or written, raised as anadata.IOError with errno and path.
struct FileFailure {
    int error;
    std::string path;
};

// The Python exception (an instance of its anadata.errors class) that stands for the error.
pybind11::object exceptionFor(const Error& error);

// Installs the one translator from anadata::Error, qx::clsException and FileFailure.
void registerErrorTranslator();

}  // namespace anadata::python

#endif

// Turning the C++ library's failures into the package's Python exceptions.
#ifndef ANADATA_PYTHON_ERRORS_H
#define ANADATA_PYTHON_ERRORS_H

#include <string>

namespace anadata::python {

// A local file that cannot be opened or written, raised as anadata.IOError with errno and path.
struct FileFailure {
    int error;
    std::string path;
};

// Installs the one translator from anadata::Error, qx::clsException and FileFailure.
void registerErrorTranslator();

}  // namespace anadata::python

#endif

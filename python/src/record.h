// The Record and Column classes and the file functions of the Python package.
#ifndef ANADATA_PYTHON_RECORD_H
#define ANADATA_PYTHON_RECORD_H

#include <filesystem>

#include <pybind11/pybind11.h>

#include <anadata/anadata.h>

namespace anadata::python {

// Reads a text or dump file with the GIL released; failures raise FileFailure or qx::AnaDataException.
qx::AnaData readRecord(const std::filesystem::path& path);

void bindRecord(pybind11::module_& m);

}  // namespace anadata::python

#endif

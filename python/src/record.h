// The Record and Column classes and the file functions of the Python package.
#ifndef ANADATA_PYTHON_RECORD_H
#define ANADATA_PYTHON_RECORD_H

#include <pybind11/pybind11.h>

#include <anadata/anadata.h>

namespace anadata::python {

void bindRecord(pybind11::module_& m);

}  // namespace anadata::python

#endif

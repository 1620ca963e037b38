// Pickling, copying and comparing records, and Record.from_xarray.
#ifndef ANADATA_PYTHON_RECORD_TRAVEL_H
#define ANADATA_PYTHON_RECORD_TRAVEL_H

#include <pybind11/pybind11.h>

namespace anadata::python {

// Adds them to the class Record that bindRecord put into m.
void bindRecordTravel(pybind11::module_& m);

}  // namespace anadata::python

#endif

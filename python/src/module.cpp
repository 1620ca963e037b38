// The extension module anadata._anadata: the record, the session and the error translation.
#include <pybind11/pybind11.h>

#include <anadata/version.h>

#include "errors.h"
#include "record.h"
#include "record_travel.h"
#include "session_binding.h"

PYBIND11_MODULE(_anadata, m) {
    m.doc() = "C++ core of the anadata package; import anadata instead.";
    m.attr("library_version") = anadata_version();
    anadata::python::registerErrorTranslator();
    anadata::python::bindRecord(m);
    anadata::python::bindRecordTravel(m);
    anadata::python::bindSession(m);
    anadata::python::bindSessionLifetime(m);
}

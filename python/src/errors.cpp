// The one place where the library's failures become anadata's Python exceptions.
#include "errors.h"

#include <cerrno>
#include <exception>

#include <pybind11/pybind11.h>

#include <anadata/clsException.h>
#include <anadata/session.h>

namespace py = pybind11;

namespace anadata::python {

namespace {

const char* className(ErrorCode code) {
    switch (code) {
    case ErrorCode::not_found: return "NotFound";
    case ErrorCode::unauthorized: return "AuthError";
    case ErrorCode::refused: return "ServiceError";
    case ErrorCode::protocol: return "ServiceError";
    case ErrorCode::transport: return "TransportError";
    case ErrorCode::certificate: return "CertificateError";
    case ErrorCode::timeout: return "TimeoutError";
    case ErrorCode::format: return "FormatError";
    case ErrorCode::local_io: return "IOError";
    case ErrorCode::cancelled: return "Cancelled";
    case ErrorCode::busy: return "Busy";
    }
    return "Error";
}

py::object errorClass(const char* name) { return py::module_::import("anadata.errors").attr(name); }

void raise(const char* name, const std::string& message) {
    PyErr_SetString(errorClass(name).ptr(), message.c_str());
}

}  // namespace

py::object exceptionFor(const Error& error) { return errorClass(className(error.code()))(error.what()); }

void registerErrorTranslator() {
    py::register_exception_translator([](std::exception_ptr failure) {
        try {
            if (failure) std::rethrow_exception(failure);
        } catch (const Error& e) {
            raise(className(e.code()), e.what());
        } catch (const qx::clsException& e) {
            raise("FormatError", e.getMessage());
        } catch (const FileFailure& e) {
            errno = e.error;
            PyErr_SetFromErrnoWithFilename(errorClass("IOError").ptr(), e.path.c_str());
        }
    });
}

}  // namespace anadata::python

"""Analysed data of a shot-numbered experiment: records with numpy views, files and the service.

    import anadata
    rec = anadata.read("shot4711.dat")            # text or dump
    rec.values["signal"].data                     # numpy view over the grid, last dimension fastest
    s = anadata.Session()                         # account and endpoint from the settings file
    rec = s.fetch("sample", 1234)
"""

from . import errors
from ._anadata import Column, Entry, Record, Session, library_version, read
from .errors import (AuthError, Busy, Cancelled, CertificateError, Error, FormatError, IOError, NotFound,
                     ServiceError, TimeoutError, TransportError)

__version__ = library_version

__all__ = [
    "AuthError", "Busy", "Cancelled", "CertificateError", "Column", "Entry", "Error", "FormatError", "IOError",
    "NotFound", "Record", "ServiceError", "Session", "TimeoutError", "TransportError", "errors", "read",
]

"""Analysed data of a shot-numbered experiment: records with numpy views, files and the service.

    import anadata
    rec = anadata.read("shot4711.dat")            # text or dump
    rec.values["signal"].data                     # numpy view over the grid, last dimension fastest
    s = anadata.Session()                         # account and endpoint from the settings file
    rec = s.fetch("sample", 1234)
    ds = anadata.open_shots("sample", range(1200, 1300))   # xarray.Dataset over a "shot" dimension
"""

from . import _arguments, errors
from ._anadata import Column, Entry, Record, Session, library_version, read
from .errors import (AuthError, Busy, Cancelled, CertificateError, Error, FormatError, GridMismatch, IOError,
                     NotFound, Replaced, ServiceError, TimeoutError, TransportError)
from .fetched import FetchedRecords
from .shots import open_shots

__version__ = library_version

_arguments.name_bad_arguments(Column, Entry, Record, Session)
read = _arguments.named(read)

__all__ = [
    "AuthError", "Busy", "Cancelled", "CertificateError", "Column", "Entry", "Error", "FetchedRecords",
    "FormatError", "GridMismatch", "IOError", "NotFound", "Record", "Replaced", "ServiceError", "Session",
    "TimeoutError", "TransportError", "errors", "open_shots", "read",
]

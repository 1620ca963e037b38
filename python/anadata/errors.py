"""The exceptions anadata raises: one base class and one subclass for each kind of failure."""

import builtins


class Error(Exception):
    """Base of every error raised by anadata."""


class NotFound(Error):
    """No such data set, experiment-log shot or column."""


class AuthError(Error):
    """The service refused the account or password, or the entry belongs to another account."""


class ServiceError(Error):
    """The service refused the request, or its reply made no sense."""


class TransportError(Error):
    """No connection, a lost connection or an HTTP error."""


class Busy(ServiceError):
    """The service refused for capacity and asks to try again later."""


class CertificateError(TransportError):
    """An https peer whose certificate or host name does not verify."""


class TimeoutError(Error, builtins.TimeoutError):
    """A read, a write or a whole request took longer than its time-out."""


class FormatError(Error):
    """A file or a download that does not read as a record; the text is the library's message."""


class IOError(Error, OSError):
    """A local file or directory that cannot be read, written or renamed."""


class Cancelled(Error):
    """A progress callback returned False."""

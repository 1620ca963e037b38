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


class Replaced(Error):
    """A data set replaced or deleted on the service after a dataset reading it was opened."""


class GridMismatch(Error, ValueError):
    """A shot whose grid or columns differ from those of the other shots of a stacked dataset."""


def shot_list(shots):
    """The shots as short text, runs of consecutive shots as ranges: "1230-1233, 1240"."""
    runs = []
    for shot in sorted(shots):
        if runs and shot == runs[-1][1] + 1:
            runs[-1][1] = shot
        else:
            runs.append([shot, shot])
    return ", ".join(str(a) if a == b else f"{a}-{b}" for a, b in runs)


def batch_error(what, failures, records):
    """The one exception for the failed items of a batch, raised once the batch is done.

    `failures` maps each failed shot to its exception, `records` each good shot to its Record; both
    travel with the exception as its attributes `failures` and `records`, so nothing fetched is lost.
    Its class is the failures' own when they share one (NotFound for missing shots), else Error.
    """
    classes = {type(e) for e in failures.values()}
    cls = classes.pop() if len(classes) == 1 else Error
    shown = sorted(failures)[:10]
    lines = [f"{what}: {len(failures)} of {len(failures) + len(records)} shots failed "
             f"({shot_list(failures)})"]
    lines += [f"  {failures[shot]}" for shot in shown]
    if len(failures) > len(shown):
        lines.append(f"  ... and {len(failures) - len(shown)} more")
    error = cls("\n".join(lines))
    error.failures, error.records = failures, records
    return error

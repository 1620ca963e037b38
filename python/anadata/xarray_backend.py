"""The xarray engine "anadata": xr.open_dataset("shot4711.dat", engine="anadata") reads a data file, text
or dump, as Record.to_xarray gives it; xarray finds it through the package's entry point."""

import os

from xarray.backends import BackendEntrypoint

# A dump starts with its magic number (0x8910, four bytes little-endian), a text file with the
# comment line that opens its parameter block ("# [Parameters]").
DUMP_MAGIC = b"\x10\x89\x00\x00"


def looks_like_record(head):
    """True when the bytes start a dump or a text data file."""
    return head.startswith(DUMP_MAGIC) or (head[:1] == b"#" and head[1:].lstrip(b" \t").startswith(b"[Parameters]"))


class AnadataBackendEntrypoint(BackendEntrypoint):
    """Opens analysed-data files (text or dump, told apart by their first bytes) as xarray Datasets."""

    description = "Analysed-data files of anadata (text or dump)"
    open_dataset_parameters = ("filename_or_obj", "drop_variables")

    def open_dataset(self, filename_or_obj, *, drop_variables=None):
        """The file as a Dataset: coordinates from the dimensions, one variable per value column, units
        in attrs["units"], name, shot, sub-shot, date and comment in the Dataset's attrs."""
        from . import read

        dataset = read(os.fspath(filename_or_obj)).to_xarray()
        return dataset.drop_vars(drop_variables or [], errors="ignore")

    def guess_can_open(self, filename_or_obj):
        """True for a path whose first bytes are those of a dump or a text data file."""
        try:
            with open(os.fspath(filename_or_obj), "rb") as f:
                return looks_like_record(f.read(64))
        except (OSError, TypeError, ValueError):
            return False

"""A record as an xarray Dataset: dimensions and coordinates from its axes, one variable per value column."""

import xarray

from .errors import FormatError


def _attrs(unit):
    return {"units": unit.strip()} if unit.strip() else {}


def to_xarray(rec):
    """The record as an xarray.Dataset.

    The data variables are views of the record's numbers (no copy); the coordinates are copies, as
    xarray indexes them. Units go to each variable's attrs["units"] (left out when empty); the
    record's name, shot, sub-shot, date and comment to the Dataset's attrs.
    """
    dims = rec.dims
    names = tuple(dims)
    coords = {name: (name, column.data, _attrs(column.unit)) for name, column in dims.items()}
    variables = {}
    for name, column in rec.values.items():
        if column.data.shape != rec.shape:
            raise FormatError(f"value column '{name}' holds {column.data.size} numbers, "
                              f"not one per point of the grid {rec.shape}")
        variables[name] = (names, column.data, _attrs(column.unit))
    attrs = {"name": rec.name, "shot": rec.shot, "subshot": rec.subshot, "date": rec.date,
             "comment": rec.comment}
    return xarray.Dataset(variables, coords=coords, attrs=attrs)

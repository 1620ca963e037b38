"""A record as an xarray Dataset and back: dimensions and coordinates from its axes, one variable per value column."""

import numpy
import xarray

from ._anadata import Record
from .errors import FormatError


def to_xarray(rec):
    """The record as an xarray.Dataset.

    The data variables are views of the record's numbers (no copy); the coordinates are copies, as
    xarray indexes them. Units go to each variable's attrs["units"] ("" for none); the record's
    name, shot, sub-shot, date and comment to the Dataset's attrs.
    """
    dims = rec.dims
    names = tuple(dims)
    coords = {name: (name, column.data, {"units": column.unit}) for name, column in dims.items()}
    variables = {}
    for name, column in rec.values.items():
        if column.data.shape != rec.shape:
            raise FormatError(f"value column '{name}' holds {column.data.size} numbers, "
                              f"not one per point of the grid {rec.shape}")
        variables[name] = (names, column.data, {"units": column.unit})
    attrs = {"name": rec.name, "shot": rec.shot, "subshot": rec.subshot, "date": rec.date,
             "comment": rec.comment}
    return xarray.Dataset(variables, coords=coords, attrs=attrs)


def from_xarray(dataset, name=None, shot=None, subshot=None):
    """The Record of an xarray.Dataset (or DataArray), the inverse of to_xarray.

    The dimensions are those of the first data variable, in its order; every other variable is
    transposed to them. Arguments given win over the Dataset's attrs (name, shot, subshot, date,
    comment); name and shot must come from one or the other.
    """
    if isinstance(dataset, xarray.DataArray):
        dataset = dataset.to_dataset(name=dataset.name or "values")
    attrs = dataset.attrs
    name = attrs.get("name") if name is None else name
    shot = attrs.get("shot") if shot is None else shot
    subshot = attrs.get("subshot", 1) if subshot is None else subshot
    if name is None or shot is None:
        raise ValueError("from_xarray: give name= and shot= (the Dataset's attrs have no "
                         f"{'name' if name is None else 'shot'})")
    variables = list(dataset.data_vars)
    if not variables:
        raise ValueError("from_xarray: the Dataset has no data variable")
    dims = dataset[variables[0]].dims
    for variable in variables:
        if set(dataset[variable].dims) != set(dims):
            raise ValueError(f"from_xarray: variable '{variable}' is over {dataset[variable].dims}, "
                             f"not over the grid {dims} of '{variables[0]}'")

    def unit(array):
        return str(array.attrs.get("units", ""))

    dim_columns = [(d, unit(dataset[d]), dataset[d].values) if d in dataset.coords
                   else (d, "", numpy.arange(dataset.sizes[d])) for d in dims]
    value_columns = [(v, unit(dataset[v]), dataset[v].transpose(*dims).values) for v in variables]
    return Record(str(name), int(shot), dims=dim_columns, values=value_columns, subshot=int(subshot),
                  date=attrs.get("date"), comment=attrs.get("comment", ""))

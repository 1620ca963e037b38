#!/usr/bin/env python3
"""Fetches one data name over a range of shots into one xarray Dataset along a new "shot" dimension.

    python3 shot_loop.py [NAME [FIRST [LAST]]]        (default: sample 1230 1240)

Shots without that data set are left out; the Dataset's variables keep their units in attrs["units"].
"""

import sys

import xarray

import anadata


def main(argv):
    name = argv[1] if len(argv) > 1 else "sample"
    first = int(argv[2]) if len(argv) > 2 else 1230
    last = int(argv[3]) if len(argv) > 3 else 1240

    def report(done, total):
        print(f"\r{done}/{total} shots", end="", file=sys.stderr)

    # Eight transfers at once; the GIL is free meanwhile.
    records = anadata.Session().fetch_many(name, range(first, last + 1), progress=report)
    print(file=sys.stderr)
    if not records:
        print(f"shot_loop: no {name} between shots {first} and {last}", file=sys.stderr)
        return 1

    shots = xarray.DataArray(list(records), dims="shot", name="shot")
    data = xarray.concat([rec.to_xarray() for rec in records.values()], dim=shots,
                         combine_attrs="drop_conflicts")
    print(data)
    for variable in data.data_vars:
        means = data[variable].mean(dim=[d for d in data[variable].dims if d != "shot"])
        per_shot = ", ".join(f"{s}: {m:g}" for s, m in zip(data.shot.values, means.values))
        print(f"mean {variable} per shot: {per_shot}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))

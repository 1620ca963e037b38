#!/usr/bin/env python3
"""Opens one data name over a range of shots as one xarray Dataset along a "shot" dimension, and reduces it.

    python3 shot_loop.py [NAME [FIRST [LAST]]]        (default: sample 1230 1240)

Shots without that data set are left out (listed in attrs["missing_shots"]); the variables keep their
units in attrs["units"]. With dask installed the Dataset is lazy: the shots are fetched in tasks of
32 (one batch of transfers each) when something is computed, here the means; on a dask.distributed
cluster, create a Client first and the same code runs there.
"""

import sys

import anadata


def main(argv):
    name = argv[1] if len(argv) > 1 else "sample"
    first = int(argv[2]) if len(argv) > 2 else 1230
    last = int(argv[3]) if len(argv) > 3 else 1240

    try:
        data = anadata.open_shots(name, range(first, last + 1))
    except anadata.NotFound:
        print(f"shot_loop: no {name} between shots {first} and {last}", file=sys.stderr)
        return 1
    print(data)
    print(f"missing shots: {data.attrs['missing_shots']}", file=sys.stderr)
    # One compute for every variable: each task fetches its shots once.
    means = data.mean(dim=[d for d in data.dims if d != "shot"]).compute()
    for variable in means.data_vars:
        per_shot = ", ".join(f"{s}: {m:g}" for s, m in zip(means.shot.values, means[variable].values))
        print(f"mean {variable} per shot: {per_shot}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))

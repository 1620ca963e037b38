#!/usr/bin/env python3
"""Fetches a data set from the service named in the settings file and prints its dimensions and first values.

    python3 fetch.py [NAME [SHOT [SUBSHOT]]]        (default: sample 1234 1)

The settings file is $CLIENT_INI2, else ~/.client2.ini, else /etc/client2.ini, for example:
    [tserver]
    account=analyst
    passwd=secret
    endpoint=http://127.0.0.1:8080/
"""

import sys

import anadata


def main(argv):
    name = argv[1] if len(argv) > 1 else "sample"
    shot = int(argv[2]) if len(argv) > 2 else 1234
    subshot = int(argv[3]) if len(argv) > 3 else 1
    try:
        rec = anadata.Session().fetch(name, shot, subshot)
    except anadata.Error as e:  # NotFound, AuthError, TransportError, ...
        print(f"fetch: {name} {shot}/{subshot}: {e}", file=sys.stderr)
        return 1

    print(f"{rec.name} shot {rec.shot}, {rec.date}")
    for dim in rec.dims.values():
        points = " ".join(f"{x:g}" for x in dim.data[:5])
        print(f"dimension {dim.name} [{dim.unit}], {len(dim.data)} points: {points}")
    # Value columns are numpy arrays shaped to the grid, last dimension fastest.
    for value in rec.values.values():
        print(f"value {value.name} [{value.unit}]:", " ".join(f"{x:g}" for x in value.data.ravel()[:5]))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))

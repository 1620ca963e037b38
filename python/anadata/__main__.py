"""The command line of the package: python3 -m anadata plot FILE | NAME SHOT [SUBSHOT] [-o OUT.png]."""

import argparse
import sys

from . import plot
from ._anadata import Session, read
from .errors import Error


def parse(argv):
    parser = argparse.ArgumentParser(prog="python3 -m anadata", description="Quick looks at analysed data.")
    commands = parser.add_subparsers(dest="command", required=True, metavar="COMMAND")
    p = commands.add_parser("plot", help="draw a data file or a data set of the service",
                            description="Draws a data file, or the data set NAME SHOT [SUBSHOT] of the "
                                        "service.")
    p.add_argument("source", nargs="+", metavar="FILE | NAME SHOT [SUBSHOT]")
    p.add_argument("-o", "--output", help="write the picture to this file (PNG, PDF or SVG by its suffix) "
                                          "instead of opening a window")
    p.add_argument("--settings", help="settings file of the service (default: $CLIENT_INI2, ~/.client2.ini, "
                                      "/etc/client2.ini)")
    args = parser.parse_args(argv)
    if len(args.source) > 3:
        p.error("give a FILE, or NAME SHOT [SUBSHOT]")
    if len(args.source) > 1:
        try:
            args.numbers = [int(n) for n in args.source[1:]]
        except ValueError:
            p.error(f"SHOT and SUBSHOT are whole numbers, not {' '.join(args.source[1:])}")
    return args


def load(args):
    if len(args.source) == 1:
        return read(args.source[0])
    return Session(settings=args.settings).fetch(args.source[0], *args.numbers)


def main(argv=None):
    args = parse(argv)
    try:
        rec = load(args)
        if args.output:
            plot.draw(rec).savefig(args.output, dpi=100)
            return 0
        import matplotlib
        import matplotlib.pyplot as pyplot
        if pyplot.get_backend().lower() not in (b.lower() for b in matplotlib.rcsetup.interactive_bk):
            print("anadata plot: no window can open here; give -o FILE", file=sys.stderr)
            return 2
        plot.draw(rec, pyplot.figure())
        pyplot.show()
        return 0
    except (Error, OSError, ValueError) as e:
        print(f"anadata plot: {e}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())

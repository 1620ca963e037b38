#!/usr/bin/env python3
"""The Python package next to the C++ library in the same run, against anadata-server on 127.0.0.1:
  1. reading a text file of about 100 MB: anadata.read against the C++ reader (cAnaDataLoad, via ctypes);
  2. one data set of 10^6 rows: Session.fetch against the C++ Session::fetch (session_bench's child),
     each in a fresh process;
  3. a shot loop of 200 small data sets: Session.fetch_many against a Python loop of Session.fetch,
     plain and through a proxy that delays each way by 10 ms.

    /usr/bin/python3 bench/python/bench_python.py BUILD_DIR [megabytes (default 100)] [rounds (default 3)]

Figures are printed, never checked. Everything runs in a temporary directory that is removed at the end.
"""

import ctypes
import os
import subprocess
import sys
import tempfile

build = os.path.abspath(sys.argv[1]) if len(sys.argv) > 1 else sys.exit(__doc__)
megabytes = int(sys.argv[2]) if len(sys.argv) > 2 else 100
rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 3
sys.path.insert(0, os.path.join(build, "python"))

import numpy as np  # noqa: E402

import anadata  # noqa: E402
from bench_support import best, delay_proxy, report, service  # noqa: E402


def read_file(work):
    # A row of the sample is about 56 bytes (time, channel, two values); three channels per point.
    points = megabytes * 1_000_000 // (3 * 56)
    path = os.path.join(work, "big.dat")
    subprocess.run([os.path.join(build, "tools", "anadata"), "sample", path, "--points", str(points)],
                   check=True, stdout=subprocess.DEVNULL)
    library = ctypes.CDLL(os.path.join(build, "library", "libanadata.so"))
    handle = ctypes.c_int()

    def cpp():
        if library.cAnaDataLoad(ctypes.byref(handle), path.encode()) != 0:
            sys.exit("cAnaDataLoad failed")
        library.cAnaDataRelease(handle)

    megabytes_written = os.path.getsize(path) / 1e6
    print(f"reading a text file of {megabytes_written:.0f} MB ({points * 3} rows), best of {rounds}:")
    report("anadata.read", "C++ reader (cAnaDataLoad)", *best(rounds, lambda: anadata.read(path), cpp))
    os.remove(path)


def large_record(rows):
    """The data sets of session_bench: time by 1000 channels (5 below 1000 rows), two value columns."""
    channels = 1000 if rows >= 1000 else 5
    times = rows // channels
    i = np.arange(times * channels, dtype=float)
    return anadata.Record("large", 1, date="11/23/2026 10:00",
                          dims=[("time", "s", np.arange(times) * 1e-6), ("channel", "", np.arange(channels))],
                          values=[("signal", "V", np.sin(i * 1e-3) * 3.7),
                                  ("noise", "V", np.cos(i * 7e-4) / 1024)])


# One fetch in a fresh process with a new session, as session_bench's child times Session::fetch.
FETCH_CHILD = """
import sys, time
import anadata
session = anadata.Session(sys.argv[1], "bench", "bench")
start = time.perf_counter()
session.fetch("large", 1)
print(time.perf_counter() - start)
"""


def fetch_large(url):
    anadata.Session(url, "bench", "bench").register(large_record(1_000_000), precision=16)
    program = os.path.join(build, "bench", "session", "session_bench")
    environment = dict(os.environ, PYTHONPATH=os.path.join(build, "python"))
    cpp, python = [], []
    for _ in range(rounds):
        line = subprocess.run([program, "child", "fetch", url, "0"], check=True, capture_output=True,
                              text=True).stdout
        cpp.append(float(line.split()[1]))
        line = subprocess.run([sys.executable, "-c", FETCH_CHILD, url], check=True, capture_output=True,
                              text=True, env=environment).stdout
        python.append(float(line))
    print(f"one data set of 10^6 rows, each fetch in a fresh process, best of {rounds}:")
    report("Session.fetch", "C++ Session::fetch", min(python), min(cpp))


def shot_loop(url):
    shots = range(1, 201)
    session = anadata.Session(url, "bench", "bench")
    for shot in shots:
        rec = large_record(500)
        rec.name, rec.shot = "loop", shot
        session.register(rec)
    with delay_proxy(url, 10) as delayed:
        for label, endpoint in (("plain loopback", url), ("10 ms each way", delayed)):
            s = anadata.Session(endpoint, "bench", "bench")
            print(f"shot loop of {len(shots)} data sets, {label}, best of {rounds}:")
            report("fetch_many(jobs=16)", "loop of fetch",
                   *best(rounds, lambda: s.fetch_many("loop", shots, jobs=16),
                         lambda: [s.fetch("loop", k) for k in shots]))


with tempfile.TemporaryDirectory(prefix="anadata-bench-python-") as work:
    read_file(work)
    with service(build, work) as url:
        fetch_large(url)
        shot_loop(url)

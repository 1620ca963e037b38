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

import contextlib
import ctypes
import os
import socket
import subprocess
import sys
import tempfile
import threading
import time

build = os.path.abspath(sys.argv[1]) if len(sys.argv) > 1 else sys.exit(__doc__)
megabytes = int(sys.argv[2]) if len(sys.argv) > 2 else 100
rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 3
sys.path.insert(0, os.path.join(build, "python"))

import numpy as np  # noqa: E402

import anadata  # noqa: E402


def best(first, second):
    """The fastest of `rounds` runs of each step, taking turns (which goes first alternates), so that
    both meet the same state of a shared machine."""
    times = ([], [])
    for r in range(rounds):
        for k in ((0, 1) if r % 2 == 0 else (1, 0)):
            start = time.perf_counter()
            (first, second)[k]()
            times[k].append(time.perf_counter() - start)
    return min(times[0]), min(times[1])


def report(what, reference_what, seconds, reference):
    print(f"  {what:34} {seconds:7.3f} s   {reference_what:26} {reference:7.3f} s   "
          f"ratio {seconds / reference:5.2f}")


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
    report("anadata.read", "C++ reader (cAnaDataLoad)", *best(lambda: anadata.read(path), cpp))
    os.remove(path)


@contextlib.contextmanager
def service(work):
    server = os.path.join(build, "server", "anadata-server")
    store = os.path.join(work, "store")
    subprocess.run([server, "--store", store, "--add-user", "bench"], input=b"bench\n", check=True,
                   stdout=subprocess.DEVNULL)
    process = subprocess.Popen([server, "--store", store, "--bind", "127.0.0.1", "--port", "0"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    try:
        yield process.stdout.readline().decode().strip().removeprefix("listening on ")
    finally:
        process.terminate()
        process.wait()


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


class DelayProxy:
    """Forwards connections to `port`, holding every chunk back for `delay` seconds each way."""

    def __init__(self, port, delay):
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self.listener.getsockname()[1]}/"
        self.port, self.delay = port, delay
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        with contextlib.suppress(OSError):
            while True:
                client, _ = self.listener.accept()
                upstream = socket.create_connection(("127.0.0.1", self.port))
                for source, target in ((client, upstream), (upstream, client)):
                    threading.Thread(target=self.pump, args=(source, target), daemon=True).start()

    def pump(self, source, target):
        with contextlib.suppress(OSError):
            while chunk := source.recv(65536):
                time.sleep(self.delay)
                target.sendall(chunk)
        with contextlib.suppress(OSError):
            target.shutdown(socket.SHUT_WR)

    def close(self):
        self.listener.close()


def shot_loop(url):
    shots = range(1, 201)
    session = anadata.Session(url, "bench", "bench")
    for shot in shots:
        rec = large_record(500)
        rec.name, rec.shot = "loop", shot
        session.register(rec)
    port = int(url.rsplit(":", 1)[1].strip("/"))
    proxy = DelayProxy(port, 0.010)
    for label, endpoint in (("plain loopback", url), ("10 ms each way", proxy.url)):
        s = anadata.Session(endpoint, "bench", "bench")
        print(f"shot loop of {len(shots)} data sets, {label}, best of {rounds}:")
        report("fetch_many(jobs=16)", "loop of fetch",
               *best(lambda: s.fetch_many("loop", shots, jobs=16),
                     lambda: [s.fetch("loop", k) for k in shots]))
    proxy.close()


with tempfile.TemporaryDirectory(prefix="anadata-bench-python-") as work:
    read_file(work)
    with service(work) as url:
        fetch_large(url)
        shot_loop(url)

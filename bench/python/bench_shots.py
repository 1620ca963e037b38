#!/usr/bin/env python3
"""Many shots from Python, against anadata-server on 127.0.0.1 behind a proxy that delays each way by 10 ms:
  1. 200 shots x 5000 points into one Dataset: anadata.open_shots(...).compute() on the threaded scheduler
     and on a dask.distributed LocalCluster of 2 process workers, next to a Python loop of Session.fetch
     and xarray.concat (all cold: the session has no cache), and on the threaded scheduler once more
     through a session whose local cache holds the shots (warm);
  2. a reduction ds.signal.mean("time") over the lazy dataset, of 100 and of 200 shots: the growth of the
     peak resident memory, next to that of loading the whole dataset, each in a fresh process;
  3. pickling a record of 10^6 grid points: bytes moved per number, and the time of a pickle round trip
     next to writing and reading the text file (precision 16).

    /usr/bin/python3 bench/python/bench_shots.py BUILD_DIR [rounds (default 2)]

Figures are printed, never checked. Everything runs in a temporary directory that is removed at the end.
"""

import os
import pickle
import subprocess
import sys
import tempfile
import time

build = os.path.abspath(sys.argv[1]) if len(sys.argv) > 1 else sys.exit(__doc__)
rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 2
sys.path.insert(0, os.path.join(build, "python"))

import numpy as np  # noqa: E402
import xarray  # noqa: E402

import anadata  # noqa: E402
from bench_support import best, delay_proxy, report, service  # noqa: E402

SHOTS, POINTS = range(1, 201), 5000


def register_shots(url):
    s = anadata.Session(url, "bench", "bench")
    time_axis = np.arange(POINTS) * 1e-6
    for shot in SHOTS:
        phase = np.sin(time_axis * 1e3 + shot)
        s.register(anadata.Record("shots", shot, dims=[("time", "s", time_axis)],
                                  values=[("signal", "V", 3.7 * phase), ("noise", "V", phase / 1024)]),
                   precision=16)


def cluster_compute(session, environment):
    """A function that computes the shots on a new LocalCluster of 2 process workers, and the seconds
    the cluster took to start. distributed sets MALLOC_TRIM_THRESHOLD_=65536 in its workers by default
    (environment None); {} leaves the workers' malloc as it is elsewhere."""
    import dask
    from dask.distributed import Client, LocalCluster

    start = time.perf_counter()
    settings = {} if environment is None else {"distributed.nanny.pre-spawn-environ": environment}
    with dask.config.set(settings):
        cluster = LocalCluster(n_workers=2, processes=True, host="127.0.0.1", dashboard_address=None,
                               scheduler_kwargs={"dashboard_address": "127.0.0.1:0"}, local_directory=os.getcwd())
    client = Client(cluster)
    started = time.perf_counter() - start

    def compute():
        return client.compute(anadata.open_shots("shots", SHOTS, session=session)).result()

    def close():
        client.close()
        cluster.close()

    return compute, close, started


def many_shots(url):
    with delay_proxy(url, 10) as delayed:
        s = anadata.Session(delayed, "bench", "bench")

        def loop():
            return xarray.concat([s.fetch("shots", k).to_xarray() for k in SHOTS], dim="shot")

        def threaded():
            return anadata.open_shots("shots", SHOTS, session=s).compute(scheduler="threads")

        # A session with a local cache, filled once: what a second run of the same analysis costs.
        cached = anadata.Session(delayed, "bench", "bench", cache=os.path.join(os.getcwd(), "cache"))

        def warm():
            return anadata.open_shots("shots", SHOTS, session=cached).compute(scheduler="threads")

        # The nanny sets its variables in this process's environment, where later workers find them:
        # the cluster without them starts first.
        plain, close_plain, started = cluster_compute(s, {})
        default, close_default, _ = cluster_compute(s, None)
        try:
            reference = threaded()
            assert default().identical(reference) and plain().identical(reference)
            assert warm().identical(reference)
            seconds = best(rounds, loop, threaded, default, plain, warm)
        finally:
            close_default()
            close_plain()
    print(f"{len(SHOTS)} shots x {POINTS} points into one Dataset, 10 ms each way, cold, best of {rounds} "
          f"(a cluster's start, {started:.1f} s, not counted):")
    report("open_shots, threaded scheduler", "fetch loop + concat", seconds[1], seconds[0])
    report("open_shots, LocalCluster(2 procs)", "fetch loop + concat", seconds[2], seconds[0])
    report("open_shots, threaded, warm cache", "fetch loop + concat", seconds[4], seconds[0])
    report("  the same, workers' malloc as usual", "fetch loop + concat", seconds[3], seconds[0])


# Run in a fresh process: the growth of the peak resident set (VmHWM, reset first) while computing.
MEMORY_CHILD = """
import sys
import anadata
def status(key):
    return next(int(line.split()[1]) for line in open("/proc/self/status") if line.startswith(key + ":"))
url, step, shots = sys.argv[1], sys.argv[2], int(sys.argv[3])
ds = anadata.open_shots("shots", range(1, shots + 1), session=anadata.Session(url, "bench", "bench"))
step = {"reduce": lambda: ds.signal.mean("time").compute(scheduler="threads"), "load": ds.compute}[step]
step()  # imports and first-use allocations, then measured on a second run
with open("/proc/self/clear_refs", "w") as f:
    f.write("5")
before = status("VmRSS")
step()
print((status("VmHWM") - before) * 1024)
"""


def reduction_memory(url):
    environment = dict(os.environ, PYTHONPATH=os.path.join(build, "python"))

    def grown(step, shots):
        return min(int(subprocess.run([sys.executable, "-c", MEMORY_CHILD, url, step, str(shots)], check=True,
                                      capture_output=True, text=True, env=environment).stdout) for _ in range(rounds))

    task = 32 * POINTS * 8 * 2  # two value columns
    print(f"peak resident growth, least of {rounds}, in MB and in tasks' worth of shots ({task / 1e6:.2f} MB):")
    for step, what in (("reduce", "ds.signal.mean('time')"), ("load", "ds.compute()")):
        figures = [(shots, grown(step, shots)) for shots in (len(SHOTS) // 2, len(SHOTS))]
        print(f"  {what:24}" + "   ".join(f"{shots} shots {b / 1e6:6.2f} MB ({b / task:4.1f})"
                                         for shots, b in figures))


def pickling(work):
    times, channels = 1000, 1000
    i = np.arange(times * channels, dtype=float)
    rec = anadata.Record("large", 1,
                         dims=[("time", "s", np.arange(times) * 1e-6), ("channel", "", np.arange(channels))],
                         values=[("signal", "V", np.sin(i * 1e-3) * 3.7), ("noise", "V", np.cos(i * 7e-4) / 1024)])
    numbers = times + channels + 2 * times * channels
    buffers = []
    out_of_band = len(pickle.dumps(rec, protocol=5, buffer_callback=buffers.append))
    out_of_band += sum(len(b.raw()) for b in buffers)
    in_band = len(pickle.dumps(rec, protocol=5))
    path = os.path.join(work, "large.dat")

    def pickle_round_trip():
        kept = []
        data = pickle.dumps(rec, protocol=5, buffer_callback=kept.append)
        assert pickle.loads(data, buffers=kept) == rec

    def text_round_trip():
        rec.write(path, precision=16, overwrite=True)
        anadata.read(path)

    seconds = best(rounds, pickle_round_trip, text_round_trip)
    text = os.path.getsize(path)
    print(f"a record of {times * channels} grid points ({numbers} numbers), best of {rounds}:")
    print(f"  bytes per number: pickle 5 out of band {out_of_band / numbers:.3f}, in band {in_band / numbers:.3f}, "
          f"text file {text / numbers:.2f}")
    report("pickle.dumps + loads (protocol 5)", "write + read text (16 digits)", *seconds)


def main():
    with tempfile.TemporaryDirectory(prefix="anadata-bench-shots-") as work:
        os.chdir(work)
        with service(build, work) as url:
            register_shots(url)
            many_shots(url)
            reduction_memory(url)
        pickling(work)
        os.chdir("/")


if __name__ == "__main__":  # not in the processes of the cluster's workers, which import this file
    main()

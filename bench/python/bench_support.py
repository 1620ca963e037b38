"""What the Python benchmarks share: the reference service on 127.0.0.1, the delaying proxy in front of it,
timing that takes turns and the report line."""

import contextlib
import os
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))


@contextlib.contextmanager
def service(build, work):
    """Runs anadata-server on a fresh store in `work` with the account bench/bench; yields its URL."""
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


@contextlib.contextmanager
def delay_proxy(url, milliseconds):
    """Runs delay_proxy.py in front of the service at `url`; yields the proxy's URL."""
    port = url.rsplit(":", 1)[1].strip("/")
    process = subprocess.Popen([sys.executable, os.path.join(HERE, "delay_proxy.py"), port, str(milliseconds)],
                               stdout=subprocess.PIPE)
    try:
        yield process.stdout.readline().decode().strip().removeprefix("listening on ")
    finally:
        process.terminate()
        process.wait()


def best(rounds, *steps):
    """The fastest of `rounds` runs of each step; the steps take turns, each round starting with the
    next one, so that all meet the same state of a shared machine."""
    times = [[] for _ in steps]
    for r in range(rounds):
        for k in range(len(steps)):
            k = (k + r) % len(steps)
            start = time.perf_counter()
            steps[k]()
            times[k].append(time.perf_counter() - start)
    return [min(t) for t in times]


def report(what, reference_what, seconds, reference):
    print(f"  {what:34} {seconds:7.3f} s   {reference_what:26} {reference:7.3f} s   "
          f"ratio {seconds / reference:5.2f}")

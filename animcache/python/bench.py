#!/usr/bin/env python3
"""Benchmarks of the zel package beside the C++ figures (run by hand, never by the tests):

  - 240 frames of a 100,000-point mesh written from numpy with zel.create, in MB/s of file;
  - obj.sample(i) for all 240 samples of that cache, in microseconds per view (no copy);
  - obj.positions(t) at 240 fractional times (linear), in MB/s of float32 points handed out.

Then the C++ figures of `zelbench --reader` and `zelbench --write` for the same shapes, unless
--no-cxx. Every figure is the best of five runs; every read is checked against what was written.

usage: PYTHONPATH=build/python python3 animcache/python/bench.py [--zelbench build/bin/zelbench]
"""

import argparse
import os
import shutil
import subprocess
import tempfile
import time

import sys

import numpy as np

# The package comes from PYTHONPATH (the build tree), not from the sources beside this script.
_HERE = os.path.dirname(os.path.abspath(__file__))
sys.path = [p for p in sys.path if os.path.abspath(p or ".") != _HERE]
import zel  # noqa: E402

SAMPLES = 240
POINTS = 100_000
RUNS = 5


def grid_mesh(points):
    """A strip of quads over `points` points (two rows)."""
    half = points // 2
    a = np.arange(half - 1, dtype=np.int32)
    quads = np.stack([a, a + 1, a + half + 1, a + half], axis=1).ravel()
    return np.full(half - 1, 4, dtype=np.int32), quads


def frames():
    base = np.random.default_rng(1).standard_normal((POINTS, 3)).astype(np.float32)
    return [base + np.float32(i) for i in range(SAMPLES)]


def best(fn):
    times = []
    for _ in range(RUNS):
        t0 = time.perf_counter()
        fn()
        times.append(time.perf_counter() - t0)
    return min(times)


def write(path, data):
    counts, indices = grid_mesh(POINTS)
    with zel.create(path, application="bench", rate=1, frame_count=SAMPLES) as w:
        mesh = w.add_mesh("grid", counts, indices, point_count=POINTS)
        for i, p in enumerate(data):
            w.write_frame(1 + i, {mesh: p})


def bench_write(path, data):
    """The best time of writing `data` to `path`, and the file's size; as zelbench does, each
    run starts with nothing left to write back and removes its file after it (untimed), and
    the last run's file stays for the reading benchmarks."""
    seconds = []
    for run in range(RUNS):
        os.sync()
        t0 = time.perf_counter()
        write(path, data)
        seconds.append(time.perf_counter() - t0)
        size = os.path.getsize(path)
        if run < RUNS - 1:
            os.remove(path)
    return min(seconds), size


def bench_views(cache):
    obj = cache["grid"]
    views = []

    def run():
        views.clear()
        for i in range(SAMPLES):
            views.append(obj.sample(i))

    seconds = best(run)
    return seconds / SAMPLES * 1e6, views


def bench_positions(cache, data):
    obj = cache["grid"]
    times = [1.5 + i * (SAMPLES - 2) / SAMPLES for i in range(SAMPLES)]

    def run():
        # Each array goes before the next call, as in a loop that uses one frame at a time.
        for t in times:
            obj.positions(t)

    seconds = best(run)
    t = 1.5
    expect = (data[0] + data[1]) / 2
    assert np.allclose(obj.positions(t), expect, atol=1e-5), "positions(1.5) is wrong"
    return SAMPLES * POINTS * 12 / seconds / 1e6


def cxx_figures(zelbench):
    """The lines of zelbench's reader and writer tables that these figures compare with."""
    keep = ("view() without copy", "time queries, order 1", "ZelWriter", "fwrite", "frames")
    for flag in ("--reader", "--write"):
        out = subprocess.run([zelbench, flag], capture_output=True, text=True,
                             cwd=tempfile.gettempdir())
        print("\nzelbench %s:" % flag)
        for line in out.stdout.splitlines():
            if any(k in line for k in keep):
                print("  " + line.strip())


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--zelbench", default=os.path.join(_HERE, "../../build/bin/zelbench"))
    ap.add_argument("--no-cxx", action="store_true", help="skip the C++ figures")
    args = ap.parse_args()
    tmp = tempfile.mkdtemp(prefix="zel-bench-")
    try:
        path = os.path.join(tmp, "grid.zel")
        data = frames()
        seconds, size = bench_write(path, data)
        print("python, %d samples of %d points (%.1f MB file):" % (SAMPLES, POINTS, size / 1e6))
        print("  zel.create + write_frame         %8.1f MB/s" % (size / seconds / 1e6))
        with zel.open(path) as cache:
            us, views = bench_views(cache)
            assert all(np.array_equal(v, d) for v, d in zip(views, data)), "a view is wrong"
            print("  obj.sample(i) view               %8.2f us per view" % us)
            print("  obj.positions(t), linear         %8.1f MB/s written" %
                  bench_positions(cache, data))
        if not args.no_cxx:
            cxx_figures(args.zelbench)
    finally:
        shutil.rmtree(tmp)


if __name__ == "__main__":
    main()

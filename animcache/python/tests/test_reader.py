"""zel.open: time queries against the C++ tools, views into the mapping, bad files."""

import gc
import json
import os
import subprocess

import numpy as np
import pytest

import zel
from conftest import FRAMES, tool


def zel_sample(path, obj, time, order):
    out = subprocess.run([tool("zel"), "sample", path, obj, str(time), "--order", str(order),
                          "--format", "json"], capture_output=True, text=True, check=True)
    return json.loads(out.stdout)


@pytest.mark.parametrize("order", [0, 1, 3])
def test_time_queries_agree_with_zel_sample(every_kind, order):
    path, _ = every_kind
    with zel.open(path) as c:
        for t in (1.0, 1.25, 2.5, 4.75):
            want = zel_sample(path, "mesh", t, order)
            np.testing.assert_allclose(c["mesh"].positions(t, order), want["positions"],
                                       rtol=1e-6)
            np.testing.assert_allclose(c["mesh"].attribute("heat", t, order).ravel(),
                                       want["attributes"]["heat"], rtol=1e-6)


def test_time_queries_at_sample_times_give_stored_values(every_kind):
    path, frames = every_kind
    with zel.open(path) as c:
        for i, t in enumerate(c.times):
            np.testing.assert_array_equal(c["mesh"].positions(t), c["mesh"].sample(i))
            np.testing.assert_array_equal(c["mesh"].normals(t), c["mesh"].sample(i, "VPNO"))
            cps = c["curve"].control_points(t)
            np.testing.assert_array_equal(cps[:, :3], c["curve"].sample(i))
            assert (cps[:, 3] == 1).all()
            np.testing.assert_array_equal(c["xf"].matrix(t), c["xf"].sample(i, "MTRX")[0])
        a, b = c["mesh"].sample(1), c["mesh"].sample(2)
        np.testing.assert_allclose(c["mesh"].positions(2.5), (a + b) / 2, rtol=1e-5, atol=1e-6)


def mappings_of(path):
    """The address ranges of `path` mapped into this process."""
    with open("/proc/self/maps") as f:
        rows = [line.split() for line in f]
    return [tuple(int(x, 16) for x in r[0].split("-")) for r in rows
            if len(r) >= 6 and r[5] == os.path.realpath(path)]


def test_views_lie_in_the_mapping_and_outlive_the_cache(every_kind):
    path, frames = every_kind
    c = zel.open(path)
    views = [c["mesh"].sample(i) for i in range(FRAMES)]
    ranges = mappings_of(path)
    assert ranges
    for v in views:
        address = v.__array_interface__["data"][0]
        assert any(lo <= address and address + v.nbytes <= hi for lo, hi in ranges)
        assert not v.flags.writeable and not v.flags.owndata
        with pytest.raises(ValueError):
            v[0, 0] = 1
    with pytest.raises(zel.Error):
        c["mesh"].sample(0, "NOPE")
    c.close()
    with pytest.raises(ValueError, match="closed"):
        c["mesh"].positions(1)
    del c
    gc.collect()
    for v, f in zip(views, frames):
        np.testing.assert_array_equal(v, np.float32(f["mesh"]["positions"]))
    assert mappings_of(path)
    del views, v
    gc.collect()
    assert not mappings_of(path)


def test_lookups_refused(every_kind):
    path, _ = every_kind
    with zel.open(path) as c:
        with pytest.raises(KeyError, match="no object 'ghost'"):
            c["ghost"]
        with pytest.raises(KeyError, match="'mesh' has no attribute 'ghost'"):
            c["mesh"].attribute("ghost")
        with pytest.raises(IndexError, match="no sample 5"):
            c["mesh"].sample(FRAMES)
        with pytest.raises(ValueError, match="four characters"):
            c["mesh"].sample(0, "POSITION")
        with pytest.raises(zel.Error):
            c["loc"].positions(1)
        with pytest.raises(zel.Error):
            c["mesh"].matrix(1)


def test_bad_files_refused(tmp, every_kind):
    with pytest.raises(zel.FileError, match="No such file") as e:
        zel.open(os.path.join(tmp, "missing.zel"))
    assert isinstance(e.value, OSError)
    text = os.path.join(tmp, "notes.txt")
    with open(text, "w") as f:
        f.write("hello, this is not a cache\n")
    with pytest.raises(zel.Error, match="not a cache") as e:
        zel.open(text)
    assert e.value.code == "not a cache" and not isinstance(e.value, OSError)


def query_everything(path):
    """Opens `path` and asks every query of every object; returns the failures seen."""
    failures = 0
    try:
        c = zel.open(path)
    except zel.Error:
        return 1
    for o in c.objects:
        for q in (lambda: o.positions(2.5), lambda: o.normals(1.5), lambda: o.matrix(3.2),
                  lambda: o.control_points(2), lambda: o.sample(1), lambda: o.face_indices,
                  lambda: [o.attribute(a) for a in o.attributes]):
            try:
                q()
            except (zel.Error, KeyError, IndexError):
                failures += 1
    return failures


def test_damaged_files_fail_cleanly(tmp, every_kind):
    path, _ = every_kind
    with open(path, "rb") as f:
        good = f.read()
    rng = np.random.default_rng(3)
    damaged = os.path.join(tmp, "damaged.zel")
    for trial in range(60):
        data = bytearray(good[: rng.integers(16, len(good))] if trial % 3 == 0 else good)
        for at in rng.integers(0, len(data), size=4):
            data[at] = rng.integers(0, 256)
        with open(damaged, "wb") as f:
            f.write(data)
        query_everything(damaged)  # must answer or raise, never crash
    assert query_everything(path) > 0  # the good file too has queries its kinds refuse

"""zel.create / zel.append: numpy -> file -> numpy, and refusals."""

import os
import subprocess

import numpy as np
import pytest

import zel
from conftest import FRAMES, tool, write_every_kind


def f32(a):
    return np.asarray(a, dtype=np.float32)


def test_every_kind_round_trips(every_kind):
    path, frames = every_kind
    with zel.open(path) as c:
        assert [(o.name, o.kind) for o in c.objects] == [
            ("mesh", "mesh"), ("curve", "nurbs curve"), ("surface", "nurbs surface"),
            ("xf", "transform"), ("loc", "locator"), ("axes", "coordinate system")]
        assert (c.application, c.source_file, c.rate) == ("pytest", "every_kind", 1.0)
        np.testing.assert_array_equal(c.times, np.arange(1, FRAMES + 1, dtype=np.float32))
        mesh = c["mesh"]
        assert mesh.face_counts.tolist() == [3, 4]
        assert mesh.face_indices.tolist() == [0, 1, 2, 1, 2, 3, 4]
        assert mesh.attribute("ids").tolist() == [0, 1, 2, 3, 4]
        assert c["loc"].attribute("label") == ["left", "hand"]
        assert c["curve"].degrees.tolist() == [3]
        assert c["surface"].degrees.tolist() == [3, 3]
        assert c["curve"].forms == ["open"] and c["surface"].forms == ["open", "periodic"]
        assert c["surface"].knots_v.tolist() == [0, 0, 0, 1, 1, 1]
        for i, f in enumerate(frames):
            m = f["mesh"]
            np.testing.assert_array_equal(mesh.sample(i), f32(m["positions"]))
            np.testing.assert_array_equal(mesh.sample(i, "VPNO"), f32(m["normals"]))
            np.testing.assert_array_equal(mesh.sample(i, "VELO"), f32(m["velocities"]))
            assert mesh.attribute_sample("heat", i).tolist() == m["heat"]
            np.testing.assert_array_equal(c["curve"].sample(i), f32(f["curve"]))
            np.testing.assert_array_equal(c["surface"].sample(i), f32(f["surface"]))
            np.testing.assert_array_equal(c["xf"].matrix(1 + i), f["xf"])
            np.testing.assert_array_equal(c["loc"].attribute_sample("weight", i).ravel(),
                                          f["loc"]["weight"])


def test_append_adds_frames_in_place(every_kind):
    path, frames = every_kind
    extra = np.full((5, 3), 9.0)
    with zel.append(path) as w:
        assert w.frame_count == FRAMES and w.next_time == FRAMES + 1
        w.write_frame(w.next_time, dict(frames[0], mesh=dict(frames[0]["mesh"], positions=extra)))
    with zel.open(path) as c:
        assert c.sample_count == FRAMES + 1
        np.testing.assert_array_equal(c["mesh"].positions(FRAMES + 1), extra)
        np.testing.assert_array_equal(c["mesh"].sample(0), f32(frames[0]["mesh"]["positions"]))


def write_one(path, positions, **values):
    with zel.create(path) as w:
        mesh = w.add_mesh("body", [4], [0, 1, 2, 3])
        w.add_transform("xf")
        w.write_frame(1, {mesh: positions, **values})


@pytest.mark.parametrize("positions, error, message", [
    (np.zeros((5, 3)), zel.InvalidArgument, "'body' has 4 points; this frame gives 5"),
    (np.zeros((4, 2)), ValueError, "positions of 'body' must have shape (n, 3), not (4, 2)"),
    (np.zeros(12), ValueError, "must have shape (n, 3), not (12,)"),
    (np.array([["a", "b", "c"]] * 4), TypeError, "positions of 'body' must hold numbers"),
    ([[1, 2, 3], [4, 5]], TypeError, "must be an array of numbers"),
    (None, TypeError, "must hold numbers, not object"),
])
def test_bad_positions_refused_and_target_untouched(tmp, positions, error, message):
    path = os.path.join(tmp, "bad.zel")
    with pytest.raises(error) as e:
        write_one(path, positions, xf=np.eye(4))
    assert message in str(e.value)
    assert not os.path.exists(path)


def test_bad_declarations_and_frames_refused(tmp):
    with pytest.raises(ValueError, match="has 16 values, not 9"):
        write_one(os.path.join(tmp, "a.zel"), np.zeros((4, 3)), xf=np.eye(3))
    with pytest.raises(zel.InvalidArgument, match="'xf'"):
        write_one(os.path.join(tmp, "b.zel"), np.zeros((4, 3)))  # xf has no matrix
    with zel.create(os.path.join(tmp, "c.zel")) as w:
        with pytest.raises(ValueError, match="not 'wavy'"):
            w.add_nurbs_curve("c", 3, [0, 1], 4, form="wavy")
        with pytest.raises(zel.InvalidArgument, match="does not cover index 7"):
            w.add_mesh("m", [3], [0, 1, 7], point_count=3)
        loc = w.add_locator("loc")
        with pytest.raises(ValueError, match="not 'quaternion'"):
            loc.add_attribute("q", type="quaternion")
        with pytest.raises(KeyError, match="'loc' has no animated attribute 'nope'"):
            w.write_frame(1, {loc: {"nope": [1.0]}})
    with zel.create(os.path.join(tmp, "d.zel")) as w:
        m = w.add_mesh("m", [3], [0, 1, 2])
        with pytest.raises(zel.InvalidArgument, match="'m' has 3 points; this frame gives 4"):
            w.write_frame(1, {m: np.zeros((4, 3))})
        w.write_frame(1, {m: np.ones((3, 3))})
    with zel.open(os.path.join(tmp, "d.zel")) as c:
        assert c.sample_count == 1 and (c["m"].sample(0) == 1).all()
    with pytest.raises(zel.FileError) as e:
        zel.append(os.path.join(tmp, "missing.zel"))
    assert isinstance(e.value, OSError) and e.value.code == "not found"


def test_zelinfo_reads_a_cache_from_python(every_kind):
    path, _ = every_kind
    out = subprocess.run([tool("zelinfo"), path], capture_output=True, text=True, check=True)
    assert "application: pytest" in out.stdout
    assert "number of time samples: %d" % FRAMES in out.stdout
    for name in ("mesh", "curve", "surface", "xf", "loc", "axes"):
        assert "name: %s\n" % name in out.stdout


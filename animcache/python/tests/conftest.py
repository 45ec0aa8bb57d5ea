"""Shared fixtures: a private temporary directory and a cache holding every kind of object."""

import os
import shutil
import tempfile

import numpy as np
import pytest

import zel

FRAMES = 5
TOOLS = os.environ.get("ZEL_TOOLS_DIR",
                       os.path.join(os.path.dirname(__file__), "../../../build/bin"))


def tool(name):
    return os.path.join(TOOLS, name)


@pytest.fixture
def tmp():
    d = tempfile.mkdtemp(prefix="zel-python-")
    yield d
    shutil.rmtree(d)


def frame_data(rng):
    """Random values for one frame of the cache every_kind() writes."""
    m = np.eye(4) + rng.standard_normal((4, 4)) * 0.1
    return {
        "mesh": {"positions": rng.standard_normal((5, 3)),
                 "normals": rng.standard_normal((5, 3)).astype(np.float32),
                 "velocities": rng.standard_normal((5, 3)).tolist(), "heat": [rng.random()]},
        "curve": rng.standard_normal((4, 3)),
        "surface": rng.standard_normal((16, 3)),
        "xf": m,
        "loc": {"weight": [rng.random(), rng.random()]},
    }


def write_every_kind(path, seed=7):
    """Writes a mesh, a curve, a surface, a transform, a locator and a coordinate system over
    FRAMES frames of random values; returns the values written, frame after frame."""
    rng = np.random.default_rng(seed)
    frames = []
    with zel.create(path, application="pytest", source="every_kind", rate=1) as w:
        mesh = w.add_mesh("mesh", [3, 4], np.array([0, 1, 2, 1, 2, 3, 4]), normals=True,
                          velocities=True)
        mesh.add_attribute("heat")
        mesh.add_static_attribute("ids", np.arange(5), type="int32")
        w.add_nurbs_curve("curve", 3, [0, 0, 0, 1, 1, 1], 4)
        w.add_nurbs_surface("surface", (3, 3), [0, 0, 0, 1, 1, 1],
                            [0, 0, 0, 1, 1, 1], (4, 4), forms=("open", "periodic"))
        w.add_transform("xf")
        loc = w.add_locator("loc")
        loc.add_attribute("weight", dimension=2)
        loc.add_static_attribute("label", ["left", "hand"], type="string")
        w.add_coord_system("axes")
        for f in range(FRAMES):
            frames.append(frame_data(rng))
            w.write_frame(1 + f, frames[-1])
    return frames


@pytest.fixture
def every_kind(tmp):
    path = os.path.join(tmp, "every_kind.zel")
    return path, write_every_kind(path)

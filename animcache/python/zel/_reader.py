"""Reading: zel.open() and the objects of an open cache."""

from typing import Iterator, List, Optional, Union

import numpy as np

from . import _zel

# The file's words for NURBS forms, and the ones zel.create takes.
_FORMS = {"kOpen": "open", "kClosed": "closed", "kPeriodic": "periodic"}


class Object:
    """One object of an open cache: its name, kind ("mesh", "nurbs curve", "nurbs surface",
    "transform", "locator", "coordinate system", "other") and index."""

    def __init__(self, cache: "Cache", index: int) -> None:
        self._reader = cache._reader
        self.index = index
        self.name: str = self._reader.object_name(index)
        self.kind: str = self._reader.object_kind(index)

    def __repr__(self) -> str:
        return "<zel.Object %d %r (%s)>" % (self.index, self.name, self.kind)

    def sample(self, sample: int, tag: str = "POSI") -> np.ndarray:
        """The chunk `tag` as stored, read-only and without a copy: from the object's definition
        if it holds the tag, else from sample `sample` (-1: the definition only). The array keeps
        the file mapped for as long as it lives."""
        return self._reader.view(self.index, sample, tag)

    def point_count(self, sample: int = 0) -> int:
        """The points the object stores in `sample`, 0 without points."""
        return self._reader.point_count(self.index, sample)

    def positions(self, time: float, order: int = 1) -> np.ndarray:
        """Points at `time` as float32 (points, 3 or 4), interpolated with `order` (0 the sample
        at or before, 1 linear, 2 quadratic, 3 cubic)."""
        return self._reader.positions_at(self.index, time, order)

    def normals(self, time: float, order: int = 1) -> np.ndarray:
        """A mesh's per-point normals at `time` as float32 (points, 3)."""
        return self._reader.normals_at(self.index, time, order)

    def control_points(self, time: float, order: int = 1, u_fastest: bool = False) -> np.ndarray:
        """A NURBS curve's or surface's control points at `time`, float32 (n, 4) as x, y, z, 1,
        periodic points repeated; a surface's u-major unless `u_fastest`."""
        return self._reader.control_points_at(self.index, time, order, u_fastest)

    def matrix(self, time: float, order: int = 1) -> np.ndarray:
        """A transform's matrix at `time`: float64 (4, 4), row vectors, translation in the last
        row."""
        return self._reader.matrix_at(self.index, time, order)

    @property
    def face_counts(self) -> np.ndarray:
        """A mesh's vertices per face (int32 view into the file)."""
        return self.sample(-1, "PCNT")

    @property
    def face_indices(self) -> np.ndarray:
        """A mesh's point indices, face after face (int32 view into the file)."""
        return self.sample(-1, "PIDS")

    @property
    def degrees(self) -> np.ndarray:
        """A NURBS curve's degree, or a surface's degrees in u and v."""
        return self.sample(-1, "DEGR")

    @property
    def forms(self) -> List[str]:
        """A NURBS curve's form, or a surface's forms in u and v ("open", "closed",
        "periodic")."""
        stored = self.sample(-1, "FORM").tobytes()
        names = [f.decode("utf-8", "replace") for f in stored.split(b"\0")[:-1]]
        return [_FORMS.get(n, n) for n in names]

    @property
    def knots(self) -> np.ndarray:
        """A NURBS curve's knots, or a surface's knots in u."""
        return self.sample(-1, "KNTU")

    @property
    def knots_v(self) -> np.ndarray:
        """A NURBS surface's knots in v."""
        return self.sample(-1, "KNTV")

    @property
    def attributes(self) -> List[str]:
        """The names of the object's attributes, animated ones first."""
        r = self._reader
        return [r.attribute(self.index, a)[0] for a in range(r.attribute_count(self.index))]

    def _attribute_index(self, name: str) -> int:
        a = self._reader.find_attribute(self.index, name)
        if a < 0:
            raise KeyError("%r has no attribute %r" % (self.name, name))
        return a

    def attribute(self, name: str, time: Optional[float] = None, order: int = 1):
        """Attribute `name`: its stored values (a view, or a list of str) when `time` is None,
        for an animated one those of the first sample; at `time`, interpolated float64 values
        (only attributes stored as doubles answer)."""
        a = self._attribute_index(name)
        if time is not None:
            return self._reader.attribute_at(self.index, a, time, order)
        animated = self._reader.attribute(self.index, a)[2]
        return self.attribute_sample(name, 0 if animated else -1)

    def attribute_sample(self, name: str, sample: int):
        """Attribute `name` as stored in `sample` (its static value for a static one)."""
        return self._reader.attribute_view(self.index, self._attribute_index(name), sample)


class Cache:
    """An open cache file (see zel.open); a context manager that closes it on exit."""

    def __init__(self, path: str) -> None:
        self._reader = _zel.Reader(str(path))
        self.objects: List[Object] = [
            Object(self, i) for i in range(self._reader.object_count)]

    def __enter__(self) -> "Cache":
        """The cache itself."""
        return self

    def __exit__(self, *exc) -> None:
        """Closes the cache (live views keep the file mapped)."""
        self.close()

    def close(self) -> None:
        """Lets go of the file; views handed out keep it mapped until they are gone."""
        self._reader.close()

    def __repr__(self) -> str:
        state = "closed" if self._reader.closed else "%d objects" % len(self.objects)
        return "<zel.Cache %s>" % state

    @property
    def closed(self) -> bool:
        """Whether close() was called."""
        return self._reader.closed

    def __getattr__(self, name: str):
        # The file's properties (path, application, source_file, rate, times, ...) come from
        # the reader itself.
        if name.startswith("_"):
            raise AttributeError(name)
        return getattr(self._reader, name)

    def __len__(self) -> int:
        return len(self.objects)

    def __iter__(self) -> Iterator[Object]:
        return iter(self.objects)

    def __contains__(self, name: str) -> bool:
        return self._reader.find_object(name) >= 0

    def __getitem__(self, key: Union[str, int]) -> Object:
        """The object named `key` (exactly, else by its last "|" component), or at index `key`."""
        if isinstance(key, int):
            return self.objects[key]
        index = self._reader.find_object(key)
        if index < 0:
            raise KeyError("no object %r in %s" % (key, self._reader.path))
        return self.objects[index]


def open(path: str) -> Cache:  # noqa: A001 - zel.open mirrors the builtin on purpose
    """Opens the cache at `path` for reading; raises zel.FileError when the file cannot be
    read and zel.Error when it is not a cache or contradicts itself."""
    return Cache(path)

"""Writing: zel.create(), zel.append() and the writer's objects."""

from typing import Any, Dict, Mapping, Optional, Sequence, Tuple, Union

from . import _zel


class WriterObject:
    """An object declared in (or found by append in) a cache being written."""

    def __init__(self, writer: "CacheWriter", index: int) -> None:
        self._writer = writer
        self.index = index
        self.name: str = writer._w.object_name(index)
        self.kind: str = writer._w.object_kind(index)

    def __repr__(self) -> str:
        return "<zel.WriterObject %d %r (%s)>" % (self.index, self.name, self.kind)

    def add_attribute(self, name: str, type: str = "double", dimension: int = 1,
                      type_name: str = "") -> None:
        """Declares an animated attribute (type "int32", "float", "int64", "double" or
        "string"), set every frame through write_frame's {"name": values} entries."""
        self._writer._w.add_animated_attribute(self.index, name, type, dimension, type_name)

    def add_static_attribute(self, name: str, values: Any, type: str = "double",
                             dimension: int = 1, type_name: str = "") -> None:
        """Declares an attribute with one value for the whole cache."""
        self._writer._w.add_static_attribute(self.index, name, values, type, dimension,
                                             type_name)


class CacheWriter:
    """Writes a cache frame after frame; a context manager that closes (commits) the cache on a
    clean exit and discards it, leaving the target as it was, when the block raises."""

    def __init__(self) -> None:
        self._w = _zel.Writer()
        self._objects: Dict[str, WriterObject] = {}
        self._open_time: Optional[float] = None

    def __enter__(self) -> "CacheWriter":
        """The writer itself."""
        return self

    def __exit__(self, exc_type, *exc) -> None:
        """Closes the cache, or on an exception drops it and leaves the target as it was."""
        if exc_type is None:
            self.close()
        else:
            self._w = _zel.Writer()  # drops the unfinished cache

    def _add(self, index: int) -> WriterObject:
        obj = WriterObject(self, index)
        self._objects[obj.name] = obj
        return obj

    def add_mesh(self, name: str, face_counts: Any, face_indices: Any, point_count: int = 0,
                 subdivision: bool = False, normals: bool = False,
                 velocities: bool = False) -> WriterObject:
        """Declares a mesh with fixed topology; `point_count` 0 means one more than the
        largest index. With `normals` / `velocities` every frame also gives those per point."""
        return self._add(self._w.add_mesh(name, face_counts, face_indices, point_count,
                                          subdivision, normals, velocities))

    def add_nurbs_curve(self, name: str, degree: int, knots: Any, point_count: int,
                        form: str = "open") -> WriterObject:
        """Declares a NURBS curve ("open", "closed" or "periodic") with `point_count` distinct
        control points per frame."""
        return self._add(self._w.add_nurbs_curve(name, degree, form, knots, point_count))

    def add_nurbs_surface(self, name: str, degrees: Tuple[int, int], knots_u: Any, knots_v: Any,
                          point_counts: Tuple[int, int],
                          forms: Tuple[str, str] = ("open", "open")) -> WriterObject:
        """Declares a NURBS surface; its control points are given u major, (nu * nv, 3)."""
        return self._add(self._w.add_nurbs_surface(name, tuple(degrees), tuple(forms), knots_u,
                                                   knots_v, tuple(point_counts)))

    def add_transform(self, name: str, inherits_transform: bool = True,
                      double_precision: bool = True) -> WriterObject:
        """Declares a transform: a (4, 4) matrix every frame, row vectors."""
        return self._add(self._w.add_transform(name, inherits_transform, double_precision))

    def add_locator(self, name: str) -> WriterObject:
        """Declares a locator (attributes only)."""
        return self._add(self._w.add_locator(name))

    def add_coord_system(self, name: str) -> WriterObject:
        """Declares a coordinate system (attributes only)."""
        return self._add(self._w.add_coord_system(name))

    def __getitem__(self, name: str) -> WriterObject:
        """The object named `name`."""
        return self._objects[name]

    def _index(self, key: Union[WriterObject, str, int]) -> int:
        if isinstance(key, WriterObject):
            return key.index
        if isinstance(key, int):
            return key
        index = self._w.find_object(key)
        if index < 0:
            raise KeyError("no object %r in the cache being written" % (key,))
        return index

    def _set(self, index: int, kind: str, value: Any) -> None:
        if kind == "transform":
            self._w.set_matrix(index, value)
        elif kind in ("mesh", "nurbs curve", "nurbs surface"):
            self._w.set_positions(index, value)
        else:
            raise TypeError("%r (%s) takes a dict of attribute values"
                            % (self._w.object_name(index), kind))

    def _set_many(self, index: int, values: Mapping[str, Any]) -> None:
        setters = {"positions": self._w.set_positions, "normals": self._w.set_normals,
                   "velocities": self._w.set_velocities, "matrix": self._w.set_matrix}
        for key, value in values.items():
            if key in setters:
                setters[key](index, value)
                continue
            attr = self._w.find_animated_attribute(index, key)
            if attr < 0:
                raise KeyError("%r has no animated attribute %r"
                               % (self._w.object_name(index), key))
            self._w.set_attribute(index, attr, value)

    def write_frame(self, time: float, values: Mapping[Any, Any]) -> None:
        """Writes the frame at `time`. `values` maps each object (a WriterObject, a name or an
        index) to its points (mesh, curve, surface) or matrix (transform), or to a dict of
        "positions", "normals", "velocities", "matrix" and animated attribute values. After a
        refused value the frame stays open: call again with the same time to complete it."""
        # A refused value leaves the frame open with what was set so far; calling again with
        # the same time fills it in and writes it.
        if self._open_time is None or self._open_time != time:
            self._w.begin_frame(time)
            self._open_time = time
        for key, value in values.items():
            index = self._index(key)
            if isinstance(value, Mapping):
                self._set_many(index, value)
            else:
                self._set(index, self._w.object_kind(index), value)
        self._w.end_frame()
        self._open_time = None

    @property
    def frame_count(self) -> int:
        """Frames in the cache so far (an append counts the file's own)."""
        return self._w.frame_count()

    @property
    def next_time(self) -> float:
        """The time the next frame must have when sampled uniformly; NaN otherwise."""
        return self._w.next_time()

    def close(self) -> None:
        """Writes the tables and puts the cache at its path."""
        self._w.close()


def create(path: str, application: str = "", source: str = "", rate: float = 1.0,
           first_time: float = 1.0, times: Optional[Sequence[float]] = None,
           world_space: bool = False, frame_count: int = 0,
           date_stamp: int = -1) -> CacheWriter:
    """Starts a new cache that close() puts at `path`. Frame i lies at first_time + i / rate
    (rate is samples per frame; 0 lets every frame bring its own increasing time), or at the
    given increasing `times`."""
    w = CacheWriter()
    w._w.create(str(path), application, source, world_space, first_time, rate, times,
                frame_count, date_stamp)
    return w


def append(path: str, date_stamp: int = -1) -> CacheWriter:
    """Reopens the cache at `path` to add frames after its last one; its objects are found by
    name through writer[name]."""
    w = CacheWriter()
    w._w.append(str(path), date_stamp)
    for i in range(w._w.object_count()):
        w._add(i)
    return w

"""Read and write libzel animation caches with numpy.

Reading::

    with zel.open("anim.zel") as cache:
        points = cache["body"].positions(12.5)     # float32, shape (points, 3)

Writing::

    with zel.create("out.zel", application="sim", rate=1) as w:
        body = w.add_mesh("body", face_counts, face_indices)
        for frame, p in enumerate(frames, 1):
            w.write_frame(frame, {body: p})
"""

from ._errors import Error, FileError, InvalidArgument
from ._reader import Cache, Object, open
from ._writer import CacheWriter, WriterObject, append, create

__all__ = [
    "Error", "FileError", "InvalidArgument", "Cache", "Object", "open", "CacheWriter",
    "WriterObject", "create", "append",
]

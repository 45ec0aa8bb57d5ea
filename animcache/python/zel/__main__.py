"""python3 -m zel FILE: the listing of `zel ls FILE`."""

import sys

from . import Error, open as open_cache
from ._reader import Cache


def _g(x: float) -> str:
    # The C++ listing prints floats as a default ostream does: 6 significant digits.
    return "%g" % x


def header(c: Cache) -> str:
    """The listing's first line: samples, times, rate and object count."""
    n = c.sample_count
    if n == 0:
        text = "no samples (static)"
    else:
        text = "%d %s, frames %s to %s, " % (n, "sample" if n == 1 else "samples",
                                            _g(c.first_time), _g(c.last_time))
        if c.rate == 0:
            text += "each sample at its own time"
        else:
            text += "%s %s per frame" % (_g(c.rate), "sample" if c.rate == 1 else "samples")
    count = len(c.objects)
    return "%s: %s, %d %s" % (c.path, text, count, "object" if count == 1 else "objects")


def attribute_list(c: Cache, index: int) -> str:
    """"static: a, b; animated: c", or "" for an object without attributes."""
    r = c._reader
    lists = ([], [])
    for a in range(r.attribute_count(index)):
        name, _, animated = r.attribute(index, a)
        lists[1 if animated else 0].append(name)
    parts = []
    if lists[0]:
        parts.append("static: " + ", ".join(lists[0]))
    if lists[1]:
        parts.append("animated: " + ", ".join(lists[1]))
    return "; ".join(parts)


def listing(c: Cache) -> str:
    """What `zel ls` prints for the cache, line after line."""
    lines = [header(c)]
    objs = c.objects
    name_width = min(max([4] + [len(o.name.encode()) for o in objs]), 40)
    index_width = len(str(max(len(objs) - 1, 0)))
    sample = 0 if c.sample_count > 0 else -1
    for o in objs:
        points = o.point_count(sample)
        count = str(points) if points > 0 else "-"
        unit = " points" if points > 1 else " point " if points == 1 else "       "
        line = "  %*d  %-*s  %-17s  %9s%s" % (index_width, o.index, name_width, o.name, o.kind,
                                             count, unit)
        attrs = attribute_list(c, o.index)
        lines.append(line + ("  " + attrs if attrs else ""))
    return "\n".join(lines)


def main(argv) -> int:
    """Prints the listing of the one file in `argv`; 0 on success, 1 for a file that cannot be
    read, 2 for a wrong command line."""
    if len(argv) != 1:
        print("usage: python3 -m zel FILE", file=sys.stderr)
        return 2
    try:
        with open_cache(argv[0]) as c:
            print(listing(c))
    except Error as e:
        print("zel: %s" % e, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))

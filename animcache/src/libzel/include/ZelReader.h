// ZelReader: reads a cache through a read-only mapping of its file, from any number of threads.
#ifndef ZEL_READER_H
#define ZEL_READER_H

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ZelKinds.h"
#include "ZelStatus.h"
#include "ZelTypes.h"

namespace Zel {

// One chunk's values where they lie in the open file: no copy. Valid while the reader that handed
// it out stays open. Values may sit at any byte offset, so read them with memcpy, through value()
// or copyTo(), or hand `data` to code that accepts unaligned arrays (numpy does).
struct ZEL_API ZelDataView {
    const unsigned char* data = nullptr;  // the first value's bytes
    int64 count = 0;                      // values (for strings: bytes, NULs included)
    ZelElementType type = ZelElementType::kFloat;
    int dimension = 0;  // components per value as stored: 1, 2, 3, 4, 9, 16, or 0 when unsaid
    ZelCompound compound = ZelCompound::kNone;
    bool animated = false;  // from a sample (true) or from the object's definition (false)

    bool empty() const { return count == 0; }
    // Value i converted to T (a number type); i must be below count.
    template <class T>
    T value(int64 i) const;
    // Converts every value into out[0 .. count); false for strings.
    template <class T>
    bool copyTo(T* out) const;
    // The strings of a string view, each up to its NUL (the last one also without); none for
    // numbers. They point into the open file.
    std::vector<std::string_view> strings() const;
};

// What an object's attribute is; its index is its position in the object's attribute list
// (animated attributes first, then static ones, as the file stores them). The names point into
// the open file.
struct ZelAttrInfo {
    std::string_view name;
    std::string_view typeName;  // the writing application's own word for the type
    bool animated = false;      // a value in every sample rather than one in the definition
};

// The shape of what a time query wrote.
struct ZelValuesInfo {
    int dimension = 0;      // components per point or value
    bool animated = false;  // the values came from samples rather than the definition
};

// A cache file opened for reading. open() maps the file read-only (or reads it whole where the
// system cannot map it) and checks at once everything the queries rely on: the identification and
// metadata chunks, every samples section's tables against the metadata, and that every sample's
// offset lies in the file and leads to a whole sample. What lies inside a sample is checked against
// the file where a query first uses it, so every query either answers or fails with a ZelStatus.
// Object definitions are not decoded at open; each query reads the bytes it needs.
//
// Immutable after open(): every const member is safe to call from any number of threads at once,
// without locks, and answers the same in each. open(), close() and moving are not, and must not
// overlap with queries. The mapping shares pages with the file: a file truncated or rewritten in
// place by another process while open can fault the reader (writers in this library replace files
// by renaming, which leaves an open mapping intact).
//
// Time queries answer exactly what the helper objects (MeshZelObj, NurbsCurveZelObj,
// NurbsSurfaceZelObj, TransformZelObj, ZelHelperObj::getAttrAtTime) answer for the same file, time
// and interpolation order (0 the sample at or before the time, 1 linear, 2 quadratic, 3 cubic),
// into a buffer the caller owns and may reuse across calls.
class ZEL_API ZelReader {
  public:
    ZelReader();
    ~ZelReader();
    ZelReader(ZelReader&& other) noexcept;
    ZelReader& operator=(ZelReader&& other) noexcept;
    ZelReader(const ZelReader&) = delete;
    ZelReader& operator=(const ZelReader&) = delete;

    // Opens `path`, closing whatever was open. On failure the reader is closed and the status says
    // which file and why: kNotFound / kIo from the system, kNotACache for a file of another kind,
    // kCorrupt for a cache that contradicts itself (with the loader's own words for what it
    // refuses, e.g. "number of samples is wrong").
    ZelStatus open(const std::string& path);
    void close();
    bool isOpen() const;
    const std::string& path() const;

    // ---- The file ----
    int64 version() const;
    std::string_view application() const;
    std::string_view sourceFile() const;
    int64 dateStamp() const;  // seconds since 1970, 0 when not stamped
    bool worldSpace() const;

    // ---- Samples and times (the read-write cache's rules, in single precision) ----
    int sampleCount() const;
    float firstTime() const;
    float lastTime() const;
    float rate() const;  // samples per frame; 0 when each sample has its own time
    // The time of `sample`, NaN outside 0 .. sampleCount() - 1 (and, uniformly sampled, when float
    // rounding puts it outside the first and last time).
    float sampleTime(int sample) const;
    // Every sample's time, in order.
    std::vector<float> times() const;
    // The sample lying exactly at `time`, or -1.
    int sampleAt(float time) const;
    // The sample a time query starts from: uniformly sampled, the last one not after `time`;
    // non-uniformly, the first one not before it. `time` is clamped to the last time; -1 before
    // the first.
    int sampleAtOrBefore(float time) const;
    // The first sample not before `time` (clamped to the first time), or -1 after the last.
    int sampleAtOrAfter(float time) const;

    // ---- Objects ----
    int objectCount() const;
    // The name of object `object` (0 .. objectCount() - 1).
    std::string_view objectName(int object) const;
    // What the object is, decided as the helper object factory decides it.
    ZelObjectKind objectKind(int object) const;
    // The object with exactly this name; failing that, the first whose name or "|"-separated last
    // component matches the last component of `name` (the read-write cache's rule). -1 if none.
    int findObject(std::string_view name) const;

    // ---- Attributes ----
    int attributeCount(int object) const;
    // Attribute `attr` of `object`; an empty info for an index out of range.
    ZelAttrInfo attribute(int object, int attr) const;
    // The index of the attribute named exactly `name` (animated ones first), or -1.
    int findAttribute(int object, std::string_view name) const;
    // The values of attribute `attr`: its static value, or its value in `sample` when animated.
    ZelStatus attributeView(int object, int attr, int sample, ZelDataView& view) const;

    // ---- Stored data, no copy ----
    // The chunk tagged `tag` (four characters, e.g. "POSI", "PIDS", "MTRX") of `object` as the
    // helper objects find it: in the object's definition first, else in `sample` (searching
    // nested groups depth first). kNotFound when neither holds it.
    ZelStatus view(int object, int sample, std::string_view tag, ZelDataView& view) const;
    // The number of points the object stores in `sample` ("POSI" values / components), 0 without.
    int64 pointCount(int object, int sample) const;

    // ---- Values at any time, interpolated ----
    // Points ("POSI") of a mesh or any object with points, `info.dimension` (3 or 4) per point.
    // Positions stored as doubles are answered only at a sample's time, as the helpers do.
    ZelStatus positionsAt(int object, float time, int order, std::vector<float>& out,
                          ZelValuesInfo* info = nullptr) const;
    ZelStatus positionsAt(int object, float time, int order, std::vector<double>& out,
                          ZelValuesInfo* info = nullptr) const;
    // Per-point normals ("VPNO") of a mesh, blended as positions are.
    ZelStatus normalsAt(int object, float time, int order, std::vector<float>& out,
                        ZelValuesInfo* info = nullptr) const;
    // The control points of a NURBS curve or surface, 4 values (x, y, z, 1) each, periodic points
    // repeated; a surface's in u-major order, or u varying fastest with `uFastest`.
    ZelStatus controlPointsAt(int object, float time, int order, std::vector<float>& out,
                              bool uFastest = false) const;
    ZelStatus controlPointsAt(int object, float time, int order, std::vector<double>& out,
                              bool uFastest = false) const;
    // A transform's 4 x 4 matrix, row-major, row vectors (translation in the last row).
    ZelStatus matrixAt(int object, float time, int order, std::array<float, 16>& out) const;
    ZelStatus matrixAt(int object, float time, int order, std::array<double, 16>& out) const;
    // Attribute `attr`'s values; as with the helpers, only attributes stored as doubles answer.
    ZelStatus attributeAt(int object, int attr, float time, int order, std::vector<double>& out,
                          ZelValuesInfo* info = nullptr) const;

    struct Impl;

  private:
    std::unique_ptr<Impl> impl_;
};

// Whether `path` can be opened and begins as a cache does, without reading further: kNotFound or
// kIo ("cannot open 'x.zel': No such file or directory"), kNotACache ("'x.txt' is not a cache file
// (it starts with "hell")"), else ok. Tools call it to explain a refusal before handing the file
// to code that only says that it failed.
ZEL_API ZelStatus probeCacheFile(const std::string& path);

}  // namespace Zel

#endif

// ZelWriter: writes a cache frame after frame, in the terms of the scene, straight to disk.
#ifndef ZEL_WRITER_H
#define ZEL_WRITER_H

#include <memory>
#include <string>
#include <vector>

#include "ZelKinds.h"
#include "ZelStatus.h"
#include "ZelTypes.h"
#include "ZelView.h"

namespace Zel {

// How a new cache is labelled and sampled.
struct ZelWriterOptions {
    std::string application;  // the application writing the cache
    std::string sourceFile;   // the scene or source the data comes from
    bool worldSpace = false;  // positions and matrices in world space rather than object space
    // Uniform sampling: frame i lies at time firstTime + i / rate, in frames (rate = samples per
    // frame). A rate of 0 samples non-uniformly: every frame brings its own, increasing time.
    float firstTime = 1.0f;
    float rate = 1.0f;
    // Explicit, increasing times instead; they also declare the frame count. Evenly spaced times
    // are stored as a rate, as the read-write cache stores them.
    std::vector<float> times;
    // Frames expected (0: unknown). Exactly this many frames give the layout that
    // ZelRwMemCache::saveAs writes; fewer or more are fine, more continue in further sections.
    int64 frameCount = 0;
    // Table room kept in each samples section for later frames (0: twice the frames, at least 100).
    int reservedSamples = 0;
    // Seconds since 1970 stamped in the file; -1 stamps the time of writing.
    int64 dateStamp = -1;
};

// A polygon or subdivision mesh: fixed topology, points every frame.
struct ZelMeshDesc {
    ZelView<int> faceCounts;   // vertices per face
    ZelView<int> faceIndices;  // point indices, face after face
    int pointCount = 0;        // points per frame; 0: one more than the largest index
    bool subdivision = false;  // a subdivision surface rather than polygons
    bool normals = false;      // every frame carries one normal per point
    bool velocities = false;   // every frame carries one velocity per point
};

// The form of a NURBS direction.
enum class ZelNurbsForm { kOpen, kClosed, kPeriodic };

// A NURBS curve: degree, form and knots fixed; the distinct control points every frame.
struct ZelCurveDesc {
    int degree = 3;
    ZelNurbsForm form = ZelNurbsForm::kOpen;
    ZelView<float> knots;
    int pointCount = 0;  // distinct control points per frame
};

// A NURBS surface: degrees, forms and knots in u and v fixed; control points every frame, u
// major (point (i, j) at i * pointCountV + j).
struct ZelSurfaceDesc {
    int degreeU = 3, degreeV = 3;
    ZelNurbsForm formU = ZelNurbsForm::kOpen, formV = ZelNurbsForm::kOpen;
    ZelView<float> knotsU, knotsV;
    int pointCountU = 0, pointCountV = 0;
};

// A transform: a 4 x 4 matrix every frame.
struct ZelTransformDesc {
    bool inheritsTransform = true;  // combined with the parent's transform
    bool doublePrecision = true;    // matrices stored as doubles (else floats)
};

// An attribute: its name, what its values are and the application's own word for its type.
struct ZelAttrDesc {
    std::string name;
    ZelElementType type = ZelElementType::kFloat;
    ZelDimension dimension = ZelDimension::kScalar;
    ZelCompound compound = ZelCompound::kNone;
    std::string typeName;  // free text for the application; empty: the element type's name
};

// Writes one cache, frame after frame. Declare the objects and their attributes first, then for
// each frame call beginFrame, set every object's animated values, and endFrame, which writes the
// frame to disk; close() writes the tables. Memory stays at one frame plus the tables.
//
// A new cache is written beside its target and renamed over it by close(): until then, and after
// any failure, the target is as it was. append() adds frames to an existing cache in place, and
// makes them visible only in close(), after they are on disk. A writer destroyed without close()
// leaves the target untouched and removes what it wrote. Every failure is a ZelStatus naming the
// file and the reason. A refused request (kInvalidArgument) changes nothing and the writer goes
// on; after a failure of the system (kIo) it refuses everything, and close() reports that failure
// and leaves the target as it was. One writer is used from one thread at a time.
class ZEL_API ZelWriter {
  public:
    ZelWriter();
    ~ZelWriter();
    ZelWriter(const ZelWriter&) = delete;
    ZelWriter& operator=(const ZelWriter&) = delete;

    // Starts a new cache that close() will put at `path`.
    ZelStatus create(const std::string& path, const ZelWriterOptions& options = {});
    // Reopens the cache at `path` to add frames after its last one, in place. Its objects, their
    // kinds and animated values are taken from the file; declarations are refused.
    ZelStatus append(const std::string& path, int64 dateStamp = -1);

    // Declare objects, before the first frame; `*index` receives the object's index.
    ZelStatus addMesh(const std::string& name, const ZelMeshDesc& mesh, int* index = nullptr);
    ZelStatus addNurbsCurve(const std::string& name, const ZelCurveDesc& curve,
                            int* index = nullptr);
    ZelStatus addNurbsSurface(const std::string& name, const ZelSurfaceDesc& surface,
                              int* index = nullptr);
    ZelStatus addTransform(const std::string& name, const ZelTransformDesc& transform = {},
                           int* index = nullptr);
    ZelStatus addLocator(const std::string& name, int* index = nullptr);
    ZelStatus addCoordSystem(const std::string& name, int* index = nullptr);

    // A box around the object for the whole cache, stored in its definition (a locator or a
    // coordinate system, say, has no points to bound): minimum x, y, z, then maximum x, y, z.
    ZelStatus setStaticBounds(int object, ZelView<double> minMax);

    // An attribute whose value is set every frame; `*attr` receives the index setAttribute takes.
    ZelStatus addAnimatedAttribute(int object, const ZelAttrDesc& desc, int* attr = nullptr);
    // An attribute with one value for the whole cache; `values` must match `desc.type`.
    ZelStatus addStaticAttribute(int object, const ZelAttrDesc& desc, ZelView<int> values);
    ZelStatus addStaticAttribute(int object, const ZelAttrDesc& desc, ZelView<float> values);
    ZelStatus addStaticAttribute(int object, const ZelAttrDesc& desc, ZelView<int64> values);
    ZelStatus addStaticAttribute(int object, const ZelAttrDesc& desc, ZelView<double> values);
    ZelStatus addStaticAttribute(int object, const ZelAttrDesc& desc,
                                 const std::vector<std::string>& values);

    // Opens the frame at `time`: on the uniform grid (the next grid time, see nextTime()), one of
    // the declared times, or for non-uniform sampling any time after the previous frame's.
    ZelStatus beginFrame(float time);
    // This frame's points of a mesh, curve or surface: x, y, z per point, the declared count.
    ZelStatus setPositions(int object, ZelView<float> xyz);
    // This frame's per-point normals or velocities of a mesh declared with them.
    ZelStatus setNormals(int object, ZelView<float> xyz);
    ZelStatus setVelocities(int object, ZelView<float> xyz);
    // This frame's matrix of a transform: 16 values, row after row, for row vectors (the
    // translation fills the last row).
    ZelStatus setMatrix(int object, ZelView<double> matrix);
    ZelStatus setMatrix(int object, ZelView<float> matrix);
    // This frame's value of animated attribute `attr`; numbers convert to the declared type.
    ZelStatus setAttribute(int object, int attr, ZelView<int> values);
    ZelStatus setAttribute(int object, int attr, ZelView<float> values);
    ZelStatus setAttribute(int object, int attr, ZelView<int64> values);
    ZelStatus setAttribute(int object, int attr, ZelView<double> values);
    ZelStatus setAttribute(int object, int attr, const std::vector<std::string>& values);
    // Writes the frame to disk; every object must have all its animated values.
    ZelStatus endFrame();

    // Writes the tables and the metadata and makes the cache visible at its path. A second call
    // does nothing. After a failure the target is as it was before create() or append().
    ZelStatus close();

    // The object count, an object's name and kind, and lookups by name (-1 when absent).
    int numObjects() const;
    const std::string& objectName(int object) const;
    ZelObjectKind objectKind(int object) const;
    int findObject(const std::string& name) const;
    int findAnimatedAttribute(int object, const std::string& name) const;
    // Frames in the cache so far (for an append, the file's own included).
    int64 frameCount() const;
    // The time the next frame must have under uniform sampling; NaN for non-uniform sampling.
    float nextTime() const;
    // The path close() writes.
    const std::string& path() const;

    // The writer's state, defined inside the library.
    struct Impl;

  private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace Zel

#endif

// The demo: the main job end to end. It writes frames 1-24 of a small animated scene with the
// streaming writer, reopens the file and appends frames 25-36 in place, reloads the file under a
// sample limit, builds helper objects with the factory and evaluates every object at fractional
// times with each interpolation order, and checks that the mapped reader answers exactly as the
// helper objects do. It exits 1 when anything read back disagrees with what was
// written, or when the append moved or changed the bytes of the earlier frames.
//
// The scene, one cycle every 24 frames:
//   0 |scene|ripple         a 64 x 64 grid mesh with a travelling ripple: topology and rest pose
//                           once, positions and normals every frame
//   1 |scene|pivot          a transform made of channels: translateX (static), translateY and
//                           rotateZ (animated, in degrees), with its matrix kept every frame
//   2 |scene|pivot|hoop     a periodic cubic NURBS curve of 8 distinct points, pulsing
//   3 |scene|flag           a 5 x 6 open bicubic NURBS surface, waving
//   4 |scene|pivot|target   a locator with an animated "weight" attribute
//   5 |scene|ground         a coordinate system with display settings
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "Zel.h"
#include "ZelWriter.h"

using namespace Zel;

namespace {

using Values = std::vector<double>;
using State = ZelHelperObj::AnimationState;

const char* const kPath = "demo.zel";
enum { kRipple, kPivot, kHoop, kFlag, kTarget, kGround, kNumObjects };
const char* const kNames[kNumObjects] = {"|scene|ripple",       "|scene|pivot",
                                         "|scene|pivot|hoop",   "|scene|flag",
                                         "|scene|pivot|target", "|scene|ground"};
const int kFirstFrames = 24, kLastFrame = 36;
const int kGrid = 64, kHoopPoints = 8, kFlagU = 5, kFlagV = 6;
const float kPivotX = 2.0f;
const float kStep = 6.28318531f / 24;  // radians per frame
// Samples held in memory at once: enough for a cubic blend's four samples without copying them.
const int kSampleLimit = 4;

// ---- The scene as functions of time: recorded at whole frames, and the truth in between ----

// Grid coordinate of row or column i, from -2 to 2.
float gridCoord(int i) {
    return -2.0f + 4.0f * float(i) / float(kGrid - 1);
}

// What the ripple function gives: x, y, z per vertex, row by row.
enum RippleData { kRestPose, kPositions, kNormals };

// The ripple's flat rest pose, or its vertices or unit normals at time t.
std::vector<float> rippleAt(float t, RippleData what = kPositions) {
    std::vector<float> out;
    out.reserve(3 * kGrid * kGrid);
    for (int r = 0; r < kGrid; ++r) {
        for (int c = 0; c < kGrid; ++c) {
            const float x = gridCoord(c), z = gridCoord(r), d = std::sqrt(x * x + z * z);
            const float phase = 3 * d - kStep * t, slope = 0.9f * std::cos(phase) / d;
            const float len = std::sqrt(slope * slope * d * d + 1);
            if (what == kNormals) {
                out.insert(out.end(), {-slope * x / len, 1 / len, -slope * z / len});
            } else {
                out.insert(out.end(), {x, what == kRestPose ? 0 : 0.3f * std::sin(phase), z});
            }
        }
    }
    return out;
}

// The grid's quads: four vertex indices per face, counter-clockwise seen from above.
std::vector<int> rippleFaces() {
    std::vector<int> ids;
    for (int r = 0; r + 1 < kGrid; ++r) {
        for (int c = 0; c + 1 < kGrid; ++c) {
            const int v = r * kGrid + c;
            ids.insert(ids.end(), {v, v + kGrid, v + kGrid + 1, v + 1});
        }
    }
    return ids;
}

// The pivot's animated channels at time t: a slow bob and a steady spin in degrees.
float pivotY(float t) {
    return 1.5f * std::sin(kStep * t / 2);
}
float pivotRotateZ(float t) {
    return 7.5f * t;
}

// The pivot's matrix composed from its channels: rotation about Z, then translation (row major,
// used with row vectors, so translation fills the last row).
std::vector<double> pivotMatrix(double ty, double degrees) {
    const double a = degrees * 3.14159265358979323846 / 180, c = std::cos(a), s = std::sin(a);
    return {c, s, 0, 0, -s, c, 0, 0, 0, 0, 1, 0, kPivotX, ty, 0, 1};
}

// The hoop's distinct control points at time t: a circle of pulsing radius.
std::vector<float> hoopPoints(float t) {
    std::vector<float> p;
    const float radius = 1 + 0.25f * std::sin(kStep * t);
    for (int k = 0; k < kHoopPoints; ++k) {
        const float a = 6.28318531f * float(k) / kHoopPoints;
        p.insert(p.end(), {radius * std::cos(a), radius * std::sin(a), 0});
    }
    return p;
}

// The flag's control points at time t, u major (point (i, j) at i * kFlagV + j).
std::vector<float> flagPoints(float t) {
    std::vector<float> p;
    for (int i = 0; i < kFlagU; ++i) {
        for (int j = 0; j < kFlagV; ++j) {
            p.insert(p.end(), {float(i), 0.5f * float(j), 0.2f * i * std::sin(kStep * t - i)});
        }
    }
    return p;
}

// The locator's "weight" at time t.
double targetWeight(float t) {
    return 0.5 + 0.5 * std::sin(double(kStep) * t);
}

// ---- Checking ----

int checks = 0, mismatches = 0;

// Counts a comparison; a failed one is reported.
void check(bool ok, const std::string& what) {
    ++checks;
    if (!ok) {
        ++mismatches;
        std::printf("MISMATCH: %s\n", what.c_str());
    }
}

// ---- Writing ----

// Keeps the first failure of a run of writer calls: the one that names the cause, as the calls
// after it may fail only because of it.
class FirstFailure {
  public:
    void operator()(const ZelStatus& status) {
        if (first_.ok() && !status.ok()) {
            first_ = status;
        }
    }
    const ZelStatus& status() const { return first_; }

  private:
    ZelStatus first_;
};

// An attribute of one value per element: `dimension` x `type`, with the application's type name.
ZelAttrDesc attr(const char* name, ZelElementType type, const char* typeName,
                 ZelDimension dimension = ZelDimension::kScalar) {
    ZelAttrDesc desc;
    desc.name = name;
    desc.type = type;
    desc.dimension = dimension;
    desc.typeName = typeName;
    return desc;
}

// Declares the scene's objects in the order of kNames, with everything that does not change
// over time; their animated values come frame by frame.
void declareScene(ZelWriter& writer, FirstFailure& keep) {
    const std::vector<int> counts((kGrid - 1) * (kGrid - 1), 4), faces = rippleFaces();
    ZelMeshDesc mesh;
    mesh.faceCounts = counts;
    mesh.faceIndices = faces;
    mesh.pointCount = kGrid * kGrid;
    mesh.normals = true;
    keep(writer.addMesh(kNames[kRipple], mesh));
    keep(writer.addStaticAttribute(
        kRipple, attr("rmanP__Pref", ZelElementType::kFloat, "point", ZelDimension::k3d),
        rippleAt(0, kRestPose)));

    // The pivot keeps its matrix every frame, and its channels beside it: at a stored frame, and
    // for order 0, the transform answers with the matrix; between frames it blends the channels.
    keep(writer.addTransform(kNames[kPivot]));
    keep(writer.addAnimatedAttribute(kPivot, attr("translateY", ZelElementType::kFloat, "float")));
    keep(writer.addAnimatedAttribute(kPivot, attr("rotateZ", ZelElementType::kFloat, "float")));
    keep(writer.addStaticAttribute(kPivot, attr("translateX", ZelElementType::kFloat, "float"),
                                   std::vector<float>{kPivotX}));

    // Periodic cubic: 8 distinct points, 11 control points, 13 knots.
    const std::vector<float> hoopKnots{-2, -1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    ZelCurveDesc hoop;
    hoop.form = ZelNurbsForm::kPeriodic;
    hoop.knots = hoopKnots;
    hoop.pointCount = kHoopPoints;
    keep(writer.addNurbsCurve(kNames[kHoop], hoop));
    const std::vector<float> knotsU{0, 0, 0, 1, 2, 2, 2}, knotsV{0, 0, 0, 1, 2, 3, 3, 3};
    ZelSurfaceDesc flag;
    flag.knotsU = knotsU;
    flag.knotsV = knotsV;
    flag.pointCountU = kFlagU;
    flag.pointCountV = kFlagV;
    keep(writer.addNurbsSurface(kNames[kFlag], flag));

    // Boxes for what has no points to bound: the minimum point, then the maximum point.
    keep(writer.addLocator(kNames[kTarget]));
    keep(writer.setStaticBounds(kTarget, std::vector<double>{-.1, -.2, -.1, .1, .2, .1}));
    keep(writer.addAnimatedAttribute(kTarget, attr("weight", ZelElementType::kDouble, "double")));
    keep(writer.addCoordSystem(kNames[kGround]));
    keep(writer.setStaticBounds(kGround, std::vector<double>{-5, 0, -5, 5, 0, 5}));
    keep(writer.addStaticAttribute(kGround, attr("scoped", ZelElementType::kInt32, "bool"),
                                   std::vector<int>{0}));
    keep(writer.addStaticAttribute(kGround, attr("displayShape", ZelElementType::kInt32, "int"),
                                   std::vector<int>{3}));
    keep(writer.addStaticAttribute(kGround, attr("parentRig", ZelElementType::kString, "string"),
                                   std::vector<std::string>{"|scene|pivot"}));
}

// Whether the writer's objects are the scene's, in the order of kNames: a cache reopened for
// appending brings its own.
bool isScene(const ZelWriter& writer) {
    const ZelObjectKind kinds[kNumObjects] = {
        ZelObjectKind::kMesh,         ZelObjectKind::kTransform, ZelObjectKind::kNurbsCurve,
        ZelObjectKind::kNurbsSurface, ZelObjectKind::kLocator,   ZelObjectKind::kCoordSystem};
    bool same = writer.numObjects() == kNumObjects;
    for (int o = 0; same && o < kNumObjects; ++o) {
        same = writer.findObject(kNames[o]) == o && writer.objectKind(o) == kinds[o];
    }
    return same;
}

// Writes every animated value of the scene at `frame` as one frame.
void recordFrame(ZelWriter& writer, FirstFailure& keep, int frame) {
    const float t = float(frame);
    keep(writer.beginFrame(t));
    keep(writer.setPositions(kRipple, rippleAt(t)));
    keep(writer.setNormals(kRipple, rippleAt(t, kNormals)));
    keep(writer.setAttribute(kPivot, writer.findAnimatedAttribute(kPivot, "translateY"),
                             std::vector<float>{pivotY(t)}));
    keep(writer.setAttribute(kPivot, writer.findAnimatedAttribute(kPivot, "rotateZ"),
                             std::vector<float>{pivotRotateZ(t)}));
    keep(writer.setMatrix(kPivot, pivotMatrix(pivotY(t), pivotRotateZ(t))));
    keep(writer.setPositions(kHoop, hoopPoints(t)));
    keep(writer.setPositions(kFlag, flagPoints(t)));
    keep(writer.setAttribute(kTarget, writer.findAnimatedAttribute(kTarget, "weight"),
                             std::vector<double>{targetWeight(t)}));
    keep(writer.endFrame());
}

// The bytes of the file at `path`; empty when it cannot be read.
std::vector<char> fileBytes(const char* path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Where each sample of a cache file starts: the jump table that a cache keeps for the classes
// derived from it.
class SampleOffsets : public ZelCache {
  public:
    explicit SampleOffsets(const char* path) : ZelCache(path, false) {}
    const std::vector<int64>& offsets() const { return jumpTable_; }
};

// Writes frames 1-24 of the scene to a new cache.
bool writeFirstFrames() {
    ZelWriterOptions options;
    options.application = "zeldemo";
    options.sourceFile = "ripple_and_hoop.scene";
    options.worldSpace = true;
    options.firstTime = 1;
    options.frameCount = kFirstFrames;
    ZelWriter writer;
    FirstFailure keep;
    keep(writer.create(kPath, options));
    declareScene(writer, keep);
    for (int frame = 1; frame <= kFirstFrames; ++frame) {
        recordFrame(writer, keep, frame);
    }
    keep(writer.close());
    if (!keep.status().ok()) {
        std::fprintf(stderr, "zeldemo: %s\n", keep.status().message().c_str());
        return false;
    }
    std::printf("wrote frames 1-%d with ZelWriter: %s, %ju bytes\n", kFirstFrames, kPath,
                uintmax_t(std::filesystem::file_size(kPath)));
    return true;
}

// Reopens the cache and appends the later frames in place, then checks that the bytes of the
// earlier frames are where they were and unchanged.
bool appendLaterFrames() {
    const std::vector<char> before = fileBytes(kPath);
    const std::vector<int64> offsets = SampleOffsets(kPath).offsets();
    ZelWriter writer;
    FirstFailure keep;
    keep(writer.append(kPath));
    const int64 earlier = writer.frameCount();
    if (keep.status().ok() && !isScene(writer)) {
        keep(ZelStatus(ZelStatusCode::kInvalidArgument, std::string(kPath) + ": not the scene"));
    }
    for (int frame = kFirstFrames + 1; keep.status().ok() && frame <= kLastFrame; ++frame) {
        recordFrame(writer, keep, frame);
    }
    const int64 added = writer.frameCount() - earlier;
    keep(writer.close());
    if (!keep.status().ok()) {
        std::fprintf(stderr, "zeldemo: %s\n", keep.status().message().c_str());
        return false;
    }
    const std::vector<char> after = fileBytes(kPath);
    const std::vector<int64> later = SampleOffsets(kPath).offsets();
    // From the first sample on, the old file held nothing but the earlier frames.
    const size_t first = offsets.empty() ? before.size() : size_t(offsets[0]);
    size_t rewritten = 0;
    for (size_t i = first; i < before.size(); ++i) {
        rewritten += i >= after.size() || after[i] != before[i];
    }
    check(earlier == kFirstFrames && added == kLastFrame - kFirstFrames &&
              offsets.size() == size_t(earlier) && later.size() == size_t(kLastFrame) &&
              std::equal(offsets.begin(), offsets.end(), later.begin()) && rewritten == 0,
          "frames 1-24 kept in place by the append");
    std::printf(
        "appending frames %d-%d in place: %jd frames, %zu earlier bytes rewritten, "
        "%zu -> %zu bytes\n",
        kFirstFrames + 1, kLastFrame, intmax_t(added), rewritten, before.size(), after.size());
    return true;
}

// ---- Reading back ----

// The largest difference between two value lists; infinite when their sizes differ.
double maxDiff(const Values& a, const Values& b) {
    double d = a.size() == b.size() ? 0 : INFINITY;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
        d = std::max(d, std::fabs(a[i] - b[i]));
    }
    return d;
}

// Float values widened to double.
Values widen(const std::vector<float>& v) {
    return Values(v.begin(), v.end());
}

// `count` homogeneous control points (x, y, z, 1) from stored ones; point i repeats stored point
// i mod (stored count), as a periodic curve does.
Values homogeneous(const Values& stored, int count) {
    const int distinct = int(stored.size() / 3);
    Values out;
    for (int i = 0; i < count; ++i) {
        const double* p = &stored[3 * (i % distinct)];
        out.insert(out.end(), {p[0], p[1], p[2], 1});
    }
    return out;
}

// Float values halfway between those of `frame` and the next, as linear blending makes them:
// summed in float for positions, in double for control points.
Values halfway(const std::function<std::vector<float>(float)>& values, int frame,
               bool sumInDouble = false) {
    const std::vector<float> a = values(float(frame)), b = values(float(frame + 1));
    Values mid(a.size());
    for (size_t i = 0; i < a.size(); ++i) {
        mid[i] = sumInDouble ? 0.5 * double(a[i]) + 0.5 * double(b[i]) : 0.5f * a[i] + 0.5f * b[i];
    }
    return mid;
}

// One animated quantity: how its helper object answers at a time, and the scene's truth.
struct Track {
    const char* name;
    const char* shownName;  // the value the table shows, at position `shown` of the answer
    size_t shown;
    double exact;   // allowed difference from recorded values and their linear blends
    double smooth;  // allowed difference of orders 2 and 3 from the motion between frames
    std::function<bool(float time, ZelInterpolationHints&, Values&, State&)> answer;
    std::function<Values(float time)> scene;         // as recorded at whole frames
    std::function<Values(int frame)> linearHalfway;  // what order 1 gives at frame + 0.5
    // How the mapped reader answers at `time` with `order`; false when it refuses.
    std::function<bool(const ZelReader& reader, float time, int order, Values&)> read;
    double worst[4] = {0, 0, 0, 0};  // largest difference seen, by order
};

// The track's answer at `time` with interpolation `order`; empty when the library refuses.
Values evaluate(const Track& track, float time, int order) {
    ZelInterpolationHints hints;
    hints.order = order;
    Values values;
    State state;
    return track.answer(time, hints, values, state) ? values : Values();
}

// Compares a track at every frame and half frame, with orders 0-3, with the scene.
void verify(Track& track) {
    auto compare = [&track](float time, int order, const Values& want, double tolerance) {
        const double d = maxDiff(evaluate(track, time, order), want);
        track.worst[order] = std::max(track.worst[order], d);
        check(d <= tolerance, std::string(track.name) + " at " + std::to_string(time) + ", order " +
                                  std::to_string(order) + ": off by " + std::to_string(d));
    };
    for (int frame = 1; frame <= kLastFrame; ++frame) {
        for (int order = 0; order <= 3; ++order) {
            compare(float(frame), order, track.scene(float(frame)), track.exact);
        }
        if (frame < kLastFrame) {
            const float half = float(frame) + 0.5f;
            compare(half, 0, track.scene(float(frame)), track.exact);
            compare(half, 1, track.linearHalfway(frame), track.exact);
            compare(half, 2, track.scene(half), track.smooth);
            compare(half, 3, track.scene(half), track.smooth);
        }
    }
}

// The scene's five animated quantities and how their helper objects answer for them. Orders 2
// and 3 may differ from the smooth motion by 3% of its amplitude; a sample off by one frame
// would put them about 25% off.
std::vector<Track> makeTracks(const MeshZelObj& ripple, const TransformZelObj& pivot,
                              const NurbsCurveZelObj& hoop, const NurbsSurfaceZelObj& flag,
                              const LocatorZelObj& target) {
    const int weight = target.findAttr("weight");
    const int hoopCount = kHoopPoints + 3, flagCount = kFlagU * kFlagV;
    return {
        {"ripple positions", "vertex 2080 y", 3 * 2080 + 1, 0, 0.01,
         [&ripple](float time, ZelInterpolationHints& hints, Values& out, State& state) {
             int dimension;
             return ripple.getPositionAtTime(time, hints, out, state, dimension);
         },
         [](float t) { return widen(rippleAt(t)); },
         [](int f) { return halfway([](float t) { return rippleAt(t); }, f); },
         [](const ZelReader& r, float time, int order, Values& out) {
             return r.positionsAt(kRipple, time, order, out).ok();
         }},
        {"pivot matrix", "row 3 col 1 (ty)", 13, 1e-5, 0.045,
         [&pivot](float time, ZelInterpolationHints& hints, Values& out, State& state) {
             return pivot.getTransformAtTime(time, hints, out, state);
         },
         [](float t) { return pivotMatrix(pivotY(t), pivotRotateZ(t)); },
         [](int f) {
             return pivotMatrix(0.5 * pivotY(f) + 0.5 * pivotY(f + 1),
                                0.5 * pivotRotateZ(f) + 0.5 * pivotRotateZ(f + 1));
         },
         [](const ZelReader& r, float time, int order, Values& out) {
             std::array<double, 16> m;
             const bool ok = r.matrixAt(kPivot, time, order, m).ok();
             out.assign(m.begin(), m.end());
             return ok;
         }},
        {"hoop control points", "point 0 x", 0, 0, 0.0075,
         [&hoop](float time, ZelInterpolationHints& hints, Values& out, State& state) {
             return hoop.getControlPointsAtTime(time, hints, out, state);
         },
         [hoopCount](float t) { return homogeneous(widen(hoopPoints(t)), hoopCount); },
         [hoopCount](int f) { return homogeneous(halfway(hoopPoints, f, true), hoopCount); },
         [](const ZelReader& r, float time, int order, Values& out) {
             return r.controlPointsAt(kHoop, time, order, out).ok();
         }},
        {"flag control points", "point (4,0) z", 4 * 4 * kFlagV + 2, 0, 0.024,
         [&flag](float time, ZelInterpolationHints& hints, Values& out, State& state) {
             return flag.getControlPointsAtTime(time, hints, out, state);
         },
         [flagCount](float t) { return homogeneous(widen(flagPoints(t)), flagCount); },
         [flagCount](int f) { return homogeneous(halfway(flagPoints, f, true), flagCount); },
         [](const ZelReader& r, float time, int order, Values& out) {
             return r.controlPointsAt(kFlag, time, order, out).ok();
         }},
        {"target weight", "weight", 0, 1e-12, 0.015,
         [&target, weight](float time, ZelInterpolationHints& hints, Values& out, State&) {
             int dimension;
             return target.getAttrAtTime(time, weight, hints, out, dimension);
         },
         [](float t) { return Values{targetWeight(t)}; },
         [](int f) { return Values{0.5 * targetWeight(f) + 0.5 * targetWeight(f + 1)}; },
         [weight](const ZelReader& r, float time, int order, Values& out) {
             return r.attributeAt(kTarget, weight, time, order, out).ok();
         }},
    };
}

// Opens the file with the mapped reader and checks that it answers every track exactly as the
// helper objects do, at every quarter frame from the first to after the last, orders 0-3.
void compareWithReader(const std::vector<Track>& tracks) {
    ZelReader reader;
    const ZelStatus status = reader.open(kPath);
    check(status.ok(), "ZelReader opens " + status.message());
    int answers = 0;
    for (const Track& track : tracks) {
        for (float time = 1.0f; time <= kLastFrame + 1.0f; time += 0.25f) {
            for (int order = 0; order <= 3; ++order) {
                Values fromReader;
                const bool read = track.read(reader, time, order, fromReader);
                const Values fromHelper = evaluate(track, time, order);
                check(read == !fromHelper.empty() && (!read || fromReader == fromHelper),
                      std::string(track.name) + " through ZelReader at " + std::to_string(time) +
                          ", order " + std::to_string(order));
                ++answers;
            }
        }
    }
    std::printf(
        "\nthe mapped reader (ZelReader) gave the helper objects' answers, bit for bit, %d times\n"
        "(every quarter frame from 1 to %d, orders 0-3, every animated value)\n",
        answers, kLastFrame + 1);
}

// One row per track and time: the shown value for each order, then the scene's.
void printTable(const std::vector<Track>& tracks, const std::vector<float>& times) {
    std::printf("\n%-38s %6s %10s %10s %10s %10s %10s\n", "value", "time", "order 0", "order 1",
                "order 2", "order 3", "scene");
    for (const Track& track : tracks) {
        for (float time : times) {
            const std::string label = std::string(track.name) + ", " + track.shownName;
            std::printf("%-38s %6.2f", label.c_str(), time);
            for (int order = 0; order <= 3; ++order) {
                const Values v = evaluate(track, time, order);
                std::printf(" %10.5f", track.shown < v.size() ? v[track.shown] : NAN);
            }
            std::printf(" %10.5f\n", track.scene(time)[track.shown]);
        }
    }
}

// Checks an object's box at a sample, in either layout, against `want` and prints it.
void checkBounds(const ZelHelperObj& obj, int sample, bool pointOrder, const float (&want)[6]) {
    float box[6];
    State state;
    check(obj.getBounds(sample, box, state, pointOrder) && std::equal(box, box + 6, want),
          obj.getName() + " bounds");
    std::printf("  %-20s %s %g %g %g %g %g %g\n", obj.getName().c_str(),
                pointOrder ? "min point, max point:" : "x, y, z ranges:     ", box[0], box[1],
                box[2], box[3], box[4], box[5]);
}

// Checks and prints the bounds: the ripple's at frame 12 in both layouts, computed from its
// positions, and the stored boxes of the locator and the coordinate system.
void checkAllBounds(int frame12, const MeshZelObj& mesh, const LocatorZelObj& target,
                    const LxCoordSystemZelObj& ground) {
    std::printf("bounds (the ripple's from its positions at frame 12, the others stored):\n");
    const std::vector<float> p = rippleAt(12);
    float want[6] = {p[0], p[0], p[1], p[1], p[2], p[2]};
    for (size_t i = 0; i < p.size(); ++i) {
        want[2 * (i % 3)] = std::min(want[2 * (i % 3)], p[i]);
        want[2 * (i % 3) + 1] = std::max(want[2 * (i % 3) + 1], p[i]);
    }
    checkBounds(mesh, frame12, false, want);
    checkBounds(mesh, frame12, true, {want[0], want[2], want[4], want[1], want[3], want[5]});
    checkBounds(target, 0, false, {-.1f, .1f, -.2f, .2f, -.1f, .1f});
    checkBounds(target, 0, true, {-.1f, -.2f, -.1f, .1f, .2f, .1f});
    checkBounds(ground, 0, false, {-5, 5, 0, 0, -5, 5});
}

// Checks and prints what does not change over time: topology, rest pose, knots, settings and
// bounds.
void checkStatic(ZelRoMemCache& cache, const MeshZelObj& mesh, const NurbsCurveZelObj& hoop,
                 const LocatorZelObj& target, const LxCoordSystemZelObj& ground) {
    State state;
    const int frame12 = cache.getSampleIndex(12);
    const std::vector<int>* counts = nullptr;
    std::vector<int> ids;
    check(mesh.getPcnts(frame12, counts, state) && counts->size() == (kGrid - 1) * (kGrid - 1) &&
              mesh.getFaceVertexIds(frame12, ids, state) && ids == rippleFaces() && !mesh.isSubd(),
          "ripple topology");
    std::vector<float> values;
    check(mesh.getPref(values) && values == rippleAt(0, kRestPose), "ripple rest pose");
    check(mesh.getNormals(frame12, values, state) && values == rippleAt(12, kNormals) &&
              state == ZelHelperObj::kAnimated,
          "ripple normals at frame 12");
    int degree = 0;
    std::string form;
    check(hoop.getDegree(0, degree, state) && degree == 3 && hoop.getForm(0, form, state) &&
              form == "kPeriodic" && hoop.getKnots(0, values, state) && values.size() == 13,
          "hoop degree, form and knots");
    check(!ground.scoped() && ground.useAsClippingPlane() && ground.displayShape() == 3 &&
              ground.parentRig() == "|scene|pivot",
          "ground settings");
    std::printf(
        "\nground settings: scoped %d, useAsClippingPlane %d, displayShape %d, parentRig '%s'\n",
        ground.scoped(), ground.useAsClippingPlane(), ground.displayShape(),
        ground.parentRig().c_str());
    checkAllBounds(frame12, mesh, target, ground);
}

// Frees helper objects the way callers are told to.
struct Destroy {
    void operator()(ZelHelperObj* obj) const { obj->destroy(); }
};
using HelperPtr = std::unique_ptr<ZelHelperObj, Destroy>;

// Reloads the file under a sample limit, builds the helper objects, then checks and tabulates
// every object. False when an object is not of the expected class.
bool readScene() {
    ZelRoMemCache cache;
    if (!cache.load(kPath, true, kSampleLimit)) {
        return false;
    }
    std::printf("\nreloaded with a limit of %d samples in memory; the factory built:\n",
                cache.getMaxSamples());
    ZelHelperObjFactory factory(&cache);
    std::vector<HelperPtr> objects;
    for (int o = 0; o < cache.getNumObjects(); ++o) {
        objects.emplace_back(factory.zelObjBuilder(o));
        std::string categories;
        for (const std::string& c : objects.back()->categories()) {
            categories += " " + c;
        }
        std::printf("  %-20s%s\n", objects.back()->getName().c_str(), categories.c_str());
    }
    auto* ripple = dynamic_cast<const MeshZelObj*>(objects.at(kRipple).get());
    auto* pivot = dynamic_cast<const TransformZelObj*>(objects.at(kPivot).get());
    auto* hoop = dynamic_cast<const NurbsCurveZelObj*>(objects.at(kHoop).get());
    auto* flag = dynamic_cast<const NurbsSurfaceZelObj*>(objects.at(kFlag).get());
    auto* target = dynamic_cast<const LocatorZelObj*>(objects.at(kTarget).get());
    auto* ground = dynamic_cast<const LxCoordSystemZelObj*>(objects.at(kGround).get());
    if (!ripple || !pivot || !hoop || !flag || !target || !ground) {
        return false;
    }

    std::vector<Track> tracks = makeTracks(*ripple, *pivot, *hoop, *flag, *target);
    printTable(tracks, {12.0f, 12.25f, 35.5f});
    checkStatic(cache, *ripple, *hoop, *target, *ground);
    std::printf(
        "\nlargest difference over frames 1-%d and the half frames between them\n"
        "(orders 0 and 1 from the recorded values, 2 and 3 from the scene's motion):\n",
        kLastFrame);
    for (Track& track : tracks) {
        verify(track);
        std::printf("  %-20s %10.2e %10.2e %10.2e %10.2e\n", track.name, track.worst[0],
                    track.worst[1], track.worst[2], track.worst[3]);
    }
    compareWithReader(tracks);
    return true;
}

}  // namespace

int main() {
    if (!writeFirstFrames() || !appendLaterFrames()) {
        std::fprintf(stderr, "zeldemo: could not write %s\n", kPath);
        return 1;
    }
    std::printf("\n");
    std::fflush(stdout);
    if (zelinfo(kPath) != 0 || !readScene()) {
        std::fprintf(stderr, "zeldemo: could not read %s back\n", kPath);
        return 1;
    }
    std::printf("\n%d checks, %d mismatches\n", checks, mismatches);
    return mismatches == 0 ? 0 : 1;
}

// ZelReader: bit-identical answers to the helper objects' for every kind of object, sampling and
// interpolation order; views and lookups; damaged files refused or answered without a crash; one
// reader queried from several threads at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <limits>
#include <map>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "MeshZelObj.h"
#include "NurbsZelObj.h"
#include "TransformZelObj.h"
#include "ZelFormat.h"
#include "ZelHelperObjFactory.h"
#include "ZelInterpolation.h"
#include "ZelReader.h"
#include "ZelRoMemCache.h"
#include "ZelSampleClock.h"
#include "ZelWriter.h"
#include "support/ChunkWalk.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::readFileBytes;
using ZelTest::TempDir;
using Bytes = std::vector<unsigned char>;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;
using Code = ZelStatusCode;

namespace {

// The scene: one object of every kind, and transforms of double and float matrices and channels.
enum { kMesh, kCurve, kSurface, kMatrixD, kMatrixF, kChannels, kLocator, kCoords, kObjects };
const char* const kNames[kObjects] = {"|geo|mesh",   "|geo|curve",    "|geo|surface", "|rig|xformD",
                                      "|rig|xformF", "|rig|channels", "|loc",         "|coords"};
// Periodic of degree 3: 7 control points, 4 of them stored. Open of degree 1: 3 control points.
const Floats kKnots{0, 1, 2, 3, 4, 5, 6, 7, 8};
const Floats kKnotsV{0, 1, 2};

// Smooth values that no blend reproduces exactly; `salt` tells the arrays apart.
Floats points(int count, float t, float salt) {
    Floats p;
    for (int i = 0; i < 3 * count; ++i) {
        p.push_back(std::sin(0.7f * t + salt + float(i)) * (1.0f + 0.1f * t * t));
    }
    return p;
}

Doubles offset(float t) {
    return {double(t), std::cos(double(t)), -double(t)};
}

// A rotation about z, a uniform scale and a translation, all changing with t (row vectors).
template <class T>
std::vector<T> matrix(float t) {
    const double a = 0.4 * t, s = 1.0 + 0.1 * t, c = std::cos(a) * s, n = std::sin(a) * s;
    return {T(c), T(n), 0, 0, T(-n), T(c), 0, 0, 0, 0, T(s), 0, T(t), T(t * t / 4), T(-t), 1};
}

ZelAttrDesc attr(const char* name, ZelElementType type, const char* typeName,
                 ZelDimension dimension = ZelDimension::kScalar) {
    return {name, type, dimension, ZelCompound::kNone, typeName};
}

bool allOk(std::initializer_list<ZelStatus> steps) {
    return std::all_of(steps.begin(), steps.end(), [](const ZelStatus& s) { return s.ok(); });
}

bool declare(ZelWriter& w) {
    using T = ZelElementType;
    const std::vector<int> counts{4, 4}, indices{0, 1, 4, 3, 1, 2, 5, 4};
    const ZelSurfaceDesc surface{
        3, 1, ZelNurbsForm::kPeriodic, ZelNurbsForm::kOpen, kKnots, kKnotsV, 4, 3};
    return allOk({
        w.addMesh(kNames[kMesh], ZelMeshDesc{counts, indices, 0, false, /*normals=*/true}),
        w.addStaticAttribute(kMesh, attr("rmanP__Pref", T::kFloat, "point", ZelDimension::k3d),
                             points(6, 0, 9)),
        w.addNurbsCurve(kNames[kCurve], ZelCurveDesc{3, ZelNurbsForm::kPeriodic, kKnots, 4}),
        w.addNurbsSurface(kNames[kSurface], surface),
        w.addTransform(kNames[kMatrixD]),
        w.addTransform(kNames[kMatrixF], ZelTransformDesc{true, /*doublePrecision=*/false}),
        w.addTransform(kNames[kChannels]),
        w.addAnimatedAttribute(kChannels, attr("translateX", T::kDouble, "doubleLinear")),
        w.addAnimatedAttribute(kChannels, attr("rotateY", T::kFloat, "doubleAngle")),
        w.addStaticAttribute(kChannels, attr("scaleX", T::kDouble, "double"), Doubles{1.5}),
        w.addStaticAttribute(kChannels, attr("rotateOrder", T::kFloat, "enum"), Floats{2}),
        w.addLocator(kNames[kLocator]),
        w.addAnimatedAttribute(kLocator, attr("weight", T::kDouble, "double")),
        w.addAnimatedAttribute(kLocator, attr("offset", T::kDouble, "double3", ZelDimension::k3d)),
        w.addAnimatedAttribute(kLocator, attr("ty", T::kFloat, "float")),
        w.addStaticAttribute(kLocator, attr("mass", T::kDouble, "double"), Doubles{2.5, -1}),
        w.addCoordSystem(kNames[kCoords]),
        w.addStaticAttribute(kCoords, attr("displayShape", T::kInt32, "int"), std::vector<int>{3}),
    });
}

bool frame(ZelWriter& w, float t) {
    return allOk({w.beginFrame(t), w.setPositions(kMesh, points(6, t, 0)),
                  w.setNormals(kMesh, points(6, t, 1)), w.setPositions(kCurve, points(4, t, 2)),
                  w.setPositions(kSurface, points(12, t, 3)),
                  w.setMatrix(kMatrixD, matrix<double>(t)), w.setMatrix(kMatrixF, matrix<float>(t)),
                  w.setMatrix(kChannels, matrix<double>(t)),
                  w.setAttribute(kChannels, 0, Doubles{std::sin(double(t))}),
                  w.setAttribute(kChannels, 1, Floats{30 * t}),
                  w.setAttribute(kLocator, 0, Doubles{double(t) * t}),
                  w.setAttribute(kLocator, 1, offset(t)), w.setAttribute(kLocator, 2, Floats{t}),
                  w.endFrame()});
}

// How a scene is sampled: the writer's first time, rate and declared frame count, and the
// times of the frames written.
struct Sampling {
    const char* name;
    float firstTime, rate;
    int64 frameCount;
    Floats frames;
};

Floats grid(float first, float step, int count, float wobble = 0) {
    Floats t;
    for (int i = 0; i < count; ++i) {
        t.push_back(first + step * float(i) + wobble * float(i % 2));
    }
    return t;
}

// Uniform, at half frames, non-uniform, and past the first samples section's room (101 frames)
// without a declared frame count, uniform and not.
const std::vector<Sampling> kSamplings{{"uniform", 1, 1, 6, grid(1, 1, 6)},
                                       {"half frames", 0, 2, 6, grid(0, 0.5f, 6)},
                                       {"non-uniform", 1, 0, 6, {1, 1.25f, 2, 4, 4.5f, 7}},
                                       {"sections", 1, 1, 0, grid(1, 1, 103)},
                                       {"non-uniform sections", 0, 0, 0, grid(0, 1, 103, 0.3f)}};
const Sampling kSmall{"small", 1, 1, 3, grid(1, 1, 3)};

// Before the first sample, on and just after samples, between them and past the last; a long
// cache around its ends and its section boundary only.
Floats queryTimes(const Floats& frames) {
    const size_t n = frames.size();
    Floats times{frames[0] - 1, frames[0] - 0.0004f, frames[n - 1] + 0.6f};
    for (size_t i = 0; i < n; ++i) {
        if (n > 10 && i > 2 && i + 8 < n) {
            continue;
        }
        times.insert(times.end(), {frames[i], frames[i] + 0.0004f});
        for (float f : {0.25f, 0.5f, 0.9f}) {
            if (i + 1 < n) {
                times.push_back(frames[i] + f * (frames[i + 1] - frames[i]));
            }
        }
    }
    return times;
}

// A scene written with `sampling`, open in a reader and loaded into a memory cache.
struct Scene {
    TempDir dir;
    std::string path = dir.file("scene.zel");
    ZelReader reader;
    ZelRoMemCache cache;

    explicit Scene(const Sampling& s) {
        ZelWriterOptions o;
        o.application = "reader test";
        o.firstTime = s.firstTime;
        o.rate = s.rate;
        o.frameCount = s.frameCount;
        o.dateStamp = 1700000000;
        ZelWriter w;
        bool ok = w.create(path, o).ok() && declare(w);
        for (size_t i = 0; ok && i < s.frames.size(); ++i) {
            ok = frame(w, s.frames[i]);
        }
        if (!ok || !w.close().ok() || !reader.open(path).ok() || !cache.load(path.c_str())) {
            throw std::runtime_error(std::string("the scene was not written or read: ") + s.name);
        }
    }
};

// Sends what the caches print on standard output and error elsewhere while it lives.
struct Silenced {
    std::ostringstream sink;
    std::streambuf* out = std::cout.rdbuf(sink.rdbuf());
    std::streambuf* err = std::cerr.rdbuf(sink.rdbuf());
    ~Silenced() {
        std::cout.rdbuf(out);
        std::cerr.rdbuf(err);
    }
};

// One answer per query: "+", the query's name, "|" and the values' bytes; "-" and the name for
// none. Reader and helpers answer in this form, so that answers compare bit for bit with ==.
using Answers = std::vector<std::string>;

template <class V>
void record(Answers& out, const std::string& query, bool ok, const V& values) {
    out.push_back((ok ? "+" : "-") + query + "|");
    if (ok && !values.empty()) {
        out.back().append(reinterpret_cast<const char*>(values.data()),
                          values.size() * sizeof(values[0]));
    }
}

template <class V>
void record(Answers& out, const std::string& query, const ZelStatus& s, const V& values) {
    if (!s.ok() && s.message().empty()) {
        ADD_FAILURE() << query << " refused without saying why";
    }
    record(out, query, s.ok(), values);
}

// Adds the component count and origin a query reports to its answer, when it has one.
void addShape(Answers& out, int dimension, bool animated) {
    if (out.back()[0] == '+') {
        out.back() += "|" + std::to_string(dimension) + (animated ? " from a sample" : "");
    }
}

// Appends the reader's answers to every time query about `object` at `time`, orders 0 to 4.
void readerAnswers(const ZelReader& r, int object, float time, Answers& out) {
    Floats f;
    Doubles d;
    std::array<float, 16> mf{};
    std::array<double, 16> md{};
    ZelValuesInfo info;
    for (int order = 0; order <= 4; ++order) {
        const std::string at = " " + std::to_string(order);
        const auto both = [&](const char* query, auto& single, auto& twice, auto ask) {
            record(out, query + std::string("(float)") + at, ask(single), single);
            record(out, query + std::string("(double)") + at, ask(twice), twice);
        };
        both("positionsAt", f, d,
             [&](auto& v) { return r.positionsAt(object, time, order, v, &info); });
        addShape(out, info.dimension, info.animated);
        record(out, "normalsAt" + at, r.normalsAt(object, time, order, f), f);
        for (bool u : {false, true}) {
            both("controlPointsAt", f, d,
                 [&](auto& v) { return r.controlPointsAt(object, time, order, v, u); });
        }
        both("matrixAt", mf, md, [&](auto& m) { return r.matrixAt(object, time, order, m); });
        for (int a = 0; a < r.attributeCount(object); ++a) {
            record(out, "attributeAt" + at, r.attributeAt(object, a, time, order, d, &info), d);
            addShape(out, info.dimension, false);
        }
    }
}

// What normalsAt must answer: the helper's normals of the one chosen sample, or their blend.
bool expectedNormals(const ZelRoMemCache& cache, const MeshZelObj& mesh, float time, int order,
                     Floats& out) {
    std::vector<int> samples;
    Floats times;
    ZelHelperObj::AnimationState state = ZelHelperObj::kStatic;
    if (!cache.sampleClock().chooseRun(time, order, samples, times) || order < 1 || order > 3) {
        return mesh.getNormals(samples[0], out, state);
    }
    const Floats* arrays[4] = {};
    for (int i = 0; i <= order; ++i) {
        if (!mesh.getNormalData(samples[size_t(i)], arrays[i], state) ||
            arrays[i]->size() < arrays[0]->size()) {
            return false;
        }
    }
    return blendSamples<float, float>(order, blendParameter(order, time, times), arrays, out);
}

// Appends what the helper objects answer to the queries of readerAnswers, in the same order.
void helperAnswers(const ZelRoMemCache& cache, const ZelHelperObj& obj, float time, Answers& out) {
    const auto* geo = dynamic_cast<const GeometryZelObj*>(&obj);
    const auto* mesh = dynamic_cast<const MeshZelObj*>(&obj);
    const auto* curve = dynamic_cast<const NurbsCurveZelObj*>(&obj);
    const auto* surface = dynamic_cast<const NurbsSurfaceZelObj*>(&obj);
    const auto* xform = dynamic_cast<const TransformZelObj*>(&obj);
    ZelHelperObj::AnimationState state = ZelHelperObj::kStatic;
    int dim = 0;
    Floats f;
    Doubles d;
    for (int order = 0; order <= 4; ++order) {
        const std::string at = " " + std::to_string(order);
        ZelInterpolationHints hints;
        hints.order = order;
        const auto both = [&](const char* query, auto ask) {
            record(out, query + std::string("(float)") + at, ask(f), f);
            record(out, query + std::string("(double)") + at, ask(d), d);
        };
        both("positionsAt",
             [&](auto& v) { return geo && geo->getPositionAtTime(time, hints, v, state, dim); });
        addShape(out, dim, state == ZelHelperObj::kAnimated);
        record(out, "normalsAt" + at, mesh && expectedNormals(cache, *mesh, time, order, f), f);
        for (bool u : {false, true}) {
            both("controlPointsAt", [&](auto& v) {
                return curve ? curve->getControlPointsAtTime(time, hints, v, state)
                             : surface && surface->getControlPointsAtTime(time, hints, v, state, u);
            });
        }
        both("matrixAt",
             [&](auto& v) { return xform && xform->getTransformAtTime(time, hints, v, state); });
        for (int a = 0; a < obj.getNumAttrs(); ++a) {
            record(out, "attributeAt" + at, obj.getAttrAtTime(time, a, hints, d, dim), d);
            addShape(out, dim, false);
        }
    }
}

template <class T>
std::vector<T> valuesOf(const ZelDataView& v) {
    std::vector<T> out(size_t(v.count));
    return v.copyTo(out.data()) ? out : std::vector<T>();
}

// readerAnswers, then the object's views at the sample before `time` and its kind.
void objectAnswers(const ZelReader& r, int object, float time, Answers& out) {
    readerAnswers(r, object, time, out);
    ZelDataView v;
    const int sample = r.sampleAtOrBefore(time);
    for (int a = -1; a < r.attributeCount(object); ++a) {
        const ZelStatus s =
            a < 0 ? r.view(object, sample, "POSI", v) : r.attributeView(object, a, sample, v);
        record(out, "view", s, valuesOf<double>(v));
    }
    out.push_back(kindName(r.objectKind(object)));
}

// objectAnswers for every object and time, in object order; the objects are queried from
// `first` on, wrapping around.
Answers allAnswers(const ZelReader& r, const Floats& times, int first = 0) {
    std::vector<Answers> each(size_t(r.objectCount()));
    for (int k = 0; k < r.objectCount(); ++k) {
        const int o = (first + k) % r.objectCount();
        for (float time : times) {
            objectAnswers(r, o, time, each[size_t(o)]);
        }
    }
    Answers all;
    for (const Answers& some : each) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

TEST(ZelReaderTest, TimeQueriesAnswerBitForBitWhatTheHelperObjectsAnswer) {
    for (const Sampling& s : kSamplings) {
        SCOPED_TRACE(s.name);
        Scene scene(s);
        ZelHelperObjFactory factory(&scene.cache);
        std::vector<std::string> mismatches;
        std::map<std::string, std::array<int, 2>> tally;  // per query: refused, answered
        const Silenced quiet;  // the memory cache reports every missing sample
        for (int o = 0; o < kObjects; ++o) {
            std::unique_ptr<ZelHelperObj, void (*)(ZelHelperObj*)> obj(
                factory.zelObjBuilder(o), [](ZelHelperObj* p) { p->destroy(); });
            for (float time : queryTimes(s.frames)) {
                Answers want, got;
                helperAnswers(scene.cache, *obj, time, want);
                readerAnswers(scene.reader, o, time, got);
                ASSERT_EQ(want.size(), got.size());
                for (size_t i = 0; i < want.size(); ++i) {
                    ++tally[want[i].substr(1, want[i].find(' ') - 1)][want[i][0] == '+'];
                    if (got[i] != want[i]) {
                        mismatches.push_back(got[i].substr(0, got[i].find('|')) + " for " +
                                             kNames[o] + " at " + std::to_string(time));
                    }
                }
            }
        }
        EXPECT_TRUE(mismatches.empty())
            << mismatches.size() << " answers differ, the first: " << mismatches[0];
        // Each query was answered somewhere and refused somewhere: no branch went untried.
        EXPECT_EQ(tally.size(), 8u);
        for (const auto& [query, counts] : tally) {
            EXPECT_TRUE(counts[0] > 0 && counts[1] > 0) << query;
        }
    }
}

TEST(ZelReaderTest, TimesAndSampleLookupsAgreeWithTheFileBackedCache) {
    const float inf = std::numeric_limits<float>::infinity();
    for (const Sampling& s : kSamplings) {
        SCOPED_TRACE(s.name);
        Scene scene(s);
        const ZelReader& r = scene.reader;
        ZelCache& c = scene.cache;
        EXPECT_EQ(r.times(), s.frames);
        EXPECT_TRUE(r.sampleCount() == c.getNumSamples() && r.rate() == c.getRate() &&
                    r.firstTime() == c.getFirstTime() && r.lastTime() == c.getLastTime());
        Floats probes = queryTimes(s.frames);
        probes.insert(probes.end(), {noTime(), inf, -inf, s.frames[1] - 1e-6f});
        for (float t : probes) {
            EXPECT_EQ(r.sampleAt(t), c.getSampleIndex(t)) << t;
            EXPECT_EQ(r.sampleAtOrBefore(t), c.getMaxSampleIndexNotGreaterThan(t)) << t;
            EXPECT_EQ(r.sampleAtOrAfter(t), c.getMinSampleIndexNotLessThan(t)) << t;
        }
        for (int i = -1; i <= r.sampleCount(); ++i) {
            const float mine = r.sampleTime(i), theirs = c.getSampleTime(i);
            EXPECT_EQ(std::memcmp(&mine, &theirs, sizeof(float)), 0) << i;
        }
        // More frames than the first section holds continue in a second one.
        const auto chunks = ZelTest::walkChunks(scene.path);
        EXPECT_EQ(std::count_if(chunks.begin(), chunks.end(),
                                [](const auto& e) { return e.header.tag == kTagSAMS; }),
                  s.frames.size() > 101 ? 2 : 1);
    }
}

TEST(ZelReaderTest, ViewsKindsNamesAndAttributesAreWhatWasWritten) {
    const Sampling& s = kSamplings[2];
    Scene scene(s);
    const ZelReader& r = scene.reader;
    EXPECT_TRUE(r.application() == "reader test" && r.dateStamp() == 1700000000);
    const ZelObjectKind kinds[kObjects] = {
        ZelObjectKind::kMesh,      ZelObjectKind::kNurbsCurve, ZelObjectKind::kNurbsSurface,
        ZelObjectKind::kTransform, ZelObjectKind::kTransform,  ZelObjectKind::kTransform,
        ZelObjectKind::kLocator,   ZelObjectKind::kCoordSystem};
    ASSERT_EQ(r.objectCount(), kObjects);
    for (int o = 0; o < kObjects; ++o) {
        EXPECT_TRUE(r.objectName(o) == kNames[o] && r.objectKind(o) == kinds[o] &&
                    r.findObject(kNames[o]) == o)
            << o;
    }
    EXPECT_EQ(r.findObject("surface"), kSurface);
    EXPECT_EQ(r.findObject("|elsewhere|channels"), kChannels);
    EXPECT_EQ(r.findObject("|geo"), -1);
    ZelDataView v;
    for (int i = 0; i < r.sampleCount(); ++i) {
        const float t = s.frames[size_t(i)];
        ASSERT_TRUE(r.view(kMesh, i, "POSI", v).ok());
        EXPECT_TRUE(v.animated && v.dimension == 3 && valuesOf<float>(v) == points(6, t, 0));
        EXPECT_EQ(r.pointCount(kMesh, i), 6);
        ASSERT_TRUE(r.attributeView(kLocator, 1, i, v).ok());
        EXPECT_TRUE(v.animated && v.dimension == 3 && valuesOf<double>(v) == offset(t));
    }
    // Static values come from the definition, whichever sample is asked.
    ASSERT_TRUE(r.view(kCurve, 2, "KNTU", v).ok());
    EXPECT_TRUE(!v.animated && valuesOf<float>(v) == kKnots);
    ASSERT_TRUE(r.attributeView(kLocator, 3, 4, v).ok());
    EXPECT_TRUE(!v.animated && valuesOf<double>(v) == Doubles({2.5, -1}));
    EXPECT_EQ(r.view(kLocator, 0, "POSI", v).code(), Code::kNotFound);
    EXPECT_EQ(r.view(kMesh, 0, "POS", v).code(), Code::kInvalidArgument);
    const char* const names[] = {"weight", "offset", "ty", "mass"};
    const char* const types[] = {"double", "double3", "float", "double"};
    ASSERT_EQ(r.attributeCount(kLocator), 4);
    for (int i = 0; i < 4; ++i) {
        const ZelAttrInfo info = r.attribute(kLocator, i);
        EXPECT_TRUE(info.name == names[i] && info.typeName == types[i] &&
                    info.animated == (i < 3) && r.findAttribute(kLocator, names[i]) == i)
            << i;
    }
    EXPECT_TRUE(r.attribute(kLocator, 4).name.empty());
    EXPECT_EQ(r.findAttribute(kChannels, "rotateOrder"), 3);
}

// ---- Damaged files ----

// Writes `bytes` to `path` and opens it with the file-backed cache and with `r`: whether the
// reader took it. Whatever the loader refuses the reader refuses too, naming the file.
bool openBoth(const std::string& path, const Bytes& bytes, ZelReader& r) {
    // A new file each time: the file system flushes a file cut and rewritten when it closes.
    std::remove(path.c_str());
    ZelTest::writeFileBytes(path, bytes);
    ZelCache cache;
    const bool loaded = cache.load(path.c_str());
    const ZelStatus s = r.open(path);
    EXPECT_TRUE(loaded || !s.ok()) << "the reader opens what the loader refuses";
    EXPECT_TRUE(s.ok() || s.message().find(path) != std::string::npos) << s.message();
    return s.ok();
}

// `bytes` with the eight bytes at `at` replaced by `value`.
Bytes with(Bytes bytes, int64 at, int64 value) {
    std::memcpy(bytes.data() + at, &value, sizeof(value));
    return bytes;
}

TEST(ZelReaderTest, RefusesWhatIsNotACacheNamingThePath) {
    TempDir dir;
    const std::string empty = dir.file("empty.zel"), text = dir.file("notes.txt");
    ZelTest::writeFileBytes(empty, {});
    ZelTest::writeFileBytes(text, Bytes(kNames[0], kNames[0] + std::strlen(kNames[0])));
    const std::string missing = dir.file("missing.zel");
    const struct {
        std::string path;
        Code code;
        std::string message;
    } cases[] = {
        {missing, Code::kNotFound, "cannot open '" + missing + "': No such file or directory"},
        {dir.path(), Code::kNotACache, "cannot open '" + dir.path() + "': Is a directory"},
        {empty, Code::kNotACache, "'" + empty + "' is not a cache file (it is empty)"},
        {text, Code::kNotACache, "'" + text + "' is not a cache file (it starts with \"|geo\")"},
    };
    for (const auto& c : cases) {
        Scene scene(kSmall);
        const ZelStatus s = scene.reader.open(c.path);
        EXPECT_EQ(s.code(), c.code) << c.path;
        EXPECT_EQ(s.message(), c.message);
        EXPECT_EQ(probeCacheFile(c.path).message(), c.message);
        EXPECT_FALSE(scene.reader.isOpen());
    }
}

TEST(ZelReaderTest, CutOrFlippedFilesAreRefusedOrAnsweredWithoutACrash) {
    Scene scene(kSmall);
    const Bytes whole = readFileBytes(scene.path);
    const Floats times{0, 1, 1.5f, 3, 4};
    const Answers intact = allAnswers(scene.reader, times);
    const std::string path = scene.dir.file("damaged.zel");
    const Silenced quiet;  // the loader prints every refusal
    for (size_t n = 0; n < whole.size(); n += 3) {
        ZelReader r;
        if (openBoth(path, Bytes(whole.begin(), whole.begin() + long(n)), r)) {
            EXPECT_TRUE(allAnswers(r, times) == intact) << "cut to " << n << " bytes";
        }
    }
    // A flip in stored reals or in a reserve changes a value, not what the file says where:
    // skipped. One in an object's definition, group or offset only reaches that object.
    std::vector<int> owner(whole.size(), -1);
    int dobj = 0, sobj = 0;
    for (const ZelTest::ChunkEntry& e : ZelTest::walkChunks(scene.path)) {
        const auto mark = [&](int64 from, int64 n, int o) {
            std::fill_n(owner.begin() + from, n, o);
        };
        const uint32 tag = e.header.tag;
        const int64 payload = e.offset + kHeaderSize;
        if (tag == kTagFREE || e.header.type == kTypeFloat || e.header.type == kTypeDouble) {
            mark(payload, e.header.length, -2);
        } else if (tag == kTagDOBJ && e.depth == 1) {
            mark(payload, e.header.length, dobj++);
        } else if (tag == kTagSOBJ && e.depth == 2) {
            mark(e.offset, kHeaderSize + e.header.length, sobj++ % kObjects);
        }
        for (int o = 0; tag == kTagJOBJ && o < kObjects; ++o) {
            mark(payload + 8 * o, 8, o);
        }
    }
    for (size_t i = 0; i < whole.size(); ++i) {
        for (unsigned char mask : {0x80, 0x01}) {
            SCOPED_TRACE("byte " + std::to_string(i) + " ^ " + std::to_string(mask));
            Bytes flipped = whole;
            flipped[i] ^= mask;
            ZelReader r;
            Answers some;
            if (owner[i] == -2 || !openBoth(path, flipped, r)) {
                continue;
            }
            for (int o = 0; o < r.objectCount(); ++o) {
                if (owner[i] < 0 || owner[i] == o) {
                    objectAnswers(r, o, 1.5f, some);  // reads every sample
                }
            }
        }
    }
}

TEST(ZelReaderTest, ImpossibleLengthsAndJumpsAreRefusedWithAMessage) {
    Scene scene(kSmall);
    const Bytes whole = readFileBytes(scene.path);
    const std::string path = scene.dir.file("damaged.zel");
    const auto chunks = ZelTest::walkChunks(scene.path);
    const auto inSample = [&](int64 at) {
        return std::any_of(chunks.begin(), chunks.end(), [&](const ZelTest::ChunkEntry& e) {
            return e.header.tag == kTagSAMP && at > e.offset &&
                   at < e.offset + kHeaderSize + e.header.length;
        });
    };
    const Silenced quiet;
    for (const ZelTest::ChunkEntry& e : chunks) {
        for (int64 length : {int64(1) << 40, int64(1) << 62, int64(-1), -(int64(1) << 40)}) {
            ZelReader r;
            const bool opened = openBoth(path, with(whole, e.offset + 8, length), r);
            // What open does not check is checked by the queries that read it.
            EXPECT_TRUE(!opened || inSample(e.offset))
                << e.header.tagStr() << " at " << e.offset << " claiming " << length;
            if (opened) {
                allAnswers(r, {1.5f});
            }
        }
    }
    // Sample 1 outside the file, before it, at the metadata, at a header cut short.
    const auto jsam = std::find_if(chunks.begin(), chunks.end(),
                                   [](const auto& e) { return e.header.tag == kTagJSAM; });
    ASSERT_NE(jsam, chunks.end());
    const int64 size = int64(whole.size());
    for (int64 target : {size + 100, int64(-8), int64(24), size - 8}) {
        ZelReader r;
        ZelTest::writeFileBytes(path, with(whole, jsam->offset + kHeaderSize + 8, target));
        const ZelStatus s = r.open(path);
        EXPECT_EQ(s.code(), Code::kCorrupt) << target;
        EXPECT_EQ(s.message().rfind(path + ": ", 0), 0u) << s.message();
        EXPECT_NE(s.message().find("sample 1 "), std::string::npos) << s.message();
    }
}

TEST(ZelReaderTest, ADamagedObjectInOneSampleFailsOnlyTheQueriesThatReadIt) {
    Scene scene(kSmall);
    std::vector<int64> posi, jobj;
    for (const ZelTest::ChunkEntry& e : ZelTest::walkChunks(scene.path)) {
        if (e.header.tag == kTagPOSI || e.header.tag == kTagJOBJ) {
            (e.header.tag == kTagPOSI ? posi : jobj).push_back(e.offset);
        }
    }
    // The mesh's positions in sample 1 (three objects have points) claim far more bytes than
    // there are; its object offset in sample 2 points past the end of the file.
    ASSERT_EQ(posi.size(), 9u);
    const Bytes whole = readFileBytes(scene.path);
    const int64 past = int64(whole.size()) + 16;
    const std::string path = scene.dir.file("damaged.zel");
    ZelTest::writeFileBytes(path, with(with(whole, posi[3] + 8, int64(1) << 40),
                                       jobj[2] + kHeaderSize + 8 * kMesh, past));
    ZelReader r;
    ASSERT_TRUE(r.open(path).ok());
    Floats got, want;
    for (float t : {1.0f, 1.5f, 2.0f, 3.0f}) {
        const ZelStatus s = r.positionsAt(kMesh, t, 1, got);
        EXPECT_EQ(s.code(), t == 1.0f ? Code::kOk : Code::kCorrupt) << t;
        EXPECT_TRUE(s.ok() ||
                    s.message().find(t < 2.5f ? "in sample 1" : "in sample 2") != std::string::npos)
            << s.message();
        // Every other object reads as before.
        ASSERT_TRUE(r.positionsAt(kSurface, t, 1, got).ok());
        ASSERT_TRUE(scene.reader.positionsAt(kSurface, t, 1, want).ok());
        EXPECT_EQ(got, want) << t;
    }
}

TEST(ZelReaderTest, ThreadsSharingOneReaderGetTheSingleThreadedAnswers) {
    const Sampling& s = kSamplings[2];
    const Scene scene(s);
    const Floats times = queryTimes(s.frames);
    const Answers expected = allAnswers(scene.reader, times);
    std::vector<Answers> got(6);
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
        threads.emplace_back([&, i] { got[size_t(i)] = allAnswers(scene.reader, times, i); });
    }
    for (std::thread& t : threads) {
        t.join();
    }
    for (size_t i = 0; i < got.size(); ++i) {
        EXPECT_TRUE(got[i] == expected) << "thread " << i;
    }
}

}  // namespace

#include "support/WriterScene.h"

#include <signal.h>

#include <algorithm>

namespace ZelTest {

using namespace Zel;

const char* const kNames[kObjects] = {"|mesh", "|curve", "|surface", "|xform", "|loc", "|coords"};
const std::vector<int> kFaceCounts{4, 4};
const std::vector<int> kFaceIndices{0, 1, 4, 3, 1, 2, 5, 4};
const std::vector<float> kCurveKnots{0, 1, 2, 3, 4, 5, 6, 7, 8};
const std::vector<float> kSurfaceKnots{0, 0, 1, 1};
const std::vector<double> kBox{-1, -2, -3, 1, 2, 3};

std::vector<float> points(int count, float t, float scale) {
    std::vector<float> p;
    for (int i = 0; i < 3 * count; ++i) {
        p.push_back(scale * (t + 0.25f * float(i)));
    }
    return p;
}

std::vector<double> matrix(float t) {
    return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, double(t), 2 * double(t), 0, 1};
}

std::vector<float> frames(float first, int count, float step) {
    std::vector<float> t;
    for (int i = 0; i < count; ++i) {
        t.push_back(first + step * float(i));
    }
    return t;
}

namespace {

using Type = ZelElementType;
using Dim = ZelDimension;

ZelAttrDesc attr(const char* name, Type type, Dim dim, const char* typeName) {
    return {name, type, dim, ZelCompound::kNone, typeName};
}

}  // namespace

bool declare(ZelWriter& w) {
    const ZelMeshDesc mesh{kFaceCounts, kFaceIndices, 0, false, /*normals=*/true};
    const ZelCurveDesc curve{3, ZelNurbsForm::kPeriodic, kCurveKnots, 4};
    const ZelSurfaceDesc surface{
        1, 1, ZelNurbsForm::kOpen, ZelNurbsForm::kOpen, kSurfaceKnots, kSurfaceKnots, 2, 2};
    const ZelStatus steps[] = {
        w.addMesh(kNames[kMesh], mesh),
        w.addStaticAttribute(kMesh, attr("rmanP__Pref", Type::kFloat, Dim::k3d, "point"),
                             points(6, 0)),
        w.addNurbsCurve(kNames[kCurve], curve),
        w.addNurbsSurface(kNames[kSurface], surface),
        w.addTransform(kNames[kTransform], ZelTransformDesc{/*inheritsTransform=*/false}),
        w.addAnimatedAttribute(kTransform, attr("ty", Type::kFloat, Dim::kScalar, "float")),
        w.addLocator(kNames[kLocator]),
        w.setStaticBounds(kLocator, kBox),
        w.addAnimatedAttribute(kLocator, attr("weight", Type::kDouble, Dim::kScalar, "double")),
        w.addCoordSystem(kNames[kCoords]),
        w.addStaticAttribute(kCoords, attr("displayShape", Type::kInt32, Dim::kNone, "int"),
                             std::vector<int>{3}),
        w.addStaticAttribute(kCoords, attr("parentRig", Type::kString, Dim::kNone, "string"),
                             std::vector<std::string>{"|xform"}),
    };
    return std::all_of(std::begin(steps), std::end(steps),
                       [](const ZelStatus& s) { return s.ok(); });
}

bool frame(ZelWriter& w, float t) {
    return w.beginFrame(t).ok() && w.setPositions(kMesh, points(6, t)).ok() &&
           w.setNormals(kMesh, points(6, t, -1)).ok() &&
           w.setPositions(kCurve, points(4, t, 2)).ok() &&
           w.setPositions(kSurface, points(4, t, 3)).ok() &&
           w.setMatrix(kTransform, matrix(t)).ok() &&
           w.setAttribute(kTransform, 0, std::vector<float>{t / 2}).ok() &&
           w.setAttribute(kLocator, 0, std::vector<double>{double(t) * 3}).ok() &&
           w.endFrame().ok();
}

ZelWriterOptions sceneOptions() {
    ZelWriterOptions o;
    o.application = "writer test";
    o.sourceFile = "scene.ma";
    return o;
}

bool writeScene(const std::string& path, const ZelWriterOptions& options,
                const std::vector<float>& times) {
    ZelWriter w;
    bool ok = w.create(path, options).ok() && declare(w);
    for (size_t i = 0; ok && i < times.size(); ++i) {
        ok = frame(w, times[i]);
    }
    return ok && w.close().ok();
}

bool appendFrames(const std::string& path, int count, bool close) {
    ZelWriter w;
    bool ok = w.append(path).ok();
    for (int i = 0; ok && i < count; ++i) {
        ok = frame(w, w.nextTime());
    }
    if (ok && !close) {
        raise(SIGKILL);
    }
    return ok && w.close().ok();
}

}  // namespace ZelTest

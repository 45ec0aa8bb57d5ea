// Fuzz target: the file-backed load, then every object of every sample through the read-only
// memory cache (limited to two samples, so eviction runs too), then every helper object asked
// for its data at whole and fractional times with each interpolation order.
#include <algorithm>
#include <cstdint>

#include "FuzzInput.h"
#include "Zel.h"

namespace {

using namespace Zel;
using State = ZelHelperObj::AnimationState;

// The questions only some kinds answer.
void askByKind(const ZelHelperObj& obj, float time, ZelInterpolationHints& hints) {
    State state;
    int dimension = 0;
    std::vector<float> floats;
    std::vector<double> doubles;
    if (const auto* geometry = dynamic_cast<const GeometryZelObj*>(&obj)) {
        geometry->getPositionAtTime(time, hints, floats, state, dimension);
        geometry->getPositionAtTime(time, hints, doubles, state, dimension);
    }
    if (const auto* curve = dynamic_cast<const NurbsCurveZelObj*>(&obj)) {
        curve->getControlPointsAtTime(time, hints, floats, state);
        curve->getControlPointsAtTime(time, hints, doubles, state);
    }
    if (const auto* surface = dynamic_cast<const NurbsSurfaceZelObj*>(&obj)) {
        surface->getControlPointsAtTime(time, hints, floats, state, true);
        surface->getControlPointsAtTime(time, hints, doubles, state, false);
    }
    if (const auto* transform = dynamic_cast<const TransformZelObj*>(&obj)) {
        transform->getTransformAtTime(time, hints, floats, state);
        transform->getTransformAtTime(time, hints, doubles, state);
    }
}

// What does not depend on the time, read at sample `sample`.
void askStatic(const ZelHelperObj& obj, int sample) {
    State state;
    float box[6];
    obj.getBounds(sample, box, state, true);
    std::vector<float> floats;
    std::vector<int> ints;
    if (const auto* mesh = dynamic_cast<const MeshZelObj*>(&obj)) {
        mesh->getFaceVertexCnts(sample, ints, state);
        mesh->getFaceVertexIds(sample, ints, state);
        mesh->getNormals(sample, floats, state);
        mesh->getPref(floats);
        mesh->isSubd();
    }
    if (const auto* surface = dynamic_cast<const NurbsSurfaceZelObj*>(&obj)) {
        surface->getPrefControlPoints(floats, true);
    }
    if (const auto* transform = dynamic_cast<const TransformZelObj*>(&obj)) {
        transform->inheritsTransform();
    }
    if (const auto* ground = dynamic_cast<const LxCoordSystemZelObj*>(&obj)) {
        ground->scoped();
        ground->displayShape();
        ground->parentRig();
    }
}

void askHelper(const ZelHelperObj& obj, const ZelRoMemCache& cache) {
    askStatic(obj, 0);
    const int attrs = std::min(obj.getNumAttrs(), ZelFuzz::kMaxAttributes);
    for (float time : ZelFuzz::probeTimes(cache.getFirstTime(), cache.getLastTime())) {
        for (int order = 0; order <= 4; ++order) {
            ZelInterpolationHints hints;
            hints.order = order;
            askByKind(obj, time, hints);
            for (int a = 0; a < attrs; ++a) {
                std::vector<double> values;
                int dimension = 0;
                obj.getAttrAtTime(time, a, hints, values, dimension);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZelRoMemCache cache;
    if (!cache.load(ZelFuzz::inputFile(data, size), true, 2)) {
        return 0;
    }
    long reads = 0;
    for (int s = 0; s < cache.getNumSamples() && reads < ZelFuzz::kMaxReads; ++s) {
        for (int o = 0; o < cache.getNumObjects() && reads < ZelFuzz::kMaxReads; ++o, ++reads) {
            cache.getSample(s, o);
            cache.getNumVertices(s, o);
        }
    }
    ZelHelperObjFactory factory(&cache);
    for (int o = 0; o < std::min(cache.getNumObjects(), ZelFuzz::kMaxObjects); ++o) {
        ZelHelperObj* obj = factory.zelObjBuilder(o);
        askHelper(*obj, cache);
        obj->destroy();
    }
    return 0;
}

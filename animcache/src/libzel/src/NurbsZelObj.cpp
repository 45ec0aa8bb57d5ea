#include "NurbsZelObj.h"

#include <cstddef>
#include <iostream>

#include "ZelControlPoints.h"
#include "ZelFormat.h"
#include "ZelInterpolation.h"
#include "ZelTrace.h"

namespace Zel {

namespace {

template <class T, class S>
T convertValue(const S& v) {
    return static_cast<T>(v);
}

// Copies `stored` into `out` converted to T; with `padEnds` (and at least one knot) the first and
// last knots appear once more at either end.
template <class S, class T>
void copyKnots(const std::vector<S>& stored, bool padEnds, std::vector<T>& out) {
    const std::size_t k = stored.size();
    const std::size_t pad = padEnds && k > 0 ? 1 : 0;
    out.resize(k + 2 * pad);
    for (std::size_t i = 0; i < k; ++i) {
        out[i + pad] = convertValue<T>(stored[i]);
    }
    if (pad != 0) {
        out[0] = out[1];
        out[k + 1] = out[k];
    }
}

// The knots of a float or double leaf (either pointer may be null) into `out`; false when
// neither is set.
template <class T>
bool copyKnotLeaf(const std::vector<float>* floats, const std::vector<double>* doubles,
                  bool padEnds, std::vector<T>& out) {
    if (floats != nullptr) {
        copyKnots(*floats, padEnds, out);
        return true;
    }
    if (doubles != nullptr) {
        copyKnots(*doubles, padEnds, out);
        return true;
    }
    return false;
}

// Blends the control points that `read(sample, points, state)` gives for the samples of the run
// with the value kernels into `points`: weights in single precision, products and sums in T.
// `order` is 1, 2 or 3. False, outputs untouched, when a read fails or a later sample has fewer
// values than the first. With `traceLinear` and order 1, one line per value shows the result and
// both inputs.
template <class T, class Read>
bool blendControlPoints(int order, float t, const std::vector<int>& samples, const Read& read,
                        bool traceLinear, std::vector<T>& points,
                        ZelHelperObj::AnimationState& state) {
    std::vector<T> cps[4];
    const std::vector<T>* arrays[4] = {&cps[0], &cps[1], &cps[2], &cps[3]};
    ZelHelperObj::AnimationState origin = ZelHelperObj::kStatic;
    for (int i = 0; i <= order; ++i) {
        if (!read(samples[i], cps[i], origin)) {
            return false;
        }
        // The kernels read every sample at the first sample's indices.
        if (cps[i].size() < cps[0].size()) {
            return false;
        }
    }
    blendSamples<T, T, float>(order, t, arrays, points);
    state = origin;
    if (traceLinear && order == 1) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            std::cerr << " CPs[" << i << "] " << points[i] << " CPs1 " << cps[0][i] << " CPs2 "
                      << cps[1][i] << "\n";
        }
    }
    return true;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// NurbsCurveZelObj

NurbsCurveZelObj::NurbsCurveZelObj(ZelRoMemCache* cache, int objectIndex)
    : GeometryZelObj(cache, objectIndex) {
    addCategory(zelCategoryNurbsCurve);
}

NurbsCurveZelObj::NurbsCurveZelObj(const NurbsCurveZelObj& other) = default;

NurbsCurveZelObj& NurbsCurveZelObj::operator=(const NurbsCurveZelObj& other) = default;

NurbsCurveZelObj::~NurbsCurveZelObj() = default;

bool NurbsCurveZelObj::getDegree(int sampleIndex, int& degree, AnimationState& state) const {
    const std::vector<int>* data = nullptr;
    if (!getLeafData(sampleIndex, kTagDEGR, data, state) || data->empty()) {
        state = kStatic;
        return false;
    }
    degree = data->front();
    return true;
}

bool NurbsCurveZelObj::getForm(int sampleIndex, std::string& form, AnimationState& state) const {
    const std::vector<std::string>* data = nullptr;
    if (!getLeafData(sampleIndex, kTagFORM, data, state) || data->empty()) {
        state = kStatic;
        return false;
    }
    form = data->front();
    return true;
}

template <class T>
bool NurbsCurveZelObj::knotsAt(int sampleIndex, std::vector<T>& knots, AnimationState& state,
                               bool padEnds) const {
    const ZelChunk* chunk = nullptr;
    const AnimationState origin = findChunk(sampleIndex, kTagKNTU, chunk);
    const std::vector<float>* floats = nullptr;
    const std::vector<double>* doubles = nullptr;
    getZelLeafData(chunk, floats);
    getZelLeafData(chunk, doubles);
    if (!copyKnotLeaf(floats, doubles, padEnds, knots)) {
        return false;
    }
    state = origin;
    return true;
}

bool NurbsCurveZelObj::getKnots(int sampleIndex, std::vector<float>& knots, AnimationState& state,
                                bool padEnds) const {
    return knotsAt(sampleIndex, knots, state, padEnds);
}

bool NurbsCurveZelObj::getKnots(int sampleIndex, std::vector<double>& knots, AnimationState& state,
                                bool padEnds) const {
    return knotsAt(sampleIndex, knots, state, padEnds);
}

template <class T>
bool NurbsCurveZelObj::controlPointsAt(int sampleIndex, std::vector<T>& points,
                                       AnimationState& state) const {
    AnimationState scratch = kStatic;
    int degree = 0;
    std::string form;
    if (!getDegree(sampleIndex, degree, scratch) || !getForm(sampleIndex, form, scratch)) {
        return false;
    }
    const ZelChunk* knots = nullptr;
    findChunk(sampleIndex, kTagKNTU, knots);
    if (knots == nullptr) {
        return false;
    }
    // Knots of any other element type count as none.
    const std::vector<float>* floatKnots = nullptr;
    const std::vector<double>* doubleKnots = nullptr;
    int64 k = 0;
    if (getZelLeafData(knots, floatKnots)) {
        k = static_cast<int64>(floatKnots->size());
    } else if (getZelLeafData(knots, doubleKnots)) {
        k = static_cast<int64>(doubleKnots->size());
    }

    const ZelChunk* chunk = nullptr;
    const AnimationState origin = findChunk(sampleIndex, kTagPOSI, chunk);
    const std::vector<float>* stored = nullptr;
    if (!getZelLeafData(chunk, stored)) {
        return false;
    }
    const int64 n = k - degree + 1;
    const int64 periodic = form == kPeriodicForm ? degree : 0;
    if (!expandControlPoints(stored->data(), stored->size(), n, 1, periodic, 0, false, points)) {
        return false;
    }
    state = origin;
    return true;
}

bool NurbsCurveZelObj::getControlPoints(int sampleIndex, std::vector<float>& points,
                                        AnimationState& state) const {
    return controlPointsAt(sampleIndex, points, state);
}

bool NurbsCurveZelObj::getControlPoints(int sampleIndex, std::vector<double>& points,
                                        AnimationState& state) const {
    return controlPointsAt(sampleIndex, points, state);
}

template <class T>
bool NurbsCurveZelObj::controlPointsAtTime(float time, ZelInterpolationHints& hints,
                                           std::vector<T>& points, AnimationState& state) const {
    std::vector<int> samples;
    std::vector<float> times;
    const bool blend = getEvalTimeAndSampleIndices(time, hints, samples, times);
    const int order = hints.order;
    if (!blend || order <= 0) {
        return controlPointsAt(samples[0], points, state);
    }
    // Unlike positions and surfaces, a curve has no fall-back for orders it can't blend.
    if (order > 3) {
        return false;
    }
    const float t = blendParameter(order, time, times);
    const auto read = [this](int sample, std::vector<T>& cps, AnimationState& origin) {
        return controlPointsAt(sample, cps, origin);
    };
    return blendControlPoints(order, t, samples, read, false, points, state);
}

bool NurbsCurveZelObj::getControlPointsAtTime(float time, ZelInterpolationHints& hints,
                                              std::vector<float>& points,
                                              AnimationState& state) const {
    return controlPointsAtTime(time, hints, points, state);
}

bool NurbsCurveZelObj::getControlPointsAtTime(float time, ZelInterpolationHints& hints,
                                              std::vector<double>& points,
                                              AnimationState& state) const {
    return controlPointsAtTime(time, hints, points, state);
}

// ---------------------------------------------------------------------------------------------
// NurbsSurfaceZelObj

NurbsSurfaceZelObj::NurbsSurfaceZelObj(ZelRoMemCache* cache, int objectIndex)
    : GeometryZelObj(cache, objectIndex) {
    addCategory(zelCategoryNurbsSurface);
}

NurbsSurfaceZelObj::NurbsSurfaceZelObj(const NurbsSurfaceZelObj& other) = default;

NurbsSurfaceZelObj& NurbsSurfaceZelObj::operator=(const NurbsSurfaceZelObj& other) = default;

NurbsSurfaceZelObj::~NurbsSurfaceZelObj() = default;

bool NurbsSurfaceZelObj::getDegree(int sampleIndex, int& degreeU, int& degreeV,
                                   AnimationState& state) const {
    degreeU = 0;
    degreeV = 0;
    const std::vector<int>* data = nullptr;
    if (!getLeafData(sampleIndex, kTagDEGR, data, state)) {
        return false;
    }
    if (data->size() >= 2) {
        degreeU = (*data)[0];
        degreeV = (*data)[1];
    }
    return true;
}

bool NurbsSurfaceZelObj::getForm(int sampleIndex, std::string& formU, std::string& formV,
                                 AnimationState& state) const {
    const std::vector<std::string>* data = nullptr;
    if (!getLeafData(sampleIndex, kTagFORM, data, state)) {
        return false;
    }
    if (data->size() >= 2) {
        formU = (*data)[0];
        formV = (*data)[1];
    }
    return true;
}

int NurbsSurfaceZelObj::knotCount(int sampleIndex, unsigned int tag) const {
    const ZelChunk* chunk = nullptr;
    findChunk(sampleIndex, tag, chunk);
    const std::vector<float>* floats = nullptr;
    const std::vector<double>* doubles = nullptr;
    if (getZelLeafData(chunk, floats)) {
        return static_cast<int>(floats->size());
    }
    if (getZelLeafData(chunk, doubles)) {
        return static_cast<int>(doubles->size());
    }
    return 0;
}

int NurbsSurfaceZelObj::getNumKnotUData(int sampleIndex) const {
    return knotCount(sampleIndex, kTagKNTU);
}

int NurbsSurfaceZelObj::getNumKnotVData(int sampleIndex) const {
    return knotCount(sampleIndex, kTagKNTV);
}

template <class T>
bool NurbsSurfaceZelObj::knotsAt(int sampleIndex, std::vector<T>& knotsU, std::vector<T>& knotsV,
                                 AnimationState& state, bool padEnds) const {
    const ZelChunk* chunkU = nullptr;
    const ZelChunk* chunkV = nullptr;
    const AnimationState originU = findChunk(sampleIndex, kTagKNTU, chunkU);
    const AnimationState originV = findChunk(sampleIndex, kTagKNTV, chunkV);
    const std::vector<float>* floatsU = nullptr;
    const std::vector<double>* doublesU = nullptr;
    const std::vector<float>* floatsV = nullptr;
    const std::vector<double>* doublesV = nullptr;
    getZelLeafData(chunkU, floatsU);
    getZelLeafData(chunkU, doublesU);
    getZelLeafData(chunkV, floatsV);
    getZelLeafData(chunkV, doublesV);
    // Both are checked before either output is written.
    if ((floatsU == nullptr && doublesU == nullptr) ||
        (floatsV == nullptr && doublesV == nullptr)) {
        return false;
    }
    copyKnotLeaf(floatsU, doublesU, padEnds, knotsU);
    copyKnotLeaf(floatsV, doublesV, padEnds, knotsV);
    state = isAnimated(originU) || isAnimated(originV) ? kAnimated : kStatic;
    return true;
}

bool NurbsSurfaceZelObj::getKnots(int sampleIndex, std::vector<float>& knotsU,
                                  std::vector<float>& knotsV, AnimationState& state,
                                  bool padEnds) const {
    return knotsAt(sampleIndex, knotsU, knotsV, state, padEnds);
}

bool NurbsSurfaceZelObj::getKnots(int sampleIndex, std::vector<double>& knotsU,
                                  std::vector<double>& knotsV, AnimationState& state,
                                  bool padEnds) const {
    return knotsAt(sampleIndex, knotsU, knotsV, state, padEnds);
}

bool NurbsSurfaceZelObj::controlPointCounts(int sampleIndex, int64& nu, int64& nv) const {
    AnimationState scratch = kStatic;
    int degreeU = 0;
    int degreeV = 0;
    if (!getDegree(sampleIndex, degreeU, degreeV, scratch)) {
        return false;
    }
    const int ku = getNumKnotUData(sampleIndex);
    const int kv = getNumKnotVData(sampleIndex);
    if (ku == 0 || kv == 0) {
        return false;
    }
    nu = static_cast<int64>(ku) - degreeU + 1;
    nv = static_cast<int64>(kv) - degreeV + 1;
    return true;
}

template <class T>
bool NurbsSurfaceZelObj::controlPointsAt(int sampleIndex, std::vector<T>& points,
                                         AnimationState& state, bool uFastest) const {
    AnimationState scratch = kStatic;
    std::string formU;
    std::string formV;
    int degreeU = 0;
    int degreeV = 0;
    if (!getForm(sampleIndex, formU, formV, scratch) ||
        !getDegree(sampleIndex, degreeU, degreeV, scratch)) {
        return false;
    }
    const int ku = getNumKnotUData(sampleIndex);
    const int kv = getNumKnotVData(sampleIndex);
    if (ku == 0 || kv == 0) {
        return false;
    }
    const ZelChunk* chunk = nullptr;
    const AnimationState origin = findChunk(sampleIndex, kTagPOSI, chunk);
    const std::vector<float>* stored = nullptr;
    if (!getZelLeafData(chunk, stored)) {
        return false;
    }
    const int64 nu = static_cast<int64>(ku) - degreeU + 1;
    const int64 nv = static_cast<int64>(kv) - degreeV + 1;
    const int64 periodicU = formU == kPeriodicForm ? degreeU : 0;
    const int64 periodicV = formV == kPeriodicForm ? degreeV : 0;
    // A periodic direction repeats its first d points, so it is taken to store at least d of
    // them: otherwise two large degrees would square a handful of stored points into an output
    // far larger than the file.
    if ((periodicU > 0 && nu - periodicU < periodicU) ||
        (periodicV > 0 && nv - periodicV < periodicV)) {
        return false;
    }
    if (!expandControlPoints(stored->data(), stored->size(), nu, nv, periodicU, periodicV, uFastest,
                             points)) {
        return false;
    }
    state = origin;
    return true;
}

bool NurbsSurfaceZelObj::getControlPoints(int sampleIndex, std::vector<float>& points,
                                          AnimationState& state, bool uFastest) const {
    return controlPointsAt(sampleIndex, points, state, uFastest);
}

bool NurbsSurfaceZelObj::getControlPoints(int sampleIndex, std::vector<double>& points,
                                          AnimationState& state, bool uFastest) const {
    return controlPointsAt(sampleIndex, points, state, uFastest);
}

template <class T>
bool NurbsSurfaceZelObj::controlPointsAtTime(float time, ZelInterpolationHints& hints,
                                             std::vector<T>& points, AnimationState& state,
                                             bool uFastest) const {
    std::vector<int> samples;
    std::vector<float> times;
    const bool blend = getEvalTimeAndSampleIndices(time, hints, samples, times);
    const int order = hints.order;
    // Orders the kernels don't know fall back to the first chosen sample, as positions do.
    if (!blend || order <= 0 || order > 3) {
        return controlPointsAt(samples[0], points, state, uFastest);
    }
    const float t = blendParameter(order, time, times);
    const auto read = [this, uFastest](int sample, std::vector<T>& cps, AnimationState& origin) {
        return controlPointsAt(sample, cps, origin, uFastest);
    };
    return blendControlPoints(order, t, samples, read, debugLevel >= 2, points, state);
}

bool NurbsSurfaceZelObj::getControlPointsAtTime(float time, ZelInterpolationHints& hints,
                                                std::vector<float>& points, AnimationState& state,
                                                bool uFastest) const {
    return controlPointsAtTime(time, hints, points, state, uFastest);
}

bool NurbsSurfaceZelObj::getControlPointsAtTime(float time, ZelInterpolationHints& hints,
                                                std::vector<double>& points, AnimationState& state,
                                                bool uFastest) const {
    return controlPointsAtTime(time, hints, points, state, uFastest);
}

template <class S, class T>
bool NurbsSurfaceZelObj::reorderPerControlPoint(int sampleIndex, const std::vector<S>& stored,
                                                int dimension, bool uFastest,
                                                std::vector<T>& out) const {
    int64 nu = 0;
    int64 nv = 0;
    if (uFastest && !controlPointCounts(sampleIndex, nu, nv)) {
        return false;
    }
    // A component count of 0 (no dimension code) counts each value as one element.
    const int64 dim = dimension > 0 ? dimension : 1;
    const int64 count = static_cast<int64>(stored.size()) / dim;
    if (!uFastest || nu <= 0 || nv <= 0 || count != nu * nv) {
        out.assign(stored.begin(), stored.end());
        return true;
    }
    out.resize(static_cast<std::size_t>(count * dim));
    for (int64 p = 0; p < count; ++p) {
        const int64 from = (p % nu) * nv + p / nu;
        for (int64 c = 0; c < dim; ++c) {
            out[static_cast<std::size_t>(p * dim + c)] =
                convertValue<T>(stored[static_cast<std::size_t>(from * dim + c)]);
        }
    }
    return true;
}

template <class T>
bool NurbsSurfaceZelObj::prefControlPoints(std::vector<T>& points, bool uFastest) const {
    const std::vector<double>* doubles = nullptr;
    const std::vector<float>* floats = nullptr;
    int dimension = 0;
    // The rest pose belongs to no sample: its degrees and knots are read at index -1, which
    // only the object's definition answers.
    if (getPrefData(doubles, dimension)) {
        return reorderPerControlPoint(-1, *doubles, dimension, uFastest, points);
    }
    if (getPrefData(floats, dimension)) {
        return reorderPerControlPoint(-1, *floats, dimension, uFastest, points);
    }
    return false;
}

bool NurbsSurfaceZelObj::getPrefControlPoints(std::vector<float>& points, bool uFastest) const {
    return prefControlPoints(points, uFastest);
}

bool NurbsSurfaceZelObj::getPrefControlPoints(std::vector<double>& points, bool uFastest) const {
    return prefControlPoints(points, uFastest);
}

template <class T, class Companion>
bool NurbsSurfaceZelObj::attrPerControlPoint(int sampleIndex, int attrIndex, std::vector<T>& values,
                                             int& dimension, bool uFastest) const {
    const std::vector<T>* data = nullptr;
    if (getAttrData(sampleIndex, attrIndex, data, dimension)) {
        return reorderPerControlPoint(sampleIndex, *data, dimension, uFastest, values);
    }
    const std::vector<Companion>* companion = nullptr;
    if (getAttrData(sampleIndex, attrIndex, companion, dimension)) {
        return reorderPerControlPoint(sampleIndex, *companion, dimension, uFastest, values);
    }
    return false;
}

bool NurbsSurfaceZelObj::getAttr(int sampleIndex, int attrIndex, std::vector<int>& values,
                                 int& dimension, bool uFastest) const {
    return attrPerControlPoint<int, int64>(sampleIndex, attrIndex, values, dimension, uFastest);
}

bool NurbsSurfaceZelObj::getAttr(int sampleIndex, int attrIndex, std::vector<float>& values,
                                 int& dimension, bool uFastest) const {
    return attrPerControlPoint<float, double>(sampleIndex, attrIndex, values, dimension, uFastest);
}

bool NurbsSurfaceZelObj::getAttr(int sampleIndex, int attrIndex, std::vector<double>& values,
                                 int& dimension, bool uFastest) const {
    return attrPerControlPoint<double, float>(sampleIndex, attrIndex, values, dimension, uFastest);
}

bool NurbsSurfaceZelObj::getAttr(int sampleIndex, int attrIndex, std::vector<int64>& values,
                                 int& dimension, bool uFastest) const {
    return attrPerControlPoint<int64, int>(sampleIndex, attrIndex, values, dimension, uFastest);
}

bool NurbsSurfaceZelObj::getAttr(int sampleIndex, int attrIndex, std::vector<std::string>& values,
                                 bool uFastest) const {
    // Strings have no companion type; each string is one element.
    const std::vector<std::string>* data = nullptr;
    return getAttrData(sampleIndex, attrIndex, data) &&
           reorderPerControlPoint(sampleIndex, *data, 1, uFastest, values);
}

}  // namespace Zel

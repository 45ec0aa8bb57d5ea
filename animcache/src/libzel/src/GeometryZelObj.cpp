#include "GeometryZelObj.h"

#include "ZelDefinitionChunks.h"
#include "ZelFormat.h"
#include "ZelHelperObjInternal.h"
#include "ZelInterpolation.h"
#include "ZelKernelTrace.h"
#include "ZelRoMemCache.h"
#include "ZelTrace.h"

namespace Zel {

namespace {

const char* const prefNames[] = {"rmanP__Pref", "vorn_Pref"};

// The kernel behind both getPositionAtTime variants once the samples are chosen: the plain copy
// of the first chosen sample when there is nothing to blend, else the blend of the chosen
// samples' float positions, stored as Out.
template <class Out>
bool positionsAtTime(const GeometryZelObj& obj, float time, int order, bool blend,
                     const std::vector<int>& samples, const std::vector<float>& times,
                     std::vector<Out>& positions, ZelHelperObj::AnimationState& state,
                     int& dimension) {
    if (!blend || order < 1 || order > 3) {
        return obj.getPosition(samples[0], positions, state, dimension);
    }
    const std::vector<float>* arrays[4] = {nullptr, nullptr, nullptr, nullptr};
    std::vector<float> held[4];
    const auto read = [&](int sample, const std::vector<float>*& data) {
        return obj.getPositionData(sample, data, state, dimension);
    };
    if (!readBlendRun(obj.getParentCache(), samples, order, read, arrays, held)) {
        return false;
    }
    const float t = blendParameter(order, time, times);
    blendSamples<float, Out>(order, t, arrays, positions);
    if (debugLevel >= 1) {
        traceBlend(order, t, positions);
    }
    return true;
}

}  // namespace

GeometryZelObj::GeometryZelObj(ZelRoMemCache* cache, int objectIndex)
    : ZelHelperObj(cache, objectIndex) {
    addCategory(zelCategoryGeometry);
}

GeometryZelObj::GeometryZelObj(const GeometryZelObj& other) = default;

GeometryZelObj& GeometryZelObj::operator=(const GeometryZelObj& other) = default;

GeometryZelObj::~GeometryZelObj() = default;

template <class T>
bool GeometryZelObj::copyRealsAs(int sampleIndex, unsigned int tag, std::vector<T>& values,
                                 AnimationState& state, int* dimension) const {
    const ZelChunk* chunk = nullptr;
    const AnimationState origin = findChunk(sampleIndex, tag, chunk);
    if (chunk == nullptr) {
        return false;
    }
    if (dimension != nullptr) {
        *dimension = pointDimension(chunk);
    }
    if (!copyRealData(chunk, values)) {
        return false;
    }
    state = origin;
    return true;
}

bool GeometryZelObj::copyReals(int sampleIndex, unsigned int tag, std::vector<float>& values,
                               AnimationState& state, int* dimension) const {
    return copyRealsAs(sampleIndex, tag, values, state, dimension);
}

bool GeometryZelObj::copyReals(int sampleIndex, unsigned int tag, std::vector<double>& values,
                               AnimationState& state, int* dimension) const {
    return copyRealsAs(sampleIndex, tag, values, state, dimension);
}

bool GeometryZelObj::getPositionData(int sampleIndex, const std::vector<double>*& data,
                                     AnimationState& state, int& dimension) const {
    state = kStatic;
    const ZelChunk* chunk = nullptr;
    const AnimationState origin = findChunk(sampleIndex, kTagPOSI, chunk);
    if (!getZelLeafData(chunk, data)) {
        return false;
    }
    dimension = pointDimension(chunk);
    state = origin;
    return true;
}

bool GeometryZelObj::getPositionData(int sampleIndex, const std::vector<float>*& data,
                                     AnimationState& state, int& dimension) const {
    state = kStatic;
    const ZelChunk* chunk = nullptr;
    const AnimationState origin = findChunk(sampleIndex, kTagPOSI, chunk);
    if (!getZelLeafData(chunk, data)) {
        return false;
    }
    dimension = pointDimension(chunk);
    state = origin;
    return true;
}

bool GeometryZelObj::getPosition(int sampleIndex, std::vector<double>& positions,
                                 AnimationState& state, int& dimension) const {
    return copyReals(sampleIndex, kTagPOSI, positions, state, &dimension);
}

bool GeometryZelObj::getPosition(int sampleIndex, std::vector<float>& positions,
                                 AnimationState& state, int& dimension) const {
    return copyReals(sampleIndex, kTagPOSI, positions, state, &dimension);
}

bool GeometryZelObj::getPositionAtTime(float time, ZelInterpolationHints& hints,
                                       std::vector<double>& positions, AnimationState& state,
                                       int& dimension) const {
    dimension = 0;
    state = kStatic;
    positions.clear();
    std::vector<int> samples;
    std::vector<float> times;
    const bool blend = getEvalTimeAndSampleIndices(time, hints, samples, times);
    return positionsAtTime(*this, time, hints.order, blend, samples, times, positions, state,
                           dimension);
}

bool GeometryZelObj::getPositionAtTime(float time, ZelInterpolationHints& hints,
                                       std::vector<float>& positions, AnimationState& state,
                                       int& dimension) const {
    dimension = 0;
    state = kStatic;
    positions.clear();
    std::vector<int> samples;
    std::vector<float> times;
    const bool blend = getEvalTimeAndSampleIndices(time, hints, samples, times);
    return positionsAtTime(*this, time, hints.order, blend, samples, times, positions, state,
                           dimension);
}

const ZelChunk* GeometryZelObj::getPrefChunk() const {
    if (getNumAttrs() == 0) {
        return nullptr;
    }
    const ZelDATRChunk* datr = getObjDef()->getDATR();
    const int count = datr->getNumAttrs();
    for (int i = 0; i < count; ++i) {
        const std::string& name = datr->getAttrName(i);
        if (name == prefNames[0] || name == prefNames[1]) {
            // Only the first rest-pose attribute counts, even when its data turns out unusable.
            return getAttrDataChunk(getFirstSampleIndex(), i);
        }
    }
    return nullptr;
}

template <class T>
bool GeometryZelObj::getPrefDataAs(const std::vector<T>*& data, int& dimension) const {
    data = nullptr;
    dimension = 0;
    const ZelChunk* chunk = getPrefChunk();
    if (!getZelLeafData(chunk, data)) {
        return false;
    }
    // Unlike positions, a rest pose keeps any component count; only 0 means 3.
    const int d = getDimension(chunk);
    dimension = d == 0 ? 3 : d;
    return true;
}

bool GeometryZelObj::getPrefData(const std::vector<double>*& data, int& dimension) const {
    return getPrefDataAs(data, dimension);
}

bool GeometryZelObj::getPrefData(const std::vector<float>*& data, int& dimension) const {
    return getPrefDataAs(data, dimension);
}

}  // namespace Zel

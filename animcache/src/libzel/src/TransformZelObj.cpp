#include "TransformZelObj.h"

#include <cassert>
#include <cstddef>

#include "ZelChannels.h"
#include "ZelDefinitionChunks.h"
#include "ZelFormat.h"
#include "ZelInterpolation.h"
#include "ZelKernelTrace.h"
#include "ZelMatrix.h"
#include "ZelTrace.h"

namespace Zel {

namespace {

// Copies the first 16 values of `stored` into `matrix`, converted; false when there are fewer.
template <class S, class T>
bool copyMatrix(const std::vector<S>& stored, T* matrix) {
    if (stored.size() < 16) {
        return false;
    }
    for (int i = 0; i < 16; ++i) {
        matrix[i] = static_cast<T>(stored[static_cast<std::size_t>(i)]);
    }
    return true;
}

}  // namespace

TransformZelObj::TransformZelObj(ZelRoMemCache* cache, int objectIndex)
    : ZelHelperObj(cache, objectIndex) {
    addCategory(zelCategoryTransform);
}

TransformZelObj::TransformZelObj(const TransformZelObj& other) = default;

TransformZelObj& TransformZelObj::operator=(const TransformZelObj& other) = default;

TransformZelObj::~TransformZelObj() = default;

template <class T>
bool TransformZelObj::fetchMatrix(int sampleIndex, T* matrix, AnimationState& state) const {
    const ZelChunk* chunk = nullptr;
    state = findChunk(sampleIndex, kTagMTRX, chunk);
    const std::vector<double>* doubles = nullptr;
    const std::vector<float>* floats = nullptr;
    if (getZelLeafData(chunk, doubles)) {
        return copyMatrix(*doubles, matrix);
    }
    if (getZelLeafData(chunk, floats)) {
        return copyMatrix(*floats, matrix);
    }
    return false;
}

bool TransformZelObj::getTransformData(int sampleIndex, std::vector<float>& matrix,
                                       AnimationState& state) const {
    matrix.resize(16);
    return fetchMatrix(sampleIndex, matrix.data(), state);
}

bool TransformZelObj::getTransformData(int sampleIndex, std::vector<double>& matrix,
                                       AnimationState& state) const {
    matrix.resize(16);
    return fetchMatrix(sampleIndex, matrix.data(), state);
}

template <class T>
bool TransformZelObj::transformAtTime(float time, ZelInterpolationHints& hints,
                                      std::vector<T>& matrix, AnimationState& state) const {
    state = kStatic;
    matrix.resize(16);
    std::vector<int> samples;
    std::vector<float> times;
    const bool blend = getEvalTimeAndSampleIndices(time, hints, samples, times);
    const int order = hints.order;
    if (blend && order >= 1 && order <= 3) {
        // The parameter is single precision in both instantiations; cubic order measures it, and
        // blends, as quadratic does: only the first three samples of the run count.
        const T u = static_cast<T>(blendParameter(order, time, times));
        return order == 1 ? interpolateTransformLinear(samples, u, matrix, state)
                          : interpolateTransformQuadratic(samples, u, matrix, state);
    }
    return fetchMatrix(samples[0], matrix.data(), state);
}

bool TransformZelObj::getTransformAtTime(float time, ZelInterpolationHints& hints,
                                         std::vector<float>& matrix, AnimationState& state) const {
    return transformAtTime(time, hints, matrix, state);
}

bool TransformZelObj::getTransformAtTime(float time, ZelInterpolationHints& hints,
                                         std::vector<double>& matrix, AnimationState& state) const {
    return transformAtTime(time, hints, matrix, state);
}

bool TransformZelObj::inheritsTransform() const {
    const std::vector<int>* data = nullptr;
    AnimationState origin = kStatic;
    if (!getLeafData(getFirstSampleIndex(), kTagINHT, data, origin) || data->empty()) {
        return true;
    }
    return data->front() != 0;
}

template <class T>
T TransformZelObj::channelValue(const ZelChunk* chunk) {
    const std::vector<double>* doubles = nullptr;
    const std::vector<float>* floats = nullptr;
    if (getZelLeafData(chunk, doubles)) {
        return doubles->empty() ? T(0) : static_cast<T>(doubles->front());
    }
    if (getZelLeafData(chunk, floats)) {
        return floats->empty() ? T(0) : static_cast<T>(floats->front());
    }
    return T(0);
}

template <class T>
bool TransformZelObj::channelAt(const ZelDATRChunk& datr, int attr, const std::vector<int>& samples,
                                int order, T t, T& value, AnimationState& state) const {
    const ZelChunk* first = getAttrDataChunk(samples[0], attr);
    if (first == nullptr) {
        return false;
    }
    const T a0 = channelValue<T>(first);
    value = a0;
    if (!datr.isAnimated(attr)) {
        return true;
    }
    // A later sample without the value leaves the channel at its first-sample value.
    const ZelChunk* second = getAttrDataChunk(samples[1], attr);
    const ZelChunk* third =
        second != nullptr && order == 2 ? getAttrDataChunk(samples[2], attr) : nullptr;
    if (second != nullptr && order == 1) {
        const T a1 = channelValue<T>(second);
        value = blendChannelLinear(a0, a1, t);
        state = kAnimated;
        if (debugLevel >= 1) {
            traceChannelLinear(datr.getAttrName(attr), value, a0, a1);
        }
    } else if (third != nullptr) {
        const T a1 = channelValue<T>(second);
        const T a2 = channelValue<T>(third);
        value = blendChannelQuadratic(a0, a1, a2, t);
        state = kAnimated;
        if (debugLevel >= 1) {
            traceChannelQuadratic(datr.getAttrName(attr), value, a0, a1, a2);
        }
    }
    return true;
}

template <class T>
bool TransformZelObj::gatherChannels(const std::vector<int>& samples, int order, T t, T* matrix,
                                     AnimationState& state) const {
    const ZelDOBJChunk* def = getObjDef();
    const ZelDATRChunk* datr = def != nullptr ? def->getDATR() : nullptr;
    const int numAttrs = datr != nullptr ? datr->getNumAttrs() : 0;

    ZelTransformChannels<T> channels;
    bool found = false;
    for (int c = 0; c < kNumChannels; ++c) {
        for (int a = 0; a < numAttrs; ++a) {
            T value = T(0);
            if (datr->getAttrName(a) == zelChannelNames[c] &&
                channelAt(*datr, a, samples, order, t, value, state)) {
                found = true;
                setChannelValue(channels, c, value);
            }
        }
    }
    if (!found) {
        return false;
    }
    // A separately stored rotate order wins over the "rotateOrder" channel.
    const std::vector<int>* mtro = nullptr;
    AnimationState origin = kStatic;
    if (getLeafData(samples[0], kTagMTRO, mtro, origin) && !mtro->empty()) {
        setRotateOrderOverride(channels, mtro->front());
    }
    const T* composed = composeTransform(channels);
    for (int i = 0; i < 16; ++i) {
        matrix[i] = composed[i];
    }
    return true;
}

template <class T>
bool TransformZelObj::interpolateTransform(const std::vector<int>& samples, int order, T t,
                                           std::vector<T>& matrix, AnimationState& state) const {
    assert((order == 1 || order == 2) && samples.size() > static_cast<std::size_t>(order));
    state = kStatic;
    T result[16];
    if (gatherChannels(samples, order, t, result, state)) {
        matrix.assign(result, result + 16);
        return true;
    }
    // No channels: blend the stored matrices themselves.
    T stored[3][16];
    for (int i = 0; i <= order; ++i) {
        if (!fetchMatrix(samples[static_cast<std::size_t>(i)], stored[i], state)) {
            return false;
        }
    }
    ZelMatrixBlend<T> blend;
    if (order == 1) {
        blendMatricesLinear(stored[0], stored[1], t, blend);
        if (debugLevel >= 2) {
            traceMatrixBlendLinear(stored[0], stored[1], blend);
        }
    } else {
        blendMatricesQuadratic(stored[0], stored[1], stored[2], t, blend);
        if (debugLevel >= 2) {
            traceMatrixBlendQuadratic(stored[0], stored[1], stored[2], blend);
        }
    }
    matrix.assign(blend.xform, blend.xform + 16);
    return true;
}

bool TransformZelObj::interpolateTransformLinear(const std::vector<int>& samples, float t,
                                                 std::vector<float>& matrix,
                                                 AnimationState& state) const {
    return interpolateTransform(samples, 1, t, matrix, state);
}

bool TransformZelObj::interpolateTransformLinear(const std::vector<int>& samples, double t,
                                                 std::vector<double>& matrix,
                                                 AnimationState& state) const {
    return interpolateTransform(samples, 1, t, matrix, state);
}

bool TransformZelObj::interpolateTransformQuadratic(const std::vector<int>& samples, float t,
                                                    std::vector<float>& matrix,
                                                    AnimationState& state) const {
    return interpolateTransform(samples, 2, t, matrix, state);
}

bool TransformZelObj::interpolateTransformQuadratic(const std::vector<int>& samples, double t,
                                                    std::vector<double>& matrix,
                                                    AnimationState& state) const {
    return interpolateTransform(samples, 2, t, matrix, state);
}

}  // namespace Zel

// ZelReader's transform matrices at any time: composed from blended transform channels where the
// object has them, else blended from the stored matrices, as the transform helper object does.
#include <string_view>

#include "ZelChannels.h"
#include "ZelInterpolation.h"
#include "ZelMatrix.h"
#include "ZelReaderImpl.h"

namespace Zel {

namespace {

using Impl = ZelReader::Impl;

// The first 16 values of the object's matrix in `sample`, converted to T.
template <class T>
ZelStatus storedMatrix(const Impl& r, int object, int sample, T* m) {
    ZelDataView v;
    ZelStatus status = dataAt(r, object, sample, kTagMTRX, v);
    if (status.ok() &&
        ((v.type != ZelElementType::kFloat && v.type != ZelElementType::kDouble) || v.count < 16)) {
        status = r.fail(ZelStatusCode::kCorrupt, "the matrix does not hold 16 real numbers");
    }
    for (int i = 0; status.ok() && i < 16; ++i) {
        m[i] = v.value<T>(i);
    }
    return status;
}

// The first value of an attribute's value chunk as T: 0 unless it holds reals.
template <class T>
bool channelValueAt(const Impl& r, int object, int attr, int sample, T& value) {
    ZelChunkRef chunk;
    ZelDataView v;
    if (!r.attributeData(object, attr, sample, chunk).ok()) {
        return false;
    }
    const bool real = r.viewOf(chunk, false, v).ok() &&
                      (v.type == ZelElementType::kFloat || v.type == ZelElementType::kDouble);
    value = real && v.count > 0 ? v.value<T>(0) : T(0);
    return true;
}

// The transform channels among the object's attributes, blended over the run; false when the
// object has none.
template <class T>
bool channelsOf(const Impl& r, int object, const std::vector<int>& samples, int order, T t,
                ZelTransformChannels<T>& channels) {
    const Impl::Attributes a = r.attributesOf(object);
    const int count = a.animated + a.statics;
    std::vector<std::string_view> names(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        names[static_cast<size_t>(i)] = i < a.animated ? r.stringAt(a.animatedNames, i)
                                                       : r.stringAt(a.staticNames, i - a.animated);
    }
    bool found = false;
    for (int c = 0; c < kNumChannels; ++c) {
        for (int i = 0; i < count; ++i) {
            T a0 = T(0);
            if (names[static_cast<size_t>(i)] != zelChannelNames[c] ||
                !channelValueAt(r, object, i, samples[0], a0)) {
                continue;
            }
            found = true;
            T value = a0;
            T a1 = T(0);
            T a2 = T(0);
            // A later sample without the value leaves the channel at its first-sample value.
            const bool second = i < a.animated && channelValueAt(r, object, i, samples[1], a1);
            if (second && order == 1) {
                value = blendChannelLinear(a0, a1, t);
            } else if (second && order == 2 && channelValueAt(r, object, i, samples[2], a2)) {
                value = blendChannelQuadratic(a0, a1, a2, t);
            }
            setChannelValue(channels, c, value);
        }
    }
    return found;
}

// The matrix at `time` into `m`.
template <class T>
ZelStatus matrixAtTime(const Impl& r, int object, float time, int order, T* m) {
    if (order < 0) {
        return badOrder(r, order);
    }
    const ZelRun run = chooseRun(r, time, order);
    if (!run.blend) {
        return storedMatrix(r, object, run.samples[0], m);
    }
    // Cubic order blends as quadratic: only the first three samples of the run count.
    const int k = order == 1 ? 1 : 2;
    const T t = static_cast<T>(run.t);
    ZelTransformChannels<T> channels;
    if (channelsOf(r, object, run.samples, k, t, channels)) {
        // A separately stored rotate order wins over the "rotateOrder" channel.
        ZelDataView mtro;
        const ZelElementType int32 = ZelElementType::kInt32;
        if (dataAt(r, object, run.samples[0], kTagMTRO, mtro, &int32).ok() && !mtro.empty()) {
            setRotateOrderOverride(channels, mtro.value<int>(0));
        }
        const T* composed = composeTransform(channels);
        std::copy(composed, composed + 16, m);
        return ZelStatus();
    }
    T stored[3][16];
    for (int i = 0; i <= k; ++i) {
        ZelStatus status = storedMatrix(r, object, run.samples[static_cast<size_t>(i)], stored[i]);
        if (!status.ok()) {
            return status;
        }
    }
    ZelMatrixBlend<T> blend;
    if (k == 1) {
        blendMatricesLinear(stored[0], stored[1], t, blend);
    } else {
        blendMatricesQuadratic(stored[0], stored[1], stored[2], t, blend);
    }
    std::copy(blend.xform, blend.xform + 16, m);
    return ZelStatus();
}

}  // namespace

ZelStatus ZelReader::matrixAt(int object, float time, int order, std::array<float, 16>& out) const {
    return impl_ ? matrixAtTime(*impl_, object, time, order, out.data()) : readerClosed();
}

ZelStatus ZelReader::matrixAt(int object, float time, int order,
                              std::array<double, 16>& out) const {
    return impl_ ? matrixAtTime(*impl_, object, time, order, out.data()) : readerClosed();
}

}  // namespace Zel

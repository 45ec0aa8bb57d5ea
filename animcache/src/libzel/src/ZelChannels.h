// Transform channel values as a cache stores them: the blends of one value across the samples of
// a run, and the rules that store a gathered value in a channel record. Internal to the library.
#ifndef ZEL_CHANNELS_H
#define ZEL_CHANNELS_H

#include <cassert>

#include "ZelMatrix.h"

namespace Zel {

// Degrees to radians, written as the two precisions have always stored it.
template <class T>
inline constexpr T kDegreesToRadians = T(0.017453292519943295);
template <>
inline constexpr float kDegreesToRadians<float> = 0.017453292f;

// (1 - t)·a0 + t·a1.
template <class T>
T blendChannelLinear(T a0, T a1, T t) {
    return (T(1) - t) * a0 + t * a1;
}

// The parabola through a0 at t = -1, a1 at t = 0 and a2 at t = 1, in this form:
// t·(0.5·(a0 - 2·a1 + a2))·t + t·(0.5·(a2 - a0)) + a1.
template <class T>
T blendChannelQuadratic(T a0, T a1, T a2, T t) {
    return t * (T(0.5) * (a0 - T(2) * a1 + a2)) * t + t * (T(0.5) * (a2 - a0)) + a1;
}

// Stores one gathered value of `channel` (0..29) in `channels`: rotateX/Y/Z and rotateAxisX/Z
// are taken as degrees and stored in radians (rotateAxisY is stored as given); rotateOrder and
// transformOrder are truncated and stored only when that gives 0..5, otherwise ignored.
template <class T>
void setChannelValue(ZelTransformChannels<T>& channels, int channel, T value) {
    assert(channel >= 0 && channel < kNumChannels);
    if (channel == kChannelRotateOrder || channel == kChannelTransformOrder) {
        // Tested before truncating: only (-1, 6) truncates to 0..5, and converting a NaN or a
        // huge value to int would be undefined.
        if (value > T(-1) && value < T(6)) {
            const int order = static_cast<int>(value);
            (channel == kChannelRotateOrder ? channels.rotateOrder : channels.transformOrder) =
                order;
        }
        return;
    }
    // rotateAxisY is not among the angles converted here; it is stored as given.
    switch (channel) {
        case kChannelRotateX:
        case kChannelRotateY:
        case kChannelRotateZ:
        case kChannelRotateAxisX:
        case kChannelRotateAxisZ:
            value *= kDegreesToRadians<T>;
            break;
        default:
            break;
    }
    channels.values[channel] = value;
}

// Replaces the rotate order with `rotateOrder` when it is below 6 (a separately stored override).
template <class T>
void setRotateOrderOverride(ZelTransformChannels<T>& channels, int rotateOrder) {
    if (rotateOrder < 6) {
        channels.rotateOrder = rotateOrder;
    }
}

}  // namespace Zel

#endif

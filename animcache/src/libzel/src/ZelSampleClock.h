// The time arithmetic of a cache: which sample lies at, before or after a time, the time of a
// sample, and the run of samples a time query blends. One implementation for the file-backed
// caches, the helper objects and the mapped reader. Internal to the library.
#ifndef ZEL_SAMPLE_CLOCK_H
#define ZEL_SAMPLE_CLOCK_H

#include <cstddef>
#include <vector>

#include "ZelTypes.h"

namespace Zel {

// A view of a cache's sampling: everything single precision, compared exactly, no tolerance.
// A rate of exactly 0 means non-uniform sampling, with one time per sample in `times`.
struct ZelSampleClock {
    int numSamples = 0;
    float firstTime = 0.0f;
    float lastTime = 0.0f;
    float rate = 1.0f;
    const float* times = nullptr;  // the time table (non-uniform sampling)
    size_t timeCount = 0;

    // The sample lying exactly at `time`, or -1.
    int sampleIndex(float time) const;
    // Uniformly sampled, the last sample not after `time`; non-uniformly, the first sample not
    // before it (kept as it is: callers rely on both). `time` is clamped to the last time; -1
    // before the first time, for a NaN and without samples.
    int maxIndexNotGreaterThan(float time) const;
    // The first sample not before `time` (clamped to the first time), or -1.
    int minIndexNotLessThan(float time) const;
    // The time of sample `index`, or the quiet NaN 0x7FC00000 when there is none.
    float sampleTime(int index) const;

    // Chooses the order + 1 samples that a time query of interpolation `order` blends, with their
    // times, and returns true when they are to be blended; false when samples[0] alone answers
    // (the time lies within 0.001 of it, at or after the last sample, or before the first, where
    // every entry is -1). A run that would pass the last sample is moved back for orders above 1.
    bool chooseRun(float time, int order, std::vector<int>& samples,
                   std::vector<float>& times) const;
};

// The quiet NaN 0x7FC00000 that stands for "no time".
float noTime();

}  // namespace Zel

#endif

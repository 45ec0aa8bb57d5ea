#include "ZelSampleClock.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

namespace Zel {

namespace {

// Truncates toward zero to an int. NaN and values outside the int range have no integer; they
// give -1, which every caller treats as "no sample", as a negative truncation would.
int truncateToInt(float x) {
    if (!(x > -2147483648.0f && x < 2147483648.0f)) {
        return -1;
    }
    return static_cast<int>(x);
}

}  // namespace

float noTime() {
    const uint32 bits = 0x7FC00000u;
    float f;
    std::memcpy(&f, &bits, sizeof(f));
    return f;
}

int ZelSampleClock::sampleIndex(float time) const {
    if (numSamples == 0 || firstTime > time || time > lastTime) {
        return -1;
    }
    if (rate != 0.0f) {
        const float p = (time - firstTime) * rate;
        float whole;
        const float fraction = std::modf(p, &whole);
        if (fraction != 0.0f) {
            return -1;
        }
        const int i = truncateToInt(whole);
        return i < 0 || i >= numSamples ? -1 : i;
    }
    const float* end = times + timeCount;
    const float* it = std::lower_bound(times, end, time);
    return it == end || *it != time ? -1 : static_cast<int>(it - times);
}

int ZelSampleClock::maxIndexNotGreaterThan(float time) const {
    if (numSamples == 0) {
        return -1;
    }
    const float t = lastTime < time ? lastTime : time;
    if (firstTime > t) {
        return -1;
    }
    if (rate != 0.0f) {
        const int i = truncateToInt((t - firstTime) * rate);
        return i < 0 || i >= numSamples ? -1 : i;
    }
    // The lower bound of a NaN is position 0, which would pass for a sample.
    if (std::isnan(t)) {
        return -1;
    }
    // The first sample not before t: between two samples this is the later one, unlike the
    // uniform branch above.
    const float* end = times + timeCount;
    const float* it = std::lower_bound(times, end, t);
    return it == end ? -1 : static_cast<int>(it - times);
}

int ZelSampleClock::minIndexNotLessThan(float time) const {
    if (numSamples == 0) {
        return -1;
    }
    const float t = firstTime > time ? firstTime : time;
    if (t > lastTime) {
        return -1;
    }
    if (rate != 0.0f) {
        const int i = truncateToInt(std::ceil((t - firstTime) * rate));
        return i < 0 || i >= numSamples ? -1 : i;
    }
    if (std::isnan(t)) {
        return -1;
    }
    const float* end = times + timeCount;
    const float* it = std::lower_bound(times, end, t);
    while (it != end && *it < t) {
        ++it;
    }
    return it == end ? -1 : static_cast<int>(it - times);
}

float ZelSampleClock::sampleTime(int index) const {
    if (numSamples == 0 || index < 0 || index >= numSamples) {
        return noTime();
    }
    if (rate == 0.0f) {
        // A loaded cache has one time per sample; anything else is a broken table.
        assert(static_cast<size_t>(index) < timeCount);
        return static_cast<size_t>(index) < timeCount ? times[index] : noTime();
    }
    const float t = static_cast<float>(index) / rate + firstTime;
    if (firstTime > t || t > lastTime) {
        return noTime();
    }
    return t;
}

bool ZelSampleClock::chooseRun(float time, int order, std::vector<int>& samples,
                               std::vector<float>& runTimes) const {
    assert(order >= 0);
    // A negative order is the caller's mistake; one entry keeps every later access in range.
    const size_t k = order >= 0 ? static_cast<size_t>(order) + 1 : 1;
    const int last = numSamples - 1;
    samples.resize(k);
    runTimes.resize(k);
    samples[0] = maxIndexNotGreaterThan(time);
    if (samples[0] == -1) {
        samples.assign(k, -1);
        runTimes.assign(k, time);
        return false;
    }
    if (std::fabs(static_cast<double>(time) - static_cast<double>(sampleTime(samples[0]))) <
        0.001) {
        runTimes[0] = time;
        return false;
    }
    if (time >= lastTime) {
        samples.assign(k, last);
        runTimes.assign(k, lastTime);
        return false;
    }
    if (k == 1) {
        runTimes[0] = sampleTime(samples[0]);
        return true;
    }
    if (k > 2) {
        // Moving the start back together with the counter puts the run's last sample on the
        // cache's last sample for orders up to 3.
        size_t m = k;
        while (static_cast<size_t>(samples[0]) + m > static_cast<size_t>(numSamples) &&
               samples[0] > 0) {
            --samples[0];
            --m;
        }
    }
    for (size_t i = 0; i < k; ++i) {
        runTimes[i] = sampleTime(samples[i]);
        if (i + 1 < k) {
            samples[i + 1] = samples[i] < last ? samples[i] + 1 : samples[i];
        }
    }
    return true;
}

}  // namespace Zel

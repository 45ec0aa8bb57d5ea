#include "ZelInterpolation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Zel;
using D = std::vector<double>;
using F = std::vector<float>;

TEST(BlendParameter, MeasuresAcrossFirstIntervalForLinearAndMiddleOneOtherwise) {
    EXPECT_EQ(blendParameter(1, 5.25f, {5.0f, 6.0f}), 0.25f);
    EXPECT_EQ(blendParameter(2, 5.25f, {4.0f, 5.0f, 6.0f}), 0.25f);
    // A run that starts at the later sample (non-uniform caches) gives a negative t.
    EXPECT_EQ(blendParameter(1, 5.5f, {6.0f, 7.0f}), -0.5f);
    // Zero-length intervals are not guarded.
    EXPECT_TRUE(std::isinf(blendParameter(1, 5.5f, {5.0f, 5.0f})));
    EXPECT_TRUE(std::isnan(blendParameter(2, 5.0f, {4.0f, 5.0f, 5.0f})));
}

TEST(BlendKernels, HitTheirSamplesAndHandWorkedValuesInTheVariantsPrecision) {
    D d;
    blendLinear(0.5f, D{1, -2, 10}, D{3, 4, 11}, d);
    EXPECT_EQ(d, (D{2, 1, 10.5}));
    // Attribute values keep double precision: half of the double nearest 1/3 is exact.
    blendLinear(0.5f, D{0.0}, D{1.0 / 3}, d);
    EXPECT_EQ(d[0], (1.0 / 3) / 2);
    // Double positions are float results widened: no extra digits beyond float's.
    F narrow;
    blendLinear(1.0f / 3, F{0.1f}, F{0.7f}, narrow);
    blendLinear(1.0f / 3, F{0.1f}, F{0.7f}, d);
    EXPECT_EQ(d[0], static_cast<double>(narrow[0]));
    EXPECT_NEAR(d[0], 0.3, 1e-7);

    // The parabola through 0, 1, 4 at t = -1, 0, 1 is (t + 1)².
    const D q0{0, 0.1, -3}, q1{1, 0.7, 5}, q2{4, 0.3, 2.5};
    blendQuadratic(0.0f, q0, q1, q2, d);
    EXPECT_EQ(d, q1);
    blendQuadratic(1.0f, q0, q1, q2, d);
    EXPECT_EQ(d[0] * 10 + d[2], 42.5);
    EXPECT_NEAR(d[1], 0.3, 1e-15);
    blendQuadratic(0.5f, q0, q1, q2, d);
    EXPECT_EQ(d[0], 2.25);

    const F c0{1, 0.1f}, c1{2, 0.7f}, c2{4, -0.3f}, c3{8, 9.9f};
    blendCubic(0.0f, c0, c1, c2, c3, narrow);
    EXPECT_EQ(narrow, c1);
    blendCubic(1.0f, c0, c1, c2, c3, narrow);
    EXPECT_EQ(narrow, c2);
    blendCubic(0.25f, D{0}, D{1}, D{2}, D{3}, d);
    EXPECT_EQ(d[0], 1.25);
}

TEST(BlendSamples, DispatchesOnOrderAndRejectsOthers) {
    const F a{1}, b{2}, c{4}, d{8}, empty;
    const F* samples[] = {&a, &b, &c, &d};
    D out{7, 7};
    EXPECT_FALSE(blendSamples(0, 0.5f, samples, out) || blendSamples(4, 0.5f, samples, out));
    EXPECT_EQ(out, (D{7, 7}));
    ASSERT_TRUE(blendSamples(2, 0.5f, samples, out));
    EXPECT_EQ(out, D{2.875});
    // Catmull-Rom weights at t = 0.5 are -1/16, 9/16, 9/16, -1/16.
    ASSERT_TRUE(blendSamples(3, 0.5f, samples, out));
    EXPECT_EQ(out, D{2.8125});
    const F* none[] = {&empty, &b};
    ASSERT_TRUE(blendSamples(1, 0.5f, none, out));
    EXPECT_TRUE(out.empty());
}

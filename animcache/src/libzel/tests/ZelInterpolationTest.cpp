#include "ZelInterpolation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Zel;

TEST(BlendParameter, MeasuresAcrossFirstIntervalForLinearAndMiddleOneOtherwise) {
    EXPECT_EQ(blendParameter(1, 5.25f, {5.0f, 6.0f}), 0.25f);
    EXPECT_EQ(blendParameter(2, 5.25f, {4.0f, 5.0f, 6.0f}), 0.25f);
    EXPECT_EQ(blendParameter(3, 5.25f, {4.0f, 5.0f, 6.0f, 7.0f}), 0.25f);
    // A run that starts at the later sample (non-uniform caches) gives a negative t.
    EXPECT_EQ(blendParameter(1, 5.5f, {6.0f, 7.0f}), -0.5f);
    // Zero-length intervals are not guarded.
    EXPECT_TRUE(std::isinf(blendParameter(1, 5.5f, {5.0f, 5.0f})));
    EXPECT_TRUE(std::isnan(blendParameter(2, 5.0f, {4.0f, 5.0f, 5.0f})));
}

TEST(BlendLinear, MidpointIsTheMeanAndPrecisionFollowsTheVariant) {
    std::vector<double> attr;
    blendLinear(0.5f, std::vector<double>{1, -2, 10}, std::vector<double>{3, 4, 11}, attr);
    EXPECT_EQ(attr, (std::vector<double>{2, 1, 10.5}));
    // Attribute values keep double precision: half of the double nearest 1/3 is exact.
    blendLinear(0.5f, std::vector<double>{0.0}, std::vector<double>{1.0 / 3}, attr);
    EXPECT_EQ(attr[0], (1.0 / 3) / 2);
    // Double positions are float results widened: no extra digits beyond float's.
    const std::vector<float> p0{0.1f}, p1{0.7f};
    std::vector<float> narrow;
    std::vector<double> wide;
    blendLinear(1.0f / 3, p0, p1, narrow);
    blendLinear(1.0f / 3, p0, p1, wide);
    EXPECT_EQ(wide[0], static_cast<double>(narrow[0]));
    EXPECT_NEAR(wide[0], 0.3, 1e-7);
}

TEST(BlendQuadratic, FollowsTheParabolaThroughTheThreeSamples) {
    const std::vector<double> p0{0, 0.1, -3}, p1{1, 0.7, 5}, p2{4, 0.3, 2.5};
    std::vector<double> out;
    blendQuadratic(0.0f, p0, p1, p2, out);
    EXPECT_EQ(out, p1);
    blendQuadratic(1.0f, p0, p1, p2, out);
    EXPECT_EQ(out[0], 4.0);
    EXPECT_EQ(out[2], 2.5);
    EXPECT_NEAR(out[1], 0.3, 1e-15);
    // 0, 1, 4 at t = -1, 0, 1 is (t + 1)².
    blendQuadratic(0.5f, p0, p1, p2, out);
    EXPECT_EQ(out[0], 2.25);
}

TEST(BlendCubic, CatmullRomHitsInnerSamplesExactly) {
    const std::vector<float> p0{1, 0.1f}, p1{2, 0.7f}, p2{4, -0.3f}, p3{8, 9.9f};
    std::vector<float> out;
    blendCubic(0.0f, p0, p1, p2, p3, out);
    EXPECT_EQ(out, p1);
    blendCubic(1.0f, p0, p1, p2, p3, out);
    EXPECT_EQ(out, p2);
    std::vector<double> line;
    blendCubic(0.25f, std::vector<double>{0}, std::vector<double>{1}, std::vector<double>{2},
               std::vector<double>{3}, line);
    EXPECT_EQ(line[0], 1.25);
}

TEST(BlendSamples, DispatchesOnOrderAndRejectsOthers) {
    const std::vector<float> a{1}, b{2}, c{4}, d{8};
    const std::vector<float>* samples[] = {&a, &b, &c, &d};
    std::vector<double> out{7, 7};
    EXPECT_FALSE(blendSamples(0, 0.5f, samples, out));
    EXPECT_FALSE(blendSamples(4, 0.5f, samples, out));
    EXPECT_EQ(out, (std::vector<double>{7, 7}));
    ASSERT_TRUE(blendSamples(2, 0.5f, samples, out));
    EXPECT_EQ(out, std::vector<double>{2.875});
    // Catmull-Rom weights at t = 0.5 are -1/16, 9/16, 9/16, -1/16.
    ASSERT_TRUE(blendSamples(3, 0.5f, samples, out));
    EXPECT_EQ(out, std::vector<double>{2.8125});

    const std::vector<float> empty;
    const std::vector<float>* none[] = {&empty, &b};
    ASSERT_TRUE(blendSamples(1, 0.5f, none, out));
    EXPECT_TRUE(out.empty());
}

TEST(TraceBlend, WritesLabelParameterAndValues) {
    testing::internal::CaptureStderr();
    traceBlend(1, 0.5f, std::vector<double>{1.5, -2});
    traceBlend(2, 0.25f, std::vector<float>{3});
    traceBlend(3, -1.0f, std::vector<float>{});
    traceBlend(4, 0.5f, std::vector<float>{1});
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              " linear t= 0.5\n 1.5 -2\n quadratic t= 0.25\n 3\n cubic t= -1\n\n");
}

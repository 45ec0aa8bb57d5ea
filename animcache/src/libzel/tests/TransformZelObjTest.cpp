#include "TransformZelObj.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/HelperFixture.h"

using namespace Zel;
using namespace ZelTest;

namespace {

using Matrix = std::vector<double>;

// The identity with `r` (3x3, row-major) in its upper left and (x, y, z) in its last row.
Matrix affine(const std::vector<double>& r, double x = 0, double y = 0, double z = 0) {
    return {r[0], r[1], r[2], 0, r[3], r[4], r[5], 0, r[6], r[7], r[8], 0, x, y, z, 1};
}

template <class T>
void expectNear(const std::vector<T>& actual, const Matrix& expected, double tolerance) {
    ASSERT_EQ(actual.size(), 16u);
    for (int i = 0; i < 16; ++i) {
        EXPECT_NEAR(double(actual[i]), expected[i], tolerance) << "[" << i << "]";
    }
}

int addTransform(CacheBuilder& b) {
    const int o = b.addObject("xf");
    b.addStatic<int>(o, "XFRM", {1});
    return o;
}

}  // namespace

TEST(TransformZelObj, ChannelsBlendComposeAndOutrankTheStoredMatrix) {
    CacheBuilder b(4, 0, 1);
    // translate (1, 2, int32 5 -> 0), rotateZ 90 degrees, beside a stored matrix.
    const int tr = addTransform(b);
    b.addStaticAttr<float>(tr, "translateX", {1});
    b.addStaticAttr<double>(tr, "translateY", {2});
    b.addStaticAttr<int>(tr, "translateZ", {5});
    b.addStaticAttr<float>(tr, "rotateZ", {90});
    b.addStatic<float>(tr, "MTRX", std::vector<float>(16, 3.0f));
    // translateX = 10 s² at sample s ("gap" lacks sample 2), scaleY 2.
    const int tx = addTransform(b);
    const int gap = addTransform(b);
    for (int o : {tx, gap}) {
        b.addAnimatedAttr(o, "translateX");
        b.addStaticAttr<double>(o, "scaleY", {2});
        for (int s = 0; s < 4; ++s) {
            if (o == tx || s != 2) {
                b.addAnimatedValue<float>(s, o, {10.0f * s * s});
            }
        }
    }
    // rotateX, rotateY 90: order 0 gives Rx·Ry, order 4 Ry·Rx. "MTRO" below 6 overrides the
    // channel, read at the first sample of the run (sample 1 at 1.25): elsewhere it is 0 here.
    auto xy = [&b](double rotateOrder, int mtro) {
        const int o = addTransform(b);
        b.addStaticAttr<double>(o, "rotateX", {90});
        b.addStaticAttr<double>(o, "rotateY", {90});
        b.addStaticAttr<double>(o, "rotateOrder", {rotateOrder});
        for (int s = 0; s < 4; ++s) {
            b.addSampled<int>(s, o, "MTRO", {s == 1 ? mtro : 0});
        }
        return o;
    };
    const int mtro4 = xy(7, 4);
    const int mtro0 = xy(4, 0);
    LoadedCache c(b);
    ASSERT_TRUE(c.loaded);

    auto scaledY = [](double x) { return affine({1, 0, 0, 0, 2, 0, 0, 0, 1}, x); };
    const struct {
        int object, order;
        State state;
        Matrix expected;
        double tolerance;  // for float; a millionth of it for double
    } rows[] = {
        {tr, 1, kStatic, affine({0, 1, 0, -1, 0, 0, 0, 0, 1}, 1, 2, 0), 1e-6},
        {tr, 2, kStatic, affine({0, 1, 0, -1, 0, 0, 0, 0, 1}, 1, 2, 0), 1e-6},
        // Linear 10 + 0.25 x 30; quadratic (and cubic) through 10 s²: 15.625.
        {tx, 1, kAnimated, scaledY(17.5), 0},
        {tx, 2, kAnimated, scaledY(15.625), 0},
        {tx, 3, kAnimated, scaledY(15.625), 0},
        // A later sample without the value keeps the first sample's, unblended and static.
        {gap, 1, kStatic, scaledY(10), 0},
        {gap, 2, kStatic, scaledY(10), 0},
        {mtro4, 1, kStatic, affine({0, 1, 0, 0, 0, 1, 1, 0, 0}), 1e-6},    // Ry·Rx
        {mtro0, 1, kStatic, affine({0, 0, -1, 1, 0, 0, 0, -1, 0}), 1e-6},  // Rx·Ry
    };
    ZelInterpolationHints hints;
    std::vector<float> f;
    Matrix d;
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << "object " << r.object << " order " << r.order);
        const HelperPtr<TransformZelObj> t = c.get<TransformZelObj>(r.object);
        ASSERT_NE(t, nullptr);
        hints.order = r.order;
        State state = r.state == kStatic ? kAnimated : kStatic;
        ASSERT_TRUE(t->getTransformAtTime(1.25f, hints, f, state));
        EXPECT_EQ(state, r.state);
        expectNear(f, r.expected, r.tolerance);
        ASSERT_TRUE(t->getTransformAtTime(1.25f, hints, d, state));
        expectNear(d, r.expected, r.tolerance * 1e-6);
    }
    // On a sample the stored matrix answers, channels or not.
    State state = kStatic;
    ASSERT_TRUE(c.get<TransformZelObj>(tr)->getTransformAtTime(1, hints, f, state));
    EXPECT_EQ(f, std::vector<float>(16, 3.0f));
}

TEST(TransformZelObj, StoredMatricesAtSamplesAndBetween) {
    // Times 0..3. "scaled": diag(1 + s) with translation (s, s², 0), as double; "holes": scaled
    // without sample 2, and "INHT" 0. (How rotations blend is the matrix kernels' and tested
    // there.)
    CacheBuilder b(4, 0, 1);
    const int scaled = addTransform(b);
    const int holes = addTransform(b);
    const int ints = addTransform(b);
    b.addStatic<int>(holes, "INHT", {0});
    b.addStatic<int>(ints, "MTRX", std::vector<int>(16, 1));
    auto scaledAt = [](int s) {
        return affine({1. + s, 0, 0, 0, 1. + s, 0, 0, 0, 1. + s}, s, s * s);
    };
    for (int s = 0; s < 4; ++s) {
        b.addSampled<double>(s, scaled, "MTRX", scaledAt(s));
        if (s != 2) {
            b.addSampled<double>(s, holes, "MTRX", scaledAt(s));
        }
    }
    LoadedCache c(b);
    ASSERT_TRUE(c.loaded);
    ZelInterpolationHints hints;
    State state = kStatic;
    std::vector<float> f;
    Matrix d;

    HelperPtr<TransformZelObj> t = c.get<TransformZelObj>(scaled);
    ASSERT_NE(t, nullptr);
    ASSERT_TRUE(t->getTransformData(3, f, state));  // double read through float
    EXPECT_EQ(state, kAnimated);
    const Matrix m3 = scaledAt(3);
    EXPECT_EQ(f, std::vector<float>(m3.begin(), m3.end()));
    hints.order = 3;  // within 0.001 of a sample: that sample, unchanged
    ASSERT_TRUE(t->getTransformAtTime(1.0005f, hints, d, state));
    EXPECT_EQ(d, scaledAt(1));
    // Linear at 1.25 (t = 0.25): scale 2.25, translation (1.25, 1.75); quadratic and cubic
    // follow s² to 1.5625.
    hints.order = 1;
    ASSERT_TRUE(t->getTransformAtTime(1.25f, hints, f, state));
    expectNear(f, affine({2.25, 0, 0, 0, 2.25, 0, 0, 0, 2.25}, 1.25, 1.75), 1e-6);
    for (int order : {2, 3}) {
        hints.order = order;
        ASSERT_TRUE(t->getTransformAtTime(1.25f, hints, d, state));
        expectNear(d, affine({2.25, 0, 0, 0, 2.25, 0, 0, 0, 2.25}, 1.25, 1.5625), 1e-12);
    }

    // A missing matrix fails and leaves the output's values alone; so do other element types.
    t = c.get<TransformZelObj>(holes);
    for (int order : {1, 2}) {
        hints.order = order;
        d.assign(16, 7.0);
        EXPECT_FALSE(t->getTransformAtTime(1.5f, hints, d, state));
        EXPECT_EQ(d, Matrix(16, 7.0));
    }
    EXPECT_FALSE(c.get<TransformZelObj>(ints)->getTransformData(0, f, state));
    EXPECT_FALSE(t->inheritsTransform());
    EXPECT_TRUE(c.get<TransformZelObj>(scaled)->inheritsTransform());
}

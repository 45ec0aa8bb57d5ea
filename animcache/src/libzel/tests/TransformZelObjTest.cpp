#include "TransformZelObj.h"

#include <gtest/gtest.h>

#include <memory>
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

Matrix scaledAt(int s) {
    return affine({1. + s, 0, 0, 0, 1. + s, 0, 0, 0, 1. + s}, s, s * s);
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

// Samples at times 0..3. "tr": translate (1, 2, int32 5 -> 0) and rotateZ 90, beside a stored
// matrix of 3s. "tx": translateX = 10 s², scaleY 2; "gap" the same without sample 2. "mtro4",
// "mtro0": rotateX and rotateY 90 (order 0 gives Rx·Ry, order 4 Ry·Rx), "MTRO" below 6 overriding
// the channel, read at the first sample of the run (sample 1 at 1.25), 0 elsewhere. "scaled":
// stored diag(1 + s) with translation (s, s², 0), as double; "holes" the same without sample 2
// and "INHT" 0; "ints" an int32 matrix.
enum { kTr, kTx, kGap, kMtro4, kMtro0, kScaled, kHoles, kInts };
std::unique_ptr<LoadedCache> load() {
    CacheBuilder b(4, 0, 1);
    for (int o = kTr; o <= kInts; ++o) {
        addTransform(b);
    }
    b.addStaticAttr<float>(kTr, "translateX", {1});
    b.addStaticAttr<double>(kTr, "translateY", {2});
    b.addStaticAttr<int>(kTr, "translateZ", {5});
    b.addStaticAttr<float>(kTr, "rotateZ", {90});
    b.addStatic<float>(kTr, "MTRX", std::vector<float>(16, 3.0f));
    for (int o : {kTx, kGap}) {
        b.addAnimatedAttr(o, "translateX");
        b.addStaticAttr<double>(o, "scaleY", {2});
    }
    for (int o : {kMtro4, kMtro0}) {
        b.addStaticAttr<double>(o, "rotateX", {90});
        b.addStaticAttr<double>(o, "rotateY", {90});
        b.addStaticAttr<double>(o, "rotateOrder", {o == kMtro4 ? 7.0 : 4.0});
    }
    b.addStatic<int>(kHoles, "INHT", {0});
    b.addStatic<int>(kInts, "MTRX", std::vector<int>(16, 1));
    for (int s = 0; s < 4; ++s) {
        b.addAnimatedValue<float>(s, kTx, {10.0f * s * s});
        b.addSampled<int>(s, kMtro4, "MTRO", {s == 1 ? 4 : 0});
        b.addSampled<int>(s, kMtro0, "MTRO", {0});
        b.addSampled<double>(s, kScaled, "MTRX", scaledAt(s));
        if (s != 2) {
            b.addAnimatedValue<float>(s, kGap, {10.0f * s * s});
            b.addSampled<double>(s, kHoles, "MTRX", scaledAt(s));
        }
    }
    return std::make_unique<LoadedCache>(b);
}

}  // namespace

TEST(TransformZelObj, ChannelsOutrankStoredMatricesAndBothBlend) {
    const auto c = load();
    auto scaledY = [](double x) { return affine({1, 0, 0, 0, 2, 0, 0, 0, 1}, x); };
    const Matrix uniform = affine({2.25, 0, 0, 0, 2.25, 0, 0, 0, 2.25}, 1.25, 1.75);
    const Matrix curved = affine({2.25, 0, 0, 0, 2.25, 0, 0, 0, 2.25}, 1.25, 1.5625);
    const struct {
        int object, order;
        float time;
        State state;
        Matrix expected;
        double tolerance;  // for float; a millionth of it for double
    } rows[] = {
        {kTr, 1, 1.25f, kStatic, affine({0, 1, 0, -1, 0, 0, 0, 0, 1}, 1, 2, 0), 1e-6},
        // Linear 10 + 0.25 x 30; quadratic (and cubic) through 10 s²: 15.625.
        {kTx, 1, 1.25f, kAnimated, scaledY(17.5), 0},
        {kTx, 2, 1.25f, kAnimated, scaledY(15.625), 0},
        {kTx, 3, 1.25f, kAnimated, scaledY(15.625), 0},
        // A later sample without the value keeps the first sample's, unblended and static.
        {kGap, 1, 1.25f, kStatic, scaledY(10), 0},
        {kGap, 2, 1.25f, kStatic, scaledY(10), 0},
        {kMtro4, 1, 1.25f, kStatic, affine({0, 1, 0, 0, 0, 1, 1, 0, 0}), 1e-6},    // Ry·Rx
        {kMtro0, 1, 1.25f, kStatic, affine({0, 0, -1, 1, 0, 0, 0, -1, 0}), 1e-6},  // Rx·Ry
        // Stored matrices: within 0.001 of a sample that sample, unchanged; between samples scale
        // 2.25 and translation (1.25, 1.75) linearly, quadratic and cubic following s² to 1.5625.
        // (How rotations blend is the matrix kernels' and tested there.)
        {kScaled, 3, 1.0005f, kAnimated, scaledAt(1), 0},
        {kScaled, 1, 1.25f, kAnimated, uniform, 1e-6},
        {kScaled, 2, 1.25f, kAnimated, curved, 1e-6},
        {kScaled, 3, 1.25f, kAnimated, curved, 1e-6},
    };
    ZelInterpolationHints hints;
    std::vector<float> f;
    Matrix d;
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << "object " << r.object << " order " << r.order);
        const HelperPtr<TransformZelObj> t = c->get<TransformZelObj>(r.object);
        hints.order = r.order;
        State state = r.state == kStatic ? kAnimated : kStatic;
        ASSERT_TRUE(t->getTransformAtTime(r.time, hints, f, state));
        EXPECT_EQ(state, r.state);
        expectNear(f, r.expected, r.tolerance);
        ASSERT_TRUE(t->getTransformAtTime(r.time, hints, d, state));
        expectNear(d, r.expected, r.tolerance * 1e-6);
    }
}

TEST(TransformZelObj, StoredMatrixReadsFailuresAndInheritance) {
    const auto c = load();
    State state = kStatic;
    std::vector<float> f;
    HelperPtr<TransformZelObj> t = c->get<TransformZelObj>(kScaled);
    ASSERT_TRUE(t->getTransformData(3, f, state));  // double read through float
    EXPECT_EQ(state, kAnimated);
    const Matrix m3 = scaledAt(3);
    EXPECT_EQ(f, std::vector<float>(m3.begin(), m3.end()));
    EXPECT_TRUE(t->inheritsTransform());
    // On a sample the stored matrix answers, channels or not.
    ZelInterpolationHints hints;
    ASSERT_TRUE(c->get<TransformZelObj>(kTr)->getTransformAtTime(1, hints, f, state));
    EXPECT_EQ(f, std::vector<float>(16, 3.0f));

    // A missing matrix fails and leaves the output's values alone; so do other element types.
    t = c->get<TransformZelObj>(kHoles);
    Matrix d;
    for (int order : {1, 2}) {
        hints.order = order;
        d.assign(16, 7.0);
        EXPECT_FALSE(t->getTransformAtTime(1.5f, hints, d, state));
        EXPECT_EQ(d, Matrix(16, 7.0));
    }
    EXPECT_FALSE(t->inheritsTransform());
    EXPECT_FALSE(c->get<TransformZelObj>(kInts)->getTransformData(0, f, state));
}

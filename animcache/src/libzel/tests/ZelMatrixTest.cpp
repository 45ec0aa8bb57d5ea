#include "ZelMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

#include "ZelChannels.h"

using namespace Zel;
using V = std::vector<double>;

namespace {

const double kHalfRoot2 = std::sqrt(0.5), kPi = std::acos(-1.0);
const V kI3{1, 0, 0, 0, 1, 0, 0, 0, 1}, kRz90{0, 1, 0, -1, 0, 0, 0, 0, 1};

template <class T>
void expectNear(const T* got, const V& want) {
    for (size_t i = 0; i < want.size(); ++i) {
        EXPECT_NEAR(got[i], want[i], sizeof(T) == sizeof(float) ? 2e-6 : 1e-12) << "entry " << i;
    }
}

// A matrix from its upper 3x3 rows and its translation.
V affine(const V& r, double tx = 0, double ty = 0, double tz = 0) {
    return {r[0], r[1], r[2], 0, r[3], r[4], r[5], 0, r[6], r[7], r[8], 0, tx, ty, tz, 1};
}

// Quaternion of a rotation by `degrees` about z.
V rotZ(double degrees) {
    return {0, 0, std::sin(degrees * kPi / 360), std::cos(degrees * kPi / 360)};
}

template <class T>
std::vector<T> real(const V& v) {
    return std::vector<T>(v.begin(), v.end());
}

// The matrix composed from channel values given as (channel, value) pairs.
template <class T>
std::vector<T> composed(std::initializer_list<std::pair<int, double>> values, int rotateOrder = 0,
                        int transformOrder = 0) {
    ZelTransformChannels<T> ch;
    for (const auto& v : values) {
        setChannelValue(ch, v.first, T(v.second));
    }
    ch.rotateOrder = rotateOrder;
    ch.transformOrder = transformOrder;
    composeTransform(ch);
    return std::vector<T>(ch.matrix, ch.matrix + 16);
}

}  // namespace

template <class T>
class MatrixTest : public ::testing::Test {};
using Reals = ::testing::Types<float, double>;
TYPED_TEST_SUITE(MatrixTest, Reals);

TYPED_TEST(MatrixTest, ChannelValuesBlendConvertAnglesAndFilterOrders) {
    using T = TypeParam;
    EXPECT_STREQ(zelChannelNames[kChannelRotateAxisY], "rotateAxisY");
    EXPECT_STREQ(zelChannelNames[kNumChannels], "ERROR");
    ZelTransformChannels<T> ch;
    EXPECT_EQ(composeTransform(ch), ch.matrix);
    expectNear(ch.matrix, affine(kI3));
    const T toRadians = sizeof(T) == sizeof(float) ? T(0.017453292f) : T(0.017453292519943295);
    for (int c : {kChannelRotateX, kChannelRotateY, kChannelRotateZ, kChannelRotateAxisX,
                  kChannelRotateAxisZ}) {
        setChannelValue(ch, c, T(90));
        EXPECT_EQ(ch.values[c], T(90) * toRadians) << zelChannelNames[c];
    }
    setChannelValue(ch, kChannelRotateAxisY, T(90));
    EXPECT_EQ(ch.values[kChannelRotateAxisY], T(90));

    setChannelValue(ch, kChannelRotateOrder, T(2.7));
    setChannelValue(ch, kChannelTransformOrder, T(5.99));
    for (T bad : {T(6), T(7), T(-1), T(1e30), std::numeric_limits<T>::quiet_NaN()}) {
        setChannelValue(ch, kChannelRotateOrder, bad);
        setChannelValue(ch, kChannelTransformOrder, bad);
    }
    EXPECT_EQ(ch.rotateOrder * 10 + ch.transformOrder, 25);
    setChannelValue(ch, kChannelRotateOrder, T(-0.5));
    EXPECT_EQ(ch.rotateOrder, 0);
    setRotateOrderOverride(ch, 6);
    EXPECT_EQ(ch.rotateOrder, 0);
    setRotateOrderOverride(ch, 3);
    EXPECT_EQ(ch.rotateOrder, 3);

    EXPECT_EQ(blendChannelLinear(T(1), T(3), T(0.25)), T(1.5));
    EXPECT_EQ(blendChannelQuadratic(T(0), T(1), T(4), T(0.5)), T(2.25));
    EXPECT_EQ(blendChannelQuadratic(T(0.1), T(0.7), T(0.3), T(0)), T(0.7));
}

TYPED_TEST(MatrixTest, ComposesTranslationRotationAndRotateOrders) {
    using T = TypeParam;
    expectNear(composed<T>({{0, 1}, {1, 2}, {2, 3}}).data(), affine(kI3, 1, 2, 3));
    // Products of two quarter turns; the order of each pair decides which orders give which.
    const V xy{0, 0, -1, 1, 0, 0, 0, -1, 0}, yx{0, 1, 0, 0, 0, 1, 1, 0, 0};
    const V xz{0, 1, 0, 0, 0, 1, 1, 0, 0}, zx{0, 0, 1, -1, 0, 0, 0, -1, 0};
    const V yz{0, 0, -1, -1, 0, 0, 0, 1, 0}, zy{0, 1, 0, 0, 0, 1, 1, 0, 0};
    for (int order = -1; order < 7; ++order) {
        SCOPED_TRACE(order);
        const int o = (order < 0 || order > 5) ? 0 : order;
        expectNear(composed<T>({{5, 90}}, order).data(), affine(kRz90));
        expectNear(composed<T>({{3, 90}, {4, 90}}, order).data(),
                   affine(o == 0 || o == 2 || o == 3 ? xy : yx));
        expectNear(composed<T>({{3, 90}, {5, 90}}, order).data(),
                   affine(o == 0 || o == 3 || o == 4 ? xz : zx));
        expectNear(composed<T>({{4, 90}, {5, 90}}, order).data(),
                   affine(o == 0 || o == 1 || o == 4 ? yz : zy));
    }
    // The rotate axis goes before the rotation: two quarter turns about x make a half turn.
    expectNear(composed<T>({{kChannelRotateAxisX, 90}, {kChannelRotateX, 90}}).data(),
               affine({1, 0, 0, 0, -1, 0, 0, 0, -1}));
    // rotateAxisY is radians as stored.
    const std::vector<T> axisY = composed<T>({{kChannelRotateAxisY, 90}});
    EXPECT_NEAR(axisY[0], std::cos(90.0), 1e-5);
    EXPECT_NEAR(axisY[2], -std::sin(90.0), 1e-5);
    EXPECT_NEAR(axisY[8], std::sin(90.0), 1e-5);
}

TYPED_TEST(MatrixTest, ComposesPivotsScaleShearAndTransformOrders) {
    using T = TypeParam;
    // Scaling by 2 about (1, 2, 3) keeps the pivot in place.
    expectNear(composed<T>({{6, 2}, {7, 2}, {8, 2}, {22, 1}, {23, 2}, {24, 3}}).data(),
               affine({2, 0, 0, 0, 2, 0, 0, 0, 2}, -1, -2, -3));
    expectNear(composed<T>({{kChannelUniformScale, 3}, {kChannelScaleY, 2}}).data(),
               affine({3, 0, 0, 0, 6, 0, 0, 0, 3}));
    // Shear about the pivot (1, 1, 1), then the scale pivot translation.
    expectNear(
        composed<T>({{19, 0.5}, {20, 0.25}, {21, 2}, {22, 1}, {23, 1}, {24, 1}, {27, 4}}).data(),
        affine({1, 0, 0, 0.5, 1, 0, 0.25, 2, 1}, -0.75, -2, 4));
    // A quarter turn about z around (1, 0, 0), then the rotate pivot translation.
    expectNear(composed<T>({{5, 90}, {9, 1}, {14, 5}}).data(), affine(kRz90, 1, -1, 5));

    const V sr{0, 2, 0, -1, 0, 0, 0, 0, 1}, rs{0, 1, 0, -2, 0, 0, 0, 0, 1};
    const std::vector<V> want{affine(sr, 1, 0, 0), affine(sr, 0, 1, 0), affine(rs, 1, 0, 0),
                              affine(rs, 2, 0, 0), affine(sr, 0, 2, 0), affine(rs, 0, 1, 0),
                              affine(sr, 1, 0, 0)};
    for (int order = 0; order < 7; ++order) {
        SCOPED_TRACE(order);
        expectNear(
            composed<T>({{kChannelScaleX, 2}, {kChannelRotateZ, 90}, {0, 1}}, 0, order).data(),
            want[order]);
    }
}

TYPED_TEST(MatrixTest, MultiplyComputesProductsAndShortcutsBitwiseIdentity) {
    using T = TypeParam;
    T a[16] = {1, 2, 0, 0, 0, 1, 3, 0, 0, 0, 1, 0, 4, 5, 6, 1};
    const T b[16] = {2, 0, 0, 0, 0, 3, 0, 0, 1, 0, 1, 0, 7, 8, 9, 1};
    T out[16];
    multiplyMatrices(a, b, out);
    expectNear(out, {2, 6, 0, 0, 3, 3, 3, 0, 1, 0, 1, 0, 21, 23, 15, 1});
    multiplyMatrices(a, b, a);
    expectNear(a, {2, 6, 0, 0, 3, 3, 3, 0, 1, 0, 1, 0, 21, 23, 15, 1});

    // Arithmetic would turn inf·0 into NaN; the identity shortcut returns the other factor.
    std::vector<T> identity = real<T>(affine(kI3)), inf = identity;
    inf[12] = std::numeric_limits<T>::infinity();
    multiplyMatrices(inf.data(), identity.data(), out);
    EXPECT_EQ(std::memcmp(out, inf.data(), sizeof(out)), 0);
    multiplyMatrices(identity.data(), inf.data(), out);
    EXPECT_EQ(std::memcmp(out, inf.data(), sizeof(out)), 0);
    identity[1] = -T(0);  // equal in value, not in bits
    multiplyMatrices(inf.data(), identity.data(), out);
    EXPECT_TRUE(std::isnan(out[13]));
}

TYPED_TEST(MatrixTest, MatrixToQuaternionInEachBranchAndBack) {
    using T = TypeParam;
    const double c30 = std::cos(kPi / 6), s75 = std::sin(75 * kPi / 180),
                 c75 = std::cos(75 * kPi / 180), c150 = -c30, s150 = 0.5;
    const struct {
        V m, q;
    } cases[] = {
        // Trace branch: 30 degrees about z.
        {affine({c30, 0.5, 0, -0.5, c30, 0, 0, 0, 1}), rotZ(30)},
        // Largest diagonal entry x, y, z: 150 degrees about each axis.
        {affine({1, 0, 0, 0, c150, s150, 0, -s150, c150}), {s75, 0, 0, c75}},
        {affine({c150, 0, -s150, 0, 1, 0, s150, 0, c150}), {0, s75, 0, c75}},
        {affine({c150, s150, 0, -s150, c150, 0, 0, 0, 1}), {0, 0, s75, c75}},
        // A quarter turn about z has equal z and w, taken from the largest-diagonal branch.
        {affine(kRz90), {0, 0, kHalfRoot2, kHalfRoot2}},
        // A half turn about x stretched along x: positive trace, still the largest-x branch.
        {affine({3, 0, 0, 0, -1, 0, 0, 0, -1}), {1, 0, 0, 0}},
    };
    for (const auto& k : cases) {
        T q[4], back[16];
        matrixToQuaternion(real<T>(k.m).data(), q);
        expectNear(q, k.q);
        quaternionToMatrix(q, back);
        if (k.m[0] != 3) {
            expectNear(back, k.m);
        }
    }
}

TYPED_TEST(MatrixTest, SphericalBlends) {
    using T = TypeParam;
    const std::vector<T> q0 = real<T>(rotZ(0)), q30 = real<T>(rotZ(30)), q60 = real<T>(rotZ(60)),
                         q90 = real<T>(rotZ(90)), q1p5 = real<T>(rotZ(1.5)), minusQ0{0, 0, 0, -1};
    T out[4];
    slerpQuaternions(q0.data(), q90.data(), T(0.5), out);
    expectNear(out, rotZ(45));
    // No sign flip: towards -q90 the blend takes the long way round.
    const std::vector<T> negative{0, 0, -q90[2], -q90[3]};
    slerpQuaternions(q0.data(), negative.data(), T(0.5), out);
    expectNear(out, {0, 0, -std::sin(67.5 * kPi / 180), std::cos(67.5 * kPi / 180)});
    // Nearly equal (or opposite) rotations blend linearly and renormalise.
    slerpQuaternions(q0.data(), q1p5.data(), T(10), out);
    EXPECT_NEAR(out[2], 0.12989820509172995, 1e-5);
    EXPECT_NEAR(out[3], 0.9915273351319907, 1e-5);
    slerpQuaternions(q0.data(), minusQ0.data(), T(0.75), out);
    expectNear(out, {0, 0, 0, -1});

    quadraticSlerpQuaternions(q0.data(), q30.data(), q60.data(), T(0.5), out);
    expectNear(out, rotZ(45));
    // q2 next to q1: the linear blend of those two at t + 1, whatever q3 is.
    quadraticSlerpQuaternions(q0.data(), q1p5.data(), q60.data(), T(1), out);
    EXPECT_NEAR(out[2], 0.026174706625622886, 1e-5);
    EXPECT_NEAR(out[3], 0.9996573836735576, 1e-5);
}

TYPED_TEST(MatrixTest, MatrixBlendsThroughScaleRotationAndTranslation) {
    using T = TypeParam;
    const std::vector<T> identity = real<T>(affine(kI3)), rz90 = real<T>(affine(kRz90)),
                         moved = real<T>(affine(kRz90, 2, 4, 6));
    ZelMatrixBlend<T> b;
    // The diagonal is blended as it stands, so a pure quarter turn has scale block diag(0, 0, 1).
    blendMatricesLinear(rz90.data(), rz90.data(), T(0.3), b);
    expectNear(b.sMat, affine({0, 0, 0, 0, 0, 0, 0, 0, 1}));
    expectNear(b.rMat, affine(kRz90));
    expectNear(b.xform, affine({0, 0, 0, 0, 0, 0, 0, 0, 1}));

    blendMatricesLinear(identity.data(), moved.data(), T(0.5), b);
    expectNear(b.sMat, affine({0.5, 0, 0, 0, 0.5, 0, 0, 0, 1}));
    const double h = 0.5 * kHalfRoot2;
    expectNear(b.xform, affine({h, h, 0, -h, h, 0, 0, 0, 1}, 1, 2, 3));

    // Translations 0, 1, 4 at t = -1, 0, 1 follow (t + 1)².
    const std::vector<T> m2 = real<T>(affine(kI3, 1)), m3 = real<T>(affine(kI3, 4));
    blendMatricesQuadratic(identity.data(), m2.data(), m3.data(), T(0.5), b);
    expectNear(b.xform, affine(kI3, 2.25, 0, 0));
    blendMatricesQuadratic(identity.data(), rz90.data(), rz90.data(), T(0.5), b);
    // The angle follows the parabola through 0, 90 and 90 degrees: 101.25 at t = 0.5.
    expectNear(b.qi, rotZ(101.25));
}

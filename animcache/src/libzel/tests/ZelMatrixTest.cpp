#include "ZelMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

using namespace Zel;

namespace {

const double kHalfRoot2 = std::sqrt(0.5);
const double kPi = std::acos(-1.0);

template <class T>
double tolerance() {
    return sizeof(T) == sizeof(float) ? 2e-6 : 1e-12;
}

template <class T>
void expectNear(const T* got, const std::vector<double>& want) {
    for (size_t i = 0; i < want.size(); ++i) {
        EXPECT_NEAR(got[i], want[i], tolerance<T>()) << "entry " << i;
    }
}

// A matrix from its upper 3x3 rows and its translation.
std::vector<double> affine(const std::vector<double>& r, double tx = 0, double ty = 0,
                           double tz = 0) {
    return {r[0], r[1], r[2], 0, r[3], r[4], r[5], 0, r[6], r[7], r[8], 0, tx, ty, tz, 1};
}

// Quaternion of a rotation by `degrees` about z.
template <class T>
std::vector<T> rotZ(double degrees) {
    const double half = degrees * kPi / 360;
    return {0, 0, T(std::sin(half)), T(std::cos(half))};
}

template <class T>
ZelTransformChannels<T> composed(const std::vector<std::pair<int, T>>& values, int rotateOrder = 0,
                                 int transformOrder = 0) {
    ZelTransformChannels<T> ch;
    for (const auto& v : values) {
        setChannelValue(ch, v.first, v.second);
    }
    ch.rotateOrder = rotateOrder;
    ch.transformOrder = transformOrder;
    composeTransform(ch);
    return ch;
}

const std::vector<double> kRz90{0, 1, 0, -1, 0, 0, 0, 0, 1};

}  // namespace

template <class T>
class MatrixTest : public ::testing::Test {};
using Reals = ::testing::Types<float, double>;
TYPED_TEST_SUITE(MatrixTest, Reals);

TEST(ChannelNames, ThirtyChannelsThenTheSentinel) {
    EXPECT_STREQ(zelChannelNames[0], "translateX");
    EXPECT_STREQ(zelChannelNames[kChannelRotateAxisY], "rotateAxisY");
    EXPECT_STREQ(zelChannelNames[29], "transformOrder");
    EXPECT_STREQ(zelChannelNames[kNumChannels], "ERROR");
}

TYPED_TEST(MatrixTest, ChannelValuesConvertAnglesAndFilterOrders) {
    using T = TypeParam;
    ZelTransformChannels<T> ch;
    EXPECT_EQ(composeTransform(ch), ch.matrix);
    expectNear(ch.matrix, affine({1, 0, 0, 0, 1, 0, 0, 0, 1}));
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
    EXPECT_EQ(ch.rotateOrder, 2);
    EXPECT_EQ(ch.transformOrder, 5);
    setChannelValue(ch, kChannelRotateOrder, T(-0.5));
    EXPECT_EQ(ch.rotateOrder, 0);
    setRotateOrderOverride(ch, 6);
    EXPECT_EQ(ch.rotateOrder, 0);
    setRotateOrderOverride(ch, 3);
    EXPECT_EQ(ch.rotateOrder, 3);
}

TYPED_TEST(MatrixTest, ComposesTranslationRotationAndRotateOrders) {
    using T = TypeParam;
    expectNear(composed<T>({{0, T(1)}, {1, T(2)}, {2, T(3)}}).matrix,
               affine({1, 0, 0, 0, 1, 0, 0, 0, 1}, 1, 2, 3));
    for (int order = 0; order < 6; ++order) {
        expectNear(composed<T>({{kChannelRotateZ, T(90)}}, order).matrix, affine(kRz90));
    }
    // Products of two quarter turns; the order of each pair decides which orders give which.
    const std::vector<double> xy{0, 0, -1, 1, 0, 0, 0, -1, 0}, yx{0, 1, 0, 0, 0, 1, 1, 0, 0};
    const std::vector<double> xz{0, 1, 0, 0, 0, 1, 1, 0, 0}, zx{0, 0, 1, -1, 0, 0, 0, -1, 0};
    const std::vector<double> yz{0, 0, -1, -1, 0, 0, 0, 1, 0}, zy{0, 1, 0, 0, 0, 1, 1, 0, 0};
    for (int order = -1; order < 7; ++order) {
        const int o = (order < 0 || order > 5) ? 0 : order;
        const bool xFirstOfY = o == 0 || o == 2 || o == 3;
        const bool xFirstOfZ = o == 0 || o == 3 || o == 4;
        const bool yFirstOfZ = o == 0 || o == 1 || o == 4;
        SCOPED_TRACE(order);
        expectNear(composed<T>({{3, T(90)}, {4, T(90)}}, order).matrix,
                   affine(xFirstOfY ? xy : yx));
        expectNear(composed<T>({{3, T(90)}, {5, T(90)}}, order).matrix,
                   affine(xFirstOfZ ? xz : zx));
        expectNear(composed<T>({{4, T(90)}, {5, T(90)}}, order).matrix,
                   affine(yFirstOfZ ? yz : zy));
    }
    // The rotate axis goes before the rotation: two quarter turns about x make a half turn.
    expectNear(composed<T>({{kChannelRotateAxisX, T(90)}, {kChannelRotateX, T(90)}}).matrix,
               affine({1, 0, 0, 0, -1, 0, 0, 0, -1}));
    // rotateAxisY is radians as stored.
    const double c = std::cos(90.0), s = std::sin(90.0);
    const ZelTransformChannels<T> axisY = composed<T>({{kChannelRotateAxisY, T(90)}});
    EXPECT_NEAR(axisY.matrix[0], c, 1e-5);
    EXPECT_NEAR(axisY.matrix[2], -s, 1e-5);
    EXPECT_NEAR(axisY.matrix[8], s, 1e-5);
}

TYPED_TEST(MatrixTest, ComposesPivotsScaleAndShear) {
    using T = TypeParam;
    // Scaling by 2 about (1, 2, 3) keeps the pivot in place.
    expectNear(
        composed<T>({{6, T(2)}, {7, T(2)}, {8, T(2)}, {22, T(1)}, {23, T(2)}, {24, T(3)}}).matrix,
        affine({2, 0, 0, 0, 2, 0, 0, 0, 2}, -1, -2, -3));
    expectNear(composed<T>({{kChannelUniformScale, T(3)}, {kChannelScaleY, T(2)}}).matrix,
               affine({3, 0, 0, 0, 6, 0, 0, 0, 3}));
    // Shear about the pivot (1, 1, 1), then the scale pivot translation.
    expectNear(composed<T>({{19, T(0.5)},
                            {20, T(0.25)},
                            {21, T(2)},
                            {22, T(1)},
                            {23, T(1)},
                            {24, T(1)},
                            {27, T(4)}})
                   .matrix,
               affine({1, 0, 0, 0.5, 1, 0, 0.25, 2, 1}, -0.75, -2, 4));
    // A quarter turn about z around (1, 0, 0), then the rotate pivot translation.
    expectNear(composed<T>({{5, T(90)}, {9, T(1)}, {14, T(5)}}).matrix, affine(kRz90, 1, -1, 5));
}

TYPED_TEST(MatrixTest, TransformOrderArrangesScaleRotationAndTranslation) {
    using T = TypeParam;
    const std::vector<double> sr{0, 2, 0, -1, 0, 0, 0, 0, 1}, rs{0, 1, 0, -2, 0, 0, 0, 0, 1};
    const std::vector<std::vector<double>> want{
        affine(sr, 1, 0, 0), affine(sr, 0, 1, 0), affine(rs, 1, 0, 0), affine(rs, 2, 0, 0),
        affine(sr, 0, 2, 0), affine(rs, 0, 1, 0), affine(sr, 1, 0, 0)};
    for (int order = 0; order < 7; ++order) {
        SCOPED_TRACE(order);
        expectNear(
            composed<T>({{kChannelScaleX, T(2)}, {kChannelRotateZ, T(90)}, {0, T(1)}}, 0, order)
                .matrix,
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
    T identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    T inf[16];
    std::memcpy(inf, identity, sizeof(inf));
    inf[12] = std::numeric_limits<T>::infinity();
    multiplyMatrices(inf, identity, out);
    EXPECT_EQ(std::memcmp(out, inf, sizeof(out)), 0);
    multiplyMatrices(identity, inf, out);
    EXPECT_EQ(std::memcmp(out, inf, sizeof(out)), 0);
    identity[1] = -T(0);  // equal in value, not in bits
    multiplyMatrices(inf, identity, out);
    EXPECT_TRUE(std::isnan(out[13]));
}

TYPED_TEST(MatrixTest, MatrixToQuaternionInEachBranchAndBack) {
    using T = TypeParam;
    const double c30 = std::cos(kPi / 6), s75 = std::sin(75 * kPi / 180),
                 c75 = std::cos(75 * kPi / 180);
    const double c150 = -c30, s150 = 0.5;
    struct Case {
        std::vector<double> m, q;
    } cases[] = {
        // Trace branch: 30 degrees about z.
        {affine({c30, 0.5, 0, -0.5, c30, 0, 0, 0, 1}), rotZ<double>(30)},
        // Largest diagonal entry x, y, z: 150 degrees about each axis.
        {affine({1, 0, 0, 0, c150, s150, 0, -s150, c150}), {s75, 0, 0, c75}},
        {affine({c150, 0, -s150, 0, 1, 0, s150, 0, c150}), {0, s75, 0, c75}},
        {affine({c150, s150, 0, -s150, c150, 0, 0, 0, 1}), {0, 0, s75, c75}},
        // A quarter turn about z has equal z and w, taken from the largest-diagonal branch.
        {affine(kRz90), {0, 0, kHalfRoot2, kHalfRoot2}},
        // A half turn about x stretched along x: positive trace, still the largest-x branch.
        {affine({3, 0, 0, 0, -1, 0, 0, 0, -1}), {1, 0, 0, 0}},
    };
    for (const Case& k : cases) {
        T m[16], q[4], back[16];
        for (int i = 0; i < 16; ++i) {
            m[i] = T(k.m[i]);
        }
        matrixToQuaternion(m, q);
        expectNear(q, k.q);
        quaternionToMatrix(q, back);
        if (k.m[0] != 3) {
            expectNear(back, k.m);
        }
    }
}

TYPED_TEST(MatrixTest, SphericalBlends) {
    using T = TypeParam;
    const std::vector<T> q0 = rotZ<T>(0), q30 = rotZ<T>(30), q60 = rotZ<T>(60), q90 = rotZ<T>(90);
    T out[4];
    slerpQuaternions(q0.data(), q90.data(), T(0.5), out);
    expectNear(out, rotZ<double>(45));
    // No sign flip: towards -q90 the blend takes the long way round.
    const std::vector<T> negative{0, 0, -q90[2], -q90[3]};
    slerpQuaternions(q0.data(), negative.data(), T(0.5), out);
    expectNear(out, {0, 0, -std::sin(67.5 * kPi / 180), std::cos(67.5 * kPi / 180)});
    // Nearly equal (or opposite) rotations blend linearly and renormalise.
    const std::vector<T> q1p5 = rotZ<T>(1.5), minusQ0{0, 0, 0, -1};
    slerpQuaternions(q0.data(), q1p5.data(), T(10), out);
    EXPECT_NEAR(out[2], 0.12989820509172995, 1e-5);
    EXPECT_NEAR(out[3], 0.9915273351319907, 1e-5);
    slerpQuaternions(q0.data(), minusQ0.data(), T(0.25), out);
    expectNear(out, {0, 0, 0, 1});
    slerpQuaternions(q0.data(), minusQ0.data(), T(0.75), out);
    expectNear(out, {0, 0, 0, -1});

    quadraticSlerpQuaternions(q0.data(), q30.data(), q60.data(), T(0.5), out);
    expectNear(out, rotZ<double>(45));
    quadraticSlerpQuaternions(q0.data(), q30.data(), q60.data(), T(1), out);
    expectNear(out, rotZ<double>(60));
    // q2 next to q1: the linear blend of those two at t + 1, whatever q3 is.
    quadraticSlerpQuaternions(q0.data(), q1p5.data(), q60.data(), T(1), out);
    EXPECT_NEAR(out[2], 0.026174706625622886, 1e-5);
    EXPECT_NEAR(out[3], 0.9996573836735576, 1e-5);
}

TYPED_TEST(MatrixTest, MatrixBlendsThroughScaleRotationAndTranslation) {
    using T = TypeParam;
    T identity[16], rz90[16], moved[16];
    const std::vector<double> i3{1, 0, 0, 0, 1, 0, 0, 0, 1}, rz90Moved = affine(kRz90, 2, 4, 6);
    for (int i = 0; i < 16; ++i) {
        identity[i] = T(affine(i3)[i]);
        rz90[i] = T(affine(kRz90)[i]);
        moved[i] = T(rz90Moved[i]);
    }
    ZelMatrixBlend<T> b;
    // The diagonal is blended as it stands, so a pure quarter turn has scale block diag(0, 0, 1).
    blendMatricesLinear(rz90, rz90, T(0.3), b);
    expectNear(b.sMat, affine({0, 0, 0, 0, 0, 0, 0, 0, 1}));
    expectNear(b.rMat, affine(kRz90));
    expectNear(b.xform, affine({0, 0, 0, 0, 0, 0, 0, 0, 1}));

    blendMatricesLinear(identity, moved, T(0.5), b);
    expectNear(b.sMat, affine({0.5, 0, 0, 0, 0.5, 0, 0, 0, 1}));
    expectNear(b.qi, rotZ<double>(45));
    expectNear(b.tMat, affine(i3, 1, 2, 3));
    const double h = 0.5 * kHalfRoot2;
    expectNear(b.xform, affine({h, h, 0, -h, h, 0, 0, 0, 1}, 1, 2, 3));

    // Translations 0, 1, 4 at t = -1, 0, 1 follow (t + 1)².
    T m2[16], m3[16];
    std::memcpy(m2, identity, sizeof(m2));
    std::memcpy(m3, identity, sizeof(m3));
    m2[12] = 1;
    m3[12] = 4;
    blendMatricesQuadratic(identity, m2, m3, T(0.5), b);
    expectNear(b.xform, affine(i3, 2.25, 0, 0));
    blendMatricesQuadratic(identity, rz90, rz90, T(0.5), b);
    expectNear(b.q3, {0, 0, kHalfRoot2, kHalfRoot2});
    // The angle follows the parabola through 0, 90 and 90 degrees: 101.25 at t = 0.5.
    expectNear(b.qi, rotZ<double>(101.25));
}

TEST(MatrixTrace, WritesChannelsAndBlendsInTheirFixedForms) {
    testing::internal::CaptureStderr();
    traceChannelLinear<float>("translateX", 1.5f, 1, 2);
    traceChannelQuadratic<double>("rotateZ", 2.25, 0, 1, 4);
    EXPECT_EQ(blendChannelLinear(1.0f, 3.0f, 0.25f), 1.5f);
    EXPECT_EQ(blendChannelQuadratic(0.0, 1.0, 4.0, 0.5), 2.25);
    EXPECT_EQ(blendChannelQuadratic(0.1, 0.7, 0.3, 0.0), 0.7);

    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    ZelMatrixBlend<float> b;
    blendMatricesLinear(identity, identity, 0.5f, b);
    traceMatrixBlendLinear(identity, identity, b);
    blendMatricesQuadratic(identity, identity, identity, 0.5f, b);
    traceMatrixBlendQuadratic(identity, identity, identity, b);
    const std::string q = "0, 0, 0, 1\n", m = " 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "translateX 1.5,  1 : 2\nrotateZ 2.25, 0 : 1 : 4\n"
              " linear matrix interpolation\n q1: " +
                  q + " q2: " + q + " qi: " + q + " sMat:" + m + " rMat:" + m + " tMat:" + m +
                  "\n xform1:" + m + " xform2:" + m + "  xform:" + m +
                  " quadratic matrix interpolation\n q1: " + q + " q2: " + q + " q3: " + q +
                  " qi: " + q + "\n xform1:" + m + " xform2:" + m + " xform3:" + m +
                  "  xform:" + m);
}

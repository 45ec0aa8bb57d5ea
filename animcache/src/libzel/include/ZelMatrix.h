// Transform arithmetic: composing a 4x4 matrix from named transform channels, the 4x4 multiply,
// rotation quaternions and their blends, and the blend of whole matrices through scale, rotation
// and translation. Matrices are 16 reals in row-major order used with row vectors (p' = p·M, so
// translation sits in the last row and A·B applies A first); quaternions are (x, y, z, w).
// Everything is instantiated for float and double.
#ifndef ZEL_MATRIX_H
#define ZEL_MATRIX_H

#include "ZelTypes.h"

namespace Zel {

// Names of the transform channels 0..29 in channel order, followed by the sentinel "ERROR".
ZEL_API extern const char* const zelChannelNames[];

// Channel indices: positions in zelChannelNames and, below kNumChannelReals, in
// ZelTransformChannels::values.
enum : int {
    kChannelTranslateX = 0,
    kChannelTranslateY = 1,
    kChannelTranslateZ = 2,
    kChannelRotateX = 3,
    kChannelRotateY = 4,
    kChannelRotateZ = 5,
    kChannelScaleX = 6,
    kChannelScaleY = 7,
    kChannelScaleZ = 8,
    kChannelRotatePivotX = 9,
    kChannelRotatePivotY = 10,
    kChannelRotatePivotZ = 11,
    kChannelRotatePivotTranslateX = 12,
    kChannelRotatePivotTranslateY = 13,
    kChannelRotatePivotTranslateZ = 14,
    kChannelRotateAxisX = 15,
    kChannelRotateAxisY = 16,
    kChannelRotateAxisZ = 17,
    kChannelUniformScale = 18,
    kChannelShearXY = 19,
    kChannelShearXZ = 20,
    kChannelShearYZ = 21,
    kChannelScalePivotX = 22,
    kChannelScalePivotY = 23,
    kChannelScalePivotZ = 24,
    kChannelScalePivotTranslateX = 25,
    kChannelScalePivotTranslateY = 26,
    kChannelScalePivotTranslateZ = 27,
    kChannelRotateOrder = 28,
    kChannelTransformOrder = 29,
    kNumChannels = 30,
    kNumChannelReals = 28
};

// The channels of one transform and the matrix composed from them. Angles are in radians.
// Defaults: every real 0 except the four scales, which are 1; both orders 0; matrix identity.
// rotateOrder: 0 X·Y·Z, 1 Y·Z·X, 2 Z·X·Y, 3 X·Z·Y, 4 Y·X·Z, 5 Z·Y·X (leftmost applied first).
// transformOrder: 0 S·R·T, 1 S·T·R, 2 R·S·T, 3 R·T·S, 4 T·S·R, 5 T·R·S. Others count as 0.
template <class T>
struct ZelTransformChannels {
    T values[kNumChannelReals];
    int rotateOrder = 0;
    int transformOrder = 0;
    T matrix[16];

    ZelTransformChannels() {
        for (T& v : values) {
            v = T(0);
        }
        values[kChannelScaleX] = values[kChannelScaleY] = values[kChannelScaleZ] = T(1);
        values[kChannelUniformScale] = T(1);
        for (int i = 0; i < 16; ++i) {
            matrix[i] = (i % 5 == 0) ? T(1) : T(0);
        }
    }
};

// Composes channels.matrix from the channels (scale block S, rotation block R, translation T,
// multiplied in the transform order) and returns it. Steps whose channels hold their neutral
// value exactly are skipped; with nothing to apply the result is the identity.
template <class T>
ZEL_API const T* composeTransform(ZelTransformChannels<T>& channels);

// out = a·b. When b is bitwise the identity the result is a, when a is, b, without arithmetic.
// `out` may be `a` or `b`.
template <class T>
ZEL_API void multiplyMatrices(const T* a, const T* b, T* out);

// The unit quaternion of the rotation in the upper 3x3 of `m` (m[3][3] enters the square roots).
template <class T>
ZEL_API void matrixToQuaternion(const T* m, T* q);

// The rotation matrix of the unit quaternion `q`, the inverse of matrixToQuaternion:
// (0, 0, sin(a/2), cos(a/2)) gives rows (c, s, 0, 0), (-s, c, 0, 0), (0, 0, 1, 0), (0, 0, 0, 1).
template <class T>
ZEL_API void quaternionToMatrix(const T* q, T* m);

// Scales `q` to length 1 (a zero quaternion becomes NaN).
template <class T>
ZEL_API void normalizeQuaternion(T* q);

// out = normalised (1 - t)·q1 + t·q2. `out` may be an input.
template <class T>
ZEL_API void nlerpQuaternions(const T* q1, const T* q2, T t, T* out);

// Spherical blend from q1 (t = 0) towards q2 (t = 1). No sign flip: with a negative dot product
// the blend takes the longer arc. With |q1·q2| > 0.9995 it is nlerpQuaternions. `out` may be an
// input.
template <class T>
ZEL_API void slerpQuaternions(const T* q1, const T* q2, T t, T* out);

// Spherical blend whose angle from q1 follows the parabola through 0 at t = -1, the angle of q2
// at t = 0 and that of q3 at t = 1, in the plane of q1 and q2. With |q1·q2| > 0.9995 it is
// nlerpQuaternions(q1, q2, t + 1). `out` may be an input.
template <class T>
ZEL_API void quadraticSlerpQuaternions(const T* q1, const T* q2, const T* q3, T t, T* out);

// The blend of two or three matrices and what it went through: the input quaternions, their
// blend qi, the scale, rotation and translation blocks, and the result xform = (sMat·rMat)·tMat.
template <class T>
struct ZelMatrixBlend {
    T q1[4], q2[4], q3[4], qi[4];
    T sMat[16], rMat[16], tMat[16];
    T xform[16];
};

// Blends matrices m1 (t = 0) and m2 (t = 1): the scale block takes the blended diagonal entries
// m[0][0], m[1][1], m[2][2] as they stand, the rotation is the spherical blend of the matrices'
// quaternions, the translation block the blended last rows. q3 is left unset.
template <class T>
ZEL_API void blendMatricesLinear(const T* m1, const T* m2, T t, ZelMatrixBlend<T>& blend);

// As blendMatricesLinear for three matrices at t = -1, 0, 1: diagonal and translation follow
// the parabola 0.5·(a - 2b + c)·t² + 0.5·(c - a)·t + b, rotation quadraticSlerpQuaternions.
template <class T>
ZEL_API void blendMatricesQuadratic(const T* m1, const T* m2, const T* m3, T t,
                                    ZelMatrixBlend<T>& blend);

}  // namespace Zel

#endif

#include "ZelMatrix.h"

#include <cmath>
#include <cstring>

#include "ZelChannels.h"

namespace Zel {

const char* const zelChannelNames[] = {"translateX",
                                       "translateY",
                                       "translateZ",
                                       "rotateX",
                                       "rotateY",
                                       "rotateZ",
                                       "scaleX",
                                       "scaleY",
                                       "scaleZ",
                                       "rotatePivotX",
                                       "rotatePivotY",
                                       "rotatePivotZ",
                                       "rotatePivotTranslateX",
                                       "rotatePivotTranslateY",
                                       "rotatePivotTranslateZ",
                                       "rotateAxisX",
                                       "rotateAxisY",
                                       "rotateAxisZ",
                                       "uniformScale",
                                       "shearXY",
                                       "shearXZ",
                                       "shearYZ",
                                       "scalePivotX",
                                       "scalePivotY",
                                       "scalePivotZ",
                                       "scalePivotTranslateX",
                                       "scalePivotTranslateY",
                                       "scalePivotTranslateZ",
                                       "rotateOrder",
                                       "transformOrder",
                                       "ERROR"};

static_assert(sizeof(zelChannelNames) / sizeof(zelChannelNames[0]) == kNumChannels + 1,
              "one name per channel plus the sentinel");

namespace {

template <class T>
struct Identity {
    static constexpr T m[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

template <class T>
void setIdentity(T* m) {
    std::memcpy(m, Identity<T>::m, sizeof(Identity<T>::m));
}

template <class T>
bool isIdentity(const T* m) {
    // Bitwise on purpose: -0.0 or a NaN payload is not the identity, so the product is computed.
    return std::memcmp(m, Identity<T>::m, sizeof(Identity<T>::m)) == 0;
}

template <class T>
void setTranslation(T* m, T x, T y, T z) {
    setIdentity(m);
    m[12] = x;
    m[13] = y;
    m[14] = z;
}

template <class T>
bool anyNonZero(const T* v) {
    return v[0] != T(0) || v[1] != T(0) || v[2] != T(0);
}

// The rotation about one axis (0 x, 1 y, 2 z). A zero angle gives the identity without touching
// sine and cosine, which keeps the identity bitwise exact for the multiply's shortcut.
template <class T>
void setAxisRotation(T* m, int axis, T angle) {
    setIdentity(m);
    if (angle == T(0)) {
        return;
    }
    const T c = std::cos(angle);
    const T s = std::sin(angle);
    static const int rows[3][4] = {{5, 6, 9, 10}, {0, 2, 8, 10}, {0, 1, 4, 5}};
    const int* r = rows[axis];
    m[r[0]] = c;
    m[r[1]] = axis == 1 ? -s : s;
    m[r[2]] = axis == 1 ? s : -s;
    m[r[3]] = c;
}

// R = R·(the three axis rotations of `angles` multiplied in the rotate order).
template <class T>
void applyRotation(T* r, const T* angles, int rotateOrder) {
    static const int axes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1},
                                   {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
    const int* order = axes[(rotateOrder >= 0 && rotateOrder < 6) ? rotateOrder : 0];
    T product[16];
    T axis[16];
    setAxisRotation(product, order[0], angles[order[0]]);
    setAxisRotation(axis, order[1], angles[order[1]]);
    multiplyMatrices(product, axis, product);
    setAxisRotation(axis, order[2], angles[order[2]]);
    multiplyMatrices(product, axis, product);
    multiplyMatrices(r, product, r);
}

template <class T>
T dot4(const T* a, const T* b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
}

// out = cos(angle)·q1 + sin(angle)·normalised(q2 - d·q1): the point at `angle` from q1 on the
// great circle through q1 and q2, where d = q1·q2.
template <class T>
void rotateTowards(const T* q1, const T* q2, T d, T angle, T* out) {
    T orth[4];
    for (int i = 0; i < 4; ++i) {
        orth[i] = q2[i] - d * q1[i];
    }
    normalizeQuaternion(orth);
    const T c = std::cos(angle);
    const T s = std::sin(angle);
    for (int i = 0; i < 4; ++i) {
        out[i] = c * q1[i] + s * orth[i];
    }
}

// The parabola through a at t = -1, b at t = 0 and c at t = 1; tt is t·t.
template <class T>
T parabola(T a, T b, T c, T t, T tt) {
    return T(0.5) * (a - T(2) * b + c) * tt + T(0.5) * (c - a) * t + b;
}

// block = block·Tr(x, y, z).
template <class T>
void translateBlock(T* block, T x, T y, T z) {
    T m[16];
    setTranslation(m, x, y, z);
    multiplyMatrices(block, m, block);
}

// The scale block S of channel values `v`: scale pivot, scale, shear, back from the pivot, scale
// pivot translation, each step skipped while its channels hold their neutral values exactly.
// True when any step was applied.
template <class T>
bool composeScaleBlock(const T* v, T* s) {
    setIdentity(s);
    bool applied = false;
    const T* scalePivot = v + kChannelScalePivotX;
    const bool hasScalePivot = anyNonZero(scalePivot);
    if (hasScalePivot) {
        translateBlock(s, -scalePivot[0], -scalePivot[1], -scalePivot[2]);
        applied = true;
    }
    T m[16];
    const T uniform = v[kChannelUniformScale];
    if (v[kChannelScaleX] != T(1) || v[kChannelScaleY] != T(1) || v[kChannelScaleZ] != T(1) ||
        uniform != T(1)) {
        setIdentity(m);
        m[0] = uniform * v[kChannelScaleX];
        m[5] = uniform * v[kChannelScaleY];
        m[10] = uniform * v[kChannelScaleZ];
        multiplyMatrices(s, m, s);
        applied = true;
    }
    const T* shear = v + kChannelShearXY;
    if (anyNonZero(shear)) {
        setIdentity(m);
        m[4] = shear[0];
        m[8] = shear[1];
        m[9] = shear[2];
        multiplyMatrices(s, m, s);
        applied = true;
    }
    if (hasScalePivot) {
        translateBlock(s, scalePivot[0], scalePivot[1], scalePivot[2]);
    }
    const T* scalePivotTranslate = v + kChannelScalePivotTranslateX;
    if (anyNonZero(scalePivotTranslate)) {
        translateBlock(s, scalePivotTranslate[0], scalePivotTranslate[1], scalePivotTranslate[2]);
        applied = true;
    }
    return applied;
}

// The rotation block R of channel values `v`: rotate pivot, rotate axis, rotation, back from the
// pivot, rotate pivot translation, skipped as the scale block's steps are. True when any step
// was applied.
template <class T>
bool composeRotationBlock(const T* v, int rotateOrder, T* r) {
    setIdentity(r);
    bool applied = false;
    const T* rotatePivot = v + kChannelRotatePivotX;
    const bool hasRotatePivot = anyNonZero(rotatePivot);
    if (hasRotatePivot) {
        translateBlock(r, -rotatePivot[0], -rotatePivot[1], -rotatePivot[2]);
        applied = true;
    }
    // The rotate order governs the rotate axis as well as the rotation itself.
    if (anyNonZero(v + kChannelRotateAxisX)) {
        applyRotation(r, v + kChannelRotateAxisX, rotateOrder);
        applied = true;
    }
    if (anyNonZero(v + kChannelRotateX)) {
        applyRotation(r, v + kChannelRotateX, rotateOrder);
        applied = true;
    }
    if (hasRotatePivot) {
        translateBlock(r, rotatePivot[0], rotatePivot[1], rotatePivot[2]);
    }
    const T* rotatePivotTranslate = v + kChannelRotatePivotTranslateX;
    if (anyNonZero(rotatePivotTranslate)) {
        translateBlock(r, rotatePivotTranslate[0], rotatePivotTranslate[1],
                       rotatePivotTranslate[2]);
        applied = true;
    }
    return applied;
}

}  // namespace

template <class T>
const T* composeTransform(ZelTransformChannels<T>& channels) {
    const T* v = channels.values;
    T s[16];
    T r[16];
    // Two calls, not one `||`: the product needs both blocks whatever either applied.
    const bool scaled = composeScaleBlock(v, s);
    const bool rotated = composeRotationBlock(v, channels.rotateOrder, r);
    const T* translate = v + kChannelTranslateX;
    if (!scaled && !rotated && !anyNonZero(translate)) {
        setIdentity(channels.matrix);
        return channels.matrix;
    }
    T t[16];
    setTranslation(t, translate[0], translate[1], translate[2]);
    const T* blocks[6][3] = {{s, r, t}, {s, t, r}, {r, s, t}, {r, t, s}, {t, s, r}, {t, r, s}};
    const int order =
        (channels.transformOrder >= 0 && channels.transformOrder < 6) ? channels.transformOrder : 0;
    T m[16];
    multiplyMatrices(blocks[order][0], blocks[order][1], m);
    multiplyMatrices(m, blocks[order][2], channels.matrix);
    return channels.matrix;
}

template <class T>
void multiplyMatrices(const T* a, const T* b, T* out) {
    if (isIdentity(b)) {
        if (out != a) {
            std::memcpy(out, a, 16 * sizeof(T));
        }
        return;
    }
    if (isIdentity(a)) {
        if (out != b) {
            std::memcpy(out, b, 16 * sizeof(T));
        }
        return;
    }
    // Into a local first, so that `out` may be one of the factors.
    T product[16];
    for (int i = 0; i < 4; ++i) {
        for (int j = 0; j < 4; ++j) {
            T sum = a[4 * i] * b[j];
            for (int k = 1; k < 4; ++k) {
                sum += a[4 * i + k] * b[4 * k + j];
            }
            product[4 * i + j] = sum;
        }
    }
    std::memcpy(out, product, sizeof(product));
}

template <class T>
void matrixToQuaternion(const T* m, T* q) {
    const T m00 = m[0], m11 = m[5], m22 = m[10], m33 = m[15];
    const int i = m00 > m11 ? (m00 > m22 ? 0 : 2) : (m11 > m22 ? 1 : 2);
    const T trace = m00 + m11 + m22;
    if (trace > m[5 * i]) {
        const T w = T(0.5) * std::sqrt(trace + m33);
        const T f = T(4) * w;
        q[0] = (m[6] - m[9]) / f;
        q[1] = (m[8] - m[2]) / f;
        q[2] = (m[1] - m[4]) / f;
        q[3] = w;
    } else {
        // The largest diagonal entry gives the largest component, which keeps the divisions
        // well away from zero.
        const int j = (i + 1) % 3;
        const int k = (i + 2) % 3;
        const T qi = T(0.5) * std::sqrt(m[5 * i] - m[5 * j] - m[5 * k] + m33);
        const T f = T(4) * qi;
        q[i] = qi;
        q[j] = (m[4 * i + j] + m[4 * j + i]) / f;
        q[k] = (m[4 * k + i] + m[4 * i + k]) / f;
        q[3] = (m[4 * j + k] - m[4 * k + j]) / f;
    }
    normalizeQuaternion(q);
}

template <class T>
void quaternionToMatrix(const T* q, T* m) {
    const T x = q[0], y = q[1], z = q[2], w = q[3];
    const T two = T(2);
    // Row-vector convention: the transpose of the familiar column-vector form.
    m[0] = T(1) - two * (y * y + z * z);
    m[1] = two * (x * y + z * w);
    m[2] = two * (x * z - y * w);
    m[3] = T(0);
    m[4] = two * (x * y - z * w);
    m[5] = T(1) - two * (x * x + z * z);
    m[6] = two * (y * z + x * w);
    m[7] = T(0);
    m[8] = two * (x * z + y * w);
    m[9] = two * (y * z - x * w);
    m[10] = T(1) - two * (x * x + y * y);
    m[11] = T(0);
    m[12] = T(0);
    m[13] = T(0);
    m[14] = T(0);
    m[15] = T(1);
}

template <class T>
void normalizeQuaternion(T* q) {
    const T length = std::sqrt(dot4(q, q));
    for (int i = 0; i < 4; ++i) {
        q[i] /= length;
    }
}

template <class T>
void nlerpQuaternions(const T* q1, const T* q2, T t, T* out) {
    T r[4];
    for (int i = 0; i < 4; ++i) {
        r[i] = blendChannelLinear(q1[i], q2[i], t);
    }
    normalizeQuaternion(r);
    std::memcpy(out, r, sizeof(r));
}

template <class T>
void slerpQuaternions(const T* q1, const T* q2, T t, T* out) {
    const T d = dot4(q1, q2);
    // Nearly equal rotations: acos loses all precision there and the chord is as good as the arc.
    if (std::fabs(d) > T(0.9995)) {
        nlerpQuaternions(q1, q2, t, out);
        return;
    }
    T r[4];
    rotateTowards(q1, q2, d, std::acos(d) * t, r);
    std::memcpy(out, r, sizeof(r));
}

template <class T>
void quadraticSlerpQuaternions(const T* q1, const T* q2, const T* q3, T t, T* out) {
    const T d2 = dot4(q1, q2);
    const T d3 = dot4(q1, q3);
    if (std::fabs(d2) > T(0.9995)) {
        nlerpQuaternions(q1, q2, t + T(1), out);
        return;
    }
    const T a2 = std::acos(d2);
    const T a3 = std::acos(d3);
    const T angle = T(0.5) * (T(0) - T(2) * a2 + a3) * (t * t) + T(0.5) * (a3 - T(0)) * t + a2;
    T r[4];
    rotateTowards(q1, q2, d2, angle, r);
    std::memcpy(out, r, sizeof(r));
}

template <class T>
void blendMatricesLinear(const T* m1, const T* m2, T t, ZelMatrixBlend<T>& blend) {
    setIdentity(blend.sMat);
    setIdentity(blend.tMat);
    for (int k = 0; k < 3; ++k) {
        blend.sMat[5 * k] = blendChannelLinear(m1[5 * k], m2[5 * k], t);
        blend.tMat[12 + k] = blendChannelLinear(m1[12 + k], m2[12 + k], t);
    }
    matrixToQuaternion(m1, blend.q1);
    matrixToQuaternion(m2, blend.q2);
    slerpQuaternions(blend.q1, blend.q2, t, blend.qi);
    quaternionToMatrix(blend.qi, blend.rMat);
    T sr[16];
    multiplyMatrices(blend.sMat, blend.rMat, sr);
    multiplyMatrices(sr, blend.tMat, blend.xform);
}

template <class T>
void blendMatricesQuadratic(const T* m1, const T* m2, const T* m3, T t, ZelMatrixBlend<T>& blend) {
    const T tt = t * t;
    setIdentity(blend.sMat);
    setIdentity(blend.tMat);
    for (int k = 0; k < 3; ++k) {
        blend.sMat[5 * k] = parabola(m1[5 * k], m2[5 * k], m3[5 * k], t, tt);
        blend.tMat[12 + k] = parabola(m1[12 + k], m2[12 + k], m3[12 + k], t, tt);
    }
    matrixToQuaternion(m1, blend.q1);
    matrixToQuaternion(m2, blend.q2);
    matrixToQuaternion(m3, blend.q3);
    quadraticSlerpQuaternions(blend.q1, blend.q2, blend.q3, t, blend.qi);
    quaternionToMatrix(blend.qi, blend.rMat);
    T sr[16];
    multiplyMatrices(blend.sMat, blend.rMat, sr);
    multiplyMatrices(sr, blend.tMat, blend.xform);
}

#define ZEL_MATRIX_INSTANTIATE(T)                                                            \
    template ZEL_API const T* composeTransform<T>(ZelTransformChannels<T>&);                 \
    template ZEL_API void multiplyMatrices<T>(const T*, const T*, T*);                       \
    template ZEL_API void matrixToQuaternion<T>(const T*, T*);                               \
    template ZEL_API void quaternionToMatrix<T>(const T*, T*);                               \
    template ZEL_API void normalizeQuaternion<T>(T*);                                        \
    template ZEL_API void nlerpQuaternions<T>(const T*, const T*, T, T*);                    \
    template ZEL_API void slerpQuaternions<T>(const T*, const T*, T, T*);                    \
    template ZEL_API void quadraticSlerpQuaternions<T>(const T*, const T*, const T*, T, T*); \
    template ZEL_API void blendMatricesLinear<T>(const T*, const T*, T, ZelMatrixBlend<T>&); \
    template ZEL_API void blendMatricesQuadratic<T>(const T*, const T*, const T*, T,         \
                                                    ZelMatrixBlend<T>&);

ZEL_MATRIX_INSTANTIATE(float)
ZEL_MATRIX_INSTANTIATE(double)

#undef ZEL_MATRIX_INSTANTIATE

}  // namespace Zel

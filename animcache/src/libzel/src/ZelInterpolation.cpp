#include "ZelInterpolation.h"

#include <cassert>
#include <cstddef>
#include <cstring>

namespace Zel {

float blendParameter(int order, float time, const std::vector<float>& times) {
    assert(order >= 1 && order <= 3 && times.size() > static_cast<std::size_t>(order));
    if (order == 1) {
        return (time - times[0]) / (times[1] - times[0]);
    }
    // Orders 2 and 3 both measure t across the middle interval of the run.
    return (time - times[1]) / (times[2] - times[1]);
}

namespace {

// Value i of an array of Real that may lie at any byte offset.
template <class Real>
inline Real load(const unsigned char* p, std::size_t i) {
    Real v;
    std::memcpy(&v, p + i * sizeof(Real), sizeof(Real));
    return v;
}

inline const unsigned char* bytesOf(const void* p) {
    return static_cast<const unsigned char*>(p);
}

// The loops below run over whole arrays of points: they are built twice, for processors with
// AVX2 and for any x86-64, and the loader picks one. FMA stays off in both (contracting a·b + c
// would change results), so both give the same bits.
#if defined(__GNUC__) && defined(__x86_64__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define ZEL_VECTOR_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define ZEL_VECTOR_CLONES
#endif

template <class Real, class Out, class Weight>
ZEL_VECTOR_CLONES void linear(float t, const unsigned char* p0, const unsigned char* p1,
                              std::size_t n, Out* out) {
    const Weight tw = t;
    const Real u = tw;
    const Real w0 = Weight(1) - tw;
    for (std::size_t i = 0; i < n; ++i) {
        // Kept in Real until stored: double positions get float arithmetic, widened at the end.
        const Real v = w0 * load<Real>(p0, i) + u * load<Real>(p1, i);
        out[i] = static_cast<Out>(v);
    }
}

template <class Real, class Out, class Weight>
ZEL_VECTOR_CLONES void quadratic(float t, const unsigned char* p0, const unsigned char* p1,
                                 const unsigned char* p2, std::size_t n, Out* out) {
    const Weight tw = t;
    const Real u = tw;
    const Real uu = tw * tw;
    const Real half = Real(0.5);
    const Real two = Real(2);
    for (std::size_t i = 0; i < n; ++i) {
        const Real a = load<Real>(p0, i);
        const Real b = load<Real>(p1, i);
        const Real c = load<Real>(p2, i);
        const Real v = half * (a - two * b + c) * uu + half * (c - a) * u + b;
        out[i] = static_cast<Out>(v);
    }
}

template <class Real, class Out, class Weight>
ZEL_VECTOR_CLONES void cubic(float t, const unsigned char* p0, const unsigned char* p1,
                             const unsigned char* p2, const unsigned char* p3, std::size_t n,
                             Out* out) {
    const Weight u = t;
    const Weight half = Weight(0.5);
    const Weight oneAndHalf = Weight(1.5);
    // These nested forms make the weights exactly (0, 1, 0, 0) at t = 0 and (0, 0, 1, 0) at
    // t = 1, so the curve passes through p1 and p2 without rounding.
    const Real w0 = ((Weight(1) - half * u) * u - half) * u;
    const Real w1 = (oneAndHalf * u - Weight(2.5)) * u * u + Weight(1);
    const Real w2 = ((Weight(2) - oneAndHalf * u) * u + half) * u;
    const Real w3 = (half * u - half) * u * u;
    for (std::size_t i = 0; i < n; ++i) {
        const Real v = w0 * load<Real>(p0, i) + w1 * load<Real>(p1, i) + w2 * load<Real>(p2, i) +
                       w3 * load<Real>(p3, i);
        out[i] = static_cast<Out>(v);
    }
}

}  // namespace

template <class Real, class Out, class Weight>
void blendLinear(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                 std::vector<Out>& out) {
    assert(p1.size() >= p0.size());
    out.resize(p0.size());
    linear<Real, Out, Weight>(t, bytesOf(p0.data()), bytesOf(p1.data()), p0.size(), out.data());
}

template <class Real, class Out, class Weight>
void blendQuadratic(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                    const std::vector<Real>& p2, std::vector<Out>& out) {
    assert(p1.size() >= p0.size() && p2.size() >= p0.size());
    out.resize(p0.size());
    quadratic<Real, Out, Weight>(t, bytesOf(p0.data()), bytesOf(p1.data()), bytesOf(p2.data()),
                                 p0.size(), out.data());
}

template <class Real, class Out, class Weight>
void blendCubic(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                const std::vector<Real>& p2, const std::vector<Real>& p3, std::vector<Out>& out) {
    assert(p1.size() >= p0.size() && p2.size() >= p0.size() && p3.size() >= p0.size());
    out.resize(p0.size());
    cubic<Real, Out, Weight>(t, bytesOf(p0.data()), bytesOf(p1.data()), bytesOf(p2.data()),
                             bytesOf(p3.data()), p0.size(), out.data());
}

template <class Real, class Out>
bool blendSampleBytes(int order, float t, const void* const* samples, std::size_t n, Out* out) {
    switch (order) {
        case 1:
            linear<Real, Out, Real>(t, bytesOf(samples[0]), bytesOf(samples[1]), n, out);
            return true;
        case 2:
            quadratic<Real, Out, Real>(t, bytesOf(samples[0]), bytesOf(samples[1]),
                                       bytesOf(samples[2]), n, out);
            return true;
        case 3:
            cubic<Real, Out, Real>(t, bytesOf(samples[0]), bytesOf(samples[1]), bytesOf(samples[2]),
                                   bytesOf(samples[3]), n, out);
            return true;
        default:
            return false;
    }
}

template <class Real, class Out, class Weight>
bool blendSamples(int order, float t, const std::vector<Real>* const* samples,
                  std::vector<Out>& out) {
    switch (order) {
        case 1:
            blendLinear<Real, Out, Weight>(t, *samples[0], *samples[1], out);
            return true;
        case 2:
            blendQuadratic<Real, Out, Weight>(t, *samples[0], *samples[1], *samples[2], out);
            return true;
        case 3:
            blendCubic<Real, Out, Weight>(t, *samples[0], *samples[1], *samples[2], *samples[3],
                                          out);
            return true;
        default:
            return false;
    }
}

// Attribute values: double arrays, double arithmetic.
template ZEL_API void blendLinear<double, double>(float, const std::vector<double>&,
                                                  const std::vector<double>&, std::vector<double>&);
template ZEL_API void blendQuadratic<double, double>(float, const std::vector<double>&,
                                                     const std::vector<double>&,
                                                     const std::vector<double>&,
                                                     std::vector<double>&);
template ZEL_API void blendCubic<double, double>(float, const std::vector<double>&,
                                                 const std::vector<double>&,
                                                 const std::vector<double>&,
                                                 const std::vector<double>&, std::vector<double>&);
template ZEL_API bool blendSamples<double, double>(int, float, const std::vector<double>* const*,
                                                   std::vector<double>&);

// Positions: float arrays and float arithmetic, stored as float or widened to double.
template ZEL_API void blendLinear<float, float>(float, const std::vector<float>&,
                                                const std::vector<float>&, std::vector<float>&);
template ZEL_API void blendQuadratic<float, float>(float, const std::vector<float>&,
                                                   const std::vector<float>&,
                                                   const std::vector<float>&, std::vector<float>&);
template ZEL_API void blendCubic<float, float>(float, const std::vector<float>&,
                                               const std::vector<float>&, const std::vector<float>&,
                                               const std::vector<float>&, std::vector<float>&);
template ZEL_API bool blendSamples<float, float>(int, float, const std::vector<float>* const*,
                                                 std::vector<float>&);
template ZEL_API void blendLinear<float, double>(float, const std::vector<float>&,
                                                 const std::vector<float>&, std::vector<double>&);
template ZEL_API void blendQuadratic<float, double>(float, const std::vector<float>&,
                                                    const std::vector<float>&,
                                                    const std::vector<float>&,
                                                    std::vector<double>&);
template ZEL_API void blendCubic<float, double>(float, const std::vector<float>&,
                                                const std::vector<float>&,
                                                const std::vector<float>&,
                                                const std::vector<float>&, std::vector<double>&);
template ZEL_API bool blendSamples<float, double>(int, float, const std::vector<float>* const*,
                                                  std::vector<double>&);

// The same over arrays in a mapped file.
template ZEL_API bool blendSampleBytes<double, double>(int, float, const void* const*, std::size_t,
                                                       double*);
template ZEL_API bool blendSampleBytes<float, float>(int, float, const void* const*, std::size_t,
                                                     float*);
template ZEL_API bool blendSampleBytes<float, double>(int, float, const void* const*, std::size_t,
                                                      double*);

// Control points: float weights, double arithmetic.
template ZEL_API void blendLinear<double, double, float>(float, const std::vector<double>&,
                                                         const std::vector<double>&,
                                                         std::vector<double>&);
template ZEL_API void blendQuadratic<double, double, float>(float, const std::vector<double>&,
                                                            const std::vector<double>&,
                                                            const std::vector<double>&,
                                                            std::vector<double>&);
template ZEL_API void blendCubic<double, double, float>(float, const std::vector<double>&,
                                                        const std::vector<double>&,
                                                        const std::vector<double>&,
                                                        const std::vector<double>&,
                                                        std::vector<double>&);
template ZEL_API bool blendSamples<double, double, float>(int, float,
                                                          const std::vector<double>* const*,
                                                          std::vector<double>&);

}  // namespace Zel

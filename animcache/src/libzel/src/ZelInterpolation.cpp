#include "ZelInterpolation.h"

#include <cassert>
#include <cstddef>

namespace Zel {

float blendParameter(int order, float time, const std::vector<float>& times) {
    assert(order >= 1 && order <= 3 && times.size() > static_cast<std::size_t>(order));
    if (order == 1) {
        return (time - times[0]) / (times[1] - times[0]);
    }
    // Orders 2 and 3 both measure t across the middle interval of the run.
    return (time - times[1]) / (times[2] - times[1]);
}

template <class Real, class Out, class Weight>
void blendLinear(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                 std::vector<Out>& out) {
    const std::size_t n = p0.size();
    assert(p1.size() >= n);
    const Weight tw = t;
    const Real u = tw;
    const Real w0 = Weight(1) - tw;
    out.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        // Kept in Real until stored: double positions get float arithmetic, widened at the end.
        const Real v = w0 * p0[i] + u * p1[i];
        out[i] = static_cast<Out>(v);
    }
}

template <class Real, class Out, class Weight>
void blendQuadratic(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                    const std::vector<Real>& p2, std::vector<Out>& out) {
    const std::size_t n = p0.size();
    assert(p1.size() >= n && p2.size() >= n);
    const Weight tw = t;
    const Real u = tw;
    const Real uu = tw * tw;
    const Real half = Real(0.5);
    const Real two = Real(2);
    out.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        const Real v =
            half * (p0[i] - two * p1[i] + p2[i]) * uu + half * (p2[i] - p0[i]) * u + p1[i];
        out[i] = static_cast<Out>(v);
    }
}

template <class Real, class Out, class Weight>
void blendCubic(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                const std::vector<Real>& p2, const std::vector<Real>& p3, std::vector<Out>& out) {
    const std::size_t n = p0.size();
    assert(p1.size() >= n && p2.size() >= n && p3.size() >= n);
    const Weight u = t;
    const Weight half = Weight(0.5);
    const Weight oneAndHalf = Weight(1.5);
    // These nested forms make the weights exactly (0, 1, 0, 0) at t = 0 and (0, 0, 1, 0) at
    // t = 1, so the curve passes through p1 and p2 without rounding.
    const Real w0 = ((Weight(1) - half * u) * u - half) * u;
    const Real w1 = (oneAndHalf * u - Weight(2.5)) * u * u + Weight(1);
    const Real w2 = ((Weight(2) - oneAndHalf * u) * u + half) * u;
    const Real w3 = (half * u - half) * u * u;
    out.resize(n);
    for (std::size_t i = 0; i < n; ++i) {
        const Real v = w0 * p0[i] + w1 * p1[i] + w2 * p2[i] + w3 * p3[i];
        out[i] = static_cast<Out>(v);
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

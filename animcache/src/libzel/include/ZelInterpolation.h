// The value kernels: linear, quadratic and cubic blending of flat arrays of numbers between the
// stored samples around a time, as used by the helper objects' attribute and position queries.
#ifndef ZEL_INTERPOLATION_H
#define ZEL_INTERPOLATION_H

#include <cstddef>
#include <vector>

#include "ZelTypes.h"

namespace Zel {

// The local parameter t of a run of samples, in single precision: for order 1 the position of
// `time` between times[0] and times[1], for orders 2 and 3 between times[1] and times[2] (so a
// run starting at a later sample gives a negative t). `times` holds at least order + 1 entries
// for order 1, 2 or 3; a zero-length interval gives an infinite or NaN t, unguarded.
ZEL_API float blendParameter(int order, float time, const std::vector<float>& times);

// The blends below resize `out` to p0's size and write one blended value per element of p0.
// The weights (t included) are computed in Weight, Real unless given, the products and sums in
// Real, and each result is converted to Out as it is stored. Instantiated for <double, double>
// (attribute values), <float, float> and <float, double> (positions) and <double, double, float>
// (double control points). The later arrays must be at least as long as p0 (their lengths are
// otherwise not compared).

// out[i] = (1 - t)·p0[i] + t·p1[i].
template <class Real, class Out, class Weight = Real>
ZEL_API void blendLinear(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                         std::vector<Out>& out);

// The parabola through p0 at t = -1, p1 at t = 0 and p2 at t = 1:
// out[i] = 0.5·(p0[i] - 2·p1[i] + p2[i])·t² + 0.5·(p2[i] - p0[i])·t + p1[i].
template <class Real, class Out, class Weight = Real>
ZEL_API void blendQuadratic(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                            const std::vector<Real>& p2, std::vector<Out>& out);

// Uniform Catmull-Rom through p1 at t = 0 and p2 at t = 1, both reached exactly; the four weights
// are computed once per call and the products summed in the order p0, p1, p2, p3.
template <class Real, class Out, class Weight = Real>
ZEL_API void blendCubic(float t, const std::vector<Real>& p0, const std::vector<Real>& p1,
                        const std::vector<Real>& p2, const std::vector<Real>& p3,
                        std::vector<Out>& out);

// The blend of `order` 1, 2 or 3 over the arrays *samples[0] .. *samples[order]. Any other order
// returns false and leaves `out` as it was.
template <class Real, class Out, class Weight = Real>
ZEL_API bool blendSamples(int order, float t, const std::vector<Real>* const* samples,
                          std::vector<Out>& out);

// blendSamples over raw arrays that may lie at any byte offset (a mapped file): samples[i] points
// at the first byte of array i, which holds at least `n` values of Real; `out` receives n values.
// Weights in Real. Instantiated for <double, double>, <float, float> and <float, double>.
template <class Real, class Out>
ZEL_API bool blendSampleBytes(int order, float t, const void* const* samples, size_t n, Out* out);

}  // namespace Zel

#endif

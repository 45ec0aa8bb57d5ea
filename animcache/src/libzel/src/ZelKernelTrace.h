// The trace printers of the value and transform kernels. The kernels themselves never print: the
// helper objects call these at their own trace level. Internal to the library.
#ifndef ZEL_KERNEL_TRACE_H
#define ZEL_KERNEL_TRACE_H

#include <string>
#include <vector>

namespace Zel {

template <class T>
struct ZelMatrixBlend;

// Writes one value blend of `order` 1, 2 or 3 to std::cerr: " linear t= ", " quadratic t= " or
// " cubic t= ", t and a line end, then every element of `out` preceded by " ", then a line end.
// Nothing for any other order. For float and double.
template <class Out>
void traceBlend(int order, float t, const std::vector<Out>& out);

// Writes one blended transform channel to std::cerr: name, " ", v, ",  ", a0, " : ", a1 (linear)
// or name, " ", v, ", ", a0, " : ", a1, " : ", a2 (quadratic), then a line end.
template <class T>
void traceChannelLinear(const std::string& name, T v, T a0, T a1);
template <class T>
void traceChannelQuadratic(const std::string& name, T v, T a0, T a1, T a2);

// Writes one matrix blend to std::cerr: the kind of blend, the quaternions q1, q2 (q3), qi with
// components separated by ", ", then the blocks (linear only) and the input and result matrices,
// each labelled and followed by its 16 values each preceded by " ".
template <class T>
void traceMatrixBlendLinear(const T* m1, const T* m2, const ZelMatrixBlend<T>& blend);
template <class T>
void traceMatrixBlendQuadratic(const T* m1, const T* m2, const T* m3,
                               const ZelMatrixBlend<T>& blend);

}  // namespace Zel

#endif

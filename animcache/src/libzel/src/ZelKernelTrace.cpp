#include "ZelKernelTrace.h"

#include <iostream>

#include "ZelMatrix.h"

namespace Zel {

namespace {

const char* const blendLabels[] = {" linear t= ", " quadratic t= ", " cubic t= "};

template <class T>
void traceQuaternion(const char* label, const T* q) {
    std::cerr << label << q[0] << ", " << q[1] << ", " << q[2] << ", " << q[3] << std::endl;
}

template <class T>
void traceMatrix(const char* label, const T* m) {
    std::cerr << label;
    for (int i = 0; i < 16; ++i) {
        std::cerr << " " << m[i];
    }
    std::cerr << std::endl;
}

}  // namespace

template <class Out>
void traceBlend(int order, float t, const std::vector<Out>& out) {
    if (order < 1 || order > 3) {
        return;
    }
    std::cerr << blendLabels[order - 1] << t << std::endl;
    for (const Out& v : out) {
        std::cerr << " " << v;
    }
    std::cerr << std::endl;
}

template <class T>
void traceChannelLinear(const std::string& name, T v, T a0, T a1) {
    std::cerr << name << " " << v << ",  " << a0 << " : " << a1 << std::endl;
}

template <class T>
void traceChannelQuadratic(const std::string& name, T v, T a0, T a1, T a2) {
    std::cerr << name << " " << v << ", " << a0 << " : " << a1 << " : " << a2 << std::endl;
}

template <class T>
void traceMatrixBlendLinear(const T* m1, const T* m2, const ZelMatrixBlend<T>& blend) {
    std::cerr << " linear matrix interpolation" << std::endl;
    traceQuaternion(" q1: ", blend.q1);
    traceQuaternion(" q2: ", blend.q2);
    traceQuaternion(" qi: ", blend.qi);
    traceMatrix(" sMat:", blend.sMat);
    traceMatrix(" rMat:", blend.rMat);
    traceMatrix(" tMat:", blend.tMat);
    traceMatrix("\n xform1:", m1);
    traceMatrix(" xform2:", m2);
    traceMatrix("  xform:", blend.xform);
}

template <class T>
void traceMatrixBlendQuadratic(const T* m1, const T* m2, const T* m3,
                               const ZelMatrixBlend<T>& blend) {
    std::cerr << " quadratic matrix interpolation" << std::endl;
    traceQuaternion(" q1: ", blend.q1);
    traceQuaternion(" q2: ", blend.q2);
    traceQuaternion(" q3: ", blend.q3);
    traceQuaternion(" qi: ", blend.qi);
    traceMatrix("\n xform1:", m1);
    traceMatrix(" xform2:", m2);
    traceMatrix(" xform3:", m3);
    traceMatrix("  xform:", blend.xform);
}

#define ZEL_KERNEL_TRACE_INSTANTIATE(T)                                                    \
    template void traceBlend<T>(int, float, const std::vector<T>&);                        \
    template void traceChannelLinear<T>(const std::string&, T, T, T);                      \
    template void traceChannelQuadratic<T>(const std::string&, T, T, T, T);                \
    template void traceMatrixBlendLinear<T>(const T*, const T*, const ZelMatrixBlend<T>&); \
    template void traceMatrixBlendQuadratic<T>(const T*, const T*, const T*,               \
                                               const ZelMatrixBlend<T>&);

ZEL_KERNEL_TRACE_INSTANTIATE(float)
ZEL_KERNEL_TRACE_INSTANTIATE(double)

#undef ZEL_KERNEL_TRACE_INSTANTIATE

}  // namespace Zel

// The control points of NURBS curves and surfaces as a renderer wants them: the stored, distinct
// points expanded into the full homogeneous list. Shared by the helper objects and the mapped
// reader. Internal to the library.
#ifndef ZEL_CONTROL_POINTS_H
#define ZEL_CONTROL_POINTS_H

#include <cstddef>
#include <cstring>
#include <vector>

#include "ZelTypes.h"

namespace Zel {

// The form of a direction whose last `degree` points repeat its first ones.
inline constexpr const char* kPeriodicForm = "kPeriodic";

// Expands the `storedCount` / 3 stored points (three floats each, u major, at any byte offset) into
// nu x nv homogeneous points with weight 1. `periodicU` / `periodicV` are the degrees of periodic
// directions (0 otherwise): such a direction stores n - d points and its index wraps onto them.
// Output order is v fastest, or u fastest with `uFastest`. False, `out` untouched, when the counts
// can't be read from `stored`.
template <class T>
bool expandControlPoints(const void* stored, size_t storedCount, int64 nu, int64 nv,
                         int64 periodicU, int64 periodicV, bool uFastest, std::vector<T>& out) {
    if (nu < 0 || nv < 0) {
        return false;
    }
    const int64 mu = nu - periodicU;
    const int64 mv = nv - periodicV;
    // The wrap needs at least one distinct point a direction, and the file must hold them all.
    if (nu > 0 && nv > 0 && (mu < 1 || mv < 1 || static_cast<int64>(storedCount / 3) / mu < mv)) {
        return false;
    }
    const int64 total = nu * nv;
    const auto* bytes = static_cast<const unsigned char*>(stored);
    out.resize(static_cast<std::size_t>(4 * total));
    for (int64 p = 0; p < total; ++p) {
        int64 i = uFastest ? p % nu : p / nv;
        int64 j = uFastest ? p / nu : p % nv;
        if (i >= mu) {
            i %= mu;
        }
        if (j >= mv) {
            j %= mv;
        }
        float src[3];
        std::memcpy(src, bytes + sizeof(float) * static_cast<std::size_t>(3 * (i * mv + j)),
                    sizeof(src));
        T* dst = &out[static_cast<std::size_t>(4 * p)];
        dst[0] = src[0];
        dst[1] = src[1];
        dst[2] = src[2];
        dst[3] = T(1);
    }
    return true;
}

}  // namespace Zel

#endif

// What the helper-object sources share and callers never see: the component count of point
// data, and the reading of the run of samples that a time query blends. Internal to the library.
#ifndef ZEL_HELPER_OBJ_INTERNAL_H
#define ZEL_HELPER_OBJ_INTERNAL_H

#include <vector>

#include "ZelHelperObj.h"
#include "ZelRoMemCache.h"

namespace Zel {

// The component count of a point chunk (positions, normals, velocities): 3 or 4 as its
// dimension code says, 3 for any other code and for a null chunk.
inline int pointDimension(const ZelChunk* chunk) {
    const int d = ZelHelperObj::getDimension(chunk);
    return d == 3 || d == 4 ? d : 3;
}

// True when the cache's sample limit is smaller than `runSize` samples, so that reading a run of
// that many samples can evict one read earlier in it. False without a cache.
inline bool runMayBeEvicted(const ZelRoMemCache* cache, int runSize) {
    const int limit = cache != nullptr ? cache->getMaxSamples() : 0;
    return limit > 0 && limit < runSize;
}

// Reads the `order` + 1 arrays of a blend run, array i from samples[i] through
// `read(sample, array)`; false when a read fails or a later array is shorter than the first.
// Under a sample limit smaller than the run a later read can evict an earlier sample and free
// its array, so each array is then copied into `held` as soon as it is read.
template <class T, class Read>
bool readBlendRun(const ZelRoMemCache* cache, const std::vector<int>& samples, int order, Read read,
                  const std::vector<T>* (&arrays)[4], std::vector<T> (&held)[4]) {
    const bool copy = runMayBeEvicted(cache, order + 1);
    for (int i = 0; i <= order; ++i) {
        if (!read(samples[i], arrays[i]) || arrays[i]->size() < arrays[0]->size()) {
            return false;
        }
        if (copy) {
            held[i] = *arrays[i];
            arrays[i] = &held[i];
        }
    }
    return true;
}

}  // namespace Zel

#endif

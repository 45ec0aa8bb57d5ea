// Writes small but complete cache files for the reader tests: identification, metadata and a
// samples section written through the streaming writer, with each object's group built by the test.
#ifndef ZEL_TEST_CACHEFILE_H
#define ZEL_TEST_CACHEFILE_H

#include <functional>
#include <string>
#include <vector>

#include "ZelChunks.h"
#include "ZelFileChunks.h"

namespace ZelTest {

// Adds the chunks of `object` in `sample` to `sobj` (an empty "SOBJ" group).
using SampleFiller = std::function<void(int sample, int object, Zel::ZelGroupChunk& sobj)>;

// Writes "DZEL", `meta`, then (when meta.numSamples is positive) one samples section with
// meta.numSamples samples of one group per object, filled by `fill`. Non-empty `times` go into the
// time table. True when every write succeeded.
bool writeCacheFile(const std::string& path, const Zel::ZelMETAChunk& meta,
                    const SampleFiller& fill, const std::vector<float>& times = {});

}  // namespace ZelTest

#endif

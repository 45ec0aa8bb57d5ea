// Fuzz target: appending onto the input in place, once through ZelWriter and once through the
// read-write cache (each onto a fresh copy of the input).
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "FuzzInput.h"
#include "Zel.h"

namespace {

using namespace Zel;

// One more frame through the streaming writer: whatever the file's objects need and is not
// given makes endFrame fail, which is part of what is tried.
void appendWithWriter(const char* path) {
    ZelWriter w;
    if (!w.append(path).ok()) {
        return;
    }
    if (w.beginFrame(w.nextTime()).ok()) {
        w.endFrame();
    }
    w.close();
}

// One more sample through the read-write cache, each object holding a copy of its last sample.
void appendWithCache(const char* path) {
    bool ok = false;
    ZelRwMemCache cache(path, true, &ok);
    if (!ok || cache.getNumSamples() < 1) {
        return;
    }
    const int last = cache.getNumSamples() - 1;
    const float rate = cache.getRate();
    const float time = cache.getLastTime() + (rate > 0.0f ? 1.0f / rate : 1.0f);
    if (!std::isfinite(time)) {
        return;
    }
    for (int o = 0; o < std::min(cache.getNumObjects(), ZelFuzz::kMaxObjects); ++o) {
        const ZelGroupChunk* from = cache.getSample(last, o);
        ZelGroupChunk* to = cache.allocSample(time, o);
        for (uint64 c = 0; from != nullptr && to != nullptr && c < from->numChildren(); ++c) {
            if (ZelChunk* copy = ZelChunk::copy(const_cast<ZelChunk*>(from->getChild(c)))) {
                to->addChild(copy);
            }
        }
    }
    cache.append();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    appendWithWriter(ZelFuzz::inputFile(data, size));
    appendWithCache(ZelFuzz::inputFile(data, size));
    return 0;
}

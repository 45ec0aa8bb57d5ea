#include "support/CacheFile.h"

#include "ZelFile.h"
#include "ZelSAMSChunk.h"

namespace ZelTest {

using namespace Zel;

bool writeCacheFile(const std::string& path, const ZelMETAChunk& meta, const SampleFiller& fill,
                    const std::vector<float>& times) {
    ZelFile f;
    if (!f.open(path.c_str(), "w") || !ZelDZELChunk().write(f) || !meta.write(f)) {
        return false;
    }
    if (meta.numSamples > 0) {
        ZelSAMSChunk sams;
        const int64 numObjects = meta.getNumObjects();
        if (!sams.writeStart(f, meta.numSamples, 0, !times.empty())) {
            return false;
        }
        for (int s = 0; s < meta.numSamples; ++s) {
            float t = times.empty() ? 0.0f : times[static_cast<size_t>(s)];
            if (!sams.writeStartSAMPChunk(f, numObjects, times.empty() ? nullptr : &t)) {
                return false;
            }
            for (int o = 0; o < numObjects; ++o) {
                ZelGroupChunk sobj(makeTag("SOBJ"));
                if (fill) {
                    fill(s, o, sobj);
                }
                if (!sams.writeSOBJChunk(f, &sobj)) {
                    return false;
                }
            }
            if (!sams.writeEndSAMPChunk(f)) {
                return false;
            }
        }
        if (!sams.writeEnd(f)) {
            return false;
        }
    }
    return f.close();
}

}  // namespace ZelTest

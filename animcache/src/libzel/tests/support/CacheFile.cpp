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
        bool ok = sams.writeStart(f, meta.numSamples, 0, !times.empty());
        for (int s = 0; ok && s < meta.numSamples; ++s) {
            float t = times.empty() ? 0.0f : times[static_cast<size_t>(s)];
            ok = sams.writeStartSAMPChunk(f, numObjects, times.empty() ? nullptr : &t);
            for (int o = 0; ok && o < numObjects; ++o) {
                ZelGroupChunk sobj(makeTag("SOBJ"));
                if (fill) {
                    fill(s, o, sobj);
                }
                ok = sams.writeSOBJChunk(f, &sobj);
            }
            ok = ok && sams.writeEndSAMPChunk(f);
        }
        if (!ok || !sams.writeEnd(f)) {
            return false;
        }
    }
    return f.close();
}

}  // namespace ZelTest

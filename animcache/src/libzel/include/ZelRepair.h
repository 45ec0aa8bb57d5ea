// repairCache: makes a cache that a cut or an interrupted append left unloadable load again.
#ifndef ZEL_REPAIR_H
#define ZEL_REPAIR_H

#include <string>
#include <vector>

#include "ZelProgress.h"
#include "ZelStatus.h"
#include "ZelTypes.h"

namespace Zel {

// What repairCache kept and dropped.
struct ZelRepairReport {
    int64 samplesKept = 0;     // whole samples, now in the repaired file
    int64 samplesDropped = 0;  // samples the file announced or began that were not whole
    int64 bytesDropped = 0;    // bytes of the input that the repaired file does not hold
    float firstTime = 0.0f, lastTime = 0.0f;  // the kept samples' times (when any)
    std::vector<std::string> notes;           // what was found and done, one line each
};

// Writes to `output` a cache holding the metadata and every whole sample of the cache at
// `input`, in order: the samples before the first one that is cut, damaged or out of time order,
// including samples that an append wrote and whose commit did not finish. Every reader loads the
// result. `output` may be `input`: the repaired file then replaces it in one rename, and until
// then (and on any failure) the input is as it was. Fails (kCorrupt) when not even the metadata
// can be read or it gives no usable sampling rate, (kNotFound, kIo, kNotACache) as the system or
// the file says. `report` is filled on success.
ZEL_API ZelStatus repairCache(const std::string& input, const std::string& output,
                              ZelRepairReport& report, const ZelProgress& progress = {});

}  // namespace Zel

#endif

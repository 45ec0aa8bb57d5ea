// stitchCaches: joins caches of consecutive frame ranges, as per-range farm jobs write them.
#ifndef ZEL_STITCH_H
#define ZEL_STITCH_H

#include <string>
#include <vector>

#include "ZelProgress.h"
#include "ZelStatus.h"
#include "ZelTypes.h"

namespace Zel {

// What stitchCaches wrote.
struct ZelStitchReport {
    int64 samples = 0;
    float firstTime = 0.0f, lastTime = 0.0f;
    bool uniform = true;             // stored with a rate; false: with every sample's time
    std::vector<std::string> notes;  // anything a person should know, one line each
};

// Writes to `output` one cache with the samples of `inputs` in the order given, streaming sample
// by sample through ZelWriter (the new file replaces `output` only when complete). The inputs must
// hold the same objects (names, kinds and animated attributes, in the same order) and each must
// start after the previous one ends; the result samples uniformly when every input shares one rate
// and the ranges follow without a gap, else with every sample's time. The metadata (application,
// source, space, definitions and static attributes) is the first input's. Refusals
// (kInvalidArgument) name the input and the object or frame at fault; an input that does not open
// fails as ZelReader::open says, before anything is written, and a damaged sample (kCorrupt) names
// its input and index. On any failure `output` is as it was.
ZEL_API ZelStatus stitchCaches(const std::vector<std::string>& inputs, const std::string& output,
                               ZelStitchReport* report = nullptr, const ZelProgress& progress = {});

}  // namespace Zel

#endif

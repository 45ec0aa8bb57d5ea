// ZelSAMSChunk: the streaming writer of a file's samples section "SAMS".
#ifndef ZEL_SAMS_CHUNK_H
#define ZEL_SAMS_CHUNK_H

#include <vector>

#include "ZelChunks.h"
#include "ZelFile.h"
#include "ZelTypes.h"

namespace Zel {

// Writes the samples section sample by sample and object by object straight to a ZelFile, never
// holding it in memory. The section holds a time table "TIMS" (optional), a sample jump table
// "JSAM" of absolute "SAMP" header offsets, each optionally followed by a "FREE" reserve, then
// one "SAMP" group per sample with an object jump table "JOBJ" and one "SOBJ" group per object.
// The tables are written with placeholders first and rewritten in place once they are complete.
//
// Calling order: writeStart or appendStart; per sample writeStartSAMPChunk, per object either
// writeStartSOBJChunk ... writeEndSOBJChunk or writeSOBJChunk, then writeEndSAMPChunk; finally
// writeEnd. Every operation returns false on failure and prints only at trace levels 1 and 5.
class ZEL_API ZelSAMSChunk : public ZelGroupChunk {
  public:
    // Tag "SAMS", empty tables, no recorded offsets.
    ZelSAMSChunk();
    ~ZelSAMSChunk() override;

    // Empties the tables and forgets the recorded offsets and indices; keeps generic children.
    void reset() override;
    // The section is never read or written as a tree: both always return false.
    bool read(const ZelHeader& h, ZelFile& f) override;
    bool write(ZelFile& f) const override;

    // Starts a section at the current position for `numSamples` samples: "TIMS" (only with
    // `writeTimes`) and "JSAM" with placeholders, each followed by room for `numReserved` more
    // entries when that is not 0. False (the section's group closed) when a write fails.
    bool writeStart(ZelFile& f, int64 numSamples, int64 numReserved, bool writeTimes);
    // Starts the next sample's "SAMP" group with a placeholder "JOBJ" of `numObjects` entries and
    // records its offset (and `*time` when given). False past the sample count given at start.
    bool writeStartSAMPChunk(ZelFile& f, int64 numObjects, float* time);
    // Starts the next object's "SOBJ" group and records its offset; the caller writes the content.
    // False past the object count given for the sample.
    bool writeStartSOBJChunk(ZelFile& f);
    // Closes the object's "SOBJ" group; only then does the next object index advance.
    bool writeEndSOBJChunk(ZelFile& f);
    // Writes a ready-made object group (tag "SOBJ", type group) and records its offset. False,
    // writing nothing, for a null or other group or past the object count.
    bool writeSOBJChunk(ZelFile& f, const ZelGroupChunk* sobj);
    // Closes the sample's "SAMP" group and rewrites its "JOBJ" with the complete object offsets.
    bool writeEndSAMPChunk(ZelFile& f);
    // Writes the generic children, closes the section (back-patching its length) and rewrites
    // "TIMS" and "JSAM" with the complete tables.
    bool writeEnd(ZelFile& f);
    // Reopens the section whose header is at the current position of `f` (opened for update) for
    // `numNew` more samples, taken from the "FREE" reserve behind "TIMS" and "JSAM", and moves to
    // the end of the file, where the new samples go. False when the layout or reserve does not fit.
    bool appendStart(ZelFile& f, int64 numNew);

  private:
    std::vector<float> times_;
    std::vector<int64> sampleOffsets_;
    std::vector<int64> objectOffsets_;
    int64 timsOffset_;
    int64 jsamOffset_;
    int64 jobjOffset_;
    int64 nextSample_;
    int64 nextObject_;
};

}  // namespace Zel

#endif

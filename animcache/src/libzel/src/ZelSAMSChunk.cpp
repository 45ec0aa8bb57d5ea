#include "ZelSAMSChunk.h"

#include <cstdio>
#include <iostream>

#include "ZelFormat.h"
#include "ZelTrace.h"

namespace Zel {

namespace {

// A reserve chunk of `length` bytes whose payload is skipped, not written.
bool writeReserve(ZelFile& f, int64 length) {
    return f.writeChunk(ZelHeader(kTagFREE, kTypeUndef, length), nullptr);
}

// Reads table `h` (just read) into `values` in place of what they held, once it is a leaf of
// the element type of T.
template <class T>
bool readTableOf(ZelFile& f, const ZelHeader& h, std::vector<T>& values) {
    values.clear();
    return h.type == ZelTypeCode<T>::value && readTable(f, h, values);
}

// Reads the "FREE" header expected after a table and returns its length in `reserve`. A group
// there is refused: entering it would leave a level that later group ends would patch.
bool readReserve(ZelFile& f, int64& reserve) {
    ZelHeader h;
    if (!f.readHeader(h) || h.tag != kTagFREE || h.type == kTypeGroup || h.length < 0) {
        return false;
    }
    reserve = h.length;
    return true;
}

// Rewrites a table and its shrunken reserve at `offset`, leaving the position after them. The
// level stack is kept: it holds the section being reopened.
template <class T>
bool rewriteTable(ZelFile& f, uint32 tag, const std::vector<T>& values, int64 offset,
                  int64 reserve) {
    return f.seek(offset, SEEK_SET, false) && f.writeChunk(tag, values) && writeReserve(f, reserve);
}

}  // namespace

ZelSAMSChunk::ZelSAMSChunk()
    : ZelGroupChunk(kTagSAMS),
      timsOffset_(-1),
      jsamOffset_(-1),
      jobjOffset_(-1),
      nextSample_(0),
      nextObject_(0) {}

ZelSAMSChunk::~ZelSAMSChunk() = default;

void ZelSAMSChunk::reset() {
    times_.clear();
    sampleOffsets_.clear();
    objectOffsets_.clear();
    timsOffset_ = -1;
    jsamOffset_ = -1;
    jobjOffset_ = -1;
    nextSample_ = 0;
    nextObject_ = 0;
}

bool ZelSAMSChunk::read(const ZelHeader& h, ZelFile& f) {
    if (debugLevel >= 5) {
        std::cerr << "ZelSAMSChunk::read " << (f.isOpen() ? 1 : 0) << ' ';
        h.print(std::cerr) << '\n';
    }
    return false;
}

bool ZelSAMSChunk::write(ZelFile& f) const {
    if (debugLevel >= 5) {
        std::cerr << "ZelSAMSChunk::write " << (f.isOpen() ? 1 : 0) << '\n';
    }
    return false;
}

bool ZelSAMSChunk::writeStart(ZelFile& f, int64 numSamples, int64 numReserved, bool writeTimes) {
    if (numSamples < 0 || numReserved < 0) {
        return false;
    }
    nextSample_ = 0;
    if (!f.startGroup(ZelHeader(kTagSAMS, kTypeGroup, 0))) {
        return false;
    }
    bool ok = false;
    const int64 payloadStart = f.tell(&ok);
    if (debugLevel >= 1) {
        std::cerr << "writeStart offsetSAMS " << payloadStart << '\n';
    }
    // A section without times must not rewrite the table of a section written before it.
    timsOffset_ = -1;
    if (writeTimes) {
        timsOffset_ = f.tell(&ok);
        times_.resize(static_cast<size_t>(numSamples));
        if (!ok || !f.writeChunk(kTagTIMS, times_) ||
            (numReserved != 0 && !writeReserve(f, numReserved * kTimeEntrySize))) {
            f.endGroup();
            return false;
        }
    }
    jsamOffset_ = f.tell(&ok);
    sampleOffsets_.resize(static_cast<size_t>(numSamples));
    if (!ok || !f.writeChunk(kTagJSAM, sampleOffsets_) ||
        (numReserved != 0 && !writeReserve(f, numReserved * kJumpEntrySize))) {
        f.endGroup();
        return false;
    }
    return true;
}

bool ZelSAMSChunk::writeStartSAMPChunk(ZelFile& f, int64 numObjects, float* time) {
    if (nextSample_ < 0 || nextSample_ >= static_cast<int64>(sampleOffsets_.size()) ||
        numObjects < 0) {
        return false;
    }
    nextObject_ = 0;
    const size_t sample = static_cast<size_t>(nextSample_);
    bool ok = false;
    sampleOffsets_[sample] = f.tell(&ok);
    if (!ok) {
        return false;
    }
    if (time != nullptr && sample < times_.size()) {
        times_[sample] = *time;
    }
    if (!f.startGroup(ZelHeader(kTagSAMP, kTypeGroup, 0))) {
        return false;
    }
    jobjOffset_ = f.tell(&ok);
    // Entries of objects this sample leaves out keep the previous sample's offsets.
    objectOffsets_.resize(static_cast<size_t>(numObjects));
    if (!ok || !f.writeChunk(kTagJOBJ, objectOffsets_)) {
        f.endGroup();
        return false;
    }
    return true;
}

bool ZelSAMSChunk::writeStartSOBJChunk(ZelFile& f) {
    if (nextObject_ < 0 || nextObject_ >= static_cast<int64>(objectOffsets_.size())) {
        return false;
    }
    bool ok = false;
    objectOffsets_[static_cast<size_t>(nextObject_)] = f.tell(&ok);
    return ok && f.startGroup(ZelHeader(kTagSOBJ, kTypeGroup, 0));
}

bool ZelSAMSChunk::writeEndSOBJChunk(ZelFile& f) {
    if (!f.endGroup()) {
        return false;
    }
    ++nextObject_;
    return true;
}

bool ZelSAMSChunk::writeSOBJChunk(ZelFile& f, const ZelGroupChunk* sobj) {
    if (nextObject_ < 0 || nextObject_ >= static_cast<int64>(objectOffsets_.size()) ||
        sobj == nullptr || sobj->getTag() != kTagSOBJ || sobj->getType() != kTypeGroup) {
        return false;
    }
    bool ok = false;
    objectOffsets_[static_cast<size_t>(nextObject_)] = f.tell(&ok);
    if (!ok || !sobj->write(f)) {
        return false;
    }
    ++nextObject_;
    return true;
}

bool ZelSAMSChunk::writeEndSAMPChunk(ZelFile& f) {
    if (!f.endGroup()) {
        return false;
    }
    // An empty table is written as a header at the current position, after the "SAMP" group:
    // readers skip the stray chunk.
    if (jobjOffset_ >= 0 && !f.writeChunk(kTagJOBJ, objectOffsets_, jobjOffset_)) {
        return false;
    }
    ++nextSample_;
    return true;
}

bool ZelSAMSChunk::writeEnd(ZelFile& f) {
    for (uint64 i = 0; i < numChildren(); ++i) {
        // An empty slot in the list holds nothing to write, as in any group.
        const ZelChunk* child = getChild(i);
        if (child != nullptr && !child->write(f)) {
            f.endGroup();
            return false;
        }
    }
    if (!f.endGroup()) {
        return false;
    }
    // The rewrites have the size of the placeholders, so nothing after them moves; empty tables
    // land as headers after the section.
    if (timsOffset_ >= 0 && !f.writeChunk(kTagTIMS, times_, timsOffset_)) {
        return false;
    }
    return jsamOffset_ < 0 || f.writeChunk(kTagJSAM, sampleOffsets_, jsamOffset_);
}

bool ZelSAMSChunk::appendStart(ZelFile& f, int64 numNew) {
    bool ok = false;
    const int64 start = f.tell(&ok);
    if (!ok || numNew < 0) {
        return false;
    }
    ZelHeader h;
    if (!f.readHeader(h)) {
        return false;
    }
    // The section takes the header it finds there, and refuses it unless it opens a section.
    setHeader(h);
    if (h.tag != kTagSAMS || !f.seek(start, SEEK_SET, true)) {
        return false;
    }
    if (debugLevel >= 1) {
        std::cerr << "appendStart offsetSAMS " << start << '\n';
    }
    // The placeholder length makes writeEnd back-patch the enlarged section.
    if (!f.startGroup(ZelHeader(kTagSAMS, kTypeGroup, 0))) {
        return false;
    }
    int64 offset = f.tell();
    if (!f.readHeader(h)) {
        return false;
    }
    timsOffset_ = -1;
    times_.clear();
    int64 reserve = 0;
    if (h.tag == kTagTIMS) {
        timsOffset_ = offset;
        if (!readTableOf(f, h, times_) || !readReserve(f, reserve) ||
            reserve / kTimeEntrySize < numNew) {
            return false;
        }
        times_.resize(times_.size() + static_cast<size_t>(numNew));
        if (!rewriteTable(f, kTagTIMS, times_, timsOffset_, reserve - numNew * kTimeEntrySize)) {
            return false;
        }
        offset = f.tell();
        if (!f.readHeader(h)) {
            return false;
        }
    }
    if (h.tag != kTagJSAM || !readTableOf(f, h, sampleOffsets_) || !readReserve(f, reserve) ||
        reserve / kJumpEntrySize < numNew) {
        return false;
    }
    jsamOffset_ = offset;
    nextSample_ = static_cast<int64>(sampleOffsets_.size());
    sampleOffsets_.resize(sampleOffsets_.size() + static_cast<size_t>(numNew));
    if (!rewriteTable(f, kTagJSAM, sampleOffsets_, jsamOffset_,
                      reserve - numNew * kJumpEntrySize)) {
        return false;
    }
    return f.seek(0, SEEK_END, false);
}

}  // namespace Zel

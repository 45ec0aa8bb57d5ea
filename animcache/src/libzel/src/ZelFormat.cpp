#include "ZelFormat.h"

#include <limits>

namespace Zel {

bool decodeHeader(const void* bytes, uint64 size, uint64 offset, ZelHeader& h) {
    if (offset > size || size - offset < static_cast<uint64>(kHeaderSize)) {
        return false;
    }
    std::memcpy(static_cast<void*>(&h), static_cast<const unsigned char*>(bytes) + offset,
                static_cast<size_t>(kHeaderSize));
    return true;
}

bool payloadFits(const ZelHeader& h, uint64 payloadOffset, uint64 size) {
    return h.length >= 0 && payloadOffset <= size &&
           static_cast<uint64>(h.length) <= size - payloadOffset;
}

int64 payloadEnd(int64 payloadStart, const ZelHeader& h) {
    constexpr int64 kMax = std::numeric_limits<int64>::max();
    return h.length > kMax - payloadStart ? kMax : payloadStart + h.length;
}

SectionTablesError readSectionTables(ZelFile& f, std::vector<TimeEntry>& times,
                                     std::vector<JumpEntry>& jumps, SectionTables& tables,
                                     std::ostream* trace, int64 end) {
    // The tag of the header read before the current one: a "FREE" right after a table is its
    // reserve.
    uint32 previous = 0;
    ZelHeader h;
    while (f.tell() < end && f.readHeader(h)) {
        if (trace != nullptr) {
            h.print(*trace) << ' ' << f.tell() << '\n';
        }
        if (h.tag == kTagSAMP) {
            break;
        }
        if (h.tag == kTagTIMS) {
            tables.hasTimes = true;
            tables.timeCount = h.length / kTimeEntrySize;
            tables.spareTimes = 0;
            if (!readTable(f, h, times)) {
                return SectionTablesError::kTimes;
            }
        } else if (h.tag == kTagJSAM) {
            tables.hasJumps = true;
            tables.spareJumps = 0;
            tables.jumpReserveStart = -1;
            tables.jumpReserveLength = 0;
            if (!readTable(f, h, jumps)) {
                return SectionTablesError::kJumps;
            }
            tables.jumpsEnd = f.tell();
        } else if (h.tag == kTagFREE) {
            const int64 start = f.tell();
            if (!f.skipData(h)) {
                return SectionTablesError::kReserve;
            }
            if (previous == kTagTIMS) {
                tables.spareTimes = h.length / kTimeEntrySize;
            } else if (previous == kTagJSAM) {
                tables.spareJumps = h.length / kJumpEntrySize;
                tables.jumpReserveStart = start;
                tables.jumpReserveLength = h.length;
            }
        }
        previous = h.tag;
    }
    return SectionTablesError::kNone;
}

}  // namespace Zel

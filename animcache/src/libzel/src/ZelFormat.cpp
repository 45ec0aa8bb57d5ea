#include "ZelFormat.h"

#include <ctime>
#include <limits>

#include "ZelFileChunks.h"

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

template <class Stream>
SectionTablesError readSectionTables(Stream& f, std::vector<TimeEntry>& times,
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
            tables.timesOffset = f.tell() - kHeaderSize;
            tables.timeCount = h.length / kTimeEntrySize;
            tables.spareTimes = 0;
            if (!readTable(f, h, times)) {
                return SectionTablesError::kTimes;
            }
        } else if (h.tag == kTagJSAM) {
            tables.hasJumps = true;
            tables.jumpsOffset = f.tell() - kHeaderSize;
            tables.jumpCount = h.length / kJumpEntrySize;
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

template SectionTablesError readSectionTables(ZelFile&, std::vector<TimeEntry>&,
                                              std::vector<JumpEntry>&, SectionTables&,
                                              std::ostream*, int64);
template SectionTablesError readSectionTables(ZelByteStream&, std::vector<TimeEntry>&,
                                              std::vector<JumpEntry>&, SectionTables&,
                                              std::ostream*, int64);

bool uniformRate(const float* times, size_t n, float& rate) {
    if (n < 2) {
        rate = 1.0f;
        return true;
    }
    const double d = static_cast<double>(times[1] - times[0]);
    // Equal or falling times have no rate.
    if (!(d > 0.0)) {
        return false;
    }
    for (size_t k = 2; k < n; ++k) {
        if (static_cast<double>(times[k] - times[k - 1]) != d) {
            return false;
        }
    }
    rate = static_cast<float>(1.0 / d);
    return true;
}

std::string notACacheMessage(const std::string& path, const unsigned char* bytes, uint64 size) {
    std::string message = "'" + path + "' is not a cache file (it ";
    if (size == 0) {
        return message + "is empty)";
    }
    message += "starts with \"";
    for (uint64 i = 0; i < size && i < 4; ++i) {
        const unsigned char c = bytes[i];
        if (c >= 0x20 && c < 0x7f && c != '"' && c != '\\') {
            message += static_cast<char>(c);
        } else {
            static const char kHex[] = "0123456789abcdef";
            message += {'\\', 'x', kHex[c >> 4], kHex[c & 15]};
        }
    }
    return message + "\")";
}

int64 dateStampNow() {
    return static_cast<int64>(std::time(nullptr));
}

namespace {

// Reads the tables of the samples section whose header `h` lies at `pos` into `layout`, checks
// that its spare room ends before its first sample, and moves past the section.
bool scanSection(ZelFile& f, int64 pos, const ZelHeader& h, FileLayout& layout,
                 std::ostream* trace) {
    if (layout.metaOffset < 0 || h.length < 0 || h.length > layout.fileSize - pos - kHeaderSize) {
        return false;
    }
    if (trace != nullptr) {
        *trace << "offsetToSAMS " << pos << '\n';
    }
    layout.samsOffset = pos;
    layout.samsEnd = pos + kHeaderSize + h.length;
    layout.tables = SectionTables();
    const size_t firstEntry = layout.jumps.size();
    if (readSectionTables(f, layout.times, layout.jumps, layout.tables, nullptr, layout.samsEnd) !=
            SectionTablesError::kNone ||
        !layout.tables.hasJumps) {
        return false;
    }
    // A section that would not end behind its own tables (a length never back-patched, say) is
    // damaged.
    const SectionTables& t = layout.tables;
    if (layout.samsEnd <= t.jumpsEnd) {
        return false;
    }
    // A table grows into its reserve: a reserve said to reach past the section's first sample
    // would have an append overwrite that sample.
    const int64 reserveStart = t.jumpReserveStart >= 0 ? t.jumpReserveStart : t.jumpsEnd;
    const int64 firstSample =
        layout.jumps.size() > firstEntry ? layout.jumps[firstEntry] : layout.samsEnd;
    if (firstSample < reserveStart || t.jumpReserveLength > firstSample - reserveStart) {
        return false;
    }
    return f.seek(layout.samsEnd, SEEK_SET, true);
}

}  // namespace

bool scanFileLayout(ZelFile& f, FileLayout& layout, std::ostream* trace, int64 metaLength) {
    if (!f.seek(0, SEEK_END, true)) {
        return false;
    }
    layout.fileSize = f.tell();
    ZelHeader h;
    ZelDZELChunk dzel;
    if (!f.seek(0, SEEK_SET, true) || !f.readHeader(h) || !dzel.read(h, f)) {
        return false;
    }
    for (;;) {
        bool ok = false;
        const int64 pos = f.tell(&ok);
        if (!ok) {
            return false;
        }
        if (pos >= layout.fileSize || !f.readHeader(h)) {
            break;
        }
        if (h.tag == kTagMETA) {
            if ((metaLength >= 0 && h.length != metaLength) || !f.skipData(h)) {
                return false;
            }
            layout.metaOffset = pos;
            layout.metaLength = h.length;
        } else if (h.tag == kTagSAMS) {
            if (!scanSection(f, pos, h, layout, trace)) {
                return false;
            }
        } else if (!f.skipData(h)) {
            return false;
        }
    }
    return layout.metaOffset >= 0 && layout.samsOffset >= 0;
}

}  // namespace Zel

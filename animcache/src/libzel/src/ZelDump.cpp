#include "ZelDump.h"

#include <ctime>
#include <memory>

#include "ZelChunks.h"
#include "ZelFile.h"
#include "ZelFormat.h"

namespace Zel {

namespace {

// The "#n" numbers of a listing. Samples and definitions share one object counter: definitions
// come before the samples in a file, so after the last sample it holds that sample's object count.
struct ChunkCounters {
    int64 samples = 0;
    int64 objects = 0;
    int64 definitions = 0;

    // Counts the group or empty chunk `tag`; its number in the listing, or -1 when it has none.
    int64 count(uint32 tag) {
        if (tag == kTagSAMP) {
            objects = 0;
            return samples++;
        }
        if (tag == kTagSOBJ) {
            return objects++;
        }
        if (tag == kTagDOBJ) {
            definitions = objects + 1;
            return objects++;
        }
        return -1;
    }
};

// The line of a group or an empty chunk: its header, with " : " and its number when asked.
void writeHeaderLine(std::ostream& os, const ZelHeader& h, int64 depth, int64 number,
                     bool counters) {
    writeIndent(os, depth);
    h.print(os);
    if (counters) {
        os << " : ";
        if (number >= 0) {
            os << '#' << number;
        }
    }
}

// Reads the leaf that `h` announces and writes its line at `depth`; nothing is written when the
// leaf cannot be read.
ZelDumpError writeLeafLine(ZelFile& file, std::ostream& os, const ZelHeader& h, int64 depth,
                           bool skipDate) {
    if (skipDate && h.tag == kTagDATE) {
        if (!file.skipData(h)) {
            return ZelDumpError::kLeafRead;
        }
        writeIndent(os, depth) << "DATE skipped";
        return ZelDumpError::kNone;
    }
    // One leaf in memory at a time, however large the file.
    const std::unique_ptr<ZelChunk> leaf(ZelChunk::create(h.tag, h.type));
    if (leaf == nullptr) {
        return ZelDumpError::kUnrecognizedChunk;
    }
    if (!leaf->read(h, file)) {
        return ZelDumpError::kLeafRead;
    }
    leaf->print(os, static_cast<int>(depth));
    return ZelDumpError::kNone;
}

}  // namespace

std::ostream& writeDate(std::ostream& os, int64 date) {
    const std::time_t t = static_cast<std::time_t>(date);
    std::tm local{};
    // asctime_r needs 26 bytes; a year beyond four digits does not fit and fails instead.
    char text[64];
    if (localtime_r(&t, &local) != nullptr && asctime_r(&local, text) != nullptr) {
        return os << text;
    }
    return os << date << '\n';
}

ZelDumpResult dumpChunkTree(ZelFile& file, std::ostream& os, const ZelDumpOptions& options) {
    ZelDumpResult result;
    ChunkCounters counters;
    // The depth before a header is read, so a group's own line sits at its parent's level.
    uint64 level = file.getLevel();
    ZelHeader h;
    while (file.readHeader(h)) {
        const int64 depth = options.indent ? static_cast<int64>(level) : 0;
        if (h.type == kTypeGroup || h.length == 0) {
            writeHeaderLine(os, h, depth, counters.count(h.tag), options.counters);
        } else {
            result.error = writeLeafLine(file, os, h, depth, options.skipDate);
            if (result.error != ZelDumpError::kNone) {
                break;
            }
        }
        level = file.getLevel();
        os << '\n';
        if (options.flushLines) {
            os.flush();
        }
    }
    result.numDefinitions = counters.definitions;
    result.numLastSampleObjects = counters.objects;
    return result;
}

}  // namespace Zel

// Text forms of the chunk tree shared by the chunks' print operations, the dump utilities and
// the trace printers. Internal to the library.
#ifndef ZEL_DUMP_H
#define ZEL_DUMP_H

#include <ostream>

#include "ZelTypes.h"

namespace Zel {

class ZelFile;

// Writes the nesting marks of `depth` levels: ". " once per level. Returns `os`.
inline std::ostream& writeIndent(std::ostream& os, int64 depth) {
    for (int64 i = 0; i < depth; ++i) {
        os << ". ";
    }
    return os;
}

// Writes the date stamp `date` (seconds since 1970) as one line: the local time in the C
// library's asctime form (its text ends in its own newline), or, for a date beyond the
// calendar's range, the number of seconds and a newline. Returns `os`.
std::ostream& writeDate(std::ostream& os, int64 date);

// How a chunk-tree dump lays out its lines. The defaults give the indented listing for people;
// a comparison turns every field around to get a flat dump that two equal caches share.
struct ZelDumpOptions {
    // Each line starts with ". " once per group that encloses the chunk.
    bool indent = true;
    // Group and empty chunk lines end in " : ", then "#n" for samples, objects and definitions.
    bool counters = true;
    // The date stamp reads "DATE skipped": it differs between any two writes of the same content.
    bool skipDate = false;
    // Each line is flushed as it ends, so it precedes any error line written after it elsewhere.
    bool flushLines = true;
};

// Why a dump stopped before the end of the headers.
enum class ZelDumpError {
    kNone,               // every header was dumped
    kUnrecognizedChunk,  // no chunk could be made for a leaf's tag and type
    kLeafRead,           // a leaf's payload could not be read (or skipped)
};

// How a dump ended, and what it counted on the way.
struct ZelDumpResult {
    ZelDumpError error = ZelDumpError::kNone;
    // The object definitions met, and the objects of the last sample (or, before any sample, the
    // definitions again): a well-formed cache gives the same count twice.
    int64 numDefinitions = 0;
    int64 numLastSampleObjects = 0;
};

// Writes one line per chunk of `file`, from its position until no further header can be read:
// a group or empty chunk as its header, a leaf as it prints itself. On failure the dump ends
// after the last whole line and the result names the cause; `file` stays open either way.
ZelDumpResult dumpChunkTree(ZelFile& file, std::ostream& os, const ZelDumpOptions& options);

}  // namespace Zel

#endif

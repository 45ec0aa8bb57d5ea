// checkCache: every problem a cache file holds, each with where it lies, for tools and scripts.
#ifndef ZEL_CHECK_H
#define ZEL_CHECK_H

#include <string>
#include <vector>

#include "ZelProgress.h"
#include "ZelStatus.h"
#include "ZelTypes.h"

namespace Zel {

// How much a problem matters: an error makes the file wrong or unreadable for some reader; a
// warning is data a renderer will not like (non-finite positions) in a file that reads.
enum class ZelSeverity { kWarning, kError };

// One problem, located as closely as the file allows.
struct ZelProblem {
    ZelSeverity severity = ZelSeverity::kError;
    int64 offset = -1;    // the byte offset of the chunk at fault; -1 for the file as a whole
    int object = -1;      // the object concerned, -1 when none
    int64 sample = -1;    // the sample concerned, -1 when none
    std::string message;  // one line for people, e.g. "sample group runs past the end of the file"
};

struct ZelCheckOptions {
    bool strict = false;      // warnings count as errors (and are reported as errors)
    int64 maxProblems = 100;  // problems listed in the report; all are counted
    ZelProgress progress;     // samples checked of the samples found
};

// What checkCache found.
struct ZelCheckReport {
    int64 fileSize = 0;
    int64 sampleCount = 0;     // samples the metadata announces
    int64 samplesChecked = 0;  // samples found through the tables and checked
    int objectCount = 0;
    int64 errors = 0;                  // all errors, also those past maxProblems
    int64 warnings = 0;                // all warnings
    std::vector<ZelProblem> problems;  // in file order, at most maxProblems
    // Whether ZelCache::load accepts the file: exactly the loader's own checks pass. It takes a
    // file whose last samples are cut or misplaced (errors here); ZelReader::open refuses those.
    bool loads = false;

    bool clean() const { return errors == 0; }
};

// Checks every chunk of the cache at `path`: the layout that the loader checks, and what it does
// not: samples past the end of the file or of their section, bytes that nothing refers to, object
// groups that disagree with their definition, point counts that change without topology, times
// that do not increase, non-finite positions. Reads the file once, front to back. Not ok only
// when the file cannot be read at all or is not a cache (kNotFound, kIo; kNotACache for a
// directory or a file that does not start with "DZEL"), with a message to print as it is; damage
// inside a cache is a problem in `report`.
ZEL_API ZelStatus checkCache(const std::string& path, ZelCheckReport& report,
                             const ZelCheckOptions& options = {});

// "warning" or "error".
ZEL_API const char* severityName(ZelSeverity severity);

}  // namespace Zel

#endif

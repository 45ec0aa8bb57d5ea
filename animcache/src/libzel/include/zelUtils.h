// The command utilities: summary, text dump, comparison and test writer of cache files. They live
// in the global namespace so that command-line front ends and host scripts call them by name.
#ifndef ZEL_UTILS_H
#define ZEL_UTILS_H

#include "ZelTypes.h"

// Prints a summary of the cache `filename` to standard output. 0, or -1 (one error line on
// standard error) when the file cannot be loaded.
ZEL_API int zelinfo(const char* filename);
// Dumps the chunk tree of `filename` to standard output as indented text, one line per chunk.
// 0, or -1 (one error line on standard error) on failure.
ZEL_API int zel2txt(const char* filename);
// Compares two caches through text dumps that leave out the date stamp and an external diff run
// with `diffOptions`. The status of the diff command, or -1 when a file cannot be dumped.
ZEL_API int zeldiff(const char* file1, const char* file2, const char* diffOptions = nullptr);
// Writes a small fixed cache to `filename` through the streaming writer. 0 when the whole file
// was written and closed, -1 (one error line on standard error) at the first failure.
ZEL_API int zeltest(const char* filename);

#endif

// What zelbench's sources share: the cache writers of the benchmarks, the entry points of the
// write benchmarks (zelbench_write.cpp), the classic read benchmarks (zelbench_classic.cpp), the
// reader benchmarks (zelbench_reader.cpp), the stitch benchmark (zelbench_stitch.cpp) and the
// check benchmark (zelbench_check.cpp), and the
// small measuring helpers they use.
#ifndef ZELBENCH_H
#define ZELBENCH_H

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

#include "ZelStatus.h"

// Runs every write benchmark on files named after `path` (`path` + ".fwrite" and so on, in the
// same directory, each removed after its run) and prints the figures. False when a write fails
// or a written file does not read back as written.
bool benchWrites(const std::string& path);

// The process whose peak memory benchWrites reports: writes the 240-frame mesh to `path` with
// ZelWriter, prints this process's peak resident set in kB and removes the file. Exit status 0
// when the file was written and reads back as written.
int writerPeakChild(const std::string& path);

// Writes a cache of `samples` samples (times 1, 2, ...) of `objects` meshes ("mesh" alone, else
// "mesh0", "mesh1", ...) whose "POSI" holds `vertices` float points; in sample s every point's
// coordinates are s, s + 1, s + 2. False when a write fails.
bool writeMeshCache(const char* path, int samples, int objects, int vertices);

// The crowd of transforms the write and the reader benchmarks share: kTransforms transforms over
// kTransformFrames frames, object o standing at (o, f, 0) in frame f.
constexpr int kTransforms = 10000, kTransformFrames = 10;
// Every frame's matrices, frame after frame, object after object, 16 doubles each.
std::vector<double> transformMatrices();
// Object `o`'s name, as a scene's path names them.
std::string transformName(int o);
// Writes the crowd to `path` with ZelWriter, from create() to close(); `all` is
// transformMatrices() and `names` every transformName().
Zel::ZelStatus writeTransforms(const std::string& path, const std::vector<double>& all,
                               const std::vector<std::string>& names);

// Runs the classic read benchmarks (zelbench_classic.cpp) on files named after `path`, each
// removed after its run, and prints the figures. False when a read returns other values than
// were written.
bool benchClassicReads(const std::string& path);

// Runs the reader benchmarks (zelbench_reader.cpp): writes the 240-sample mesh cache to `path`
// and a cache of transforms beside it, reads both with ZelReader next to raw limits, prints one
// table and removes both files. False when a read differs from what was written.
bool benchReader(const std::string& path);

// Runs the stitch benchmark (zelbench_stitch.cpp): writes two 240-frame mesh caches named after
// `path`, times copying them into one file and stitchCaches of them, prints the figures and
// removes every file. False when a step fails or the stitched file holds other values.
bool benchStitch(const std::string& path);

// Runs the check benchmark (zelbench_check.cpp): writes a mesh cache of about 2.9 GB to `path`,
// times checkCache on it next to reading it with read() into a 1 MB buffer, prints both and their
// ratio and removes the file. False when the write, the read or the check fails.
bool benchCheck(const std::string& path);

// Seconds since `start` on the steady clock.
inline double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The number after `key` (e.g. "VmHWM:") on its line of a /proc file, or -1 when it is missing.
inline long long procField(const char* file, const std::string& key) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, key.size(), key) == 0) {
            return std::stoll(line.substr(key.size()));
        }
    }
    return -1;
}

// The process's peak resident set in kB (VmHWM), or -1 when it cannot be read.
inline long peakResidentKb() {
    return static_cast<long>(procField("/proc/self/status", "VmHWM:"));
}

// The size of the file at `path` in bytes, or -1.
inline long long fileSize(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    return in ? static_cast<long long>(in.tellg()) : -1;
}

#endif

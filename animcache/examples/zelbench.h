// What zelbench's two sources share: the write benchmarks' entry points (zelbench_write.cpp) and
// the small measuring helpers both use.
#ifndef ZELBENCH_H
#define ZELBENCH_H

#include <chrono>
#include <fstream>
#include <string>

// Runs every write benchmark on files named after `path` (`path` + ".fwrite" and so on, in the
// same directory, each removed after its run) and prints the figures. False when a write fails
// or a written file does not read back as written.
bool benchWrites(const std::string& path);

// The process whose peak memory benchWrites reports: writes the 240-frame mesh to `path` with
// ZelWriter, prints this process's peak resident set in kB and removes the file. Exit status 0
// when the file was written and reads back as written.
int writerPeakChild(const std::string& path);

// Seconds since `start` on the steady clock.
inline double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The process's peak resident set in kB (VmHWM), or -1 when it cannot be read.
inline long peakResidentKb() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmHWM:") == 0) {
            return std::stol(line.substr(6));
        }
    }
    return -1;
}

// The size of the file at `path` in bytes, or -1.
inline long long fileSize(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    return in ? static_cast<long long>(in.tellg()) : -1;
}

#endif

// The small measuring helpers of zelbench's sources.
#ifndef ZELBENCH_H
#define ZELBENCH_H

#include <chrono>
#include <fstream>
#include <string>

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

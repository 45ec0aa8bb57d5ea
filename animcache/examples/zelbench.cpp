// Streams through a large cache with a memory cache limited to two samples and reports the file
// size, the peak resident memory before and after the read loop, and the times taken.
//
// usage: zelbench [FILE] [--unlimited]
// FILE (default zelbench.zel) is written, read and removed. With --unlimited a second loop reads
// the file again without a limit, for comparison.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "Zel.h"

using namespace Zel;

namespace {

constexpr int kSamples = 240;
constexpr int kVertices = 100000;

// The process's peak resident set in kB (VmHWM), or -1 when it cannot be read.
long peakResidentKb() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 6, "VmHWM:") == 0) {
            return std::stol(line.substr(6));
        }
    }
    return -1;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// One mesh object whose "POSI" (float, point, 3d) moves by one unit per sample.
bool writeCache(const char* path) {
    ZelFile f;
    if (!f.open(path, "w") || !ZelDZELChunk().write(f)) {
        return false;
    }
    ZelMETAChunk meta;
    meta.application = "zelbench";
    meta.numSamples = kSamples;
    meta.firstTime = 1;
    meta.lastTime = kSamples;
    meta.rate = 1;
    meta.addDOBJ("mesh");
    if (!meta.write(f)) {
        return false;
    }
    ZelSAMSChunk sams;
    if (!sams.writeStart(f, kSamples, 0, false)) {
        return false;
    }
    std::vector<float> positions(3 * static_cast<size_t>(kVertices));
    for (int s = 0; s < kSamples; ++s) {
        for (size_t j = 0; j < positions.size(); ++j) {
            positions[j] = static_cast<float>(j % 3 + static_cast<size_t>(s));
        }
        if (!sams.writeStartSAMPChunk(f, 1, nullptr) || !sams.writeStartSOBJChunk(f) ||
            !f.writeChunk(makeTag("POSI"), positions, -1, 1, 3) || !sams.writeEndSOBJChunk(f) ||
            !sams.writeEndSAMPChunk(f)) {
            return false;
        }
    }
    return sams.writeEnd(f) && f.close();
}

// Reads every sample's positions in time order; the sum of their first coordinates, or NaN.
double readAll(const char* path, int limit) {
    ZelRoMemCache cache;
    if (!cache.load(path, true, limit)) {
        return std::nan("");
    }
    double sum = 0;
    for (int s = 0; s < cache.getNumSamples(); ++s) {
        const auto* posi =
            dynamic_cast<const ZelLeafChunk<float>*>(cache.getSample(s, 0, makeTag("POSI")));
        if (posi == nullptr || posi->values().size() != 3 * static_cast<size_t>(kVertices)) {
            return std::nan("");
        }
        sum += posi->values()[0];
    }
    return sum;
}

// ---- Appending through the read-write cache ----

long long fileSize(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    return in ? static_cast<long long>(in.tellg()) : -1;
}

// The bytes this process has passed to write() so far ("wchar" of /proc/self/io), or -1.
long long bytesWritten() {
    std::ifstream io("/proc/self/io");
    std::string line;
    while (std::getline(io, line)) {
        if (line.compare(0, 6, "wchar:") == 0) {
            return std::stoll(line.substr(6));
        }
    }
    return -1;
}

// Allocates the mesh's positions for frames `first` to `last`, as writeCache lays them out.
void addFrames(ZelRwMemCache& cache, int first, int last) {
    std::vector<float> positions(3 * static_cast<size_t>(kVertices));
    for (int frame = first; frame <= last; ++frame) {
        for (size_t j = 0; j < positions.size(); ++j) {
            positions[j] = static_cast<float>(j % 3 + static_cast<size_t>(frame - 1));
        }
        cache.allocSample(static_cast<float>(frame), 0)
            ->addChild(new ZelLeafChunk<float>(makeTag("POSI"), 1, 3, positions));
    }
}

// Loads `base` into a read-write cache, adds 10 frames after its 240 and saves them to `target`:
// in place when it is the same file, by a full rewrite otherwise. Prints bytes written and time.
bool timeTenMoreFrames(const std::string& base, const std::string& target, const char* what) {
    ZelRwMemCache cache;
    if (!cache.load(base.c_str())) {
        return false;
    }
    addFrames(cache, kSamples + 1, kSamples + 10);
    const long long before = bytesWritten();
    const auto start = std::chrono::steady_clock::now();
    bool saved = false;
    if (!cache.saveAs(target.c_str(), &saved) || !saved) {
        return false;
    }
    const double seconds = secondsSince(start);
    std::cout << what << ": " << bytesWritten() - before << " bytes written in " << seconds
              << " s\n";
    ZelRoMemCache check;
    return check.load(target.c_str()) && check.getNumSamples() == kSamples + 10;
}

// Appending 10 frames to the 240-frame cache in place, against writing the 250 frames afresh.
bool benchAppend(const std::string& path) {
    const std::string appended = path + ".append", rewritten = path + ".rewrite";
    {
        // Written by the read-write cache itself, so that the file keeps spare room for samples.
        ZelRwMemCache cache;
        cache.setApplication("zelbench");
        cache.setSourceFile("zelbench.scene");
        addFrames(cache, 1, kSamples);
        cache.setName(0, "mesh");
        if (!cache.saveAs(appended.c_str())) {
            return false;
        }
    }
    std::cout << "\nappending 10 frames to " << kSamples << " frames of " << kVertices
              << " vertices (file of " << fileSize(appended) << " bytes)\n";
    // The rewrite goes first, to another file, so both start from the same 240 frames.
    const bool ok = timeTenMoreFrames(appended, rewritten, "full rewrite   ") &&
                    timeTenMoreFrames(appended, appended, "append in place");
    std::remove(appended.c_str());
    std::remove(rewritten.c_str());
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    const char* path = "zelbench.zel";
    bool unlimited = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--unlimited") == 0) {
            unlimited = true;
        } else {
            path = argv[i];
        }
    }

    auto start = std::chrono::steady_clock::now();
    if (!writeCache(path)) {
        std::cerr << "zelbench: could not write " << path << '\n';
        return 1;
    }
    const double writeSeconds = secondsSince(start);
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const long long bytes = static_cast<long long>(file.tellg());
    std::cout << "samples: " << kSamples << ", vertices per sample: " << kVertices << '\n'
              << "file size: " << bytes << " bytes (" << bytes / (1024.0 * 1024.0) << " MiB)\n"
              << "write time: " << writeSeconds << " s\n"
              << "peak resident before reading: " << peakResidentKb() << " kB\n";

    start = std::chrono::steady_clock::now();
    const double sum = readAll(path, 2);
    const double readSeconds = secondsSince(start);
    // Sample s holds s in its first coordinate: 0 + 1 + ... + 239.
    const double expected = kSamples * (kSamples - 1) / 2.0;
    std::cout << "read loop, limit 2: " << readSeconds << " s ("
              << bytes / (1024.0 * 1024.0) / readSeconds << " MiB/s), check "
              << (sum == expected ? "ok" : "FAILED") << '\n'
              << "peak resident after reading: " << peakResidentKb() << " kB\n";
    bool ok = sum == expected;
    if (unlimited) {
        start = std::chrono::steady_clock::now();
        const double all = readAll(path, 0);
        std::cout << "read loop, no limit: " << secondsSince(start) << " s, check "
                  << (all == expected ? "ok" : "FAILED") << '\n'
                  << "peak resident after reading without a limit: " << peakResidentKb() << " kB\n";
        ok = ok && all == expected;
    }
    if (!benchAppend(path)) {
        std::cerr << "zelbench: the append benchmark failed\n";
        ok = false;
    }
    std::remove(path);
    return ok ? 0 : 1;
}

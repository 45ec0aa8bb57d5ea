// Streams through a large cache with a memory cache limited to two samples and reports the file
// size, the peak resident memory before and after the read loop, and the times taken; then
// evaluates the mesh's positions at 240 fractional times with each interpolation order, in
// millions of points per second next to a memcpy of as many bytes; then compares appending 10
// samples in place with a full rewrite; then runs the classic read benchmarks
// (zelbench_classic.cpp), the write benchmarks (zelbench_write.cpp), the reader benchmarks
// (zelbench_reader.cpp) and the stitch benchmark (zelbench_stitch.cpp).
//
// usage: zelbench [FILE] [--unlimited] [--write] [--reader] [--stitch] [--check]
// FILE (default zelbench.zel) is written, read and removed; the classic read and the write
// benchmarks write files named after it in the same directory and remove them too. With --unlimited
// a second loop reads the file again without a limit, for comparison. With --write only the write
// benchmarks run, with --reader only the reader benchmarks, with --stitch only the stitch
// benchmark, with --check only the check benchmark (zelbench_check.cpp, a file of 2.9 GB, not
// part of a plain run). (zelbench --writer-peak FILE is the process whose peak memory the write
// benchmarks report.)
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "Zel.h"
// The format's tag names; in-tree programs share the library's internal list.
#include "ZelFormat.h"
#include "zelbench.h"

using namespace Zel;

namespace {

constexpr int kSamples = 240;
constexpr int kVertices = 100000;

}  // namespace

bool writeMeshCache(const char* path, int samples, int objects, int vertices) {
    ZelFile f;
    if (!f.open(path, "w") || !ZelDZELChunk().write(f)) {
        return false;
    }
    ZelMETAChunk meta;
    meta.application = "zelbench";
    meta.numSamples = samples;
    meta.firstTime = 1;
    meta.lastTime = float(samples);
    meta.rate = 1;
    for (int o = 0; o < objects; ++o) {
        meta.addDOBJ(objects == 1 ? "mesh" : ("mesh" + std::to_string(o)).c_str());
        // The "MESH" group makes the factory build a mesh object for it.
        meta.getDOBJ(o)->addChild(new ZelGroupChunk(kTagMESH));
    }
    if (!meta.write(f)) {
        return false;
    }
    ZelSAMSChunk sams;
    if (!sams.writeStart(f, samples, 0, false)) {
        return false;
    }
    std::vector<float> positions(3 * static_cast<size_t>(vertices));
    for (int s = 0; s < samples; ++s) {
        for (size_t j = 0; j < positions.size(); ++j) {
            positions[j] = static_cast<float>(j % 3 + static_cast<size_t>(s));
        }
        bool ok = sams.writeStartSAMPChunk(f, objects, nullptr);
        for (int o = 0; o < objects && ok; ++o) {
            ok = sams.writeStartSOBJChunk(f) && f.writeChunk(kTagPOSI, positions, -1, 1, 3) &&
                 sams.writeEndSOBJChunk(f);
        }
        if (!ok || !sams.writeEndSAMPChunk(f)) {
            return false;
        }
    }
    return sams.writeEnd(f) && f.close();
}

namespace {

// Reads every sample's positions in time order; the sum of their first coordinates, or NaN.
double readAll(const char* path, int limit) {
    ZelRoMemCache cache;
    if (!cache.load(path, true, limit)) {
        return std::nan("");
    }
    double sum = 0;
    for (int s = 0; s < cache.getNumSamples(); ++s) {
        const auto* posi =
            dynamic_cast<const ZelLeafChunk<float>*>(cache.getSample(s, 0, kTagPOSI));
        if (posi == nullptr || posi->values().size() != 3 * static_cast<size_t>(kVertices)) {
            return std::nan("");
        }
        sum += posi->values()[0];
    }
    return sum;
}

// ---- Positions at fractional times ----

// Millions of points per second for `evaluations` arrays of kVertices points in `seconds`.
double megaPoints(int evaluations, double seconds) {
    return evaluations * double(kVertices) / seconds / 1e6;
}

// Copies kSamples arrays of kVertices points with memcpy: the bound for any evaluation that
// writes that many points. Millions of points per second.
double memcpyRate() {
    std::vector<float> from(3 * static_cast<size_t>(kVertices), 1.0f), to(from.size());
    float sum = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kSamples; ++i) {
        from[static_cast<size_t>(i)] = float(i);  // a new source each time, so no copy is skipped
        std::memcpy(to.data(), from.data(), from.size() * sizeof(float));
        sum += to[static_cast<size_t>(i)];
    }
    const double seconds = secondsSince(start);
    return sum >= 0 ? megaPoints(kSamples, seconds) : 0;
}

// Evaluates the mesh's positions at kSamples fractional times from `first` to `first + span`
// with each order 0-3, through a memory cache holding at most `limit` samples, and prints the
// rates; with `warm` an untimed cubic pass reads the samples first. Sample s stores s + 1 less
// than its time in its first coordinate, which every order reproduces (order 0: at the sample
// before the time) except a cubic blend between the last two samples, whose run repeats the
// last sample; false when a result is off.
bool benchPositionsAtTime(const char* path, int limit, float first, float span, bool warm) {
    ZelRoMemCache cache;
    if (!cache.load(path, true, limit)) {
        return false;
    }
    ZelHelperObjFactory factory(&cache);
    ZelHelperObj* obj = factory.zelObjBuilder(0);
    const auto* mesh = dynamic_cast<const MeshZelObj*>(obj);
    std::vector<float> times(kSamples);
    for (int i = 0; i < kSamples; ++i) {
        times[static_cast<size_t>(i)] = first + span * (float(i) + 0.5f) / float(kSamples);
    }
    std::vector<float> positions;
    ZelHelperObj::AnimationState state;
    int dimension = 0;
    ZelInterpolationHints hints;
    bool ok = mesh != nullptr;
    const char* const names[] = {"order 0 (sample before)", "order 1 (linear)",
                                 "order 2 (quadratic)", "order 3 (cubic)"};
    hints.order = 3;
    for (size_t i = 0; warm && ok && i < times.size(); ++i) {
        ok = mesh->getPositionAtTime(times[i], hints, positions, state, dimension);
    }
    for (int order = 0; order <= 3 && ok; ++order) {
        hints.order = order;
        int off = 0;
        const auto start = std::chrono::steady_clock::now();
        for (float t : times) {
            const float want = order == 0 ? std::floor(t) - 1 : t - 1;
            off += !mesh->getPositionAtTime(t, hints, positions, state, dimension) ||
                   positions.size() != 3 * static_cast<size_t>(kVertices) ||
                   std::fabs(positions[0] - want) >= 1e-3f;
        }
        std::printf("  %-24s %8.1f M points/s\n", names[order],
                    megaPoints(kSamples, secondsSince(start)));
        if (off != 0) {
            std::printf("  %d results of order %d are off\n", off, order);
            ok = false;
        }
    }
    obj->destroy();
    return ok;
}

// The position benchmark twice: at times between frames 100 and 104, whose samples stay in
// memory after a first pass, and at times across the whole cache, read from the file as they
// are needed (a limit of 4 samples, what a cubic blend needs at once).
bool benchPositions(const char* path) {
    std::printf(
        "\npositions of %d vertices at %d fractional times between frames 100 and 104, "
        "samples in memory:\n",
        kVertices, kSamples);
    const bool ok = benchPositionsAtTime(path, 8, 100, 4, true);
    std::printf("  %-24s %8.1f M points/s\n", "memcpy of as many bytes", memcpyRate());
    std::printf("positions at %d fractional times between frames 1 and %d, read from the file:\n",
                kSamples, kSamples - 1);
    return benchPositionsAtTime(path, 4, 1, kSamples - 2, false) && ok;
}

// ---- Appending through the read-write cache ----

// The bytes this process has passed to write() so far ("wchar" of /proc/self/io), or -1.
long long bytesWritten() {
    return procField("/proc/self/io", "wchar:");
}

// Allocates the mesh's positions for frames `first` to `last`, as writeMeshCache lays them out.
void addFrames(ZelRwMemCache& cache, int first, int last) {
    std::vector<float> positions(3 * static_cast<size_t>(kVertices));
    for (int frame = first; frame <= last; ++frame) {
        for (size_t j = 0; j < positions.size(); ++j) {
            positions[j] = static_cast<float>(j % 3 + static_cast<size_t>(frame - 1));
        }
        cache.allocSample(static_cast<float>(frame), 0)
            ->addChild(new ZelLeafChunk<float>(kTagPOSI, 1, 3, positions));
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

// The streaming read of the 240-frame cache at `path`, with a second loop without a sample limit
// when `unlimited`, then the positions and append benchmarks. False when any check fails.
bool benchRead(const char* path, bool unlimited) {
    auto start = std::chrono::steady_clock::now();
    if (!writeMeshCache(path, kSamples, 1, kVertices)) {
        std::cerr << "zelbench: could not write " << path << '\n';
        return false;
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
    if (!benchPositions(path)) {
        std::cerr << "zelbench: positions at fractional times disagree with the cache\n";
        ok = false;
    }
    if (!benchAppend(path)) {
        std::cerr << "zelbench: the append benchmark failed\n";
        ok = false;
    }
    std::remove(path);
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    const char* path = "zelbench.zel";
    bool unlimited = false, writeOnly = false, readerOnly = false, stitchOnly = false,
         checkOnly = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--unlimited") == 0) {
            unlimited = true;
        } else if (std::strcmp(argv[i], "--write") == 0) {
            writeOnly = true;
        } else if (std::strcmp(argv[i], "--writer-peak") == 0 && i + 1 < argc) {
            return writerPeakChild(argv[i + 1]);
        } else if (std::strcmp(argv[i], "--reader") == 0) {
            readerOnly = true;
        } else if (std::strcmp(argv[i], "--stitch") == 0) {
            stitchOnly = true;
        } else if (std::strcmp(argv[i], "--check") == 0) {
            checkOnly = true;
        } else {
            path = argv[i];
        }
    }
    if (readerOnly) {
        return benchReader(path) ? 0 : 1;
    }
    if (stitchOnly) {
        return benchStitch(path) ? 0 : 1;
    }
    if (checkOnly) {
        return benchCheck(path) ? 0 : 1;
    }
    bool ok = writeOnly || benchRead(path, unlimited);
    ok = (writeOnly || benchClassicReads(path)) && ok;
    if (!benchWrites(path)) {
        std::cerr << "zelbench: a write benchmark failed\n";
        ok = false;
    }
    ok = (writeOnly || benchReader(path)) && ok;
    ok = (writeOnly || benchStitch(path)) && ok;
    return ok ? 0 : 1;
}

// zelbench's stitch benchmark: two caches of a 100,000-point mesh, frames 1 to 240 and 241 to 480,
// joined into one by stitchCaches, next to the raw limit measured in the same run: copying both
// files into one as `cat a b > c` does, with read() and write() of 1 MB blocks. The copy is timed
// once more with an fsync at the end, since stitchCaches syncs its file before renaming it into
// place. Each is run twice, in turn, and the best run counts. MB/s counts the bytes of both inputs
// (MB are 10^6 bytes). The inputs were just written, so they are read from the page cache. The
// stitched file is checked against the inputs; a wrong value fails the benchmark.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "Zel.h"
#include "zelbench.h"

using namespace Zel;

namespace {

constexpr int kFrames = 240;
constexpr int kPoints = 100000;
constexpr int kRuns = 2;

// The mesh's points in `frame`: every coordinate of point i is frame + i.
void fillPoints(int frame, std::vector<float>& p) {
    for (size_t i = 0; i < p.size(); ++i) {
        p[i] = float(frame) + float(i / 3);
    }
}

// Writes frames `first` to `first` + kFrames - 1 of the mesh to `path` with ZelWriter.
bool writeRange(const std::string& path, int first) {
    ZelWriterOptions options;
    options.application = "zelbench";
    options.firstTime = float(first);
    options.frameCount = kFrames;
    const std::vector<int> counts{3}, indices{0, 1, 2};
    ZelMeshDesc mesh{counts, indices, kPoints};
    ZelWriter w;
    bool ok = w.create(path, options).ok() && w.addMesh("|mesh", mesh).ok();
    std::vector<float> points(3 * size_t(kPoints));
    for (int f = first; ok && f < first + kFrames; ++f) {
        fillPoints(f, points);
        ok = w.beginFrame(float(f)).ok() && w.setPositions(0, points).ok() && w.endFrame().ok();
    }
    return ok && w.close().ok();
}

// Copies `inputs` one after the other into `output` through a 1 MB buffer, then syncs it when
// `sync` is set. False when a read or write fails.
bool copyFiles(const std::vector<std::string>& inputs, const std::string& output, bool sync) {
    const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char> buffer(1 << 20);
    bool ok = out >= 0;
    for (size_t i = 0; ok && i < inputs.size(); ++i) {
        const int in = open(inputs[i].c_str(), O_RDONLY);
        ssize_t n = in >= 0 ? 1 : -1;
        while (n > 0) {
            n = read(in, buffer.data(), buffer.size());
            ok = n >= 0 && (n == 0 || write(out, buffer.data(), size_t(n)) == n);
            n = ok ? n : -1;
        }
        ok = ok && n == 0;
        if (in >= 0) {
            close(in);
        }
    }
    ok = ok && (!sync || fsync(out) == 0);
    return out >= 0 && close(out) == 0 && ok;
}

// Whether the stitched file holds both ranges: 480 samples, uniformly from frame 1, each with its
// frame's points.
bool stitchedRight(const std::string& path) {
    ZelReader r;
    if (!r.open(path).ok() || r.sampleCount() != 2 * kFrames || r.rate() != 1.0f ||
        r.firstTime() != 1.0f) {
        return false;
    }
    std::vector<float> want(3 * size_t(kPoints));
    for (int s : {0, kFrames - 1, kFrames, 2 * kFrames - 1}) {
        ZelDataView v;
        fillPoints(s + 1, want);
        if (!r.view(0, s, "POSI", v).ok() || v.count != int64(want.size()) ||
            std::memcmp(v.data, want.data(), want.size() * sizeof(float)) != 0) {
            return false;
        }
    }
    return true;
}

double bestOf(std::vector<double>& seconds) {
    return *std::min_element(seconds.begin(), seconds.end());
}

}  // namespace

bool benchStitch(const std::string& path) {
    const std::vector<std::string> inputs{path + ".a", path + ".b"};
    const std::string copied = path + ".copy", stitched = path + ".stitched";
    bool ok = writeRange(inputs[0], 1) && writeRange(inputs[1], kFrames + 1);
    const double mb = double(fileSize(inputs[0]) + fileSize(inputs[1])) / 1e6;
    std::vector<double> copy, synced, stitch;
    // Each run writes a new file, as none of the outputs exists when it starts.
    const auto timed = [&](std::vector<double>& seconds, auto run) {
        std::remove(copied.c_str());
        std::remove(stitched.c_str());
        // Whatever an earlier run left for the disk to write goes first, so no run pays for it.
        ::sync();
        const auto start = std::chrono::steady_clock::now();
        ok = ok && run();
        seconds.push_back(secondsSince(start));
    };
    for (int run = 0; ok && run < kRuns; ++run) {
        timed(copy, [&] { return copyFiles(inputs, copied, false); });
        timed(synced, [&] { return copyFiles(inputs, copied, true); });
        timed(stitch, [&] { return stitchCaches(inputs, stitched).ok(); });
        ok = ok && stitchedRight(stitched);
    }
    if (ok) {
        const double rateCopy = mb / bestOf(copy), rateSynced = mb / bestOf(synced),
                     rateStitch = mb / bestOf(stitch);
        std::printf(
            "\nstitching two caches of %d frames of %d points (%.0f MB in all), best of %d:\n",
            kFrames, kPoints, mb, kRuns);
        std::printf("  %-34s %8.0f MB/s\n", "copy, as cat a b > c", rateCopy);
        std::printf("  %-34s %8.0f MB/s\n", "copy, then fsync", rateSynced);
        std::printf(
            "  %-34s %8.0f MB/s  %5.0f%% of the copy (target 70%%), %.0f%% of the synced copy\n",
            "stitchCaches", rateStitch, 100 * rateStitch / rateCopy, 100 * rateStitch / rateSynced);
    } else {
        std::fprintf(stderr, "zelbench: the stitch benchmark failed\n");
    }
    for (const std::string& p : {inputs[0], inputs[1], copied, stitched}) {
        std::remove(p.c_str());
    }
    return ok;
}

// zelbench's write benchmarks, each next to two raw limits writing as many bytes per frame in the
// same run: a plain fwrite, which no writer can beat, and fwrite with an fsync before fclose, the
// limit of a writer that puts its file on disk before it answers (as ZelWriter and saveAs do):
//   - 240 frames of a 100,000-vertex grid mesh (positions only) written with ZelWriter and with
//     ZelRwMemCache::saveAs (only the save is timed, not filling the cache), in MB/s;
//   - the peak resident memory of a process that writes that mesh with ZelWriter, against a
//     budget of two frames plus 16 MB;
//   - 10,000 transforms, a double 4 x 4 matrix each, over 10 frames: the shape of a crowd or a
//     large rig, where the cost per object rather than the cost per byte shows.
// ZelWriter, told the frame count, and saveAs write the same bytes here (but for the date stamp),
// so their times compare like for like. Every figure is the best of three runs, taken in turn,
// since the page cache makes single runs noisy. MB are 10^6 bytes; a writer's rate counts the bytes
// of the file it wrote.
#include "zelbench.h"

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "Zel.h"
#include "ZelWriter.h"
// The format's tag names; in-tree programs share the library's internal list.
#include "ZelFormat.h"

using namespace Zel;

namespace {

constexpr int kFrames = 240;
constexpr int kColumns = 400, kRows = 250;
constexpr int kVertices = kColumns * kRows;
constexpr double kFrameBytes = 3.0 * sizeof(float) * kVertices;
constexpr int kRuns = 3;
constexpr double kMB = 1e6;

// ---- Running writers in turn ----

// One way of writing a file: `run` writes `path` and answers its seconds (negative on failure),
// `check` tells whether the file reads back as written. Keeps the best of its runs.
struct Contender {
    std::string name;
    std::string path;
    std::function<double(const std::string&)> run;
    std::function<bool(const std::string&)> check;
    double target = 0;    // the least share of the fwrite rate it should reach (0: none)
    double seconds = -1;  // the best run
    long long bytes = -1;

    double rate() const { return double(bytes) / kMB / seconds; }
};

// Runs the contenders kRuns times each, in turn (a b c a b c ...) so that a drift in the
// machine's speed touches them alike, removing each file after its run. False, after a message,
// when a run or a check fails.
bool runInTurn(std::vector<Contender>& contenders) {
    for (int i = 0; i < kRuns; ++i) {
        for (Contender& c : contenders) {
            // Each run starts with nothing left to write back from the one before, whose
            // writeback (and, when it synced, whose freed blocks) would otherwise slow it.
            sync();
            const double seconds = c.run(c.path);
            const long long bytes = fileSize(c.path);
            const bool ok = seconds >= 0 && bytes >= 0 && c.check(c.path);
            std::remove(c.path.c_str());
            if (!ok) {
                std::cerr << "zelbench: " << c.name << " failed writing " << c.path << '\n';
                return false;
            }
            if (c.seconds < 0 || seconds < c.seconds) {
                c.seconds = seconds;
            }
            c.bytes = bytes;
        }
    }
    return true;
}

// The first two contenders are the raw limits: one fwrite per frame, then the same with an fsync
// before fclose, the limit of a writer that puts its file on disk before it answers.
constexpr size_t kLimits = 2;

// One line per contender: bytes, best time, rate and the rate as a share of the limits' rates,
// checked against the contender's target (a share of the plain fwrite's).
void printRates(const std::vector<Contender>& contenders) {
    const double limit = contenders[0].rate(), syncedLimit = contenders[1].rate();
    for (size_t i = 0; i < contenders.size(); ++i) {
        const Contender& c = contenders[i];
        std::printf("  %-34s %10lld bytes %7.3f s %7.1f MB/s", c.name.c_str(), c.bytes, c.seconds,
                    c.rate());
        if (i > 0) {
            std::printf(" %6.1f%% of fwrite", 100 * c.rate() / limit);
        }
        if (i >= kLimits) {
            std::printf(", %5.1f%% of fwrite + fsync", 100 * c.rate() / syncedLimit);
        }
        if (c.target > 0) {
            std::printf(" (target >= %.0f%% of fwrite: %s)", 100 * c.target,
                        c.rate() / limit >= c.target ? "met" : "MISSED");
        }
        std::printf("\n");
    }
}

// Runs the contenders in turn and prints their rates under `title`. False when one fails.
bool runAndPrint(const std::string& title, std::vector<Contender>& contenders) {
    std::printf("\n%s, best of %d:\n", title.c_str(), kRuns);
    const bool ok = runInTurn(contenders);
    if (ok) {
        printRates(contenders);
    }
    return ok;
}

// Writes `frames` frames of `bytes` bytes from `data` with one fwrite each, with an fsync before
// fclose when `synced`, and answers the seconds up to fclose; -1 on failure.
double fwriteFrames(const std::string& path, const void* data, size_t bytes, int frames,
                    bool synced) {
    const auto start = std::chrono::steady_clock::now();
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) {
        return -1;
    }
    bool ok = true;
    for (int i = 0; i < frames && ok; ++i) {
        ok = std::fwrite(data, 1, bytes, f) == bytes;
    }
    if (synced) {
        ok = ok && std::fflush(f) == 0 && fsync(fileno(f)) == 0;
    }
    ok = std::fclose(f) == 0 && ok;
    return ok ? secondsSince(start) : -1;
}

// The two raw limits, writing `frames` frames of `bytes` bytes from `data` to `path` + ".fwrite";
// `frameName` says how much one frame is.
std::vector<Contender> rawLimits(const std::string& path, const void* data, size_t bytes,
                                 int frames, const std::string& frameName) {
    const auto check = [=](const std::string& p) {
        return fileSize(p) == static_cast<long long>(bytes) * frames;
    };
    std::vector<Contender> limits;
    for (bool synced : {false, true}) {
        limits.push_back(
            {synced ? "fwrite + fsync" : "fwrite, " + frameName + " per frame", path + ".fwrite",
             [=](const std::string& p) { return fwriteFrames(p, data, bytes, frames, synced); },
             check});
    }
    return limits;
}

// ---- What is written: a 240-frame mesh and 10,000 transforms ----

// A kColumns x kRows grid of quads in the plane y = 0, and one frame of its points.
struct Grid {
    std::vector<int> faceCounts, faceIndices;
    std::vector<float> positions;  // x, y, z per point, row after row
};

Grid makeGrid() {
    Grid g;
    for (int r = 0; r < kRows; ++r) {
        for (int c = 0; c < kColumns; ++c) {
            g.positions.insert(g.positions.end(), {float(c), 0, float(r)});
            if (r + 1 < kRows && c + 1 < kColumns) {
                const int v = r * kColumns + c;
                g.faceCounts.push_back(4);
                g.faceIndices.insert(g.faceIndices.end(),
                                     {v, v + kColumns, v + kColumns + 1, v + 1});
            }
        }
    }
    return g;
}

// Makes `positions` frame `frame`'s: its first coordinate holds the frame index, which the
// checks read back. One store, so that the timed loops spend nothing on building points.
void markFrame(std::vector<float>& positions, int frame) {
    positions[0] = float(frame);
}

// Whether `path` holds kFrames samples of the mesh, the first and last carrying their marks.
bool checkMesh(const std::string& path) {
    ZelRoMemCache cache;
    if (!cache.load(path.c_str(), false, 2) || cache.getNumSamples() != kFrames) {
        return false;
    }
    for (int s : {0, kFrames - 1}) {
        const auto* posi =
            dynamic_cast<const ZelLeafChunk<float>*>(cache.getSample(s, 0, kTagPOSI));
        if (posi == nullptr || posi->values().size() != 3 * size_t(kVertices) ||
            posi->values()[0] != float(s)) {
            return false;
        }
    }
    return true;
}

// The 16 values of object `o`'s matrix at frame `f` in `all`.
std::vector<double> matrixOf(const std::vector<double>& all, int f, int o) {
    const auto first = all.begin() + 16 * (std::ptrdiff_t(f) * kTransforms + o);
    return std::vector<double>(first, first + 16);
}

// Whether `path` holds the transforms: every object, every frame, and the last matrix of all.
bool checkTransforms(const std::string& path, const std::vector<double>& all) {
    ZelRoMemCache cache;
    if (!cache.load(path.c_str(), false, 2) || cache.getNumSamples() != kTransformFrames ||
        cache.getNumObjects() != kTransforms) {
        return false;
    }
    const int f = kTransformFrames - 1, o = kTransforms - 1;
    const auto* m = dynamic_cast<const ZelLeafChunk<double>*>(cache.getSample(f, o, kTagMTRX));
    return m != nullptr && m->values() == matrixOf(all, f, o) &&
           cache.getName(o) == transformName(o);
}

// ---- Writing through the read-write cache ----

// The read-write cache that saveAs writes: the grid's topology in the object's definition and
// its points, marked, in every frame. It holds all 240 frames (288 MB).
void fillMeshCache(ZelRwMemCache& cache, Grid& grid) {
    cache.setApplication("zelbench");
    cache.setName(0, "mesh");
    auto* mesh = new ZelGroupChunk(kTagMESH);
    mesh->addChild(new ZelLeafChunk<int>(kTagPCNT, grid.faceCounts));
    mesh->addChild(new ZelLeafChunk<int>(kTagPIDS, grid.faceIndices));
    mesh->addChild(new ZelLeafChunk<int>(kTagMSPT, std::vector<int>{1}));  // 1: polygons
    cache.getMETAChunk().getDOBJ(0)->addChild(mesh);
    for (int f = 0; f < kFrames; ++f) {
        markFrame(grid.positions, f);
        cache.allocSample(float(1 + f), 0)
            ->addChild(new ZelLeafChunk<float>(kTagPOSI, 1, 3, grid.positions));  // point, 3d
    }
}

// The read-write cache that saveAs writes: a transform definition per object and each
// object's matrix in every frame.
void fillTransformCache(ZelRwMemCache& cache, const std::vector<double>& all) {
    cache.setApplication("zelbench");
    for (int o = 0; o < kTransforms; ++o) {
        cache.setName(o, transformName(o).c_str());
        cache.getMETAChunk().getDOBJ(o)->addChild(
            new ZelLeafChunk<int>(kTagXFRM, std::vector<int>{1}));
    }
    for (int f = 0; f < kTransformFrames; ++f) {
        for (int o = 0; o < kTransforms; ++o) {
            cache.allocSample(float(1 + f), o)
                ->addChild(new ZelLeafChunk<double>(kTagMTRX, 4, 16, matrixOf(all, f, o)));
        }
    }
}

// Seconds of cache.saveAs(path), -1 when it fails.
double timeSaveAs(ZelRwMemCache& cache, const std::string& path) {
    const auto start = std::chrono::steady_clock::now();
    bool saved = false;
    return cache.saveAs(path.c_str(), &saved) && saved ? secondsSince(start) : -1;
}

// ---- Writing with ZelWriter ----

// Writes the grid's kFrames frames, marked, to `path` with ZelWriter. The frame count is given
// up front, which makes the layout that of saveAs.
ZelStatus writeMesh(const std::string& path, Grid& grid) {
    ZelWriterOptions options;
    options.application = "zelbench";
    options.frameCount = kFrames;
    ZelMeshDesc mesh;
    mesh.faceCounts = grid.faceCounts;
    mesh.faceIndices = grid.faceIndices;
    mesh.pointCount = kVertices;
    ZelWriter writer;
    ZelStatus status = writer.create(path, options);
    if (status.ok()) {
        status = writer.addMesh("mesh", mesh);
    }
    for (int f = 0; f < kFrames && status.ok(); ++f) {
        markFrame(grid.positions, f);
        status = writer.beginFrame(float(1 + f));
        if (status.ok()) {
            status = writer.setPositions(0, grid.positions);
        }
        if (status.ok()) {
            status = writer.endFrame();
        }
    }
    return status.ok() ? writer.close() : status;
}

// Seconds of `write`, or -1 after printing why it failed.
double timeWriter(const std::function<ZelStatus()>& write) {
    const auto start = std::chrono::steady_clock::now();
    const ZelStatus status = write();
    if (!status.ok()) {
        std::cerr << "zelbench: " << status.message() << '\n';
        return -1;
    }
    return secondsSince(start);
}

// The peak resident set in kB that writerPeakChild prints, run as this program in a child
// process; -1 on failure. The child execs afresh rather than only forking: a forked copy would
// start with this process's pages counted, and its accounting would keep them after an exec.
long writerPeakKb(const std::string& path) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) {
        return -1;
    }
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(pipeFds[1], STDOUT_FILENO);
        close(pipeFds[0]);
        close(pipeFds[1]);
        execl("/proc/self/exe", "zelbench", "--writer-peak", path.c_str(),
              static_cast<char*>(nullptr));
        _exit(127);
    }
    close(pipeFds[1]);
    std::string out;
    char buffer[64];
    ssize_t n = 0;
    while ((n = read(pipeFds[0], buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR)) {
        out.append(buffer, size_t(n > 0 ? n : 0));
    }
    close(pipeFds[0]);
    int status = 0;
    while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    const bool ok = pid > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return ok ? std::strtol(out.c_str(), nullptr, 10) : -1;
}

// The peak of a ZelWriter process against its budget: two frames (the caller's and the one the
// writer may hold) plus 16 MB for the program, the topology and the tables.
bool benchWriterPeak(const std::string& path) {
    const long kb = writerPeakKb(path);
    if (kb < 0) {
        std::cerr << "zelbench: the ZelWriter memory run failed\n";
        return false;
    }
    const double peak = kb * 1024.0 / kMB, budget = (2 * kFrameBytes + 16e6) / kMB;
    std::printf(
        "peak resident of a process writing that mesh with ZelWriter: %.1f MB (%ld kB); "
        "budget 2 frames + 16 MB = %.1f MB: %s\n",
        peak, kb, budget, peak <= budget ? "PASS" : "FAIL");
    return true;
}

// ---- The benchmarks ----

// The raw limits, ZelWriter and saveAs writing the 240-frame mesh; the writers' targets are 85%
// and 50% of the fwrite rate.
bool benchMeshWrites(const std::string& path) {
    Grid grid = makeGrid();
    ZelRwMemCache cache;
    fillMeshCache(cache, grid);
    std::vector<Contender> contenders =
        rawLimits(path, grid.positions.data(), size_t(kFrameBytes), kFrames, "1.2 MB");
    contenders.push_back(
        {"ZelWriter", path + ".writer",
         [&](const std::string& p) { return timeWriter([&] { return writeMesh(p, grid); }); },
         checkMesh, 0.85});
    contenders.push_back({"ZelRwMemCache::saveAs (save only)", path + ".saveas",
                          [&](const std::string& p) { return timeSaveAs(cache, p); }, checkMesh,
                          0.50});
    return runAndPrint("writing " + std::to_string(kFrames) + " frames of a " +
                           std::to_string(kVertices) + "-vertex mesh (positions only)",
                       contenders);
}

// The raw limits, ZelWriter and saveAs writing 10,000 transforms over 10 frames.
bool benchTransformWrites(const std::string& path) {
    const std::vector<double> all = transformMatrices();
    ZelRwMemCache cache;
    fillTransformCache(cache, all);
    const auto check = [&](const std::string& p) { return checkTransforms(p, all); };
    std::vector<Contender> contenders =
        rawLimits(path, all.data(), all.size() * sizeof(double) / kTransformFrames,
                  kTransformFrames, "1.28 MB");
    std::vector<std::string> names;
    for (int o = 0; o < kTransforms; ++o) {
        names.push_back(transformName(o));
    }
    contenders.push_back({"ZelWriter (create to close)", path + ".writer",
                          [&](const std::string& p) {
                              return timeWriter([&] { return writeTransforms(p, all, names); });
                          },
                          check});
    contenders.push_back({"ZelRwMemCache::saveAs (save only)", path + ".saveas",
                          [&](const std::string& p) { return timeSaveAs(cache, p); }, check});
    return runAndPrint("writing " + std::to_string(kTransforms) +
                           " transforms (a double 4x4 matrix each) over " +
                           std::to_string(kTransformFrames) + " frames",
                       contenders);
}

}  // namespace

// Every frame's matrices, frame after frame, object after object, 16 doubles each (row vectors:
// the translation fills the last row). Object o at frame f stands at (o, f, 0).
std::vector<double> transformMatrices() {
    std::vector<double> m;
    m.reserve(size_t(16) * kTransforms * kTransformFrames);
    for (int f = 0; f < kTransformFrames; ++f) {
        for (int o = 0; o < kTransforms; ++o) {
            m.insert(m.end(), {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, double(o), double(f), 0, 1});
        }
    }
    return m;
}

// Object `o`'s name, as a scene's path names them.
std::string transformName(int o) {
    return "|crowd|agent" + std::to_string(o);
}

// Writes the transforms to `path` with ZelWriter, from create() to close().
ZelStatus writeTransforms(const std::string& path, const std::vector<double>& all,
                          const std::vector<std::string>& names) {
    ZelWriterOptions options;
    options.application = "zelbench";
    options.frameCount = kTransformFrames;
    ZelWriter writer;
    ZelStatus status = writer.create(path, options);
    for (int o = 0; o < kTransforms && status.ok(); ++o) {
        status = writer.addTransform(names[size_t(o)]);
    }
    for (int f = 0; f < kTransformFrames && status.ok(); ++f) {
        status = writer.beginFrame(float(1 + f));
        const double* frame = all.data() + size_t(16) * kTransforms * size_t(f);
        for (int o = 0; o < kTransforms && status.ok(); ++o) {
            status = writer.setMatrix(o, ZelView<double>(frame + 16 * o, 16));
        }
        if (status.ok()) {
            status = writer.endFrame();
        }
    }
    return status.ok() ? writer.close() : status;
}

bool benchWrites(const std::string& path) {
    const bool mesh = benchMeshWrites(path) && benchWriterPeak(path + ".peak");
    return benchTransformWrites(path) && mesh;
}

int writerPeakChild(const std::string& path) {
    Grid grid = makeGrid();
    const ZelStatus status = writeMesh(path, grid);
    // Read before the check, whose reads would add to the peak.
    const long kb = peakResidentKb();
    const bool ok = status.ok() && checkMesh(path);
    std::remove(path.c_str());
    if (!status.ok()) {
        std::cerr << "zelbench: " << status.message() << '\n';
    }
    std::printf("%ld\n", kb);
    return ok && kb >= 0 ? 0 : 1;
}

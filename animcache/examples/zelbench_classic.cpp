// zelbench's classic read benchmarks: the read-only memory cache streaming a cache sample after
// sample under a small sample limit, next to the raw limit measured in the same run, pread of the
// same "SAMP" chunks, one after another, into one reused buffer:
//   - 240 samples of one 100,000-point mesh, read with ZelRoMemCache::getSample under a limit of 2;
//   - the same bytes as 10 meshes of 10,000 points, read sample after sample, object after object,
//     with getSample and through MeshZelObj (getPositionData points into the cache, getPosition
//     copies), under limits of 1 and 2.
// Every reader checks the values it gets. The file is in the page cache (it was just written and
// every run reads it whole), so reading is bound by the processor: each figure is the best of five
// runs, taken in turn, timed in the reading thread's processor time (user and system), which other
// work on a busy machine does not inflate as it does the wall-clock time. MB are 10^6 bytes of
// "SAMP" chunks, the same count for every reader of one file.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
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
constexpr int kPoints = 100000;
constexpr int kObjects = 10;
constexpr int kRuns = 5;
constexpr double kMB = 1e6;

// The reading thread's processor time in seconds, user and system.
double threadSeconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// Where one "SAMP" chunk lies in the file, header included.
struct Span {
    int64 offset;
    int64 length;
};

// The "SAMP" chunks of the cache at `path` in file order; empty when the file cannot be read.
std::vector<Span> sampleSpans(const char* path) {
    std::vector<Span> spans;
    ZelFile f;
    if (!f.open(path, "r")) {
        return spans;
    }
    for (ZelHeader h; f.readHeader(h);) {
        if (h.tag == kTagSAMP) {
            spans.push_back({f.tell() - kHeaderSize, kHeaderSize + h.length});
        }
        // Every other group is entered: the samples lie inside the samples section.
        if ((h.type != kTypeGroup || h.tag == kTagSAMP) && !f.skipData(h)) {
            break;
        }
    }
    return spans;
}

// Whether `values` are the points of sample `s` as writeMeshCache wrote them (checked at both
// ends, where a stale or short array shows).
bool holdsSample(const std::vector<float>& values, int points, int s) {
    return values.size() == 3 * size_t(points) && values.front() == float(s) &&
           values.back() == float(s + 2);
}

// Reads every span of `path` with pread into `buffer`, which fits the largest; seconds, or -1.
double preadSpans(const char* path, const std::vector<Span>& spans, std::vector<char>& buffer) {
    const int fd = open(path, O_RDONLY);
    if (fd < 0) {
        return -1;
    }
    bool ok = !spans.empty();
    const double start = threadSeconds();
    for (const Span& span : spans) {
        for (int64 done = 0; ok && done < span.length;) {
            const ssize_t got = pread(fd, buffer.data() + done, size_t(span.length - done),
                                      off_t(span.offset + done));
            ok = got > 0;
            done += ok ? got : 0;
        }
    }
    const double seconds = threadSeconds() - start;
    close(fd);
    return ok ? seconds : -1;
}

// Reads the "POSI" chunk of every object of every sample, in that order, with getSample under a
// limit of `limit` samples; seconds, or -1 when a value is off.
double cacheReads(const char* path, int points, int limit) {
    ZelRoMemCache cache;
    if (!cache.load(path, true, limit) || cache.getNumSamples() != kSamples) {
        return -1;
    }
    const double start = threadSeconds();
    for (int s = 0; s < kSamples; ++s) {
        for (int o = 0; o < cache.getNumObjects(); ++o) {
            const auto* posi =
                dynamic_cast<const ZelLeafChunk<float>*>(cache.getSample(s, o, kTagPOSI));
            if (posi == nullptr || !holdsSample(posi->values(), points, s)) {
                return -1;
            }
        }
    }
    return threadSeconds() - start;
}

// As cacheReads, through the meshes' helper objects: getPosition when `copy`, else
// getPositionData.
double meshReads(const char* path, int points, int limit, bool copy) {
    ZelRoMemCache cache;
    if (!cache.load(path, true, limit) || cache.getNumSamples() != kSamples) {
        return -1;
    }
    ZelHelperObjFactory factory(&cache);
    std::vector<ZelHelperObj*> objects;
    bool ok = true;
    for (int o = 0; o < cache.getNumObjects(); ++o) {
        objects.push_back(factory.zelObjBuilder(o));
        ok = ok && dynamic_cast<const MeshZelObj*>(objects.back()) != nullptr;
    }
    std::vector<float> copied;
    const std::vector<float>* data = nullptr;
    ZelHelperObj::AnimationState state;
    int dimension = 0;
    const double start = threadSeconds();
    for (int s = 0; s < kSamples && ok; ++s) {
        for (ZelHelperObj* object : objects) {
            const auto* mesh = static_cast<const MeshZelObj*>(object);
            ok = copy ? mesh->getPosition(s, copied, state, dimension) &&
                            holdsSample(copied, points, s)
                      : mesh->getPositionData(s, data, state, dimension) &&
                            holdsSample(*data, points, s);
            if (!ok) {
                break;
            }
        }
    }
    const double seconds = threadSeconds() - start;
    for (ZelHelperObj* object : objects) {
        object->destroy();
    }
    return ok ? seconds : -1;
}

// One way of reading a file: `run` answers its seconds (negative on failure). The first reader
// of a table is the raw limit; `target` is the least share of its rate a reader should reach
// (0: none).
struct Reader {
    std::string name;
    std::function<double()> run;
    double target = 0;
    double seconds = -1;  // the best run
};

// Runs the readers kRuns times each, in turn, and prints one line per reader: rate in MB/s of
// `bytes` and share of the raw limit's rate. False, after a message, when a run fails.
bool runAndPrint(const std::string& title, double bytes, std::vector<Reader>& readers) {
    std::printf("\n%s (%.1f MB of samples), best of %d:\n", title.c_str(), bytes / kMB, kRuns);
    for (int i = 0; i < kRuns; ++i) {
        for (Reader& r : readers) {
            const double seconds = r.run();
            if (seconds < 0) {
                std::cerr << "zelbench: " << r.name << " read other values than were written\n";
                return false;
            }
            r.seconds = r.seconds < 0 ? seconds : std::min(r.seconds, seconds);
        }
    }
    for (const Reader& r : readers) {
        const double share = readers[0].seconds / r.seconds;
        std::printf("  %-42s %8.1f MB/s %6.1f%% of pread", r.name.c_str(), bytes / kMB / r.seconds,
                    100 * share);
        if (r.target > 0) {
            std::printf(" (target >= %.0f%%: %s)", 100 * r.target,
                        share >= r.target ? "met" : "MISSED");
        }
        std::printf("\n");
    }
    return true;
}

// Writes the cache of `objects` meshes of `points` points each to `path`, runs the readers that
// `readersFor` gives for it under `title` next to pread, and removes the file.
bool benchFile(const std::string& path, int objects, int points, const std::string& title,
               const std::function<std::vector<Reader>(const char*)>& readersFor) {
    const char* p = path.c_str();
    const std::vector<Span> spans =
        writeMeshCache(p, kSamples, objects, points) ? sampleSpans(p) : std::vector<Span>();
    double bytes = 0;
    int64 largest = 0;
    for (const Span& span : spans) {
        bytes += double(span.length);
        largest = std::max(largest, span.length);
    }
    // Touched once up front, so that pread pays for no page faults of its own.
    std::vector<char> buffer(size_t(largest), 1);
    std::vector<Reader> readers = {
        {"pread of each sample, one buffer", [&] { return preadSpans(p, spans, buffer); }}};
    for (Reader& r : readersFor(p)) {
        readers.push_back(r);
    }
    const bool ok = spans.size() == size_t(kSamples) && runAndPrint(title, bytes, readers);
    std::remove(p);
    if (spans.size() != size_t(kSamples)) {
        std::cerr << "zelbench: could not write and walk " << path << '\n';
    }
    return ok;
}

}  // namespace

bool benchClassicReads(const std::string& path) {
    const bool one =
        benchFile(path + ".classic", 1, kPoints,
                  "reading " + std::to_string(kSamples) + " samples of one " +
                      std::to_string(kPoints) + "-point mesh",
                  [](const char* p) {
                      return std::vector<Reader>{{"ZelRoMemCache::getSample, limit 2",
                                                  [=] { return cacheReads(p, kPoints, 2); }, 0.8}};
                  });
    constexpr int points = kPoints / kObjects;
    const bool ten = benchFile(
        path + ".classic10", kObjects, points,
        "reading " + std::to_string(kSamples) + " samples of " + std::to_string(kObjects) + " " +
            std::to_string(points) + "-point meshes, object after object",
        [](const char* p) {
            return std::vector<Reader>{
                {"ZelRoMemCache::getSample, limit 2", [=] { return cacheReads(p, points, 2); }},
                {"MeshZelObj::getPositionData, limit 1",
                 [=] { return meshReads(p, points, 1, false); }, 0.8},
                {"MeshZelObj::getPositionData, limit 2",
                 [=] { return meshReads(p, points, 2, false); }, 0.8},
                {"MeshZelObj::getPosition (a copy), limit 1",
                 [=] { return meshReads(p, points, 1, true); }},
                {"MeshZelObj::getPosition (a copy), limit 2",
                 [=] { return meshReads(p, points, 2, true); }}};
        });
    return one && ten;
}

// zelbench's reader benchmarks: ZelReader over its mapping of a cache, each figure next to a raw
// limit measured in the same run, printed as one table:
//   - the 240-sample cache of a 100,000-point mesh: one sample's positions copied into a buffer of
//     the caller's, in sample order and at 1,000 random samples, with view() + memcpy and with
//     positionsAt at the sample's time (order 0), against memcpy of the same bytes out of a mapping
//     of the file made here; view() alone, in nanoseconds per call, against taking the pointer
//     from a table of offsets into that mapping;
//   - positionsAt with linear blending at the middle of every pair of samples, in MB written per
//     second, against memcpy of as many bytes a call out of the mapping;
//   - the time queries and the in-order view copies again on two threads at once, each taking
//     half of the work, against the same raw limit on two threads and against one thread;
//   - opening a cache of 10,000 transforms and listing every object's name and kind, against
//     ZelRoMemCache::load of the same file.
// The files are in the page cache (they were just written) and both mappings are read whole once
// before any timing, so the figures are bound by the processor and memory, not by the disk. Every
// figure is the best of five runs, taken in turn. MB are 10^6 bytes. Every read is checked against
// what was written; a wrong value fails the benchmark rather than giving a figure.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Zel.h"
#include "ZelReader.h"
#include "ZelWriter.h"
#include "zelbench.h"

using namespace Zel;

namespace {

constexpr int kSamples = 240;
constexpr int kPoints = 100000;
constexpr size_t kSampleFloats = 3 * size_t(kPoints);
constexpr double kSampleBytes = sizeof(float) * double(kSampleFloats);
constexpr int kRandomReads = 1000;
constexpr int kViewCalls = 100000;
constexpr int kRuns = 5;
constexpr double kMB = 1e6;

// ---- The table ----

// One line of the table: what was measured, ZelReader's figure, the raw limit's figure, how the
// two compare and the verdict on the target, each already formatted.
struct Row {
    std::string what, figure, limit, ratio, target;
};

// The table, under a title that says how busy other work kept the machine while it ran (it
// slows every figure, the two-thread ones most).
void printTable(const std::vector<Row>& rows, double othersBusy) {
    std::printf("\nreading with ZelReader, next to raw limits in the same run, best of %d", kRuns);
    if (othersBusy >= 0) {
        std::printf(" (other processes kept %.0f%% of the processors busy meanwhile)",
                    100 * othersBusy);
    }
    std::printf(":\n");
    std::printf("  %-44s %-16s %-36s %-8s %s\n", "", "ZelReader", "raw limit", "ratio", "target");
    for (const Row& r : rows) {
        std::printf("  %-44s %-16s %-36s %-8s %s\n", r.what.c_str(), r.figure.c_str(),
                    r.limit.c_str(), r.ratio.c_str(), r.target.c_str());
    }
}

// printf into a string.
template <class... Args>
std::string format(const char* pattern, Args... args) {
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, pattern, args...);
    return buffer;
}

std::string verdict(bool met) {
    return met ? "met" : "MISSED";
}

// A rate next to the raw limit's, with the share of it that `target` (0: none) asks for.
Row rateRow(const std::string& what, double rate, const std::string& limitName, double limit,
            double target) {
    Row row{what, format("%.0f MB/s", rate), format("%s %.0f MB/s", limitName.c_str(), limit),
            format("%.1f%%", 100 * rate / limit), ""};
    if (target > 0) {
        row.target = format(">= %.0f%%: ", 100 * target) + verdict(rate >= target * limit);
    }
    return row;
}

// ---- Timing ----

// Processor seconds spent so far by the whole machine (steal included: time the hypervisor gave
// to others) and by this process, and when.
struct CpuUse {
    double machine = -1;
    double self = 0;
    std::chrono::steady_clock::time_point at;
};

CpuUse cpuUseNow() {
    CpuUse use;
    use.at = std::chrono::steady_clock::now();
    std::ifstream stat("/proc/stat");
    std::string cpu;
    long long user = 0, nice = 0, system = 0, idle = 0, iowait = 0, irq = 0, softirq = 0, steal = 0;
    if (stat >> cpu >> user >> nice >> system >> idle >> iowait >> irq >> softirq >> steal &&
        cpu == "cpu") {
        use.machine =
            double(user + nice + system + irq + softirq + steal) / double(sysconf(_SC_CLK_TCK));
    }
    rusage self{};
    getrusage(RUSAGE_SELF, &self);
    use.self = double(self.ru_utime.tv_sec + self.ru_stime.tv_sec) +
               1e-6 * double(self.ru_utime.tv_usec + self.ru_stime.tv_usec);
    return use;
}

// The share of the machine's processors that other processes kept busy since `before`; -1 when
// the system does not say.
double othersBusySince(const CpuUse& before) {
    const CpuUse now = cpuUseNow();
    const double processors = std::thread::hardware_concurrency();
    const double wall = std::chrono::duration<double>(now.at - before.at).count();
    if (before.machine < 0 || now.machine < 0 || processors <= 0 || wall <= 0) {
        return -1;
    }
    const double others = (now.machine - before.machine) - (now.self - before.self);
    return others > 0 ? others / (wall * processors) : 0;
}

// Runs every job kRuns times, in turn (a b c a b c ...), so that a drift in the machine's speed
// touches them alike. Each job answers its seconds, or a negative number when it failed; the
// result holds each job's best, or is empty once one has failed.
std::vector<double> bestInTurn(const std::vector<std::function<double()>>& jobs) {
    std::vector<double> best(jobs.size(), -1);
    for (int run = 0; run < kRuns; ++run) {
        for (size_t i = 0; i < jobs.size(); ++i) {
            const double seconds = jobs[i]();
            if (seconds < 0) {
                return {};
            }
            if (best[i] < 0 || seconds < best[i]) {
                best[i] = seconds;
            }
        }
    }
    return best;
}

// Seconds of `work()`, or -1 when it answers false.
template <class Work>
double timed(Work work) {
    const auto start = std::chrono::steady_clock::now();
    const bool ok = work();
    const double seconds = secondsSince(start);
    return ok ? seconds : -1;
}

// Seconds of work(0) and work(1) running on two threads at once, from starting the second thread
// to joining it; -1 when either answers false.
template <class Work>
double timedOnTwoThreads(Work work) {
    bool ok[2] = {false, false};
    const auto start = std::chrono::steady_clock::now();
    std::thread second([&] { ok[1] = work(1); });
    ok[0] = work(0);
    second.join();
    const double seconds = secondsSince(start);
    return ok[0] && ok[1] ? seconds : -1;
}

// Half `half` (0 or 1) of `all`, as [first, last).
template <class T>
std::pair<const T*, const T*> halfOf(const std::vector<T>& all, int half) {
    const size_t mid = all.size() / 2;
    return {all.data() + (half == 0 ? 0 : mid), all.data() + (half == 0 ? mid : all.size())};
}

// ---- The raw limit: a mapping of one's own ----

// The whole file at `path` mapped read-only, as the reader maps it; null when it cannot be.
class RawMapping {
  public:
    explicit RawMapping(const std::string& path) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat st {};
        if (fd >= 0 && fstat(fd, &st) == 0 && st.st_size > 0) {
            size_ = size_t(st.st_size);
            void* p = mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, fd, 0);
            data_ = p == MAP_FAILED ? nullptr : static_cast<const unsigned char*>(p);
        }
        if (fd >= 0) {
            close(fd);
        }
    }
    ~RawMapping() {
        if (data_ != nullptr) {
            munmap(const_cast<unsigned char*>(data_), size_);
        }
    }
    RawMapping(const RawMapping&) = delete;
    RawMapping& operator=(const RawMapping&) = delete;

    const unsigned char* data() const { return data_; }
    size_t size() const { return size_; }

  private:
    const unsigned char* data_ = nullptr;
    size_t size_ = 0;
};

// The offset in its file of `p`, a byte of a file mapping of this process, as /proc/self/maps
// tells it; -1 when no mapping there holds it.
long long fileOffsetOf(const void* p) {
    const auto at = reinterpret_cast<std::uintptr_t>(p);
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        unsigned long long start = 0, end = 0, offset = 0;
        char perms[8] = {};
        if (std::sscanf(line.c_str(), "%llx-%llx %7s %llx", &start, &end, perms, &offset) == 4 &&
            start <= at && at < end) {
            return static_cast<long long>(at - start + offset);
        }
    }
    return -1;
}

// Where every sample's positions lie in the file, found through the reader's views (their file
// offsets) and checked byte for byte against `raw`; empty when a view fails or differs. Reading
// both copies whole also maps every page of both before anything is timed.
std::vector<long long> positionOffsets(const ZelReader& reader, const RawMapping& raw) {
    std::vector<long long> offsets;
    for (int s = 0; s < kSamples; ++s) {
        ZelDataView v;
        if (!reader.view(0, s, "POSI", v).ok() || v.type != ZelElementType::kFloat ||
            size_t(v.count) != kSampleFloats) {
            return {};
        }
        const long long at = fileOffsetOf(v.data);
        if (at < 0 || size_t(at) + size_t(kSampleBytes) > raw.size() ||
            std::memcmp(raw.data() + at, v.data, size_t(kSampleBytes)) != 0) {
            return {};
        }
        offsets.push_back(at);
    }
    return offsets;
}

// ---- The mesh: copies of samples ----

// What the mesh benchmarks read: the reader, the mapping of one's own and where each sample's
// positions lie in it, the orders samples are read in, and one buffer per thread.
struct MeshBench {
    const ZelReader& reader;
    const RawMapping& raw;
    std::vector<long long> offsets;
    std::vector<int> inOrder;      // 0, 1, ... kSamples - 1
    std::vector<int> random;       // kRandomReads samples drawn at random, the same every run
    std::vector<float> times;      // each sample's time
    std::vector<float> between;    // the middle of every pair of neighbouring samples
    std::vector<int> before;       // the earlier sample of each of those pairs
    std::vector<float> buffer[2];  // the caller's buffer, one per thread
};

// Whether `buf` holds sample s's positions as writeMeshCache writes them: s, s + 1, s + 2 in
// every point (checked at both ends, where a stale or short copy shows).
bool holdsSample(const std::vector<float>& buf, int s) {
    return buf.size() == kSampleFloats && buf.front() == float(s) && buf.back() == float(s + 2);
}

// Copies each sample of [first, last) into `buf` with copy(s, buf); false when a copy fails or
// holds other values.
template <class Copy>
bool copyEach(std::pair<const int*, const int*> samples, std::vector<float>& buf, Copy copy) {
    bool ok = true;
    for (const int* s = samples.first; s != samples.second; ++s) {
        ok = copy(*s, buf) && holdsSample(buf, *s) && ok;
    }
    return ok;
}

// The three ways of copying a sample's positions into a buffer: view() + memcpy, positionsAt at
// the sample's time (order 0), and the raw limit, memcpy out of one's own mapping.
std::function<bool(int, std::vector<float>&)> viewCopy(const MeshBench& b) {
    return [&b](int s, std::vector<float>& buf) {
        ZelDataView v;
        if (!b.reader.view(0, s, "POSI", v).ok() || size_t(v.count) != buf.size()) {
            return false;
        }
        std::memcpy(buf.data(), v.data, buf.size() * sizeof(float));
        return true;
    };
}

std::function<bool(int, std::vector<float>&)> positionsCopy(const MeshBench& b) {
    return [&b](int s, std::vector<float>& buf) {
        return b.reader.positionsAt(0, b.times[size_t(s)], 0, buf).ok();
    };
}

std::function<bool(int, std::vector<float>&)> rawCopy(const MeshBench& b) {
    return [&b](int s, std::vector<float>& buf) {
        std::memcpy(buf.data(), b.raw.data() + b.offsets[size_t(s)], buf.size() * sizeof(float));
        return true;
    };
}

// Seconds of copying every sample of `samples` with `copy` on one thread.
std::function<double()> copyJob(MeshBench& b, const std::vector<int>& samples,
                                std::function<bool(int, std::vector<float>&)> copy) {
    return [&b, &samples, copy] {
        return timed([&] {
            return copyEach({samples.data(), samples.data() + samples.size()}, b.buffer[0], copy);
        });
    };
}

// Seconds of copying every sample of `samples` with `copy` on two threads, each taking half.
std::function<double()> copyJobOnTwoThreads(MeshBench& b, const std::vector<int>& samples,
                                            std::function<bool(int, std::vector<float>&)> copy) {
    return [&b, &samples, copy] {
        return timedOnTwoThreads(
            [&](int half) { return copyEach(halfOf(samples, half), b.buffer[half], copy); });
    };
}

// The sum of the first byte of every view of kViewCalls calls of view(), cycling over the
// samples, or of the byte at the same offset read straight from the mapping (`raw`); -1 when a
// view fails.
long long firstBytes(const MeshBench& b, bool raw) {
    long long sum = 0;
    for (int i = 0; i < kViewCalls; ++i) {
        const int s = i % kSamples;
        ZelDataView v;
        if (raw) {
            v.data = b.raw.data() + b.offsets[size_t(s)];
        } else if (!b.reader.view(0, s, "POSI", v).ok()) {
            return -1;
        }
        sum += v.data[0];
    }
    return sum;
}

// Sample copies in order and at random, by each way, and view() alone, in the table.
bool benchCopies(MeshBench& b, std::vector<Row>& rows) {
    const long long firstBytesSum = firstBytes(b, true);
    const auto viewCalls = [&b, firstBytesSum](bool raw) {
        return [&b, firstBytesSum, raw] {
            return timed([&] { return firstBytes(b, raw) == firstBytesSum; });
        };
    };
    const std::vector<double> s =
        bestInTurn({copyJob(b, b.inOrder, rawCopy(b)), copyJob(b, b.inOrder, viewCopy(b)),
                    copyJob(b, b.inOrder, positionsCopy(b)), copyJob(b, b.random, rawCopy(b)),
                    copyJob(b, b.random, viewCopy(b)), copyJob(b, b.random, positionsCopy(b)),
                    viewCalls(true), viewCalls(false)});
    if (s.empty()) {
        return false;
    }
    const double inOrderMB = kSamples * kSampleBytes / kMB;
    const double randomMB = kRandomReads * kSampleBytes / kMB;
    const std::string limit = "mmap + memcpy";
    rows.push_back(
        rateRow("in order: view + memcpy", inOrderMB / s[1], limit, inOrderMB / s[0], 0.9));
    rows.push_back(
        rateRow("in order: positionsAt, order 0", inOrderMB / s[2], limit, inOrderMB / s[0], 0.9));
    rows.push_back(
        rateRow("1,000 at random: view + memcpy", randomMB / s[4], limit, randomMB / s[3], 0.9));
    rows.push_back(rateRow("1,000 at random: positionsAt, order 0", randomMB / s[5], limit,
                           randomMB / s[3], 0.9));
    const double viewNs = s[7] / kViewCalls * 1e9, rawNs = s[6] / kViewCalls * 1e9;
    rows.push_back({"view() without copy, per call", format("%.0f ns", viewNs),
                    format("offset table lookup %.1f ns", rawNs), "",
                    "< 1000 ns: " + verdict(viewNs < 1000)});
    return true;
}

// ---- The mesh: time queries ----

// Positions at each time of [first, last), blended linearly into `out`; false when a query fails
// or its answer is off (sample s lies at time s + 1 and stores s in its first coordinate).
bool queryEach(const ZelReader& reader, std::pair<const float*, const float*> times,
               std::vector<float>& out) {
    bool ok = true;
    for (const float* t = times.first; t != times.second; ++t) {
        ok = reader.positionsAt(0, *t, 1, out).ok() && out.size() == kSampleFloats &&
             std::fabs(out[0] - (*t - 1)) < 1e-3f && ok;
    }
    return ok;
}

// Time queries on one thread and on two, and copies of views on one thread and on two, in the
// table; the raw limit of a time query is a memcpy out of the mapping of as many bytes as it
// writes, of the earlier sample it blends.
bool benchTimeQueries(MeshBench& b, std::vector<Row>& rows) {
    const auto queries = [&b] {
        return timed([&] {
            return queryEach(b.reader, {b.between.data(), b.between.data() + b.between.size()},
                             b.buffer[0]);
        });
    };
    const auto queriesOnTwoThreads = [&b] {
        return timedOnTwoThreads(
            [&](int half) { return queryEach(b.reader, halfOf(b.between, half), b.buffer[half]); });
    };
    const std::vector<double> s = bestInTurn(
        {copyJob(b, b.before, rawCopy(b)), queries, copyJobOnTwoThreads(b, b.before, rawCopy(b)),
         queriesOnTwoThreads, copyJob(b, b.inOrder, viewCopy(b)),
         copyJobOnTwoThreads(b, b.inOrder, rawCopy(b)),
         copyJobOnTwoThreads(b, b.inOrder, viewCopy(b))});
    if (s.empty()) {
        return false;
    }
    const double writtenMB = double(b.between.size()) * kSampleBytes / kMB;
    const double inOrderMB = kSamples * kSampleBytes / kMB;
    rows.push_back(rateRow("time queries, order 1: bytes written", writtenMB / s[1],
                           "mmap + memcpy", writtenMB / s[0], 0.5));
    Row twoQueries = rateRow("2 threads: time queries, order 1", writtenMB / s[3],
                             "2 x mmap + memcpy", writtenMB / s[2], 0);
    const double querySpeedup = s[1] / s[3];
    twoQueries.target =
        format(">= 1.7x 1 thread: %.2fx ", querySpeedup) + verdict(querySpeedup >= 1.7);
    rows.push_back(twoQueries);
    Row twoCopies = rateRow("2 threads: in order, view + memcpy", inOrderMB / s[6],
                            "2 x mmap + memcpy", inOrderMB / s[5], 0);
    twoCopies.target = format("(none) %.2fx 1 thread", s[4] / s[6]);
    rows.push_back(twoCopies);
    return true;
}

// The mesh cache, written to `path`, read by every mesh benchmark above.
bool benchMesh(const std::string& path, std::vector<Row>& rows) {
    ZelReader reader;
    if (!writeMeshCache(path.c_str(), kSamples, 1, kPoints) || !reader.open(path).ok() ||
        reader.sampleCount() != kSamples) {
        std::cerr << "zelbench: could not write and open " << path << '\n';
        return false;
    }
    RawMapping raw(path);
    MeshBench b{reader, raw, positionOffsets(reader, raw), {}, {}, {}, {}, {}, {}};
    if (raw.data() == nullptr || b.offsets.empty()) {
        std::cerr << "zelbench: the reader's views disagree with the file " << path << '\n';
        return false;
    }
    std::mt19937 draw(20240);
    std::uniform_int_distribution<int> anySample(0, kSamples - 1);
    for (int s = 0; s < kSamples; ++s) {
        b.inOrder.push_back(s);
        b.times.push_back(reader.sampleTime(s));
        if (s + 1 < kSamples) {
            b.before.push_back(s);
            b.between.push_back(reader.sampleTime(s) + 0.5f);
        }
    }
    for (int i = 0; i < kRandomReads; ++i) {
        b.random.push_back(anySample(draw));
    }
    b.buffer[0].assign(kSampleFloats, 0.0f);
    b.buffer[1].assign(kSampleFloats, 0.0f);
    return benchCopies(b, rows) && benchTimeQueries(b, rows);
}

// ---- Objects: open and list ----

// Seconds of opening `path` with a reader and listing every object's name and kind (the reader
// closes after the clock stops); -1 when a name or kind is not what was written.
double openAndList(const std::string& path) {
    ZelReader reader;
    std::vector<std::string_view> names(kTransforms);
    std::vector<ZelObjectKind> kinds(kTransforms);
    const double seconds = timed([&] {
        if (!reader.open(path).ok() || reader.objectCount() != kTransforms) {
            return false;
        }
        for (int o = 0; o < kTransforms; ++o) {
            names[size_t(o)] = reader.objectName(o);
            kinds[size_t(o)] = reader.objectKind(o);
        }
        return true;
    });
    for (int o = 0; o < kTransforms && seconds >= 0; ++o) {
        if (kinds[size_t(o)] != ZelObjectKind::kTransform || names[size_t(o)] != transformName(o)) {
            return -1;
        }
    }
    return seconds;
}

// Seconds of ZelRoMemCache::load of `path` (the cache is destroyed after the clock stops); -1
// when it does not hold the transforms.
double loadCache(const std::string& path) {
    ZelRoMemCache cache;
    const double seconds = timed([&] { return cache.load(path.c_str()); });
    const int last = kTransforms - 1;
    return cache.getNumObjects() == kTransforms && cache.getName(last) == transformName(last)
               ? seconds
               : -1;
}

// Opening and listing the transforms against loading them, in the table.
bool benchOpen(const std::string& path, std::vector<Row>& rows) {
    std::vector<std::string> allNames;
    for (int o = 0; o < kTransforms; ++o) {
        allNames.push_back(transformName(o));
    }
    const ZelStatus written = writeTransforms(path, transformMatrices(), allNames);
    if (!written.ok()) {
        std::cerr << "zelbench: " << written.message() << '\n';
        return false;
    }
    const std::vector<double> s =
        bestInTurn({[&] { return loadCache(path); }, [&] { return openAndList(path); }});
    std::remove(path.c_str());
    if (s.empty()) {
        std::cerr << "zelbench: the transforms did not read back as written\n";
        return false;
    }
    const double share = s[1] / s[0];
    rows.push_back({"open + list 10,000 transforms", format("%.2f ms", 1e3 * s[1]),
                    format("ZelRoMemCache::load %.2f ms", 1e3 * s[0]),
                    format("%.1f%%", 100 * share), "<= 50%: " + verdict(share <= 0.5)});
    return true;
}

}  // namespace

bool benchReader(const std::string& path) {
    const CpuUse before = cpuUseNow();
    std::vector<Row> rows;
    const bool mesh = benchMesh(path, rows);
    std::remove(path.c_str());
    const bool open = benchOpen(path + ".transforms", rows);
    printTable(rows, othersBusySince(before));
    return mesh && open;
}

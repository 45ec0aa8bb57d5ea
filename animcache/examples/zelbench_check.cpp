// zelbench's check benchmark: checkCache over a cache of about 2.9 GB (240 samples of a mesh of a
// million points), next to the raw limit measured in the same run: reading the file with read()
// into a 1 MB buffer, as `cat FILE > /dev/null` does. The file is in the page cache (it was just
// written, and each figure is the best of two runs taken in turn), so both are bound by the
// processor and memory, not by the disk. MB are 10^6 bytes. The check must find the file clean
// and every sample checked, or the benchmark fails.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

#include "ZelCheck.h"
#include "zelbench.h"

using namespace Zel;

namespace {

constexpr int kSamples = 240;
constexpr int kPoints = 1000000;
constexpr int kRuns = 2;
constexpr double kMB = 1e6;

// Reads the whole file at `path` with read() into a 1 MB buffer; the bytes read, -1 on failure.
long long readWhole(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return -1;
    }
    const size_t size = 1 << 20;
    std::unique_ptr<char[]> buffer(new char[size]);
    long long total = 0;
    ssize_t n = 0;
    while ((n = read(fd, buffer.get(), size)) > 0) {
        total += n;
    }
    close(fd);
    return n < 0 ? -1 : total;
}

}  // namespace

bool benchCheck(const std::string& path) {
    auto start = std::chrono::steady_clock::now();
    if (!writeMeshCache(path.c_str(), kSamples, 1, kPoints)) {
        std::fprintf(stderr, "zelbench: could not write %s\n", path.c_str());
        std::remove(path.c_str());
        return false;
    }
    const long long bytes = fileSize(path);
    std::printf(
        "\nchecking a cache of %d samples of %d points (%.0f MB, written in %.1f s), "
        "next to reading it, best of %d\n",
        kSamples, kPoints, double(bytes) / kMB, secondsSince(start), kRuns);
    double readBest = 1e30, checkBest = 1e30;
    bool ok = true;
    for (int run = 0; run < kRuns && ok; ++run) {
        start = std::chrono::steady_clock::now();
        ok = readWhole(path) == bytes;
        readBest = std::min(readBest, secondsSince(start));
        ZelCheckReport report;
        start = std::chrono::steady_clock::now();
        ok = ok && checkCache(path, report).ok();
        checkBest = std::min(checkBest, secondsSince(start));
        ok = ok && report.clean() && report.loads && report.samplesChecked == kSamples;
    }
    std::remove(path.c_str());
    if (!ok) {
        std::fprintf(stderr, "zelbench: reading or checking the cache failed\n");
        return false;
    }
    const double readRate = double(bytes) / kMB / readBest;
    const double checkRate = double(bytes) / kMB / checkBest;
    std::printf("  %-34s %8.0f MB/s\n", "read() into a 1 MB buffer (cat)", readRate);
    std::printf("  %-34s %8.0f MB/s\n", "checkCache", checkRate);
    std::printf("  %-34s %8.2f (target 0.5 or more)\n", "ratio", checkRate / readRate);
    return true;
}

// Helpers for the utility tests: a small cache of fixed layout, captured runs, the built tools.
#ifndef ZEL_TEST_UTILSRUN_H
#define ZEL_TEST_UTILSRUN_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Zel.h"
#include "support/CacheFile.h"
#include "support/ChunkBytes.h"

namespace ZelTest {

// What a run printed and returned.
struct Output {
    int result;
    std::string out;
    std::string err;
};

template <class Fn>
Output captured(Fn fn) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int result = fn();
    const std::string out = testing::internal::GetCapturedStdout();
    return Output{result, out, testing::internal::GetCapturedStderr()};
}

// Writes a cache of two objects and two samples (times 1 and 2) to `path`: 803 bytes, the first
// object of the first sample holding a leaf of every type, a chunk of unknown type and an empty
// leaf, every other object one position, the very last value being `lastValue`.
inline bool writeSmallCache(const std::string& path, float lastValue = 9.0f,
                            Zel::int64 date = 1700000000) {
    using namespace Zel;
    ZelMETAChunk meta;
    meta.application = "app";
    meta.date = date;
    meta.numSamples = 2;
    meta.firstTime = meta.rate = 1.0f;
    meta.lastTime = 2.0f;
    meta.space = 0;
    meta.addDOBJ("cube");
    meta.addDOBJ("ball");
    auto fill = [&](int s, int o, ZelGroupChunk& g) {
        if (s + o == 0) {
            g.addChild(new ZelLeafChunk<float>(makeTag("POSI"), 1, 3, {0.1f, 1 / 3.0f, -2.5f}));
            g.addChild(new ZelLeafChunk<double>(makeTag("DVAL"), 0, 1, {0.1, 1 / 3.0, 1e-20}));
            g.addChild(new ZelLeafChunk<int>(makeTag("IVAL"), {1, -2, 3}));
            g.addChild(new ZelLeafChunk<int64>(makeTag("LVAL"), {9000000000LL}));
            g.addChild(new ZelLeafChunk<std::string>(makeTag("SVAL"), {"ab", "", "c"}));
            g.addChild(new ZelLeafChunk<char>(makeTag("BVAL"), {'x', 'y', 'z'}));
            g.addChild(new ZelChunk(ZelHeader(makeTag("XTRA"), 9, 4)));
            g.addChild(new ZelLeafChunk<float>(makeTag("VELO"), 2, 3));
            return;
        }
        const float x = static_cast<float>(6 * s + 3 * o - 2);
        const float last = s + o == 2 ? lastValue : x + 2;
        g.addChild(new ZelLeafChunk<float>(makeTag("POSI"), 1, 3, {x, x + 1, last}));
    };
    return writeCacheFile(path, meta, fill, {1, 2});
}

// The small cache written to `path` with `length` stored in the header at `headerAt` (when not
// negative) and cut to `size` bytes (when not 0).
inline void damageSmallCache(const std::string& path, long headerAt, Zel::int64 length,
                             size_t size = 0) {
    ASSERT_TRUE(writeSmallCache(path));
    Bytes bytes = readFileBytes(path);
    if (headerAt >= 0) {
        std::memcpy(bytes.data() + headerAt + 8, &length, 8);
    }
    bytes.resize(size != 0 ? size : bytes.size());
    writeFileBytes(path, bytes);
}

// Runs the built tool `name` (next to the test programs, or in $ZEL_TOOLS_DIR) with `args`, in
// the directory `cwd` when given, output and errors going to the files `out` and `err`; its exit
// status, -1 when it did not exit, -2 when the tool is not built.
inline int runTool(const std::string& name, const std::string& args, const std::string& out,
                   const std::string& err, const std::string& cwd = "") {
    std::string dir;
    if (const char* env = std::getenv("ZEL_TOOLS_DIR")) {
        dir = env;
    } else {
        char exe[4096];
        const ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
        dir = std::string(exe, n > 0 ? static_cast<size_t>(n) : 0);
        dir = dir.substr(0, dir.rfind('/')) + "/../bin";
    }
    const std::string tool = dir + "/" + name;
    if (access(tool.c_str(), X_OK) != 0) {
        return -2;
    }
    const std::string in = cwd.empty() ? "" : "cd '" + cwd + "' && ";
    const int status = std::system((in + tool + " " + args + " >" + out + " 2>" + err).c_str());
    return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline std::string fileText(const std::string& path) {
    const Bytes b = readFileBytes(path);
    return std::string(b.begin(), b.end());
}

}  // namespace ZelTest

#endif

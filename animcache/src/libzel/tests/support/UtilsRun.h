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

struct SmallCache {
    Zel::int64 date = 1700000000;
    int numSamples = 2;         // 2, or 0 for definitions with empty time and jump tables
    int lastSampleObjects = 2;  // object groups in the second sample
    float lastValue = 9.0f;     // last position value of the second sample's second object
};

// Writes DZEL, META (two definitions) and SAMS to `path`: 819 bytes with the defaults, the first
// object of the first sample holding one leaf of every type, an unknown type and an empty leaf.
inline bool writeSmallCache(const std::string& path, const SmallCache& c = SmallCache()) {
    using namespace Zel;
    ZelFile f;
    ZelMETAChunk meta;
    meta.application = "app";
    meta.date = c.date;
    meta.numSamples = c.numSamples;
    meta.firstTime = meta.rate = 1.0f;
    meta.lastTime = 2.0f;
    meta.space = 0;
    meta.addDOBJ("cube");
    meta.addDOBJ("ball");
    if (!f.open(path.c_str(), "w") || !ZelDZELChunk(2).write(f) || !meta.write(f) ||
        !f.startGroup(ZelHeader(makeTag("SAMS"), kTypeGroup, 0))) {
        return false;
    }
    std::vector<int64> jumps(static_cast<size_t>(c.numSamples));
    const std::vector<float> times =
        c.numSamples == 0 ? std::vector<float>() : std::vector<float>{1, 2};
    bool ok = f.writeChunk(makeTag("TIMS"), times);
    const int64 jsamAt = f.tell();
    ok = ok && f.writeChunk(makeTag("JSAM"), jumps) &&
         (c.numSamples == 0 || f.writeChunk(ZelHeader(), nullptr));
    for (int s = 0; ok && s < c.numSamples; ++s) {
        jumps[s] = f.tell();
        std::vector<int64> objects(static_cast<size_t>(s == 1 ? c.lastSampleObjects : 2));
        const int64 jobjAt = f.tell() + 16;
        ok = f.startGroup(ZelHeader(makeTag("SAMP"), kTypeGroup, 0)) &&
             f.writeChunk(makeTag("JOBJ"), objects);
        for (size_t o = 0; ok && o < objects.size(); ++o) {
            objects[o] = f.tell();
            const float x = static_cast<float>(6 * s + 3 * static_cast<int>(o) - 2);
            const std::vector<float> posi{x, x + 1, s == 1 && o == 1 ? c.lastValue : x + 2};
            ok = f.startGroup(ZelHeader(makeTag("SOBJ"), kTypeGroup, 0));
            if (s == 0 && o == 0) {
                ok = ok &&
                     f.writeChunk(makeTag("POSI"), std::vector<float>{0.1f, 1 / 3.0f, -2.5f}, -1, 1,
                                  3) &&
                     f.writeChunk(makeTag("DVAL"), std::vector<double>{0.1, 1 / 3.0, 1e-20}, -1, 0,
                                  1) &&
                     f.writeChunk(makeTag("IVAL"), std::vector<int>{1, -2, 3}) &&
                     f.writeChunk(makeTag("LVAL"), std::vector<int64>{9000000000LL}) &&
                     f.writeChunk(makeTag("SVAL"), std::vector<std::string>{"ab", "", "c"}) &&
                     f.writeChunk(makeTag("BVAL"), std::vector<char>{'x', 'y', 'z'}) &&
                     f.writeChunk(ZelHeader(makeTag("XTRA"), 9, 4), "abcd") &&
                     f.writeChunk(ZelHeader(makeTag("VELO"), kTypeFloat, 0, 2, 3), nullptr);
            } else {
                ok = ok && f.writeChunk(makeTag("POSI"), posi, -1, 1, 3);
            }
            ok = ok && f.endGroup();
        }
        ok = ok && f.writeChunk(makeTag("JOBJ"), objects, jobjAt) && f.endGroup();
    }
    return ok && (c.numSamples == 0 || f.writeChunk(makeTag("JSAM"), jumps, jsamAt)) &&
           f.endGroup() && f.close();
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

// Runs the built tool `name` (next to the test programs, or in $ZEL_TOOLS_DIR) with `args`,
// output and errors going to the files `out` and `err`; its exit status, -1 when it did not exit,
// -2 when the tool is not built.
inline int runTool(const std::string& name, const std::string& args, const std::string& out,
                   const std::string& err) {
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
    const int status = std::system((tool + " " + args + " >" + out + " 2>" + err).c_str());
    return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline std::string fileText(const std::string& path) {
    const Bytes b = readFileBytes(path);
    return std::string(b.begin(), b.end());
}

}  // namespace ZelTest

#endif

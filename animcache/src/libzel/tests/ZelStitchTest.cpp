// stitchCaches: per-range files stitched into exactly the file written at once; refusals that
// name the input at fault and leave no output behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "Zel.h"
#include "ZelFormat.h"
#include "support/TempDir.h"
#include "support/WriterScene.h"

using namespace Zel;
using namespace ZelTest;
using Times = std::vector<float>;

namespace {

// Writes the scene at `times` to `path`, sampled uniformly when they are evenly spaced.
void writeRange(const std::string& path, const Times& times) {
    ZelWriterOptions options = sceneOptions();
    options.times = times;
    ASSERT_TRUE(writeScene(path, options, times));
}

Times joined(const std::vector<Times>& ranges) {
    Times all;
    for (const Times& r : ranges) {
        all.insert(all.end(), r.begin(), r.end());
    }
    return all;
}

std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir)) {
        names.push_back(e.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A cache of one object at frames 1 to 4: a transform or a locator named `name`.
void writeOne(const std::string& path, const std::string& name, bool transform) {
    ZelWriter w;
    ASSERT_TRUE(w.create(path, sceneOptions()).ok());
    ASSERT_TRUE((transform ? w.addTransform(name) : w.addLocator(name)).ok());
    for (float t = 1; t <= 4; ++t) {
        ASSERT_TRUE(w.beginFrame(t).ok());
        ASSERT_TRUE(!transform || w.setMatrix(0, matrix(t)).ok());
        ASSERT_TRUE(w.endFrame().ok());
    }
    ASSERT_TRUE(w.close().ok());
}

// Works in `dir` while in scope, so that relative names in messages stay short.
struct InDir {
    explicit InDir(const std::string& dir) : old(std::filesystem::current_path()) {
        std::filesystem::current_path(dir);
    }
    ~InDir() { std::filesystem::current_path(old); }
    std::filesystem::path old;
};

}  // namespace

TEST(ZelStitch, RangesStitchIntoExactlyTheFileWrittenAtOnce) {
    struct Case {
        const char* what;
        std::vector<Times> ranges;
        bool uniform;
        std::string note;
    };
    const Case cases[] = {
        {"consecutive frames", {frames(1, 4), frames(5, 4), frames(9, 3)}, true, ""},
        {"half frames", {frames(1, 3, 0.5f), frames(2.5f, 3, 0.5f), frames(4, 2, 0.5f)}, true, ""},
        {"a gap",
         {frames(1, 4), frames(7, 4), frames(11, 1)},
         false,
         "'1.zel' starts at frame 7, not at frame 5 where '0.zel' leaves off: the result stores "
         "every sample's time"},
        {"another rate",
         {frames(1, 4), frames(5, 3, 0.5f)},
         false,
         "'1.zel' samples at rate 2, '0.zel' at rate 1: the result stores every sample's time"},
        {"times of their own", {{1, 2, 4}, {5, 6}, {7.5f, 9}}, false, ""},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        TempDir dir;
        const InDir in(dir.path());
        std::vector<std::string> inputs;
        for (const Times& range : k.ranges) {
            inputs.push_back(std::to_string(inputs.size()) + ".zel");
            writeRange(inputs.back(), range);
        }
        std::vector<std::pair<int64, int64>> calls;
        ZelStitchReport report;
        const ZelStatus s = stitchCaches(inputs, "out.zel", &report, [&](int64 done, int64 total) {
            calls.emplace_back(done, total);
        });
        ASSERT_TRUE(s.ok()) << s.message();
        const Times all = joined(k.ranges);
        const auto n = int64(all.size());
        EXPECT_EQ(report.samples, n);
        EXPECT_EQ(report.uniform, k.uniform);
        EXPECT_EQ(report.firstTime, all.front());
        EXPECT_EQ(report.lastTime, all.back());
        EXPECT_EQ(report.notes,
                  k.note.empty() ? std::vector<std::string>{} : std::vector<std::string>{k.note});
        ASSERT_FALSE(calls.empty());
        EXPECT_EQ(calls.front(), std::make_pair(int64(0), n));
        EXPECT_EQ(calls.back(), std::make_pair(n, n));
        // The same scene written in one go, stamped as the stitched file is.
        ZelReader stitched;
        ASSERT_TRUE(stitched.open("out.zel").ok());
        ZelWriterOptions options = sceneOptions();
        options.rate = k.uniform ? stitched.rate() : 0.0f;
        options.firstTime = all.front();
        options.frameCount = n;
        options.dateStamp = stitched.dateStamp();
        ASSERT_TRUE(writeScene("once.zel", options, all));
        EXPECT_EQ(readFileBytes("out.zel"), readFileBytes("once.zel"));
    }
}

TEST(ZelStitch, RefusalsNameTheInputAndLeaveNoOutput) {
    TempDir dir;
    const InDir in(dir.path());
    writeRange("a.zel", frames(1, 4));
    writeRange("late.zel", frames(3, 4));
    writeOne("loc.zel", "|loc", false);
    writeOne("xform.zel", "|mesh", true);
    std::vector<unsigned char> bytes = readFileBytes("a.zel");
    writeFileBytes("text.zel", {'h', 'e', 'l', 'l', 'o'});
    writeFileBytes("cut.zel", std::vector<unsigned char>(bytes.begin(), bytes.end() - 10));
    // A sample whose object table points one object group astray: the reader opens the file.
    writeRange("bad.zel", frames(5, 4));
    bytes = readFileBytes("bad.zel");
    ZelFile f("bad.zel", "r");
    FileLayout layout;
    ASSERT_TRUE(scanFileLayout(f, layout));
    bytes[size_t(layout.jumps[1] + 2 * kHeaderSize + 8)] ^= 1;
    writeFileBytes("bad.zel", bytes);
    const auto opened = [](const std::string& path) { return ZelReader().open(path).message(); };
    const struct {
        std::vector<std::string> inputs;
        ZelStatusCode code;
        std::string message;
    } cases[] = {
        {{"a.zel", "late.zel"},
         ZelStatusCode::kInvalidArgument,
         "'late.zel' starts at frame 3, which 'a.zel' already covers (it ends at frame 4)"},
        {{"a.zel", "loc.zel"},
         ZelStatusCode::kInvalidArgument,
         "'loc.zel' has no object '|mesh' (object 0 of 'a.zel')"},
        {{"loc.zel", "a.zel"},
         ZelStatusCode::kInvalidArgument,
         "'a.zel' holds '|loc' as object 4, 'loc.zel' as object 0: the objects must come in the "
         "same order"},
        {{"xform.zel", "a.zel"},
         ZelStatusCode::kInvalidArgument,
         "'|mesh' is a transform object in 'xform.zel' but a mesh object in 'a.zel'"},
        {{"text.zel", "a.zel"}, ZelStatusCode::kNotACache, opened("text.zel")},
        {{"a.zel", "cut.zel"}, ZelStatusCode::kCorrupt, opened("cut.zel")},
        {{"a.zel", "bad.zel"},
         ZelStatusCode::kCorrupt,
         "bad.zel: sample 1 (frame 6) has object groups its table does not list"},
        {{}, ZelStatusCode::kInvalidArgument, "out.zel: no caches to stitch"},
    };
    const std::vector<std::string> before = entries(dir.path());
    for (const auto& k : cases) {
        const ZelStatus s = stitchCaches(k.inputs, "out.zel");
        EXPECT_EQ(s.code(), k.code) << s.message();
        EXPECT_EQ(s.message(), k.message);
        EXPECT_EQ(entries(dir.path()), before);
    }
}

// checkCache: clean caches of every kind have no problem and load; each kind of damage is found
// where it lies, with `loads` saying what ZelCache::load says; files that are no cache fail.
#include <gtest/gtest.h>

#include <functional>

#include "Zel.h"
#include "ZelCheck.h"
#include "support/CacheFile.h"
#include "support/Child.h"
#include "support/ChunkBytes.h"
#include "support/ChunkWalk.h"
#include "support/UtilsRun.h"

using namespace Zel;
using ZelTest::Bytes;
using ZelTest::ChunkEntry;
using ZelTest::readFileBytes;
using ZelTest::TempDir;
using ZelTest::writeFileBytes;
using Chunks = std::vector<ChunkEntry>;

namespace {

enum { kMesh, kCurve, kTransform, kLocator, kCoords, kObjects };
const std::vector<int> kFaceCounts{4, 4}, kFaceIndices{0, 1, 4, 3, 1, 2, 5, 4};
const std::vector<float> kKnots{0, 1, 2, 3, 4, 5, 6, 7, 8};

std::vector<float> points(int count, float t) {
    std::vector<float> p;
    for (int i = 0; i < 3 * count; ++i) {
        p.push_back(t + 0.25f * float(i));
    }
    return p;
}

bool writeFrame(ZelWriter& w, float t) {
    const std::vector<double> m{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, t, 0, 0, 1};
    return w.beginFrame(t).ok() && w.setPositions(kMesh, points(6, t)).ok() &&
           w.setNormals(kMesh, points(6, -t)).ok() &&
           w.setPositions(kCurve, points(5, 2 * t)).ok() && w.setMatrix(kTransform, m).ok() &&
           w.setAttribute(kTransform, 0, std::vector<double>{t}).ok() &&
           w.setAttribute(kLocator, 0, std::vector<double>{-t}).ok() && w.endFrame().ok();
}

// One object of each kind, animated attributes on two of them, at `times` (a rate of 0 keeps
// every time); `declared` frames up front (0: none, so sections follow one another).
bool writeScene(const std::string& path, std::vector<float> times, float rate = 1,
                int declared = 0) {
    ZelWriterOptions options;
    options.firstTime = times.front();
    options.rate = rate;
    options.frameCount = declared;
    options.dateStamp = 1700000000;
    const ZelAttrDesc weight{"weight", ZelElementType::kDouble, ZelDimension::kScalar, {}, ""};
    ZelWriter w;
    bool ok = w.create(path, options).ok() &&
              w.addMesh("|mesh", {kFaceCounts, kFaceIndices, 0, false, true}).ok() &&
              w.addNurbsCurve("|curve", {3, ZelNurbsForm::kOpen, kKnots, 5}).ok() &&
              w.addTransform("|xform").ok() && w.addAnimatedAttribute(kTransform, weight).ok() &&
              w.addLocator("|loc").ok() && w.addAnimatedAttribute(kLocator, weight).ok() &&
              w.addCoordSystem("|coords").ok() &&
              w.addStaticAttribute(kCoords, weight, std::vector<double>{2}).ok();
    for (float t : times) {
        ok = ok && writeFrame(w, t);
    }
    return ok && w.close().ok();
}

const std::vector<float> kSix{1, 2, 3, 4, 5, 6}, kUneven{1, 2, 3.5f, 4, 5, 7};

bool loaderLoads(const std::string& path) {
    testing::internal::CaptureStdout();
    ZelCache cache;
    const bool loaded = cache.load(path.c_str(), false);
    testing::internal::GetCapturedStdout();
    return loaded;
}

ZelCheckReport checked(const std::string& path, const ZelCheckOptions& options = {}) {
    ZelCheckReport report;
    EXPECT_TRUE(checkCache(path, report, options).ok());
    EXPECT_EQ(report.loads, loaderLoads(path)) << path;
    return report;
}

std::string listed(const ZelCheckReport& r) {
    std::string s;
    for (const ZelProblem& p : r.problems) {
        s += std::string(severityName(p.severity)) + " @" + std::to_string(p.offset) + " o" +
             std::to_string(p.object) + " s" + std::to_string(p.sample) + ": " + p.message + "\n";
    }
    return s;
}

// The offset of the `n`-th chunk tagged `tag` at or after `from`.
int64 nth(const Chunks& chunks, const char* tag, int n = 0, int64 from = 0) {
    for (const ChunkEntry& c : chunks) {
        if (c.offset >= from && c.header.tagStr() == tag && n-- == 0) {
            return c.offset;
        }
    }
    ADD_FAILURE() << "no " << tag;
    return 0;
}

// Object `o`'s group in sample `k`, and its first chunk tagged `tag`.
int64 sobj(const Chunks& c, int k, int o) {
    return nth(c, "SOBJ", k * kObjects + o);
}
int64 in(const Chunks& c, int k, int o, const char* tag) {
    return nth(c, tag, 0, sobj(c, k, o));
}

template <class T>
void put(Bytes& b, int64 at, T v) {
    std::memcpy(b.data() + at, &v, sizeof(v));
}
template <class T>
T get(const Bytes& b, int64 at) {
    T v;
    std::memcpy(&v, b.data() + at, sizeof(v));
    return v;
}

// Gives the last `by` bytes of the leaf at `at` to a raw chunk "XTRA" (`by` 16 or more).
void shorten(Bytes& b, int64 at, int64 by) {
    const int64 length = get<int64>(b, at + 8) - by;
    put(b, at + 8, length);
    const int64 extra = at + 16 + length;
    std::memcpy(b.data() + extra, "XTRA", 4);
    put<uint32>(b, extra + 4, 0);
    put<int64>(b, extra + 8, by - 16);
}

// A damage, and the problem it must give: words of its message, its offset, object and sample.
struct Damage {
    const char* name;
    bool uneven;  // done to the scene at kUneven (rate 0) rather than at kSix
    std::function<void(Bytes&, const Chunks&)> apply;
    const char* words;
    std::function<int64(const Chunks&)> offset;
    int object;
    int64 sample;
    ZelSeverity severity = ZelSeverity::kError;
};

}  // namespace

TEST(ZelCheck, CleanCachesOfEveryKindHaveNoProblemAndLoad) {
    TempDir dir;
    const std::string declared = dir.file("declared.zel"), uneven = dir.file("uneven.zel"),
                      sections = dir.file("sections.zel"), appended = dir.file("appended.zel"),
                      test = dir.file("zeltest.zel");
    std::vector<float> many;
    for (int i = 1; i <= 103; ++i) {
        many.push_back(float(i));
    }
    ASSERT_TRUE(writeScene(declared, kSix, 1, 6) && writeScene(uneven, kUneven, 0) &&
                writeScene(sections, many) && writeScene(appended, {1, 2, 3}));
    ZelWriter w;
    ASSERT_TRUE(w.append(appended).ok() && writeFrame(w, 4) && w.close().ok());
    ASSERT_EQ(ZelTest::captured([&] { return zeltest(test.c_str()); }).result, 0);
    const std::pair<std::string, int> files[] = {
        {declared, 6}, {uneven, 6}, {sections, 103}, {appended, 4}, {test, 0}};
    for (const auto& [path, samples] : files) {
        std::vector<std::pair<int64, int64>> calls;
        ZelCheckOptions options;
        options.progress = [&](int64 done, int64 total) { calls.emplace_back(done, total); };
        const ZelCheckReport r = checked(path, options);
        EXPECT_TRUE(r.clean() && r.loads && r.problems.empty() && r.warnings == 0) << path << "\n"
                                                                                   << listed(r);
        EXPECT_EQ(r.sampleCount, samples);
        EXPECT_EQ(r.fileSize, int64(readFileBytes(path).size()));
        // zeltest's file announces no samples but holds one: checked all the same.
        EXPECT_EQ(r.samplesChecked, std::max(samples, 1));
        ASSERT_GE(calls.size(), 2u);
        EXPECT_EQ(calls.front(), std::make_pair(int64(0), r.samplesChecked));
        EXPECT_EQ(calls.back(), std::make_pair(r.samplesChecked, r.samplesChecked));
    }
}

TEST(ZelCheck, EachDamageIsFoundWhereItLiesAndLoadsSaysWhatTheLoaderSays) {
    const auto at = [](const char* tag, int n = 0) {
        return [=](const Chunks& c) { return nth(c, tag, n); };
    };
    const int64 timeSize = 4, jumpSize = 8;
    const Damage damages[] = {
        {"cut one byte short", false, [](Bytes& b, const Chunks&) { b.pop_back(); },
         "sample 5 runs past the end of the file", at("SAMP", 5), -1, 5},
        {"cut inside a sample", false,
         [](Bytes& b, const Chunks& c) { b.resize(size_t(nth(c, "SAMP", 3) + 100)); },
         "sample 3 runs past the end of the file", at("SAMP", 3), -1, 3},
        {"cut inside the jump table", false,
         [](Bytes& b, const Chunks& c) { b.resize(size_t(nth(c, "JSAM") + 20)); },
         "jump table (\"JSAM\") at byte", at("JSAM"), -1, -1},
        {"cut inside the metadata", false,
         [](Bytes& b, const Chunks& c) { b.resize(size_t(nth(c, "META") + 40)); },
         "the metadata chunk runs past the end of the file", at("META"), -1, -1},
        {"jump entry beside its sample", false,
         [](Bytes& b, const Chunks& c) {
             put(b, nth(c, "JSAM") + 16 + 2 * jumpSize, nth(c, "SAMP", 2) + 16);
         },
         "which holds a \"JOBJ\" chunk of type int64, not a sample",
         [](const Chunks& c) { return nth(c, "JSAM") + 16 + 16; }, -1, 2},
        {"sample past its section", false,
         [](Bytes& b, const Chunks& c) {
             put(b, nth(c, "SAMS") + 8, get<int64>(b, nth(c, "SAMS") + 8) - 8);
         },
         "sample 5 runs past the end of its samples section", at("SAMP", 5), -1, 5},
        {"reserve past the file", false,
         [](Bytes& b, const Chunks& c) { put(b, nth(c, "FREE") + 8, int64(1) << 40); },
         "run past the end of the file", at("SAMS"), -1, -1},
        {"bytes behind the last section", false,
         [](Bytes& b, const Chunks& c) {
             b.insert(b.end(), b.begin() + nth(c, "SAMP", 5), b.end());
         },
         "bytes after the last samples section that no table refers to",
         [](const Chunks& c) { return c.back().offset + 16 + c.back().header.length; }, -1, -1},
        {"object offset into a group", false,
         [](Bytes& b, const Chunks& c) {
             put(b, nth(c, "JOBJ", 1) + 16 + jumpSize, sobj(c, 1, 1) + 16);
         },
         "sends object 1 to byte", [](const Chunks& c) { return nth(c, "JOBJ", 1) + 24; }, 1, 1},
        {"object group not well formed", false,
         [](Bytes& b, const Chunks& c) { put(b, in(c, 1, kMesh, "POSI") + 8, int64(272)); },
         "\"POSI\" at byte", [](const Chunks& c) { return in(c, 1, kMesh, "POSI"); }, kMesh, 1},
        {"animated attribute values missing", false,
         [](Bytes& b, const Chunks& c) {
             std::memcpy(&b[size_t(in(c, 2, kTransform, "ATRS"))], "XTRS", 4);
         },
         "holds 0 animated attribute values (\"ATRS\"), its definition declares 1",
         [](const Chunks& c) { return sobj(c, 2, kTransform); }, kTransform, 2},
        {"positions change type", false,
         [](Bytes& b, const Chunks& c) { b[size_t(in(c, 1, kCurve, "POSI") + 4)] = kTypeInt32; },
         "stores \"POSI\" as int32 3d point, sample 0 as float 3d point",
         [](const Chunks& c) { return sobj(c, 1, kCurve); }, kCurve, 1},
        {"positions not whole points", false,
         [](Bytes& b, const Chunks& c) { shorten(b, in(c, 3, kCurve, "POSI"), 20); },
         "\"POSI\" holds 10 values, not a whole number of 3d points",
         [](const Chunks& c) { return in(c, 3, kCurve, "POSI"); }, kCurve, 3},
        {"point count changes under a fixed topology", false,
         [](Bytes& b, const Chunks& c) { shorten(b, in(c, 4, kMesh, "POSI"), 24); },
         "has 4 points, 6 in sample 0, while its topology",
         [](const Chunks& c) { return in(c, 4, kMesh, "POSI"); }, kMesh, 4},
        {"point index past the points", false,
         [](Bytes& b, const Chunks& c) { put(b, nth(c, "PIDS") + 16 + 12, 6); },
         "point index 6 is beyond its 6 points", [](const Chunks& c) { return sobj(c, 0, kMesh); },
         kMesh, 0},
        {"not a number in the positions", false,
         [](Bytes& b, const Chunks& c) { put(b, in(c, 2, kMesh, "POSI") + 16 + 8, 0x7fc00000u); },
         "has 1 non-finite position value (NaN or infinity) of 18",
         [](const Chunks& c) { return in(c, 2, kMesh, "POSI"); }, kMesh, 2, ZelSeverity::kWarning},
        {"times out of order", true,
         [](Bytes& b, const Chunks& c) {
             const int64 t = nth(c, "TIMS") + 16;
             put(b, t + timeSize, 3.5f);
             put(b, t + 2 * timeSize, 2.0f);
         },
         "sample 2's time 2 is not after sample 1's time 3.5",
         [](const Chunks& c) { return nth(c, "TIMS") + 16 + 8; }, -1, 2},
        {"first time not the first sample's", true,
         [](Bytes& b, const Chunks& c) { put(b, nth(c, "TIMS") + 16, 0.5f); },
         "the metadata's first time 1 is not the first sample's time 0.5", at("META"), -1, -1},
        {"rate that makes another count", false,
         [](Bytes& b, const Chunks& c) { put(b, nth(c, "RATE") + 16, 2.0f); },
         "the metadata's times 1 to 6 at rate 2 make 11 samples, it announces 6", at("META"), -1,
         -1},
        {"more samples announced than held", false,
         [](Bytes& b, const Chunks& c) { put(b, nth(c, "NSAM") + 16, int64(7)); },
         "the metadata announces 7 samples, the tables hold 6", at("META"), -1, -1},
    };
    TempDir dir;
    const std::string even = dir.file("even.zel"), uneven = dir.file("uneven.zel");
    ASSERT_TRUE(writeScene(even, kSix, 1, 6) && writeScene(uneven, kUneven, 0));
    for (const Damage& d : damages) {
        const std::string clean = d.uneven ? uneven : even, path = dir.file("damaged.zel");
        const Chunks chunks = ZelTest::walkChunks(clean);
        Bytes bytes = readFileBytes(clean);
        d.apply(bytes, chunks);
        writeFileBytes(path, bytes);
        const ZelCheckReport r = checked(path);
        const auto found = std::find_if(
            r.problems.begin(), r.problems.end(),
            [&](const ZelProblem& p) { return p.message.find(d.words) != std::string::npos; });
        ASSERT_NE(found, r.problems.end()) << d.name << "\n" << listed(r);
        EXPECT_EQ(found->offset, d.offset(chunks)) << d.name;
        EXPECT_EQ(found->object, d.object) << d.name;
        EXPECT_EQ(found->sample, d.sample) << d.name;
        EXPECT_EQ(found->severity, d.severity) << d.name;
        EXPECT_EQ(r.clean(), d.severity == ZelSeverity::kWarning) << d.name << "\n" << listed(r);
    }
}

TEST(ZelCheck, AnAppendThatDiedBeforeOrWithinItsCommitIsNamed) {
    TempDir dir;
    const std::string path = dir.file("c.zel");
    ASSERT_TRUE(writeScene(path, {1, 2, 3}));
    const ChunkEntry meta = ZelTest::walkChunks(path)[1];
    const Bytes before = readFileBytes(path);
    // Dying before the commit leaves the new frames behind the last section.
    EXPECT_EQ(ZelTest::inChild([&] {
                  ZelWriter w;
                  if (w.append(path).ok() && writeFrame(w, 4)) {
                      _exit(0);
                  }
                  return 1;
              }),
              0);
    ZelCheckReport r = checked(path);
    ASSERT_EQ(r.problems.size(), 1u) << listed(r);
    EXPECT_EQ(r.problems[0].offset, int64(before.size()));
    EXPECT_NE(r.problems[0].message.find(" bytes after the last samples section that no table "
                                         "refers to (an append that did not finish?)"),
              std::string::npos);
    EXPECT_TRUE(r.loads);
    writeFileBytes(path, before);
    ZelWriter w;
    ASSERT_TRUE(w.append(path, 1700000000).ok() && writeFrame(w, 4) && writeFrame(w, 5) &&
                w.close().ok());
    EXPECT_TRUE(checked(path).clean());
    Bytes bytes = readFileBytes(path);
    const auto end = before.begin() + meta.offset + 16 + meta.header.length;
    std::copy(before.begin() + meta.offset, end, bytes.begin() + meta.offset);
    writeFileBytes(path, bytes);
    r = checked(path);
    EXPECT_EQ(listed(r),
              "error @24 o-1 s-1: an append was interrupted while committing: the tables hold 5 "
              "samples, the metadata 3; zel repair keeps all 5\n");
    EXPECT_FALSE(r.loads);
}

TEST(ZelCheck, LoadsFollowsTheLoaderWhereTheReaderRefusesMoreOrLess) {
    TempDir dir;
    const std::string path = dir.file("deep.zel");
    // Groups nested in an object definition: the loader follows 256 levels, the metadata
    // chunk being the first.
    for (int levels : {254, 255}) {
        ZelMETAChunk meta;
        ZelChunk* inner = new ZelLeafChunk<int>(makeTag("LEAF"), {1});
        for (int i = 0; i < levels; ++i) {
            auto* g = new ZelGroupChunk(makeTag("NEST"));
            g->addChild(inner);
            inner = g;
        }
        meta.addDOBJ("deep")->addChild(inner);
        ASSERT_TRUE(ZelTest::writeCacheFile(path, meta, {}));
        const ZelCheckReport r = checked(path);
        EXPECT_EQ(r.loads, levels == 254);
        EXPECT_EQ(r.clean(), levels == 254) << listed(r);
        EXPECT_EQ(listed(r).find("nests groups more than 256 levels deep") != std::string::npos,
                  levels == 255);
    }
    // A reserve reaching past the end of the file: the loader's seek goes there, the reader
    // refuses it (the damage table checks the problem).
    ASSERT_TRUE(writeScene(path, kSix));
    Bytes bytes = readFileBytes(path);
    put(bytes, nth(ZelTest::walkChunks(path), "FREE") + 8, int64(1) << 40);
    writeFileBytes(path, bytes);
    ZelReader reader;
    EXPECT_TRUE(checked(path).loads);
    EXPECT_FALSE(reader.open(path).ok());
}

TEST(ZelCheck, StrictMakesWarningsErrorsAndTheFirstProblemsInFileOrderAreListed) {
    TempDir dir;
    const std::string path = dir.file("c.zel");
    ASSERT_TRUE(writeScene(path, kSix));
    const Chunks chunks = ZelTest::walkChunks(path);
    Bytes bytes = readFileBytes(path);
    // Every mesh sample holds two infinities; the file ends with bytes no table refers to.
    for (int k = 0; k < 6; ++k) {
        put(bytes, in(chunks, k, kMesh, "POSI") + 16, 0x7f800000u);
        put(bytes, in(chunks, k, kMesh, "POSI") + 20, 0xff800000u);
    }
    bytes.resize(bytes.size() + 3);
    writeFileBytes(path, bytes);
    ZelCheckOptions options;
    options.maxProblems = 3;
    ZelCheckReport r = checked(path, options);
    EXPECT_EQ(r.warnings, 6);
    EXPECT_EQ(r.errors, 1);
    ASSERT_EQ(r.problems.size(), 3u);
    for (int k = 0; k < 3; ++k) {
        EXPECT_EQ(r.problems[size_t(k)].sample, k);
        EXPECT_EQ(r.problems[size_t(k)].severity, ZelSeverity::kWarning);
    }
    options.strict = true;
    options.maxProblems = 100;
    r = checked(path, options);
    EXPECT_EQ(r.errors, 7);
    EXPECT_EQ(r.warnings, 0);
    EXPECT_EQ(r.problems.back().message,
              "3 bytes after the last samples section that no table refers to (an append that did "
              "not finish?)");
    EXPECT_EQ(r.problems.front().severity, ZelSeverity::kError);
}

TEST(ZelCheck, FilesThatAreNoCacheFailInWordsTheCommandPrintsAsTheyAre) {
    TempDir dir;
    const std::string text = dir.file("x.txt"), empty = dir.file("empty"), odd = dir.file("odd"),
                      cut = dir.file("cut.zel");
    writeFileBytes(text, {'h', 'e', 'l', 'l', 'o'});
    writeFileBytes(empty, {});
    writeFileBytes(odd, {1, 'Z', 0xff});
    writeFileBytes(cut, {'D', 'Z', 'E', 'L', 5, 0, 0, 0, 8});
    // The same words as every other reader of the library (the reader's tests pin them down).
    const std::pair<std::string, ZelStatusCode> cases[] = {
        {dir.file("absent.zel"), ZelStatusCode::kNotFound},
        {dir.path(), ZelStatusCode::kNotACache},
        {text, ZelStatusCode::kNotACache},
        {empty, ZelStatusCode::kNotACache},
        {odd, ZelStatusCode::kNotACache},
    };
    for (const auto& [path, code] : cases) {
        ZelCheckReport r;
        const ZelStatus s = checkCache(path, r);
        EXPECT_EQ(s.code(), code) << path;
        EXPECT_EQ(s.message(), probeCacheFile(path).message());
        EXPECT_TRUE(r.problems.empty() && !r.loads);
    }
    EXPECT_EQ(probeCacheFile(odd).message(),
              "'" + odd + "' is not a cache file (it starts with \"\\x01Z\\xff\")");
    // A cache cut inside its first header is a cache with a problem, not an unreadable file.
    EXPECT_EQ(listed(checked(cut)),
              "error @0 o-1 s-1: the file ends inside its first chunk header (it has 9 bytes)\n");
}

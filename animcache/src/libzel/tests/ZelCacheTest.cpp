#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "Zel.h"
#include "support/TempDir.h"

using namespace Zel;
using Bytes = std::vector<unsigned char>;

namespace {

constexpr uint32 kSAMS = makeTag("SAMS"), kTIMS = makeTag("TIMS"), kJSAM = makeTag("JSAM"),
                 kSAMP = makeTag("SAMP"), kJOBJ = makeTag("JOBJ"), kSOBJ = makeTag("SOBJ"),
                 kFREE = makeTag("FREE"), kPOSI = makeTag("POSI"), kVELO = makeTag("VELO"),
                 kTOPO = makeTag("TOPO"), kNOTE = makeTag("NOTE"), kDATR = makeTag("DATR");

// What a test file holds. Object 0 has two animated and one static attribute; object 1 has a
// static "TOPO" in its definition and in every sample; each object's group holds "POSI"
// {sample, object}, "VELO" {100 sample + object}, "POSI" {sample + 0.5} (and "TOPO").
struct Spec {
    int64 numSamples = 3;
    float first = 0, last = 2, rate = 1;
    std::vector<float> times;   // each section's slice goes in its "TIMS" when not empty
    std::vector<int> sections;  // samples per section; empty means one with numSamples
    std::vector<std::string> objects = {"obj0", "obj1", "obj2"};
    int64 reserve = 0;            // "FREE" entries after the tables
    bool noteBeforeJOBJ = false;  // an unrelated chunk ahead of each sample's "JOBJ"
    bool samples = true;          // false: "DZEL" and "META" only
};

Spec makeSpec(int64 numSamples, float first, float last, float rate, std::vector<float> times = {},
              std::vector<int> sections = {},
              std::vector<std::string> objects = {"o0", "o1", "o2"}) {
    Spec spec;
    spec.numSamples = numSamples;
    spec.first = first;
    spec.last = last;
    spec.rate = rate;
    spec.times = std::move(times);
    spec.sections = std::move(sections);
    spec.objects = std::move(objects);
    return spec;
}

// Where the writer put things, for tests that damage them.
struct Layout {
    std::vector<int64> sams, tims, jsam, samp, jobj;
    std::vector<std::vector<int64>> sobj;
};

Layout writeCache(const std::string& path, const Spec& spec) {
    Layout at;
    ZelFile f;
    EXPECT_TRUE(f.open(path.c_str(), "w"));
    ZelDZELChunk().write(f);
    ZelMETAChunk meta;
    meta.numSamples = spec.numSamples;
    meta.firstTime = spec.first;
    meta.lastTime = spec.last;
    meta.rate = spec.rate;
    meta.application = "app";
    meta.sourceFile = "scene";
    meta.date = 1234;
    meta.space = 0;
    for (const std::string& name : spec.objects) {
        ZelDOBJChunk* d = meta.addDOBJ(name.c_str());
        if (meta.getNumObjects() == 1) {
            d->addAttr(true, "a0", "t0", kTypeFloat, 0, 0);
            d->addAttr(true, "a1", "t1", kTypeFloat, 0, 0);
            d->addAttr(false, "s0", "ts", kTypeInt32, 0, 0);
        } else if (meta.getNumObjects() == 2) {
            d->addChild(new ZelLeafChunk<int>(kTOPO, std::vector<int>{1, 2, 3}));
        }
    }
    EXPECT_TRUE(meta.write(f));
    std::vector<int> sections = spec.sections;
    if (sections.empty() && spec.samples) {
        sections.push_back(static_cast<int>(spec.numSamples));
    }
    const int nobj = static_cast<int>(spec.objects.size());
    int s = 0;
    for (const int count : sections) {
        at.sams.push_back(f.tell());
        f.startGroup(ZelHeader(kSAMS, kTypeGroup, 0));
        at.tims.push_back(f.tell());
        if (!spec.times.empty()) {
            const size_t end = std::min(spec.times.size(), static_cast<size_t>(s + count));
            f.writeChunk(kTIMS,
                         std::vector<float>(spec.times.begin() + s, spec.times.begin() + end));
            if (spec.reserve > 0) {
                f.writeChunk(ZelHeader(kFREE, kTypeUndef, spec.reserve * 4), nullptr);
            }
        }
        at.jsam.push_back(f.tell());
        std::vector<int64> jumps(static_cast<size_t>(count));
        f.writeChunk(kJSAM, jumps);
        if (spec.reserve > 0) {
            f.writeChunk(ZelHeader(kFREE, kTypeUndef, spec.reserve * 8), nullptr);
        }
        for (int k = 0; k < count; ++k, ++s) {
            jumps[static_cast<size_t>(k)] = f.tell();
            at.samp.push_back(f.tell());
            f.startGroup(ZelHeader(kSAMP, kTypeGroup, 0));
            if (spec.noteBeforeJOBJ) {
                f.writeChunk(kNOTE, "note");
            }
            at.jobj.push_back(f.tell());
            std::vector<int64> offsets(static_cast<size_t>(nobj));
            f.writeChunk(kJOBJ, offsets);
            for (int o = 0; o < nobj; ++o) {
                offsets[static_cast<size_t>(o)] = f.tell();
                f.startGroup(ZelHeader(kSOBJ, kTypeGroup, 0));
                f.writeChunk(kPOSI, std::vector<float>{float(s), float(o)});
                f.writeChunk(kVELO, std::vector<int>{100 * s + o});
                f.writeChunk(kPOSI, std::vector<float>{s + 0.5f});
                if (o == 1) {
                    f.writeChunk(kTOPO, std::vector<int>{s});
                }
                f.endGroup();
            }
            f.endGroup();
            f.writeChunk(kJOBJ, offsets, at.jobj.back());
            at.sobj.push_back(offsets);
        }
        f.endGroup();
        f.writeChunk(kJSAM, jumps, at.jsam.back());
    }
    return at;
}

template <class V>
void patch(const std::string& path, int64 offset, V value) {
    Bytes b = ZelTest::readFileBytes(path);
    std::memcpy(b.data() + offset, &value, sizeof(V));
    ZelTest::writeFileBytes(path, b);
}

// Opens up the protected state and reads for the tests.
struct Probe : ZelCache {
    using ZelCache::compareNames;
    using ZelCache::findChunk;
    using ZelCache::getUpdate;
    using ZelCache::loadObjectSample;
    using ZelCache::seekChannelSample;
    using ZelCache::seekObjectSample;
    using ZelCache::setUpdate;
    ZelFile& file() { return file_; }
    std::vector<float>& times() { return times_; }
    int currentSample() const { return currentSample_; }
};

// The POSI values of (sample, object) read through loadObjectSample, empty when the read fails.
std::vector<float> posi(Probe& c, int sample, int object) {
    std::unique_ptr<ZelGroupChunk> g(c.loadObjectSample(sample, object));
    if (!g || g->numChildren() == 0) {
        return {};
    }
    return static_cast<ZelLeafChunk<float>*>(g->getChild(0))->values();
}

// Loads `path` and expects the one failure line carrying `message`, from a line of this
// library's cache source that reports exactly that message, and an empty cache afterwards.
void expectLoadFailure(const std::string& path, const std::string& message) {
    SCOPED_TRACE(message);
    Probe c;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(c.load(path.c_str(), false));
    const std::string out = testing::internal::GetCapturedStdout();
    std::smatch m;
    ASSERT_TRUE(std::regex_match(out, m,
                                 std::regex("animcache/src/libzel/src/ZelCache\\.cpp:"
                                            "([0-9]+) ([^\n]*)\n")))
        << out;
    EXPECT_EQ(m[2].str(), message);
    std::string source = __FILE__;
    source = source.substr(0, source.rfind("/tests/")) + "/src/ZelCache.cpp";
    std::ifstream in(source);
    std::string line;
    for (int n = std::stoi(m[1].str()); n > 0 && std::getline(in, line); --n) {
    }
    EXPECT_NE(line.find('"' + message + '"'), std::string::npos) << source << ":" << m[1];
    EXPECT_TRUE(c.getKeepOpen());
    EXPECT_TRUE(c.getFilename().empty());
    EXPECT_EQ(c.getNumSamples(), 0);
    EXPECT_EQ(c.getNumObjects(), 0);
    EXPECT_FALSE(c.file().isOpen());
}

Bytes header(const char* tag, uint8 type, int64 length) {
    Bytes b(16, 0);
    std::memcpy(b.data(), tag, 4);
    b[4] = type;
    std::memcpy(b.data() + 8, &length, 8);
    return b;
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

}  // namespace

TEST(ZelCacheLoad, ReportsEveryFailureWithItsLineAndLeavesTheCacheEmpty) {
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    Spec spec;
    expectLoadFailure(dir.file("missing.zel"), "error opening file, Not a Zel file");
    ZelTest::writeFileBytes(p, header("DZEL", kTypeInt64, 4) + Bytes(4, 0));
    expectLoadFailure(p, "error reading DZEL chunk");
    spec.samples = false;
    writeCache(p, spec);
    const Bytes withMeta = ZelTest::readFileBytes(p);
    const Bytes dzel(withMeta.begin(), withMeta.begin() + 24);
    ZelTest::writeFileBytes(p, dzel);
    expectLoadFailure(p, "missing META chunk");
    ZelTest::writeFileBytes(p, dzel + header("XTRA", kTypeUndef, -1));
    expectLoadFailure(p, "error skipping chunk");
    ZelTest::writeFileBytes(p, Bytes(withMeta.begin(), withMeta.end() - 1));
    expectLoadFailure(p, "error reading META chunk");
    ZelTest::writeFileBytes(p, withMeta);
    expectLoadFailure(p, "missing next SAMS chunk for sample ");
    ZelTest::writeFileBytes(p, withMeta + header("XTRA", kTypeUndef, -1));
    expectLoadFailure(p, "error skipping chunk");

    // Hand-made sections after a META announcing 3 samples at times 0, 1, 2.
    const Bytes sams = header("SAMS", kTypeGroup, 1000);
    const Bytes jsam = header("JSAM", kTypeInt64, 24) + Bytes(24, 0);
    const Bytes tims = header("TIMS", kTypeFloat, 12) + Bytes(12, 0);
    const Bytes samp = header("SAMP", kTypeGroup, 0);
    const struct {
        Bytes section;
        const char* message;
    } bad[] = {
        {sams + header("TIMS", kTypeFloat, 1 << 20), "error reading TIMS chunk"},
        {sams + header("TIMS", kTypeFloat, -4), "error reading TIMS chunk"},
        {sams + header("TIMS", kTypeFloat, 6) + Bytes(8, 0), "error reading TIMS chunk"},
        {sams + header("JSAM", kTypeInt64, int64(1) << 40), "error reading JSAM chunk"},
        {sams + header("JSAM", kTypeInt64, 12) + Bytes(16, 0), "error reading JSAM chunk"},
        {sams + jsam + header("FREE", kTypeUndef, -8), "error skipping FREE chunk"},
        {sams + samp, "missing JSAM chunk"},
        {sams + header("JSAM", kTypeInt64, 0) + samp, "no entries in jump table"},
        {sams + tims + jsam + samp, "unexpected TIMS chunk"},
    };
    for (const auto& b : bad) {
        ZelTest::writeFileBytes(p, withMeta + b.section);
        expectLoadFailure(p, b.message);
    }

    // Files from the writer, then damaged.
    writeCache(p, makeSpec(3, 0, 2, 0, {}));
    expectLoadFailure(p, "missing TIMS chunk");
    writeCache(p, makeSpec(3, 0, 2, 0, {0, 1}));
    expectLoadFailure(p, "jump table and time table size mismatch");
    writeCache(p, makeSpec(3, 0, 2, 0, {0.5f, 1, 2}));
    expectLoadFailure(p, "first time is wrong");
    writeCache(p, makeSpec(3, 0, 2, 0, {0, 1, std::nextafter(2.0f, 3.0f)}));
    expectLoadFailure(p, "last time is wrong");
    writeCache(p, makeSpec(3, 0, 2, 1, {}, {4}));
    expectLoadFailure(p, "number of samples is wrong");
    writeCache(p, makeSpec(9, 1, 10, 1));
    expectLoadFailure(p, "number of samples is wrong");
    // A section whose end lies before what was scanned would be read again: refused.
    Layout at = writeCache(p, makeSpec(3, 0, 2, 1, {}, {2, 1}));
    patch(p, at.sams[0] + 8, int64(-16));
    expectLoadFailure(p, "error seeking file");
    at = writeCache(p, makeSpec(3, 0, 2, 1, {}, {2, 1}));
    patch(p, at.sams[0] + 8, int64(8));
    expectLoadFailure(p, "error seeking file");
}

TEST(ZelCacheLoad, AcceptsValidLayoutsAndKeepsTheirMetadata) {
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    Spec none;
    none.numSamples = 0;
    none.samples = false;
    writeCache(p, none);
    bool ok = false;
    ZelCache empty(p.c_str(), true, &ok);
    EXPECT_TRUE(ok);
    EXPECT_FALSE(empty.isAnimated());
    EXPECT_EQ(empty.getNumObjects(), 3);

    writeCache(p, makeSpec(10, 1, 10, 1));
    Probe c;
    ASSERT_TRUE(c.load(p.c_str(), false));
    EXPECT_FALSE(c.file().isOpen());
    EXPECT_FALSE(c.getKeepOpen());
    EXPECT_EQ(c.getFilename(), p);
    EXPECT_EQ(c.getVersion(), 2);
    EXPECT_EQ(c.getApplication(), "app");
    EXPECT_EQ(c.getSourceFile(), "scene");
    EXPECT_EQ(c.getDateStamp(), 1234);
    EXPECT_EQ(c.getSpace(), 0);
    EXPECT_EQ(c.getNumSamples(), 10);
    EXPECT_TRUE(c.isAnimated());
    EXPECT_FALSE(c.isNonUniform());
    EXPECT_EQ(c.getDZELChunk().getVersion(), 2);
    // Reads reopen the closed file and close it again.
    EXPECT_EQ(posi(c, 9, 2), (std::vector<float>{9, 2}));
    EXPECT_FALSE(c.file().isOpen());

    // Tables over several sections, with reserve and unrelated chunks; the third section is
    // damaged but never visited, because the first two already hold every sample.
    Spec multi{5, 0, 7, 0, {0, 1, 3, 4, 7}, {2, 3, 1}};
    multi.reserve = 2;
    multi.noteBeforeJOBJ = true;
    multi.times.push_back(8);
    const Layout at = writeCache(p, multi);
    patch(p, at.jsam[2] + 8, int64(-8));
    ASSERT_TRUE(c.load(p.c_str()));
    EXPECT_TRUE(c.file().isOpen());
    EXPECT_TRUE(c.isNonUniform());
    EXPECT_EQ(c.getSampleTime(4), 7.0f);
    EXPECT_EQ(posi(c, 1, 0), (std::vector<float>{1, 0}));
    EXPECT_EQ(posi(c, 4, 1), (std::vector<float>{4, 1}));

    EXPECT_TRUE(c.setKeepOpen(false));
    EXPECT_FALSE(c.file().isOpen());
    EXPECT_TRUE(c.close());
    EXPECT_EQ(c.getNumSamples(), 5);
    c.reset();
    EXPECT_EQ(c.getNumSamples(), 0);
    EXPECT_TRUE(c.getKeepOpen());
    EXPECT_TRUE(std::isinf(c.getFirstTime()));
}

TEST(ZelCacheLoad, UpdateFlagOpensWritableFilesForUpdate) {
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    writeCache(p, Spec());
    // A header-only chunk appended at the end: possible only on a stream open for update.
    const int64 end = static_cast<int64>(ZelTest::readFileBytes(p).size());
    const ZelHeader freeChunk(kFREE, kTypeUndef, 0);
    Probe reader;
    ASSERT_TRUE(reader.load(p.c_str()));
    EXPECT_FALSE(reader.file().writeChunk(freeChunk, nullptr, end));
    Probe updater;
    updater.setUpdate(true);
    ASSERT_TRUE(updater.load(p.c_str()));
    EXPECT_TRUE(updater.file().writeChunk(freeChunk, nullptr, end));
    // Reads reopen a closed file for update too.
    updater.setKeepOpen(false);
    ZelHeader h;
    ASSERT_TRUE(updater.seekObjectSample(h, 0, 0));
    EXPECT_TRUE(updater.file().writeChunk(freeChunk, nullptr, end + 16));
    updater.reset();
    EXPECT_TRUE(updater.getUpdate());
}

TEST(ZelCacheTimes, UniformArithmeticIsExactSinglePrecision) {
    Probe c;
    ZelMETAChunk& m = c.getMETAChunk();
    for (const float rate : {1.0f, 0.0f}) {
        m.rate = rate;
        EXPECT_EQ(c.getSampleIndex(0), -1);
        EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(0), -1);
        EXPECT_EQ(c.getMinSampleIndexNotLessThan(0), -1);
        EXPECT_TRUE(std::isnan(c.getSampleTime(0)));
    }
    m.numSamples = 5;
    m.firstTime = 0;
    m.lastTime = 1;
    m.rate = 4;
    EXPECT_EQ(c.getSampleIndex(0.5f), 2);
    EXPECT_EQ(c.getSampleIndex(0.6f), -1);
    EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(0.6f), 2);
    EXPECT_EQ(c.getMinSampleIndexNotLessThan(0.6f), 3);
    EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(7), 4);
    EXPECT_EQ(c.getMinSampleIndexNotLessThan(-3), 0);
    EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(-1), -1);
    EXPECT_EQ(c.getMinSampleIndexNotLessThan(2), -1);
    EXPECT_EQ(c.getSampleTime(4), 1.0f);
    EXPECT_TRUE(std::isnan(c.getSampleTime(5)));
    EXPECT_TRUE(std::isnan(c.getSampleTime(-1)));
    const float nan = std::nanf("");
    EXPECT_EQ(c.getSampleIndex(nan), -1);
    EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(nan), -1);
    EXPECT_EQ(c.getMinSampleIndexNotLessThan(nan), -1);
    const float none = c.getSampleTime(9);
    uint32 bits;
    std::memcpy(&bits, &none, 4);
    EXPECT_EQ(bits, 0x7FC00000u);

    // 1 + 1/3 is 1.33333337f; (1.33333337f - 1) * 3 is 1 + 2^-23, not a whole index.
    m.firstTime = 1;
    m.lastTime = 2;
    m.rate = 3;
    m.numSamples = 4;
    EXPECT_EQ(c.getSampleTime(1), 1.33333337f);
    EXPECT_EQ(c.getSampleIndex(c.getSampleTime(1)), -1);
    // 5 * (1/25f) rounds to 0.199999988f, below 5/25f = 0.2f: the last sample has no time.
    m.firstTime = 0;
    m.lastTime = 5 * (1 / 25.0f);
    m.rate = 25;
    m.numSamples = 6;
    EXPECT_EQ(c.getSampleTime(4), 4 / 25.0f);
    EXPECT_TRUE(std::isnan(c.getSampleTime(5)));
}

TEST(ZelCacheTimes, NonUniformUsesTheTimeTable) {
    Probe c;
    ZelMETAChunk& m = c.getMETAChunk();
    m.numSamples = 3;
    m.firstTime = 0;
    m.lastTime = 3;
    m.rate = 0;
    c.times() = {0, 1, 3};
    EXPECT_EQ(c.getSampleIndex(1), 1);
    EXPECT_EQ(c.getSampleIndex(2), -1);
    // Between two samples the non-uniform answer is the later one, the uniform one the earlier.
    EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(2), 2);
    EXPECT_EQ(c.getMinSampleIndexNotLessThan(2), 2);
    EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(9), 2);
    EXPECT_EQ(c.getMinSampleIndexNotLessThan(-9), 0);
    EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(-1), -1);
    EXPECT_EQ(c.getMinSampleIndexNotLessThan(3.5f), -1);
    EXPECT_EQ(c.getSampleTime(2), 3.0f);
    const float nan = std::nanf("");
    EXPECT_EQ(c.getSampleIndex(nan), -1);
    EXPECT_EQ(c.getMaxSampleIndexNotGreaterThan(nan), -1);
    EXPECT_EQ(c.getMinSampleIndexNotLessThan(nan), -1);
}

TEST(ZelCacheObjects, NamesMatchInFullOrByShortNameFromStart) {
    EXPECT_EQ(ZelCache::shortName("a|"), "");
    EXPECT_EQ(ZelCache::shortName("abc"), "abc");
    EXPECT_EQ(ZelCache::shortName("a|b|c"), "c");
    Probe c;
    EXPECT_EQ(c.findObjectIndex("c", 0), -1);
    for (const char* name : {"a|b|c", "x|c", "plain", "end|"}) {
        c.getMETAChunk().addDOBJ(name);
    }
    EXPECT_EQ(c.findObjectIndex("c", 0), 0);
    EXPECT_EQ(c.findObjectIndex("c", 1), 1);
    EXPECT_EQ(c.findObjectIndex("c", 2), 0);  // wraps around
    EXPECT_EQ(c.findObjectIndex("q|c", 0), 0);
    EXPECT_EQ(c.findObjectIndex("x|c", 0), 0);
    EXPECT_EQ(c.findObjectIndex("plain", 7), 2);
    EXPECT_EQ(c.findObjectIndex("", 0), -1);
    EXPECT_EQ(c.findObjectIndex("b", 0), -1);
    EXPECT_EQ(c.findObjectIndex("z|", 0), 3);  // two empty short names
    EXPECT_FALSE(c.compareNames("a|b", "a|c"));
    EXPECT_EQ(c.getName(1), "x|c");
}

TEST(ZelCacheObjects, AttributesAndChunkQueries) {
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    writeCache(p, Spec());
    Probe c;
    ASSERT_TRUE(c.load(p.c_str()));
    EXPECT_EQ(c.getObjDef(1)->getName(), "obj1");
    EXPECT_EQ(c.getNumAttrs(0), 3);
    EXPECT_EQ(c.getNumAttrs(1), 0);
    EXPECT_EQ(c.findAttr(0, "s0"), 2);
    EXPECT_EQ(c.findAttr(1, "s0"), -1);
    EXPECT_EQ(c.getAttrName(0, 2), "s0");
    EXPECT_EQ(c.getAttrType(0, 1), "t1");
    EXPECT_TRUE(c.isAttrAnimated(0, 1));
    EXPECT_FALSE(c.isAttrAnimated(0, 2));
    EXPECT_FALSE(c.isAttrAnimated(1, 0));
    testing::internal::CaptureStdout();
    EXPECT_THROW(c.isAttrAnimated(0, 3), bool);
    EXPECT_NE(testing::internal::GetCapturedStdout().find(" DATR attribute index out of bounds"),
              std::string::npos);

    EXPECT_TRUE(c.objectHas(0, kDATR));  // listed attributes, no "DATR" in the sample
    EXPECT_FALSE(c.objectHas(2, kDATR));
    EXPECT_TRUE(c.objectHas(1, kTOPO));
    EXPECT_TRUE(c.objectHas(0, kVELO));
    EXPECT_FALSE(c.objectHas(0, kTOPO));
    EXPECT_FALSE(c.objectHas(3, kPOSI));
    EXPECT_TRUE(c.isObjectAnimated(0, kPOSI));
    EXPECT_FALSE(c.isObjectAnimated(1, kTOPO));  // held in the definition
    EXPECT_FALSE(c.isObjectAnimated(0, kTOPO));
    EXPECT_FALSE(c.isObjectAnimated(-1, kPOSI));
    c.getMETAChunk().numSamples = 0;
    EXPECT_FALSE(c.isObjectAnimated(0, kPOSI));
}

TEST(ZelCacheReads, SeeksStraightToObjectsAndChannels) {
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    writeCache(p, Spec());
    Probe c;
    ASSERT_TRUE(c.load(p.c_str()));
    ZelHeader h;
    int index = 1;
    ASSERT_TRUE(c.seekChannelSample(h, 2, 1, kPOSI, &index));
    EXPECT_EQ(index, 2);
    float value = 0;
    ASSERT_EQ(h.length, 4);
    ASSERT_TRUE(c.file().readData(h, &value));
    EXPECT_EQ(value, 2.5f);
    ASSERT_TRUE(c.seekChannelSample(h, 1, 0, kVELO));
    int velo = 0;
    ASSERT_TRUE(c.file().readData(h, &velo));
    EXPECT_EQ(velo, 100);
    index = 3;
    EXPECT_FALSE(c.seekChannelSample(h, 1, 0, kPOSI, &index));
    EXPECT_FALSE(c.seekChannelSample(h, 1, 0, kTOPO, nullptr));
    EXPECT_TRUE(c.seekChannelSample(h, 1, 1, kTOPO, nullptr));  // the last child
    EXPECT_FALSE(c.seekObjectSample(h, 0, 3));
    EXPECT_FALSE(c.seekObjectSample(h, 3, 0));
    std::unique_ptr<ZelGroupChunk> g(c.loadObjectSample(2, 1));
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(g->numChildren(), 4u);
    EXPECT_EQ(c.findChunk(g.get(), kTOPO), g->getChild(3));
}

TEST(ZelCacheReads, ReadsEachSampleObjectTableOnce) {
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    const Layout at = writeCache(p, makeSpec(3, 0, 2, 1, {}, {3}, {"o0", "o1", "o2"}));
    Probe c;
    ASSERT_TRUE(c.load(p.c_str(), false));
    EXPECT_EQ(posi(c, 1, 0), (std::vector<float>{1, 0}));
    // The table on disk is gone, but objects 1 and 2 of sample 1 come from the remembered one.
    patch(p, at.jobj[1], makeTag("XXXX"));
    EXPECT_EQ(posi(c, 1, 1), (std::vector<float>{1, 1}));
    EXPECT_EQ(posi(c, 1, 2), (std::vector<float>{1, 2}));
    EXPECT_EQ(posi(c, 0, 2), (std::vector<float>{0, 2}));
    // Another sample's table was read since, so sample 1 is read afresh and now fails.
    EXPECT_TRUE(posi(c, 1, 0).empty());
    EXPECT_EQ(c.currentSample(), -1);
}

TEST(ZelCacheReads, DamagedSamplesFailCleanly) {
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    const Spec spec{5, 0, 4, 1, {}, {}, {"o0", "o1"}};
    const Layout at = writeCache(p, spec);
    struct Damage {
        int64 offset;
        int64 value;
        int sample, object;
    };
    const int64 huge = int64(1) << 40;
    const Damage damages[] = {
        {at.jsam[0] + 16 + 8, huge, 1, 0},     // sample offset past the end
        {at.jsam[0] + 16 + 8, -5, 1, 0},       // negative sample offset
        {at.samp[1] + 8, 0, 1, 0},             // empty "SAMP"
        {at.jobj[1] + 8, -8, 1, 0},            // negative "JOBJ" length
        {at.jobj[1] + 8, 12, 1, 0},            // not whole offsets
        {at.jobj[1] + 8, huge, 1, 0},          // longer than the file
        {at.jobj[1] + 16, huge, 1, 0},         // object offset past the end
        {at.jobj[1] + 24, -1, 1, 1},           // negative object offset
        {at.jobj[1] + 24, at.samp[1], 1, 1},   // points at a "SAMP", not a "SOBJ"
        {at.sobj[1][0] + 16 + 8, huge, 1, 0},  // a child longer than the file
    };
    for (const Damage& d : damages) {
        SCOPED_TRACE(d.offset);
        writeCache(p, spec);
        patch(p, d.offset, d.value);
        Probe c;
        ASSERT_TRUE(c.load(p.c_str()));
        EXPECT_TRUE(posi(c, d.sample, d.object).empty());
        EXPECT_EQ(posi(c, 0, 1), (std::vector<float>{0, 1}));
    }
    // Object groups ahead of the object table: the table is missing.
    writeCache(p, spec);
    patch(p, at.jobj[3], kNOTE);
    Probe c;
    ASSERT_TRUE(c.load(p.c_str()));
    EXPECT_TRUE(posi(c, 3, 0).empty());
    EXPECT_EQ(posi(c, 4, 0), (std::vector<float>{4, 0}));
}

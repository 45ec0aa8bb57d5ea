#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <regex>
#include <string>
#include <tuple>
#include <vector>

#include "Zel.h"
#include "support/TempDir.h"

using namespace Zel;
using Bytes = std::vector<unsigned char>;
using F = std::vector<float>;

namespace {

constexpr uint32 kPOSI = makeTag("POSI"), kVELO = makeTag("VELO"), kTOPO = makeTag("TOPO"),
                 kNOTE = makeTag("NOTE"), kDATR = makeTag("DATR");

// What a test file holds, written chunk by chunk without the section writer. Object 0 lists two
// animated and one static attribute; object 1 has a static "TOPO" in its definition and in every
// sample; each object's group holds "POSI" {sample, object}, "VELO" {100 sample + object},
// "POSI" {sample + 0.5} (and "TOPO").
struct Shape {
    Shape(int64 n = 3, float a = 0, float b = 2, float r = 1, F t = {}, std::vector<int> s = {},
          bool note = false)
        : numSamples(n), first(a), last(b), rate(r), times(t), sections(s), noteBeforeJOBJ(note) {}
    int64 numSamples;
    float first, last, rate;
    F times;                    // each section's slice goes in its "TIMS" when not empty
    std::vector<int> sections;  // samples per section; empty: one of numSamples; {0}: none
    bool noteBeforeJOBJ;        // an unrelated chunk ahead of each sample's "JOBJ"
};

// Where the writer put each "SAMS", "JSAM", "SAMP" and "JOBJ" header, for tests that damage them.
struct Layout {
    std::vector<int64> sams, jsam, samp, jobj;
};

Layout writeCache(const std::string& path, const Shape& shape) {
    Layout at;
    ZelFile f(path.c_str(), "w");
    ZelDZELChunk().write(f);
    ZelMETAChunk meta;
    std::tie(meta.numSamples, meta.firstTime, meta.lastTime, meta.rate) =
        std::tie(shape.numSamples, shape.first, shape.last, shape.rate);
    ZelDOBJChunk* d = meta.addDOBJ("obj0");
    d->addAttr(true, "a0", "t0", kTypeFloat, 0, 0);
    d->addAttr(true, "a1", "t1", kTypeFloat, 0, 0);
    d->addAttr(false, "s0", "ts", kTypeInt32, 0, 0);
    meta.addDOBJ("obj1")->addChild(new ZelLeafChunk<int>(kTOPO, std::vector<int>{1, 2, 3}));
    meta.addDOBJ("obj2");
    EXPECT_TRUE(meta.write(f));
    int s = 0;
    for (const int count :
         shape.sections.empty() ? std::vector<int>{int(shape.numSamples)} : shape.sections) {
        if (count == 0) {
            continue;
        }
        at.sams.push_back(f.tell());
        f.startGroup(ZelHeader(makeTag("SAMS"), kTypeGroup, 0));
        if (!shape.times.empty()) {
            const size_t end = std::min(shape.times.size(), static_cast<size_t>(s + count));
            f.writeChunk(makeTag("TIMS"), F(shape.times.begin() + s, shape.times.begin() + end));
        }
        at.jsam.push_back(f.tell());
        std::vector<int64> jumps(static_cast<size_t>(count));
        f.writeChunk(makeTag("JSAM"), jumps);
        for (int k = 0; k < count; ++k, ++s) {
            jumps[static_cast<size_t>(k)] = f.tell();
            at.samp.push_back(f.tell());
            f.startGroup(ZelHeader(makeTag("SAMP"), kTypeGroup, 0));
            if (shape.noteBeforeJOBJ) {
                f.writeChunk(kNOTE, "note");
            }
            at.jobj.push_back(f.tell());
            std::vector<int64> offsets(3);
            f.writeChunk(makeTag("JOBJ"), offsets);
            for (size_t o = 0; o < offsets.size(); ++o) {
                offsets[o] = f.tell();
                f.startGroup(ZelHeader(makeTag("SOBJ"), kTypeGroup, 0));
                f.writeChunk(kPOSI, F{float(s), float(o)});
                f.writeChunk(kVELO, std::vector<int>{100 * s + int(o)});
                f.writeChunk(kPOSI, F{s + 0.5f});
                if (o == 1) {
                    f.writeChunk(kTOPO, std::vector<int>{s});
                }
                f.endGroup();
            }
            f.endGroup();
            f.writeChunk(makeTag("JOBJ"), offsets, at.jobj.back());
        }
        f.endGroup();
        f.writeChunk(makeTag("JSAM"), jumps, at.jsam.back());
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
    using ZelCache::findChunk;
    using ZelCache::getUpdate;
    using ZelCache::loadObjectSample;
    using ZelCache::seekChannelSample;
    using ZelCache::seekObjectSample;
    using ZelCache::setUpdate;
    ZelFile& file() { return file_; }
    F& times() { return times_; }
    int currentSample() const { return currentSample_; }
};

// The POSI values of (sample, object) read through loadObjectSample, empty when the read fails.
F posi(Probe& c, int sample, int object) {
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
    std::cout << std::hex;  // the line number is decimal whatever the caller's stream is set to
    EXPECT_FALSE(c.load(path.c_str(), false));
    std::cout << std::dec;
    const std::string out = testing::internal::GetCapturedStdout();
    std::smatch m;
    ASSERT_TRUE(std::regex_match(
        out, m, std::regex("animcache/src/libzel/src/ZelCache\\.cpp:([0-9]+) ([^\n]*)\n")))
        << out;
    EXPECT_EQ(m[2].str(), message);
    std::string source = __FILE__;
    std::ifstream in(source.substr(0, source.rfind("/tests/")) + "/src/ZelCache.cpp");
    std::string line;
    for (int n = std::stoi(m[1].str()); n > 0 && std::getline(in, line); --n) {
    }
    EXPECT_NE(line.find('"' + message + '"'), std::string::npos) << "line " << m[1];
    EXPECT_TRUE(c.getKeepOpen() && c.getFilename().empty() && !c.file().isOpen());
    EXPECT_EQ(c.getNumSamples() + c.getNumObjects(), 0);
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

// A loaded cache of the default shape: three samples at times 0 to 2 of three objects.
class LoadedCache : public ::testing::Test {
  protected:
    void SetUp() override {
        at = writeCache(p, Shape());
        ASSERT_TRUE(c.load(p.c_str()));
    }
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    Layout at;
    Probe c;
};

}  // namespace

TEST(ZelCacheLoad, ReportsEveryFailureWithItsLineAndLeavesTheCacheEmpty) {
    ZelTest::TempDir dir;
    const std::string p = dir.file("c.zel");
    expectLoadFailure(dir.file("missing.zel"), "error opening file, Not a Zel file");
    const auto written = [&p](const Shape& shape) {
        writeCache(p, shape);
        return ZelTest::readFileBytes(p);
    };
    // "DZEL" and a "META" announcing 3 samples at times 0, 1, 2, without samples.
    const Bytes meta = written({3, 0, 2, 1, {}, {0}}), dzel(meta.begin(), meta.begin() + 24);
    const Bytes badSkip = header("XTRA", kTypeUndef, -1), sams = header("SAMS", kTypeGroup, 1000);
    const Bytes jsam = header("JSAM", kTypeInt64, 24) + Bytes(24, 0);
    const Bytes samp = header("SAMP", kTypeGroup, 0);
    // Which table lengths are unreadable is for the format's decoder tests; one of each here.
    const struct {
        Bytes file;
        const char* message;
    } bad[] = {
        {header("DZEL", kTypeInt64, 4) + Bytes(4, 0), "error reading DZEL chunk"},
        {dzel, "missing META chunk"},
        {dzel + badSkip, "error skipping chunk"},
        {Bytes(meta.begin(), meta.end() - 1), "error reading META chunk"},
        {meta, "missing next SAMS chunk for sample "},
        {meta + badSkip, "error skipping chunk"},
        {meta + sams + header("TIMS", kTypeFloat, 6) + Bytes(8, 0), "error reading TIMS chunk"},
        {meta + sams + header("JSAM", kTypeInt64, int64(1) << 40), "error reading JSAM chunk"},
        {meta + sams + jsam + header("FREE", kTypeUndef, -8), "error skipping FREE chunk"},
        {meta + sams + samp, "missing JSAM chunk"},
        {meta + sams + header("JSAM", kTypeInt64, 0) + samp, "no entries in jump table"},
        {meta + sams + header("TIMS", kTypeFloat, 12) + Bytes(12, 0) + jsam + samp,
         "unexpected TIMS chunk"},
        // Files from the writer that disagree with their metadata.
        {written({3, 0, 2, 0}), "missing TIMS chunk"},
        {written({3, 0, 2, 0, {0, 1}}), "jump table and time table size mismatch"},
        {written({3, 0, 2, 0, {0.5f, 1, 2}}), "first time is wrong"},
        {written({3, 0, 2, 0, {0, 1, std::nextafter(2.0f, 3.0f)}}), "last time is wrong"},
        {written({3, 0, 2, 1, {}, {4}}), "number of samples is wrong"},
        {written({9, 1, 10, 1}), "number of samples is wrong"},  // 1 to 10 at rate 1: ten
    };
    for (const auto& b : bad) {
        ZelTest::writeFileBytes(p, b.file);
        expectLoadFailure(p, b.message);
    }
    // A section whose end lies before what was scanned would be read again: refused.
    const Layout at = writeCache(p, {3, 0, 2, 1, {}, {2, 1}});
    patch(p, at.sams[0] + 8, int64(8));
    expectLoadFailure(p, "error seeking file");
}

TEST_F(LoadedCache, OpensAsTheFlagsSayAndAcceptsLayoutsWithoutVisitingSurplusSections) {
    // A header-only chunk appended at the end: possible only on a stream open for update.
    const int64 end = static_cast<int64>(ZelTest::readFileBytes(p).size());
    const ZelHeader freeChunk;
    EXPECT_FALSE(c.file().writeChunk(freeChunk, nullptr, end));
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

    writeCache(p, {0, 0, 2, 1, {}, {0}});
    bool ok = false;
    ZelCache empty(p.c_str(), true, &ok);
    EXPECT_TRUE(ok && !empty.isAnimated());
    EXPECT_EQ(empty.getNumObjects(), 3);

    // Reads reopen the closed file and close it again.
    writeCache(p, {10, 1, 10, 1});
    ASSERT_TRUE(c.load(p.c_str(), false));
    EXPECT_FALSE(c.file().isOpen() || c.getKeepOpen() || c.isNonUniform());
    EXPECT_TRUE(c.isAnimated() && c.getFilename() == p && c.getVersion() == 2);
    EXPECT_EQ(posi(c, 9, 2), (F{9, 2}));
    EXPECT_FALSE(c.file().isOpen());

    // Tables over several sections, with unrelated chunks ahead of the object tables; the third
    // section is damaged but never visited, because the first two already hold every sample.
    at = writeCache(p, {5, 0, 7, 0, {0, 1, 3, 4, 7, 8}, {2, 3, 1}, true});
    patch(p, at.jsam[2] + 8, int64(-8));
    ASSERT_TRUE(c.load(p.c_str()));
    EXPECT_TRUE(c.file().isOpen() && c.isNonUniform());
    EXPECT_EQ(c.getSampleTime(4), 7.0f);
    EXPECT_EQ(posi(c, 1, 0), (F{1, 0}));
    EXPECT_EQ(posi(c, 4, 1), (F{4, 1}));
    EXPECT_TRUE(c.setKeepOpen(false) && !c.file().isOpen());
}

// Rows of four: a time, then getSampleIndex, getMaxSampleIndexNotGreaterThan and
// getMinSampleIndexNotLessThan at that time.
static void expectIndices(const Probe& c, const F& rows) {
    for (size_t i = 0; i + 3 < rows.size(); i += 4) {
        const float* r = &rows[i];
        EXPECT_EQ(std::make_tuple(c.getSampleIndex(r[0]), c.getMaxSampleIndexNotGreaterThan(r[0]),
                                  c.getMinSampleIndexNotLessThan(r[0])),
                  std::make_tuple(int(r[1]), int(r[2]), int(r[3])))
            << "at " << r[0];
    }
}

TEST(ZelCacheTimes, UniformArithmeticIsExactSinglePrecision) {
    const float nan = std::nanf("");
    Probe c;
    ZelMETAChunk& m = c.getMETAChunk();
    const auto sampling = [&m](int64 n, float first, float last, float rate) {
        std::tie(m.numSamples, m.firstTime, m.lastTime, m.rate) = std::tie(n, first, last, rate);
    };
    for (const float rate : {1.0f, 0.0f}) {
        m.rate = rate;
        expectIndices(c, {0, -1, -1, -1});
        EXPECT_TRUE(std::isnan(c.getSampleTime(0)));
    }
    sampling(5, 0, 1, 4);
    expectIndices(c, {0.5f, 2, 2, 2, 0.6f, -1, 2, 3, 7, -1, 4, -1, -3, -1, -1, 0, nan, -1, -1, -1});
    EXPECT_EQ(c.getSampleTime(4), 1.0f);
    EXPECT_TRUE(std::isnan(c.getSampleTime(5)) && std::isnan(c.getSampleTime(-1)));
    const float none = c.getSampleTime(9);
    uint32 bits;
    std::memcpy(&bits, &none, 4);
    EXPECT_EQ(bits, 0x7FC00000u);

    // 1 + 1/3 is 1.33333337f; (1.33333337f - 1) * 3 is 1 + 2^-23, not a whole index.
    sampling(4, 1, 2, 3);
    EXPECT_EQ(c.getSampleTime(1), 1.33333337f);
    EXPECT_EQ(c.getSampleIndex(c.getSampleTime(1)), -1);
    // 5 * (1/25f) rounds to 0.199999988f, below 5/25f = 0.2f: the last sample has no time.
    sampling(6, 0, 5 * (1 / 25.0f), 25);
    EXPECT_EQ(c.getSampleTime(4), 4 / 25.0f);
    EXPECT_TRUE(std::isnan(c.getSampleTime(5)));

    // Non-uniform: between two samples the answer is the later one, the uniform one the earlier.
    sampling(3, 0, 3, 0);
    c.times() = {0, 1, 3};
    expectIndices(c, {1, 1, 1, 1, 2, -1, 2, 2, -9, -1, -1, 0, 3.5f, -1, 2, -1, nan, -1, -1, -1});
    EXPECT_EQ(c.getSampleTime(2), 3.0f);
}

TEST(ZelCacheObjects, NamesMatchInFullOrByShortNameFromStart) {
    EXPECT_EQ(ZelCache::shortName("a|") + ZelCache::shortName("abc") + ZelCache::shortName("a|b|c"),
              "abcc");
    Probe c;
    EXPECT_EQ(c.findObjectIndex("c", 0), -1);
    for (const char* name : {"a|b|c", "x|c", "plain", "end|"}) {
        c.getMETAChunk().addDOBJ(name);
    }
    const std::vector<std::tuple<const char*, int, int>> finds{
        {"c", 0, 0},   {"c", 1, 1},   {"c", 2, 0} /* wraps around */,
        {"q|c", 0, 0}, {"x|c", 0, 0}, {"plain", 7, 2},
        {"", 0, -1},   {"b", 0, -1},  {"z|", 0, 3} /* two empty short names */};
    for (const auto& [name, start, index] : finds) {
        EXPECT_EQ(c.findObjectIndex(name, start), index) << name << " from " << start;
    }
}

TEST_F(LoadedCache, AttributesAndChunkQueriesOfDefinitionsAndFirstSample) {
    EXPECT_EQ(std::make_pair(c.getNumAttrs(0), c.getNumAttrs(1)), std::make_pair(3, 0));
    EXPECT_EQ(std::make_pair(c.findAttr(0, "s0"), c.findAttr(1, "s0")), std::make_pair(2, -1));
    EXPECT_TRUE(c.isAttrAnimated(0, 1));
    EXPECT_FALSE(c.isAttrAnimated(0, 2) || c.isAttrAnimated(1, 0));

    EXPECT_TRUE(c.objectHas(0, kDATR));  // listed attributes, no "DATR" in the sample
    EXPECT_TRUE(c.objectHas(1, kTOPO) && c.objectHas(0, kVELO));
    EXPECT_FALSE(c.objectHas(2, kDATR) || c.objectHas(0, kTOPO) || c.objectHas(3, kPOSI));
    EXPECT_TRUE(c.isObjectAnimated(0, kPOSI));
    EXPECT_FALSE(c.isObjectAnimated(1, kTOPO));  // held in the definition
    EXPECT_FALSE(c.isObjectAnimated(0, kTOPO) || c.isObjectAnimated(-1, kPOSI));
    c.getMETAChunk().numSamples = 0;
    EXPECT_FALSE(c.isObjectAnimated(0, kPOSI));
}

TEST_F(LoadedCache, SeeksStraightToObjectsAndChannelsReadingEachObjectTableOnce) {
    ZelHeader h;
    int index = 1;
    ASSERT_TRUE(c.seekChannelSample(h, 2, 1, kPOSI, &index));
    EXPECT_EQ(index, 2);
    float value = 0;
    ASSERT_TRUE(h.length == 4 && c.file().readData(h, &value));
    EXPECT_EQ(value, 2.5f);
    int velo = 0;
    ASSERT_TRUE(c.seekChannelSample(h, 1, 0, kVELO) && c.file().readData(h, &velo));
    EXPECT_EQ(velo, 100);
    index = 3;
    EXPECT_FALSE(c.seekChannelSample(h, 1, 0, kPOSI, &index));
    EXPECT_FALSE(c.seekChannelSample(h, 1, 0, kTOPO, nullptr));
    EXPECT_TRUE(c.seekChannelSample(h, 1, 1, kTOPO, nullptr));  // the last child
    EXPECT_FALSE(c.seekObjectSample(h, 0, 3) || c.seekObjectSample(h, 3, 0));
    std::unique_ptr<ZelGroupChunk> g(c.loadObjectSample(2, 1));
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(g->numChildren(), 4u);
    EXPECT_EQ(c.findChunk(g.get(), kTOPO), g->getChild(3));

    c.setKeepOpen(false);
    EXPECT_EQ(posi(c, 1, 0), (F{1, 0}));
    // The table on disk is gone, but sample 1's other objects come from the remembered one.
    patch(p, at.jobj[1], makeTag("XXXX"));
    EXPECT_EQ(posi(c, 1, 2), (F{1, 2}));
    EXPECT_EQ(posi(c, 0, 2), (F{0, 2}));
    // Another sample's table was read since, so sample 1 is read afresh and now fails.
    EXPECT_TRUE(posi(c, 1, 0).empty());
    EXPECT_EQ(c.currentSample(), -1);
}

TEST_F(LoadedCache, DamagedSamplesFailCleanly) {
    const int64 huge = int64(1) << 40;
    // The first object of sample 1 follows its "JOBJ" of three entries: 16 + 24 bytes.
    const int64 sobj = at.jobj[1] + 40;
    const struct {
        int64 offset, value;
        int object;  // of sample 1, which cannot be read
    } damages[] = {
        {at.jsam[0] + 16 + 8, huge, 0},    // sample offset past the end
        {at.jsam[0] + 16 + 8, -5, 0},      // negative sample offset
        {at.samp[1] + 8, 0, 0},            // empty "SAMP"
        {at.jobj[1] + 8, -8, 0},           // negative "JOBJ" length
        {at.jobj[1] + 8, 12, 0},           // not whole offsets
        {at.jobj[1] + 8, huge, 0},         // longer than the file
        {at.jobj[1] + 16, huge, 0},        // object offset past the end
        {at.jobj[1] + 24, -1, 1},          // negative object offset
        {at.jobj[1] + 24, at.samp[1], 1},  // points at a "SAMP", not a "SOBJ"
        {sobj + 16 + 8, huge, 0},          // a child longer than the file
        {at.jobj[1], kNOTE, 0},            // object groups ahead of a missing table
    };
    for (const auto& d : damages) {
        SCOPED_TRACE(d.offset);
        writeCache(p, Shape());
        d.offset == at.jobj[1] ? patch(p, d.offset, uint32(d.value)) : patch(p, d.offset, d.value);
        ASSERT_TRUE(c.load(p.c_str()));
        EXPECT_TRUE(posi(c, 1, d.object).empty());
        EXPECT_EQ(posi(c, 0, 1), (F{0, 1}));
        EXPECT_EQ(posi(c, 2, 0), (F{2, 0}));
    }
}

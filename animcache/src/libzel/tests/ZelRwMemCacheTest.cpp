#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <numeric>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "Zel.h"
#include "support/CacheFile.h"
#include "support/Child.h"
#include "support/ChunkWalk.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::ChunkEntry;

namespace {

constexpr uint32 kPOSI = makeTag("POSI");

// Exposes the sampling conversions and the time table.
class Probe : public ZelRwMemCache {
  public:
    using ZelRwMemCache::convertToNonUniformSampling;
    using ZelRwMemCache::convertToUniformSampling;
    using ZelRwMemCache::ZelRwMemCache;
    const std::vector<float>& times() const { return times_; }
    // "n=3 first=0 last=2 rate=1 times=": the whole sampling state, comparable at once.
    std::string sampling() const {
        std::ostringstream os;
        os << "n=" << getNumSamples() << " first=" << getFirstTime() << " last=" << getLastTime()
           << " rate=" << getRate() << " times=";
        for (float t : times_) {
            os << t << ',';
        }
        return os.str();
    }
};

// The value object `o` holds at time `t`: identifies both, and `base` tells builds apart.
float valueAt(float t, int o, float base = 0) {
    return base + 10 * t + static_cast<float>(o);
}

// Allocates samples at `times` for objects "a" and "b" (or "a" alone), each with a three-float
// POSI. A second object's allocation lies inside the time range, so only one object can append.
void build(ZelRwMemCache& c, const std::vector<float>& times, float base = 0, int objects = 2) {
    for (float t : times) {
        for (int o = 0; o < objects; ++o) {
            const float v = valueAt(t, o, base);
            c.allocSample(t, o)->addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, {v, v + 1, v + 2}));
            if (c.getName(o).empty()) {
                c.setName(o, o == 0 ? "a" : "b");
            }
        }
    }
    // The metadata's length estimate is exact, as appending in place needs, only with both.
    c.setApplication("rwtest");
    c.setSourceFile("scene.ma");
}

std::vector<float> range(int from, int to) {
    std::vector<float> v(static_cast<size_t>(to - from));
    std::iota(v.begin(), v.end(), static_cast<float>(from));
    return v;
}

// Saves samples 0 to n - 1 of `objects` objects to `path` through a cache of its own.
void writeFile(const std::string& path, int n, int objects = 1) {
    ZelRwMemCache w;
    build(w, range(0, n), 0, objects);
    ASSERT_TRUE(w.saveAs(path.c_str()));
}

// The first POSI value of (sample, object), NaN when missing.
float posi(ZelRoMemCache& c, int s, int o) {
    const auto* leaf = dynamic_cast<const ZelLeafChunk<float>*>(c.getSample(s, o, kPOSI));
    return leaf == nullptr ? NAN : leaf->values().at(0);
}

// Loads `path` and checks every sample of its objects against valueAt of its time.
void expectFile(const std::string& path, int numSamples, float base = 0) {
    ZelRoMemCache c;
    ASSERT_TRUE(c.load(path.c_str()));
    ASSERT_EQ(c.getNumSamples(), numSamples);
    for (int s = 0; s < numSamples; ++s) {
        for (int o = 0; o < c.getNumObjects(); ++o) {
            EXPECT_EQ(posi(c, s, o), valueAt(c.getSampleTime(s), o, base)) << s << ' ' << o;
        }
    }
}

// The chunks of `path` with tag `tag`, in file order.
std::vector<ChunkEntry> chunks(const std::string& path, const char (&tag)[5]) {
    std::vector<ChunkEntry> found;
    for (ChunkEntry& e : ZelTest::walkChunks(path)) {
        if (e.header.tag == makeTag(tag)) {
            found.push_back(std::move(e));
        }
    }
    return found;
}

// The length of the last "FREE" reserve: the one after the last jump table.
int64 jumpReserve(const std::string& path) {
    return chunks(path, "FREE").back().header.length;
}

// How many entries directory `dir` has.
long entries(const std::string& dir) {
    return std::distance(std::filesystem::directory_iterator(dir), {});
}

class RwMemCacheTest : public ::testing::Test {
  protected:
    ZelTest::TempDir dir;
    std::string path = dir.file("cache.zel");
};

// One cache through fills, cuts, shifts and prepends: every edit keeps the samples in time order.
TEST(RwMemCacheEdit, AllocateTruncateShiftAndPrependKeepTheSamplingState) {
    Probe u;
    build(u, range(0, 4));
    ZelGroupChunk* g = u.allocSample(1, 5);
    EXPECT_EQ(u.allocSample(1, 5), g);  // an existing sample hands back its group
    ASSERT_EQ(std::make_pair(u.getNumSamples(), u.getNumObjects()), std::make_pair(4, 6));
    EXPECT_EQ(u.getName(2) + u.getName(5), "");
    EXPECT_EQ(u.allocSample(NAN, 0), nullptr);
    u.truncate(1.5f);
    u.truncate(2);    // not before the last sample: nothing happens
    u.truncate(NAN);  // nor at no time
    EXPECT_EQ(u.sampling(), "n=3 first=0 last=2 rate=1 times=");
    EXPECT_EQ(posi(u, 2, 1), valueAt(2, 1));
    u.shiftFirstTimeTo(10);
    EXPECT_EQ(u.sampling(), "n=3 first=10 last=12 rate=1 times=");

    // One rate step before the first sample keeps the cache uniform; two steps do not.
    u.allocSample(9, 0);
    EXPECT_EQ(u.sampling(), "n=4 first=9 last=12 rate=1 times=9,");
    EXPECT_EQ(posi(u, 1, 0), valueAt(0, 0));
    u.allocSample(7, 0);
    EXPECT_EQ(u.sampling(), "n=5 first=7 last=12 rate=0 times=7,9,10,11,12,");
    // A non-uniform cache moves its table only (not even shortened by the cut).
    u.truncate(10.5f);
    u.shiftFirstTimeTo(20);
    EXPECT_EQ(u.sampling(), "n=4 first=7 last=11 rate=0 times=20,22,23,24,25,");
    u.setKeepOpen(false);
    u.truncate(6);  // before the first sample: the whole cache goes, the keep-open flag stays
    EXPECT_EQ(u.getNumSamples() + u.getNumObjects(), 0);
    EXPECT_FALSE(u.getKeepOpen());
}

TEST(RwMemCacheSampling, ConversionsUseExactFloatSteps) {
    // Allocation order, the rate then, the table convertToNonUniformSampling makes, whether
    // convertToUniformSampling succeeds then (emptying the table) and the rate after it.
    struct Case {
        std::vector<float> alloc;
        float rate;
        std::vector<float> table;
        bool uniform;
        float after;
    };
    const Case cases[] = {
        {{0, 0.5f, 1}, 2, {0, 0.5f, 1}, true, 2},
        {{0, 0.5f, 1.5f}, 0, {0, 0.5f, 1.5f}, false, 0},
        // 1 / step in single precision: 1 / 0.1f rounds to 10 both times.
        {{0, 0.1f, 0.2f}, 10, {0, 0.1f, 0.2f}, true, 10},
        // i / rate + first in single precision: 2 / (1 / 7) lands just above 14, so the times
        // are no longer evenly spaced.
        {{-20, -13, -6, 1}, 1 / 7.0f, {-20, -13, -6.00000095f, 1}, false, 0},
        // Differences in single precision: 1e-8 + 1 and 1 - 1e-8 both round to 1.
        {{-1, 1, 1e-8f}, 0, {-1, 1e-8f, 1}, true, 1},
        // A new first sample keeps the rate when 1 / (first - time) in double precision equals
        // it: 16777220 - 3 is 16777217 there, 2^24 in single precision.
        {{16777220, 33554436, 3}, 0, {3, 16777220, 33554436}, true, 1 / 16777216.0f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.alloc[1]);
        Probe p;
        build(p, c.alloc, 0, 1);
        EXPECT_EQ(p.getRate(), c.rate);
        p.convertToNonUniformSampling();
        EXPECT_EQ(p.times(), c.table);
        EXPECT_EQ(p.convertToUniformSampling(), c.uniform);
        EXPECT_EQ(p.getRate(), c.after);
        EXPECT_EQ(p.times().empty(), c.uniform);
    }
}

TEST_F(RwMemCacheTest, SaveRewritesThenAppendsNewSamplesIntoTheReserveInPlace) {
    ZelRwMemCache c;
    build(c, range(0, 10), 0, 1);
    EXPECT_FALSE(c.save());  // no file name yet
    const int64 before = std::time(nullptr);
    bool saved = false, deleted = true;
    ASSERT_TRUE(c.saveAs(path.c_str(), &saved, &deleted));
    EXPECT_TRUE(saved && !deleted && !c.isDirty());
    ZelRoMemCache r;
    ASSERT_TRUE(r.load(path.c_str()));
    EXPECT_TRUE(r.getDateStamp() >= before && r.getDateStamp() <= std::time(nullptr));
    const std::vector<unsigned char> old = ZelTest::readFileBytes(path);
    const ChunkEntry oldJumps = chunks(path, "JSAM").at(0);
    EXPECT_EQ(jumpReserve(path), 100 * 8);  // at least 100

    build(c, range(10, 15), 0, 1);
    ASSERT_TRUE(c.save(&saved));
    EXPECT_TRUE(saved);
    // Every old sample stays where and as it was; the new ones follow the old end of file.
    // How the section's tables grow into their reserve is the samples writer's test.
    const std::vector<unsigned char> now = ZelTest::readFileBytes(path);
    const auto firstSample = static_cast<size_t>(oldJumps.values<int64>()[0]);
    ASSERT_GT(now.size(), old.size());
    EXPECT_TRUE(std::equal(old.begin() + firstSample, old.end(), now.begin() + firstSample));
    EXPECT_EQ(chunks(path, "JSAM").at(0).values<int64>().at(10), static_cast<int64>(old.size()));
    EXPECT_EQ(jumpReserve(path), 95 * 8);
    expectFile(path, 15);

    // Samples of the file that were cut off, or dropped with the whole cache, and allocated
    // anew are written anew.
    c.truncate(4);
    build(c, range(5, 20), 1000, 1);
    ASSERT_TRUE(c.save());
    ASSERT_TRUE(r.load(path.c_str()));
    ASSERT_EQ(r.getNumSamples(), 20);
    EXPECT_EQ(posi(r, 4, 0), valueAt(4, 0));
    EXPECT_EQ(posi(r, 5, 0), valueAt(5, 0, 1000));
    c.deleteCache();
    build(c, range(0, 22), 2000, 1);
    ASSERT_TRUE(c.save());
    expectFile(path, 22, 2000);

    // Clean: nothing is written, not even a file that has gone. Another name always rewrites,
    // and the cache then belongs to it.
    ASSERT_EQ(std::remove(path.c_str()), 0);
    ASSERT_TRUE(c.save(&saved, &deleted));
    EXPECT_FALSE(saved || ZelFile::exists(path.c_str()));
    build(c, {22}, 2000, 1);
    ASSERT_TRUE(c.saveAs((path + "2").c_str()));
    EXPECT_EQ(c.getFilename(), path + "2");
    ASSERT_TRUE(r.load((path + "2").c_str()));
    EXPECT_EQ(posi(r, 22, 0), valueAt(22, 0, 2000));
}

TEST_F(RwMemCacheTest, AppendRefusesWhatItCannotAddInPlace) {
    struct Case {
        int objects;  // per frame
        void (*change)(ZelRwMemCache&);
        float next;   // the time of the sample then added at the end
        int samples;  // in the rewritten file; 0: a non-uniform cache, not saved again
    };
    const Case cases[] = {
        {2, nullptr, 10, 11},  // the second object's allocation is not at the end
        {1, [](ZelRwMemCache& c) { c.setName(0, "longer"); }, 10, 11},  // metadata grows
        {1, nullptr, 10.5f, 11},  // non-uniform now; the file's section has no time table
        // A metadata child that the length estimate leaves out would not fit the old place.
        {1, [](ZelRwMemCache& c) { c.getMETAChunk().addChild(new ZelGroupChunk(kPOSI)); }, 10, 11},
        // Moved times of a non-uniform cache: the file's times are no longer the cache's.
        {1, [](ZelRwMemCache& c) { c.shiftFirstTimeTo(0.25f); }, 10, 0},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(testing::Message() << k.next << ' ' << k.samples);
        ZelRwMemCache c;
        build(c, k.samples == 0 ? std::vector<float>{0, 0.5f, 2} : range(0, 10), 0, k.objects);
        ASSERT_TRUE(c.saveAs(path.c_str()));
        const std::vector<unsigned char> before = ZelTest::readFileBytes(path);
        if (k.change != nullptr) {
            k.change(c);
        }
        build(c, {k.next}, 0, k.objects);
        EXPECT_FALSE(c.append());
        EXPECT_EQ(ZelTest::readFileBytes(path), before);
        if (k.samples != 0) {
            ASSERT_TRUE(c.save());
            EXPECT_EQ(jumpReserve(path), 100 * 8);  // a fresh section
            expectFile(path, k.samples);
        }
    }

    // A non-uniform file whose times are evenly spaced: the cache turns uniform on saving, and
    // the file's time table cannot take uniform samples. Equal times have no rate: such a cache
    // is saved non-uniform, not with an infinite rate.
    ZelMETAChunk meta;
    std::tie(meta.numSamples, meta.firstTime, meta.lastTime, meta.rate) = std::tuple(2, 0, 1, 0);
    meta.date = 1;  // with the strings, what makes the metadata's length estimate exact
    meta.application = "rwtest";
    meta.sourceFile = "scene.ma";
    meta.addDOBJ("a");
    ASSERT_TRUE(ZelTest::writeCacheFile(path, meta, nullptr, {0, 1}));
    ZelRwMemCache c;
    ASSERT_TRUE(c.load(path.c_str()));
    build(c, {2}, 0, 1);
    EXPECT_FALSE(c.append());
    ASSERT_TRUE(c.save() && c.load(path.c_str()));
    EXPECT_EQ(c.getRate(), 1.0f);
    meta.lastTime = 0;
    ASSERT_TRUE(ZelTest::writeCacheFile(path, meta, nullptr, {0, 0}));
    ASSERT_TRUE(c.load(path.c_str()) && c.saveAs((path + "2").c_str()));
    ASSERT_TRUE(c.load((path + "2").c_str()));
    EXPECT_EQ(c.getRate(), 0.0f);
}

TEST_F(RwMemCacheTest, ShortReserveStartsAnotherSection) {
    Probe c;
    build(c, {0, 1, 3}, 0, 1);
    ASSERT_TRUE(c.saveAs(path.c_str()));
    build(c, range(4, 101), 0, 1);  // 97 of the 100 reserved
    ASSERT_TRUE(c.save());
    build(c, range(101, 111), 0, 1);  // 3 left: a new section with a reserve of 2 x 110
    ASSERT_TRUE(c.save());
    std::vector<int64> reserves;
    for (const ChunkEntry& e : chunks(path, "FREE")) {
        reserves.push_back(e.header.length);
    }
    EXPECT_EQ(reserves, (std::vector<int64>{3 * 4, 3 * 8, 220 * 4, 220 * 8}));
    expectFile(path, 110);
    build(c, {111}, 0, 1);  // into the new section's reserve
    ASSERT_TRUE(c.save());
    EXPECT_EQ(chunks(path, "SAMS").size(), 2u);
    EXPECT_EQ(jumpReserve(path), 219 * 8);
    expectFile(path, 111);

    c.setReservedSamples(300);
    c.setName(0, "renamed");
    ASSERT_TRUE(c.save());
    EXPECT_EQ(chunks(path, "FREE").at(0).header.length, 300 * 4);
}

TEST_F(RwMemCacheTest, DamagedFileMakesAppendFailAndSaveRewrite) {
    ZelRwMemCache c;
    build(c, range(0, 10), 0, 1);
    ASSERT_TRUE(c.saveAs(path.c_str()));
    const std::vector<unsigned char> good = ZelTest::readFileBytes(path);
    const int64 sams = chunks(path, "SAMS").at(0).offset, jsam = chunks(path, "JSAM").at(0).offset;
    // {offset, value}: lengths at header offset + 8, the first jump entry at JSAM + 16, the
    // reserve's length behind the ten jump entries; the last one reaches into the samples, which
    // a large append would overwrite. Unreadable table lengths are the decoder tests' part.
    const int64 damages[][2] = {
        {sams + 8, 0}, {sams + 8, int64(1) << 40}, {jsam + 8, 1LL << 60},   {jsam + 16, 4},
        {24 + 8, 3},   {jsam + 96 + 8, -8},        {jsam + 96 + 8, 200 * 8}};
    for (const auto& d : damages) {
        std::vector<unsigned char> bad = good;
        std::memcpy(bad.data() + d[0], &d[1], sizeof(int64));
        ZelTest::writeFileBytes(path, bad);
        build(c, {10}, 0, 1);
        EXPECT_FALSE(c.append()) << d[0];
        ASSERT_TRUE(c.save());
        expectFile(path, 11);
        c.truncate(9);  // back to the ten samples of `good`
        ASSERT_TRUE(c.save());
    }
    // A chunk behind the last samples section: new samples go into a section of their own.
    std::vector<unsigned char> trailing = ZelTest::readFileBytes(path);
    trailing.resize(trailing.size() + 16);  // an empty chunk with a zero tag
    ZelTest::writeFileBytes(path, trailing);
    build(c, {10}, 0, 1);
    ASSERT_TRUE(c.save());
    EXPECT_EQ(chunks(path, "SAMS").size(), 2u);
    expectFile(path, 11);
}

TEST_F(RwMemCacheTest, EditsMarkDirtyObjectsWithoutSamplesSaveMetadataWithoutObjectsDelete) {
    ZelRwMemCache c;
    c.setApplication("app");
    c.setSpace(0);
    EXPECT_FALSE(c.setAttrName(0, 0, "x") || c.isDirty());
    c.setName(1, "");  // adds two empty-named objects
    EXPECT_TRUE(c.isDirty());
    ASSERT_TRUE(c.saveAs(path.c_str()));
    c.setName(1, "");
    EXPECT_FALSE(c.isDirty());
    EXPECT_FALSE(c.setAttrName(1, 0, "x"));  // no attribute definition, dirty all the same
    EXPECT_TRUE(c.isDirty());
    c.getMETAChunk().getDOBJ(0)->addAttr(false, "old", "int", kTypeInt32, 0, 0);
    EXPECT_TRUE(c.setAttrType(0, 0, "long"));
    // Objects without samples: metadata only, also through append.
    ASSERT_TRUE(c.append());
    EXPECT_EQ(chunks(path, "SAMS").size() + chunks(path, "DOBJ").size(), 2u);
    // A name that cannot be written (a directory): append leaves the date stamp alone, and an
    // empty cache cannot delete it but still answers true.
    ASSERT_EQ(std::remove(path.c_str()), 0);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    c.getMETAChunk().date = 0;
    EXPECT_FALSE(c.append());
    EXPECT_EQ(c.getDateStamp(), 0);
    bool saved = true, deleted = true;
    ASSERT_TRUE(ZelRwMemCache().saveAs(path.c_str(), &saved, &deleted));
    EXPECT_FALSE(saved || deleted);
    ASSERT_EQ(rmdir(path.c_str()), 0);

    // Without objects the cache deletes its file, keeping the name.
    build(c, range(0, 2));
    ASSERT_TRUE(c.saveAs(path.c_str()));
    c.deleteCache();
    EXPECT_EQ(c.getFilename(), path);
    ASSERT_TRUE(c.saveAs(path.c_str(), &saved, &deleted));
    EXPECT_TRUE(!saved && deleted && !ZelFile::exists(path.c_str()));
    ASSERT_TRUE(c.saveAs(path.c_str(), &saved, &deleted));  // nothing left to delete
    EXPECT_FALSE(saved || deleted);
}

TEST_F(RwMemCacheTest, LoadedCachesInsertFromMemoryAndTheConstructedOneRewrites) {
    writeFile(path, 3, 2);
    Probe c;
    ASSERT_TRUE(c.load(path.c_str(), false));
    c.allocSample(0.5f, 0);
    EXPECT_TRUE(std::isnan(posi(c, 1, 1)));   // the new sample has no place in the file
    ASSERT_EQ(std::remove(path.c_str()), 0);  // the others must all be in memory now
    EXPECT_EQ(c.sampling(), "n=4 first=0 last=2 rate=0 times=0,0.5,1,2,");
    for (int s : {0, 2, 3}) {
        EXPECT_EQ(posi(c, s, 1), valueAt(c.getSampleTime(s), 1)) << s;
    }

    // The constructor's read-only handle cannot take an append: the file is rewritten.
    writeFile(path, 4);
    bool ok = false;
    ZelRwMemCache built(path.c_str(), true, &ok);
    ASSERT_TRUE(ok);
    build(built, {4}, 0, 1);
    ASSERT_TRUE(built.save());
    expectFile(path, 5);
    EXPECT_EQ(jumpReserve(path), 100 * 8);
}

// A save of samples 10 on, in a child that a file size limit stops or kills all across the write,
// or that is killed after a while: the file loads with its old samples or all the new ones, and a
// failed save leaves it byte for byte as it was and nothing beside it.
TEST_F(RwMemCacheTest, InterruptedSavesNeverLoseTheFile) {
    struct Case {
        int upTo;     // the samples after the save: 15 fit the reserve, 111 need a new section
        bool rename;  // the metadata no longer fits its place: the file is rewritten
    };
    for (const Case k : {Case{15, true}, Case{15, false}, Case{111, false}}) {
        SCOPED_TRACE(testing::Message() << k.upTo << (k.rename ? " rewrite" : " append"));
        writeFile(path, 10);
        const std::vector<unsigned char> old = ZelTest::readFileBytes(path);
        const auto save = [&](rlim_t limit, bool die, long killAfterUs = -1) {
            // A killed rewrite leaves its temporary file: nothing can remove it then.
            std::filesystem::remove_all(dir.path());
            std::filesystem::create_directory(dir.path());
            ZelTest::writeFileBytes(path, old);
            return ZelTest::inChild(
                [&] {
                    ZelRwMemCache c;
                    if (!c.load(path.c_str())) {
                        return 2;
                    }
                    c.setName(0, k.rename ? "renamed" : "a");
                    build(c, range(10, k.upTo), 0, 1);
                    if (limit != RLIM_INFINITY && !ZelTest::limitFileSize(limit, die)) {
                        return 2;
                    }
                    return (k.rename ? c.save() : c.append()) ? 0 : 1;
                },
                killAfterUs);
        };
        ASSERT_EQ(save(RLIM_INFINITY, false), 0);
        expectFile(path, k.upTo);
        const auto grown = static_cast<rlim_t>(ZelTest::readFileBytes(path).size());
        const rlim_t from = k.rename ? 0 : old.size();
        for (const bool die : {false, true}) {
            for (rlim_t limit = from; limit < grown; limit += (grown - from) / 16 + 1) {
                SCOPED_TRACE(testing::Message() << "limit " << limit << (die ? " kill" : ""));
                ASSERT_EQ(save(limit, die), die ? -SIGKILL : 1);
                expectFile(path, 10);
                const std::vector<unsigned char> now = ZelTest::readFileBytes(path);
                // Only a killed append leaves bytes, past the old end, that nothing refers to.
                EXPECT_TRUE(now == old || (die && !k.rename && now.size() > old.size() &&
                                           std::equal(old.begin(), old.end(), now.begin())));
                EXPECT_TRUE(die || entries(dir.path()) == 1);
            }
        }
        for (long us = 0; us <= 1500; us += 100) {
            const int code = save(RLIM_INFINITY, false, us);
            ASSERT_TRUE(code == 0 || code == -SIGKILL) << code;
            ZelRoMemCache r;
            ASSERT_TRUE(r.load(path.c_str())) << us;
            if (code == 0 || r.getNumSamples() != 10) {
                expectFile(path, k.upTo);
            }
        }
    }
}

// Neither a file that is not writable (in a directory that is) nor a new file in a directory that
// is not can be saved.
TEST_F(RwMemCacheTest, SaveIntoReadOnlyDirectoryFailsAndLeavesNothing) {
    const std::string ro = dir.file("ro");
    ZelRwMemCache c;
    build(c, range(0, 3));
    ASSERT_TRUE(c.saveAs(path.c_str()));
    const std::vector<unsigned char> old = ZelTest::readFileBytes(path);
    ASSERT_EQ(chmod(dir.path().c_str(), 0777) + chmod(path.c_str(), 0444), 0);
    ASSERT_EQ(mkdir(ro.c_str(), 0555), 0);
    EXPECT_EQ(ZelTest::inChild([&] {
                  build(c, {3});
                  bool saved = true;
                  return ZelTest::dropRoot() && !c.save(&saved) && !saved &&
                                 !c.saveAs((ro + "/new.zel").c_str())
                             ? 0
                             : 1;
              }),
              0);
    EXPECT_EQ(entries(dir.path()), 2);  // the file and the directory
    EXPECT_EQ(entries(ro), 0);
    EXPECT_EQ(ZelTest::readFileBytes(path), old);
}

}  // namespace

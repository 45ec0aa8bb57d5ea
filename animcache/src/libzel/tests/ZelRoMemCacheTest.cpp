#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "Zel.h"
#include "support/CacheFile.h"
#include "support/ChunkWalk.h"
#include "support/TempDir.h"

using namespace Zel;

namespace {

constexpr uint32 kPOSI = makeTag("POSI"), kVELO = makeTag("VELO"), kATRS = makeTag("ATRS"),
                 kNOTE = makeTag("NOTE"), kMISS = makeTag("MISS");

// Exposes the sample table and the protected operations.
class Probe : public ZelRoMemCache {
  public:
    using ZelRoMemCache::deleteAllSamples;
    using ZelRoMemCache::deleteSample;
    using ZelRoMemCache::loadAllSamples;
    using ZelRoMemCache::loadSamplesNotGreaterThan;
    using ZelRoMemCache::setUpdate;
    using ZelRoMemCache::ZelRoMemCache;

    // The samples with at least one loaded object, as a string "02", then "/" and the size of
    // the sample table: "02/4".
    std::string loaded() const {
        std::string out;
        for (size_t s = 0; s < samples_.size(); ++s) {
            const ObjectGroups* g = samples_[s].get();
            if (g != nullptr &&
                std::any_of(g->begin(), g->end(), [](auto& p) { return p != nullptr; })) {
                out += std::to_string(s);
            }
        }
        return out + "/" + std::to_string(samples_.size());
    }
    // The object slots held for sample `s`.
    size_t slots(size_t s) const { return samples_.at(s) == nullptr ? 0 : samples_[s]->size(); }
};

std::vector<float> ramp(size_t n, float base) {
    std::vector<float> v(n);
    std::iota(v.begin(), v.end(), base);
    return v;
}

// The values of a leaf of T, empty for anything else.
template <class T>
std::vector<T> values(const ZelChunk* c) {
    const auto* leaf = dynamic_cast<const ZelLeafChunk<T>*>(c);
    return leaf == nullptr ? std::vector<T>{} : leaf->values();
}

// Four samples at times 0 to 3 of five objects:
//  0 "mesh":   POSI 24 floats 3d (100 s + j), ATRS {a0 float {s}, a1 int {10 s}}, NOTE "first",
//              NOTE "second"; animated a0, a1 and static s0 int {7}.
//  1 "defpos": POSI 9 floats 3d in the definition, POSI 24 floats and VELO in every sample;
//              animated attribute "w" but no ATRS.
//  2 "dim0":   POSI 24 floats, dimension code 0; an ATRS string leaf; animated attribute "x".
//  3 "wide":   POSI 24 int64 3d; animated attribute "v" but an empty ATRS group.
//  4 "dbl":    POSI 24 doubles 3d; no attributes.
void writeTestCache(const std::string& path) {
    ZelMETAChunk meta;
    std::tie(meta.numSamples, meta.firstTime, meta.lastTime, meta.rate) = std::tuple(4, 0, 3, 1);
    ZelDOBJChunk* mesh = meta.addDOBJ("mesh");
    mesh->addAttr(true, "a0", "float", kTypeFloat, 0, 0);
    mesh->addAttr(true, "a1", "int", kTypeInt32, 0, 0);
    mesh->addAttr(false, "s0", "int", kTypeInt32, 0, 0);
    static_cast<ZelLeafChunk<int>*>(mesh->getDATR()->getStaticData(2))->values() = {7};
    ZelDOBJChunk* defpos = meta.addDOBJ("defpos");
    defpos->addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(9, 9)));
    defpos->addAttr(true, "w", "float", kTypeFloat, 0, 0);
    meta.addDOBJ("dim0")->addAttr(true, "x", "float", kTypeFloat, 0, 0);
    meta.addDOBJ("wide")->addAttr(true, "v", "float", kTypeFloat, 0, 0);
    meta.addDOBJ("dbl");
    const bool ok = ZelTest::writeCacheFile(path, meta, [](int s, int o, ZelGroupChunk& g) {
        const float base = 100.0f * static_cast<float>(s);
        if (o == 0) {
            g.addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(24, base)));
            auto* atrs = new ZelGroupChunk(kATRS);
            atrs->addChild(new ZelLeafChunk<float>(makeTag("ATTR"), {float(s)}));
            atrs->addChild(new ZelLeafChunk<int>(makeTag("ATTR"), {10 * s}));
            g.addChild(atrs);
            g.addChild(new ZelLeafChunk<std::string>(kNOTE, {"first"}));
            g.addChild(new ZelLeafChunk<std::string>(kNOTE, {"second"}));
        } else if (o == 1) {
            g.addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(24, base)));
            g.addChild(new ZelLeafChunk<float>(kVELO, {1, 2}));
        } else if (o == 2) {
            g.addChild(new ZelLeafChunk<float>(kPOSI, ramp(24, base)));
            g.addChild(new ZelLeafChunk<std::string>(kATRS, {"not a group"}));
        } else if (o == 3) {
            g.addChild(new ZelLeafChunk<int64>(kPOSI, 0, 3, std::vector<int64>(24, 5)));
            g.addChild(new ZelGroupChunk(kATRS));
        } else {
            g.addChild(new ZelLeafChunk<double>(kPOSI, 0, 3, std::vector<double>(24, 0.5)));
        }
    });
    ASSERT_TRUE(ok);
}

// What `c` prints (its header and values, a group's children included), or "null".
std::string printed(const ZelChunk* c) {
    std::ostringstream os;
    if (c == nullptr) {
        return "null";
    }
    c->print(os, 0);
    return os.str();
}

// Spoils the tag of the "SAMP" header of sample `sample` in the cache file at `path`.
void spoilSample(const std::string& path, int sample) {
    std::vector<unsigned char> bytes = ZelTest::readFileBytes(path);
    int samp = 0;
    for (const ZelTest::ChunkEntry& c : ZelTest::walkChunks(path)) {
        if (c.header.tag == makeTag("SAMP") && samp++ == sample) {
            bytes[static_cast<size_t>(c.offset)] = 'X';
        }
    }
    ZelTest::writeFileBytes(path, bytes);
}

class RoMemCacheTest : public ::testing::Test {
  protected:
    void SetUp() override { writeTestCache(path); }
    ZelTest::TempDir dir;
    std::string path = dir.file("cache.zel");
};

// Each step of a scenario is "rS" (read sample S, object 0), "rS/O" (object O), "mK"
// (setMaxSamples(K)), "l" (load again, keeping the limit), "f" (a load that fails) or "x"
// (reset), then ':' and what Probe::loaded() says afterwards.
TEST_F(RoMemCacheTest, LimitEvictsLeastRecentlyUsedSamples) {
    struct Scenario {
        int limit;  // given to load
        bool readWrite;
        const char* steps;
        int finalLimit;
    };
    const Scenario scenarios[] = {
        // Loading reads nothing. 1 is the least recently used when 2 comes; a second object of a
        // sample costs nothing; evicting the table's last sample shortens the table.
        {2, false, "r0:0/4 r0/1:0/4 r1:01/4 r0:01/4 r2:02/4 r1:12/4 r3:13/4 r1:13/4 r0:01/2", 2},
        // The limit outlives loads, failed ones too.
        {1, false, "r3:3/4 r3/4:3/4 r2:2/3 l:/4 r1:1/4 r0:0/4 f:/0", 1},
        // Samples read without a limit are never listed, so never evicted; lowering the limit
        // evicts from the back of the list (2 1 0), raising it evicts nothing, 0 evicts all.
        {0, false, "r3:3/4 m3:3/4 r0:03/4 r1:013/4 r2:0123/4 m1:23/4 m2:23/4 r0:023/4 m0:3/4", 0},
        {-5, false, "r1:1/4 m-5:1/4", 0},  // the limit is stored as given, setMaxSamples clamps
        {3, false, "r1:1/4 x:/0", 0},
        // The read-write cache never evicts and ignores setMaxSamples.
        {1, true, "r0:0/4 r1:01/4 r2:012/4 m5:012/4 m0:012/4", 1},
    };
    for (const Scenario& sc : scenarios) {
        Probe cache;
        cache.setUpdate(sc.readWrite);
        ASSERT_TRUE(cache.load(path.c_str(), true, sc.limit));
        EXPECT_EQ(cache.getMaxSamples(), sc.limit);
        std::istringstream steps(sc.steps);
        for (std::string step; steps >> step;) {
            const size_t colon = step.find(':'), slash = step.find('/');
            if (step[0] == 'm') {
                cache.setMaxSamples(std::stoi(step.substr(1)));
            } else if (step[0] == 'l') {
                ASSERT_TRUE(cache.load(path.c_str(), false));
            } else if (step[0] == 'f') {
                testing::internal::CaptureStdout();
                EXPECT_FALSE(cache.load(dir.file("missing.zel").c_str()));
                testing::internal::GetCapturedStdout();
            } else if (step[0] == 'x') {
                cache.reset();
            } else {
                const int object = slash < colon ? std::stoi(step.substr(slash + 1)) : 0;
                ASSERT_NE(cache.getSample(std::stoi(step.substr(1)), object), nullptr);
            }
            EXPECT_EQ(cache.loaded(), step.substr(colon + 1)) << sc.steps << ": " << step;
        }
        EXPECT_EQ(cache.getMaxSamples(), sc.finalLimit) << sc.steps;
    }
    // A cache built on a file reads no sample at construction and grows its table on demand.
    bool ok = false;
    Probe built(path.c_str(), true, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(built.loaded(), "/0");
    ASSERT_NE(built.getSample(2, 1), nullptr);
    EXPECT_EQ(built.loaded(), "2/3");
    EXPECT_EQ(Probe(path.c_str(), true, -5).getMaxSamples(), -5);
}

TEST_F(RoMemCacheTest, TaggedChildrenSampleDataAtExactTimesAndDefinitionDataFirst) {
    ZelRoMemCache cache(path.c_str());
    EXPECT_FALSE(cache.getSample(-1, 0) || cache.getSample(4, 0) || cache.getSample(0, 5));
    // Stepping through the chunks of one tag: children are POSI, ATRS, NOTE, NOTE.
    int index = 0;
    EXPECT_EQ(values<std::string>(cache.getSample(1, 0, kNOTE, &index)),
              std::vector<std::string>{"first"});
    EXPECT_EQ(index, 2);
    index += 1;
    EXPECT_EQ(values<std::string>(cache.getSample(1, 0, kNOTE, &index)),
              std::vector<std::string>{"second"});
    EXPECT_EQ(index, 3);
    index = 0;
    EXPECT_EQ(cache.getSample(1, 0, kMISS, &index), nullptr);
    EXPECT_EQ(index, 4);  // the child count
    index = 7;
    EXPECT_EQ(cache.getSample(9, 0, kNOTE, &index), nullptr);
    EXPECT_EQ(index, 7);  // no group: untouched

    const std::vector<float>* p = cache.getSampleDataAtTime<float>(2.0f, 0, kPOSI);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(*p, ramp(24, 200));
    EXPECT_EQ(cache.getSampleDataAtTime<float>(1.5f, 0, kPOSI), nullptr);
    EXPECT_EQ(cache.getSampleDataAtTime<double>(2.0f, 0, kPOSI), nullptr);
    index = 3;
    const auto* s = cache.getSampleDataAtTime<std::string>(3.0f, 0, kNOTE, &index);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(*s, std::vector<std::string>{"second"});

    bool animated = true;
    EXPECT_EQ(values<float>(cache.getObjectData(2, 1, kPOSI, &animated)), ramp(9, 9));
    EXPECT_FALSE(animated);
    EXPECT_EQ(cache.getObjectData(2, 1, kVELO, &animated), cache.getSample(2, 1, kVELO));
    EXPECT_TRUE(animated);
    // The search enters nested groups: ATTR lies inside ATRS.
    EXPECT_EQ(values<float>(cache.getObjectData(3, 0, makeTag("ATTR"), nullptr)),
              std::vector<float>{3});
    EXPECT_EQ(cache.getObjectData(0, 0, kMISS, &animated), nullptr);
    EXPECT_FALSE(animated);
    animated = true;
    EXPECT_EQ(cache.getObjectData(0, 5, kPOSI, &animated), nullptr);
    EXPECT_FALSE(animated);
}

TEST_F(RoMemCacheTest, AttributeDataWithItsMessagesAndVertexCounts) {
    ZelRoMemCache cache(path.c_str());
    EXPECT_EQ(values<float>(cache.getAttrData(3, 0, 0)), std::vector<float>{3});
    EXPECT_EQ(values<int>(cache.getAttrData(2, 0, 1)), std::vector<int>{20});
    // A static value comes from the definition, whatever the sample.
    EXPECT_EQ(values<int>(cache.getAttrData(-1, 0, 2)), std::vector<int>{7});
    // Null with a message: an index out of range, no ATRS in the sample, an ATRS that is no group;
    // quietly null: an ATRS group without the value, no attributes, an object out of range.
    testing::internal::CaptureStderr();
    for (const auto& [object, attr] :
         {std::pair{0, 3}, {0, -1}, {1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 0}}) {
        EXPECT_EQ(cache.getAttrData(0, object, attr), nullptr) << object << ' ' << attr;
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "DATR index out of range 3\n"
              "DATR index out of range -1\n"
              "ATRS GROUP chunk missing for object at 1\n"
              "ATRS GROUP chunk missing for object at 2\n");

    // {sample, object, count}: 96 bytes / (3 * 4); the definition's 9 floats, no sample needed;
    // dimension code 0 counts as 3; 192 bytes of int64 counted 4 wide; 192 bytes of doubles; no
    // sample to look in; no such object.
    const int cases[][3] = {{0, 0, 8},  {0, 1, 3}, {-1, 1, 3}, {0, 2, 8},
                            {0, 3, 16}, {0, 4, 8}, {-1, 0, 0}, {0, 5, 0}};
    for (const auto& c : cases) {
        EXPECT_EQ(cache.getNumVertices(c[0], c[1]), c[2]) << c[0] << ' ' << c[1];
    }
}

TEST_F(RoMemCacheTest, BulkLoadsAndFailedReads) {
    // Spoil sample 1; keep the good bytes to put them back.
    const std::vector<unsigned char> good = ZelTest::readFileBytes(path);
    spoilSample(path, 1);

    Probe cache;
    ASSERT_TRUE(cache.load(path.c_str(), false, 1));
    EXPECT_TRUE(cache.loadSamplesNotGreaterThan(-1) && cache.loadSamplesNotGreaterThan(0));
    EXPECT_EQ(cache.loaded(), "0/4");
    EXPECT_FALSE(cache.loadSamplesNotGreaterThan(2));  // stops at sample 1
    EXPECT_EQ(cache.loaded(), "0/4");
    EXPECT_TRUE(cache.loadSamplesNotGreaterThan(99));  // the whole cache, past the failure,
    EXPECT_EQ(cache.loaded(), "023/4");                // the limit ignored
    EXPECT_EQ(cache.slots(1), 0u);                     // failed reads take no room
    EXPECT_EQ(cache.getSample(1, 0), nullptr);
    ZelTest::writeFileBytes(path, good);
    EXPECT_NE(cache.getSample(1, 0), nullptr);  // a failed read is tried again

    cache.deleteSample(1);
    cache.deleteSample(7);  // nothing there
    EXPECT_EQ(cache.loaded(), "023/4");
    cache.deleteSample(3);
    EXPECT_EQ(cache.loaded(), "02/3");  // the table ends at its last loaded sample
    cache.deleteAllSamples();
    EXPECT_EQ(cache.loaded(), "/0");
    EXPECT_TRUE(cache.loadAllSamples());
    EXPECT_EQ(cache.loaded(), "0123/4");
}

// Under a limit, evicted groups are read into again. Whatever the sample before left there (a
// longer array, another element type, other chunks in another order), the result must print
// exactly as a fresh read does, and a group that is still held must never be read into.
TEST_F(RoMemCacheTest, ReusedGroupsReadExactlyWhatFreshOnesRead) {
    ZelMETAChunk meta;
    std::tie(meta.numSamples, meta.firstTime, meta.lastTime, meta.rate) = std::tuple(4, 0, 3, 1);
    meta.addDOBJ("changing");
    meta.addDOBJ("steady");
    const bool ok = ZelTest::writeCacheFile(path, meta, [](int s, int o, ZelGroupChunk& g) {
        const float base = 100.0f * static_cast<float>(s);
        if (o == 1 || s == 1) {
            g.addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(o == 1 ? 3 : 6, base)));
        } else if (s == 0) {
            g.addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(24, base)));
            g.addChild(new ZelLeafChunk<float>(kVELO, {1, 2}));
            g.addChild(new ZelLeafChunk<std::string>(kNOTE, {"a"}));
        } else if (s == 2) {
            g.addChild(new ZelLeafChunk<double>(kPOSI, {0.5, base}));
            g.addChild(new ZelLeafChunk<std::string>(kNOTE, {"b", "c"}));
        } else {
            auto* atrs = new ZelGroupChunk(kATRS);
            atrs->addChild(new ZelLeafChunk<float>(makeTag("ATTR"), {base}));
            g.addChild(atrs);
            g.addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(12, base)));
        }
    });
    ASSERT_TRUE(ok);
    std::string expected[4][2];
    ZelRoMemCache fresh(path.c_str());
    for (int s = 0; s < 4; ++s) {
        for (int o = 0; o < 2; ++o) {
            expected[s][o] = printed(fresh.getSample(s, o));
        }
    }
    ZelRoMemCache one(path.c_str(), true, 1);
    for (int s : {0, 1, 2, 3, 2, 0, 3, 1}) {
        for (int o : {0, 1}) {
            EXPECT_EQ(printed(one.getSample(s, o)), expected[s][o]) << s << ' ' << o;
        }
    }
    ZelRoMemCache two(path.c_str(), true, 2);
    const ZelGroupChunk* first = two.getSample(0, 0);
    const ZelGroupChunk* second = two.getSample(1, 0);
    EXPECT_EQ(printed(first), expected[0][0]);
    EXPECT_EQ(printed(two.getSample(2, 0)), expected[2][0]);  // evicts sample 0 only
    EXPECT_EQ(printed(second), expected[1][0]);

    // A read that fails into an evicted group leaves nothing behind.
    spoilSample(path, 2);
    ZelRoMemCache spoiled(path.c_str(), true, 1);
    EXPECT_EQ(printed(spoiled.getSample(1, 0)), expected[1][0]);
    EXPECT_EQ(spoiled.getSample(2, 0), nullptr);
    EXPECT_EQ(printed(spoiled.getSample(3, 0)), expected[3][0]);
}

}  // namespace

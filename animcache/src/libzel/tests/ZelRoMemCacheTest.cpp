#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Zel.h"
#include "support/CacheFile.h"
#include "support/ChunkWalk.h"
#include "support/TempDir.h"

using namespace Zel;

namespace {

constexpr uint32 kPOSI = makeTag("POSI"), kVELO = makeTag("VELO"), kATRS = makeTag("ATRS"),
                 kNOTE = makeTag("NOTE"), kMISS = makeTag("MISS"), kSAMP = makeTag("SAMP");

// Exposes the sample table and the protected operations.
class Probe : public ZelRoMemCache {
  public:
    using ZelRoMemCache::deleteAllSamples;
    using ZelRoMemCache::deleteSample;
    using ZelRoMemCache::loadAllSamples;
    using ZelRoMemCache::loadSamplesNotGreaterThan;
    using ZelRoMemCache::ZelRoMemCache;

    bool loaded(int s, int o) const {
        const auto su = static_cast<size_t>(s), ou = static_cast<size_t>(o);
        return su < samples_.size() && samples_[su] != nullptr && ou < samples_[su]->size() &&
               (*samples_[su])[ou] != nullptr;
    }
    // The samples with at least one loaded object, as a string "0 2".
    std::string loadedSamples() const {
        std::string out;
        for (size_t s = 0; s < samples_.size(); ++s) {
            for (size_t o = 0; samples_[s] != nullptr && o < samples_[s]->size(); ++o) {
                if ((*samples_[s])[o] != nullptr) {
                    out += (out.empty() ? "" : " ") + std::to_string(s);
                    break;
                }
            }
        }
        return out;
    }
    size_t tableSize() const { return samples_.size(); }
    // The object slots held for sample `s`.
    size_t slots(size_t s) const { return samples_.at(s) == nullptr ? 0 : samples_[s]->size(); }
    // What the read-write cache does in its constructors.
    void setReadWrite() { setUpdate(true); }
};

std::vector<float> ramp(size_t n, float base) {
    std::vector<float> v(n);
    for (size_t j = 0; j < n; ++j) {
        v[j] = base + static_cast<float>(j);
    }
    return v;
}

// Four samples at times 0 to 3 of five objects:
//  0 "mesh":   POSI 24 floats 3d (100 s + j), ATRS {a0 float {s}, a1 int {10 s}}, NOTE "first",
//              NOTE "second"; animated a0, a1 and static s0 int {7}.
//  1 "defpos": POSI 9 floats 3d in the definition, POSI 24 floats and VELO in every sample;
//              animated attribute "w" but no ATRS.
//  2 "dim0":   POSI 24 floats, dimension code 0; an ATRS string leaf; animated attribute "x".
//  3 "wide":   POSI 24 int64 3d.  4 "dbl": POSI 24 doubles 3d.
void writeTestCache(const std::string& path) {
    ZelMETAChunk meta;
    meta.numSamples = 4;
    meta.firstTime = 0;
    meta.lastTime = 3;
    meta.rate = 1;
    ZelDOBJChunk* mesh = meta.addDOBJ("mesh");
    mesh->addAttr(true, "a0", "float", kTypeFloat, 0, 0);
    mesh->addAttr(true, "a1", "int", kTypeInt32, 0, 0);
    mesh->addAttr(false, "s0", "int", kTypeInt32, 0, 0);
    static_cast<ZelLeafChunk<int>*>(mesh->getDATR()->getStaticData(2))->values() = {7};
    ZelDOBJChunk* defpos = meta.addDOBJ("defpos");
    defpos->addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(9, 9)));
    defpos->addAttr(true, "w", "float", kTypeFloat, 0, 0);
    meta.addDOBJ("dim0")->addAttr(true, "x", "float", kTypeFloat, 0, 0);
    meta.addDOBJ("wide");
    meta.addDOBJ("dbl");
    const bool ok = ZelTest::writeCacheFile(path, meta, [](int s, int o, ZelGroupChunk& g) {
        const float base = 100.0f * static_cast<float>(s);
        switch (o) {
            case 0: {
                g.addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(24, base)));
                auto* atrs = new ZelGroupChunk(kATRS);
                atrs->addChild(new ZelLeafChunk<float>(makeTag("ATTR"), {float(s)}));
                atrs->addChild(new ZelLeafChunk<int>(makeTag("ATTR"), {10 * s}));
                g.addChild(atrs);
                g.addChild(new ZelLeafChunk<std::string>(kNOTE, {"first"}));
                g.addChild(new ZelLeafChunk<std::string>(kNOTE, {"second"}));
                break;
            }
            case 1:
                g.addChild(new ZelLeafChunk<float>(kPOSI, 0, 3, ramp(24, base)));
                g.addChild(new ZelLeafChunk<float>(kVELO, {1, 2}));
                break;
            case 2:
                g.addChild(new ZelLeafChunk<float>(kPOSI, ramp(24, base)));
                g.addChild(new ZelLeafChunk<std::string>(kATRS, {"not a group"}));
                break;
            case 3:
                g.addChild(new ZelLeafChunk<int64>(kPOSI, 0, 3, std::vector<int64>(24, 5)));
                break;
            default:
                g.addChild(new ZelLeafChunk<double>(kPOSI, 0, 3, std::vector<double>(24, 0.5)));
                break;
        }
    });
    ASSERT_TRUE(ok);
}

class RoMemCacheTest : public ::testing::Test {
  protected:
    void SetUp() override {
        path = dir.file("cache.zel");
        writeTestCache(path);
    }
    ZelTest::TempDir dir;
    std::string path;
};

TEST_F(RoMemCacheTest, LimitEvictsLeastRecentlyUsedSamples) {
    Probe cache;
    ASSERT_TRUE(cache.load(path.c_str(), true, 2));
    EXPECT_EQ(cache.tableSize(), 4u);  // one empty entry per sample, nothing read
    EXPECT_EQ(cache.loadedSamples(), "");
    const ZelGroupChunk* first = cache.getSample(0, 0);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(cache.getSample(0, 1), nullptr);
    ASSERT_NE(cache.getSample(1, 0), nullptr);
    EXPECT_EQ(cache.getSample(0, 0), first);  // served from memory, moved to the front
    ASSERT_NE(cache.getSample(2, 0), nullptr);
    // Sample 1 was the least recently used; both objects of sample 0 stay.
    EXPECT_EQ(cache.loadedSamples(), "0 2");
    EXPECT_TRUE(cache.loaded(0, 1));
    // Asking for 1 again reads it afresh and now evicts 0 (order was 2, 0).
    ASSERT_NE(cache.getSample(1, 0), nullptr);
    EXPECT_EQ(cache.loadedSamples(), "1 2");
    // Evicting the table's last entry shortens the table behind the last loaded sample.
    ASSERT_NE(cache.getSample(3, 0), nullptr);
    ASSERT_NE(cache.getSample(1, 0), nullptr);
    ASSERT_NE(cache.getSample(0, 0), nullptr);
    EXPECT_EQ(cache.loadedSamples(), "0 1");
    EXPECT_EQ(cache.tableSize(), 2u);

    // With a limit of 1 each new sample replaces the previous one.
    ASSERT_TRUE(cache.load(path.c_str(), true, 1));
    ASSERT_NE(cache.getSample(3, 0), nullptr);
    ASSERT_NE(cache.getSample(3, 4), nullptr);
    EXPECT_EQ(cache.loadedSamples(), "3");
    ASSERT_NE(cache.getSample(2, 0), nullptr);
    EXPECT_EQ(cache.loadedSamples(), "2");
}

TEST_F(RoMemCacheTest, LimitSurvivesLoadButNotReset) {
    Probe cache(path.c_str(), true, -5);
    EXPECT_EQ(cache.getMaxSamples(), -5);  // stored as given
    ASSERT_TRUE(cache.load(path.c_str(), true, 3));
    ASSERT_TRUE(cache.load(path.c_str(), false));
    EXPECT_EQ(cache.getMaxSamples(), 3);
    EXPECT_FALSE(cache.getKeepOpen());
    testing::internal::CaptureStdout();
    EXPECT_FALSE(cache.load(dir.file("missing.zel").c_str()));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(cache.getMaxSamples(), 3);
    EXPECT_EQ(cache.getNumSamples(), 0);
    cache.reset();
    EXPECT_EQ(cache.getMaxSamples(), 0);
    cache.setMaxSamples(-5);
    EXPECT_EQ(cache.getMaxSamples(), 0);
    cache.setMaxSamples(4);
    EXPECT_EQ(cache.getMaxSamples(), 4);

    // A cache built on a file reads no sample at construction and grows its table on demand.
    bool ok = false;
    Probe built(path.c_str(), true, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(built.getMaxSamples(), 0);
    EXPECT_EQ(built.tableSize(), 0u);
    ASSERT_NE(built.getSample(2, 1), nullptr);
    EXPECT_EQ(built.tableSize(), 3u);
}

TEST_F(RoMemCacheTest, ChangingTheLimitEvictsFromTheBack) {
    Probe cache;
    ASSERT_TRUE(cache.load(path.c_str()));
    // Loaded without a limit: never listed, so never evicted by a later limit.
    ASSERT_NE(cache.getSample(3, 0), nullptr);
    cache.setMaxSamples(3);
    for (int s : {0, 1, 2}) {
        ASSERT_NE(cache.getSample(s, 0), nullptr);
    }
    EXPECT_EQ(cache.loadedSamples(), "0 1 2 3");
    cache.setMaxSamples(1);  // list 2 1 0: 0 and 1 go
    EXPECT_EQ(cache.loadedSamples(), "2 3");
    cache.setMaxSamples(2);  // raising evicts nothing
    ASSERT_NE(cache.getSample(0, 0), nullptr);
    EXPECT_EQ(cache.loadedSamples(), "0 2 3");
    cache.setMaxSamples(0);  // no limit: every listed sample goes
    EXPECT_EQ(cache.loadedSamples(), "3");
    EXPECT_EQ(cache.getMaxSamples(), 0);
}

TEST_F(RoMemCacheTest, ReadWriteCacheNeverEvicts) {
    Probe cache;
    cache.setReadWrite();
    ASSERT_TRUE(cache.load(path.c_str(), true, 1));
    for (int s : {0, 1, 2, 3}) {
        ASSERT_NE(cache.getSample(s, 0), nullptr);
    }
    EXPECT_EQ(cache.loadedSamples(), "0 1 2 3");
    cache.setMaxSamples(5);
    EXPECT_EQ(cache.getMaxSamples(), 1);
    cache.setMaxSamples(0);
    EXPECT_EQ(cache.loadedSamples(), "0 1 2 3");
}

TEST_F(RoMemCacheTest, SampleRangeAndTaggedChildren) {
    ZelRoMemCache cache(path.c_str());
    EXPECT_EQ(cache.getSample(-1, 0), nullptr);
    EXPECT_EQ(cache.getSample(4, 0), nullptr);
    EXPECT_EQ(cache.getSample(0, 5), nullptr);
    // Stepping through the chunks of one tag: children are POSI, ATRS, NOTE, NOTE.
    int index = 0;
    const auto* note =
        static_cast<const ZelLeafChunk<std::string>*>(cache.getSample(1, 0, kNOTE, &index));
    ASSERT_NE(note, nullptr);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(note->values()[0], "first");
    index += 1;
    note = static_cast<const ZelLeafChunk<std::string>*>(cache.getSample(1, 0, kNOTE, &index));
    ASSERT_NE(note, nullptr);
    EXPECT_EQ(index, 3);
    EXPECT_EQ(note->values()[0], "second");
    index += 1;
    EXPECT_EQ(cache.getSample(1, 0, kNOTE, &index), nullptr);
    EXPECT_EQ(index, 4);  // the child count
    index = 7;
    EXPECT_EQ(cache.getSample(9, 0, kNOTE, &index), nullptr);
    EXPECT_EQ(index, 7);  // no group: untouched
}

TEST_F(RoMemCacheTest, DefinitionDataWinsOverSampleData) {
    ZelRoMemCache cache(path.c_str());
    bool animated = true;
    const ZelChunk* posi = cache.getObjectData(2, 1, kPOSI, &animated);
    ASSERT_NE(posi, nullptr);
    EXPECT_FALSE(animated);
    EXPECT_EQ(static_cast<const ZelLeafChunk<float>*>(posi)->values(), ramp(9, 9));
    const ZelChunk* velo = cache.getObjectData(2, 1, kVELO, &animated);
    EXPECT_TRUE(animated);
    EXPECT_EQ(velo, cache.getSample(2, 1, kVELO));
    // The search enters nested groups: ATTR lies inside ATRS.
    EXPECT_NE(cache.getObjectData(0, 0, makeTag("ATTR"), nullptr), nullptr);
    EXPECT_EQ(cache.getObjectData(0, 0, kMISS, &animated), nullptr);
    EXPECT_FALSE(animated);
    animated = true;
    EXPECT_EQ(cache.getObjectData(0, 5, kPOSI, &animated), nullptr);
    EXPECT_FALSE(animated);
}

TEST_F(RoMemCacheTest, AttributeDataAndItsMessages) {
    ZelRoMemCache cache(path.c_str());
    const auto* a0 = dynamic_cast<ZelLeafChunk<float>*>(cache.getAttrData(3, 0, 0));
    ASSERT_NE(a0, nullptr);
    EXPECT_EQ(a0->values(), std::vector<float>{3});
    const auto* a1 = dynamic_cast<ZelLeafChunk<int>*>(cache.getAttrData(2, 0, 1));
    ASSERT_NE(a1, nullptr);
    EXPECT_EQ(a1->values(), std::vector<int>{20});
    // A static value comes from the definition, whatever the sample.
    const auto* s0 = dynamic_cast<ZelLeafChunk<int>*>(cache.getAttrData(-1, 0, 2));
    ASSERT_NE(s0, nullptr);
    EXPECT_EQ(s0->values(), std::vector<int>{7});

    testing::internal::CaptureStderr();
    EXPECT_EQ(cache.getAttrData(0, 0, 3), nullptr);
    EXPECT_EQ(cache.getAttrData(0, 0, -1), nullptr);
    EXPECT_EQ(cache.getAttrData(0, 1, 0), nullptr);  // no ATRS in the sample
    EXPECT_EQ(cache.getAttrData(0, 2, 0), nullptr);  // ATRS is not a group
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "DATR index out of range 3\n"
              "DATR index out of range -1\n"
              "ATRS GROUP chunk missing for object at 1\n"
              "ATRS GROUP chunk missing for object at 2\n");
    // Objects without attributes, or out of range, are quietly null.
    testing::internal::CaptureStderr();
    EXPECT_EQ(cache.getAttrData(0, 3, 0), nullptr);
    EXPECT_EQ(cache.getAttrData(0, 5, 0), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(RoMemCacheTest, VertexCountFromPositionBytes) {
    ZelRoMemCache cache(path.c_str());
    EXPECT_EQ(cache.getNumVertices(0, 0), 8);   // 96 bytes / (3 * 4)
    EXPECT_EQ(cache.getNumVertices(0, 1), 3);   // the definition's 9 floats
    EXPECT_EQ(cache.getNumVertices(-1, 1), 3);  // no sample needed
    EXPECT_EQ(cache.getNumVertices(0, 2), 8);   // dimension code 0 counts as 3
    EXPECT_EQ(cache.getNumVertices(0, 3), 16);  // 192 bytes of int64, counted 4 wide
    EXPECT_EQ(cache.getNumVertices(0, 4), 8);   // 192 bytes of doubles
    EXPECT_EQ(cache.getNumVertices(-1, 0), 0);
    EXPECT_EQ(cache.getNumVertices(0, 5), 0);
}

TEST_F(RoMemCacheTest, SampleDataAtExactTimesOnly) {
    ZelRoMemCache cache(path.c_str());
    const std::vector<float>* p = cache.getSampleDataAtTime<float>(2.0f, 0, kPOSI);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(*p, ramp(24, 200));
    EXPECT_EQ(cache.getSampleDataAtTime<float>(1.5f, 0, kPOSI), nullptr);
    EXPECT_EQ(cache.getSampleDataAtTime<double>(2.0f, 0, kPOSI), nullptr);
    const std::vector<int64>* w = cache.getSampleDataAtTime<int64>(0.0f, 3, kPOSI);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ((*w)[23], 5);
    int index = 3;
    const std::vector<std::string>* s =
        cache.getSampleDataAtTime<std::string>(3.0f, 0, kNOTE, &index);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ((*s)[0], "second");
}

TEST_F(RoMemCacheTest, BulkLoadsAndDeletes) {
    Probe cache;
    ASSERT_TRUE(cache.load(path.c_str(), false, 1));
    EXPECT_TRUE(cache.loadSamplesNotGreaterThan(-1));
    EXPECT_EQ(cache.loadedSamples(), "");
    EXPECT_TRUE(cache.loadSamplesNotGreaterThan(1));
    EXPECT_EQ(cache.loadedSamples(), "0 1");
    EXPECT_TRUE(cache.loaded(1, 4));
    EXPECT_TRUE(cache.loadSamplesNotGreaterThan(99));  // the whole cache, limit ignored
    EXPECT_EQ(cache.loadedSamples(), "0 1 2 3");
    cache.deleteSample(1);
    cache.deleteSample(7);  // nothing there
    EXPECT_EQ(cache.loadedSamples(), "0 2 3");
    cache.deleteSample(3);
    EXPECT_EQ(cache.tableSize(), 3u);
    cache.deleteAllSamples();
    EXPECT_EQ(cache.tableSize(), 0u);
    EXPECT_TRUE(cache.loadAllSamples());
    EXPECT_EQ(cache.tableSize(), 4u);
    EXPECT_EQ(cache.loadedSamples(), "0 1 2 3");
}

TEST_F(RoMemCacheTest, FailedReadsAreNotRemembered) {
    // Spoil the tag of sample 1's "SAMP" header; keep the good bytes to put them back.
    std::vector<unsigned char> good = ZelTest::readFileBytes(path);
    int64 samp1 = -1;
    int seen = 0;
    for (const ZelTest::ChunkEntry& c : ZelTest::walkChunks(path)) {
        if (c.header.tag == kSAMP && seen++ == 1) {
            samp1 = c.offset;
        }
    }
    ASSERT_GT(samp1, 0);
    std::vector<unsigned char> bad = good;
    bad[static_cast<size_t>(samp1)] = 'X';
    ZelTest::writeFileBytes(path, bad);

    Probe cache;
    ASSERT_TRUE(cache.load(path.c_str(), false));
    EXPECT_FALSE(cache.loadSamplesNotGreaterThan(2));
    EXPECT_EQ(cache.loadedSamples(), "0");
    EXPECT_TRUE(cache.loadAllSamples());  // goes on past the failure
    EXPECT_EQ(cache.loadedSamples(), "0 2 3");
    EXPECT_EQ(cache.slots(1), 0u);  // failed reads take no room
    EXPECT_EQ(cache.getSample(1, 0), nullptr);
    ZelTest::writeFileBytes(path, good);
    EXPECT_NE(cache.getSample(1, 0), nullptr);
}

}  // namespace

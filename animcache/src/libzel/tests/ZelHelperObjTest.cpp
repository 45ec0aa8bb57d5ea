#include "ZelHelperObj.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "ZelRoMemCache.h"
#include "support/CacheBuilder.h"
#include "support/HelperFixture.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::CacheBuilder;
using ZelTest::TempDir;

namespace {

// Opens the protected services to the tests.
class Probe : public ZelHelperObj {
  public:
    Probe(ZelRoMemCache* cache, int object) : ZelHelperObj(cache, object) {}
    using ZelHelperObj::getAttrDataChunk;
    using ZelHelperObj::getEvalTimeAndSampleIndices;
    using ZelHelperObj::getZelLeafData;
};

// Samples i = 0..n-1 at times 1 + i, with one object "obj" whose animated double attribute "a"
// holds (i, i², i³) at sample i.
void buildPowers(CacheBuilder& b, int n) {
    const int o = b.addObject("obj");
    b.addAnimatedAttr(o, "a");
    for (int i = 0; i < n; ++i) {
        const double x = i;
        b.addAnimatedValue<double>(i, o, {x, x * x, x * x * x}, 3);
    }
}

struct Choice {
    bool good;
    std::vector<int> samples;
    std::vector<float> times;
};

Choice choose(const Probe& p, int order, float time) {
    ZelInterpolationHints hints;
    hints.order = order;
    Choice c;
    c.good = p.getEvalTimeAndSampleIndices(time, hints, c.samples, c.times);
    return c;
}

}  // namespace

TEST(ZelHelperObj, NamesAndAttributeDefinitions) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int shape = b.addObject("|root|grp|shape");
    b.addAnimatedAttr(shape, "anim0");
    b.addAnimatedAttr(shape, "anim1");
    b.addStaticAttr<int>(shape, "still", {7});
    const int plain = b.addObject("plain");
    const int slash = b.addObject("grp|");
    for (int s = 0; s < 2; ++s) {
        b.addAnimatedValue<float>(s, shape, {1});
        b.addAnimatedValue<float>(s, shape, {2});
    }
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));

    Probe p(&cache, shape);
    EXPECT_EQ(p.getName(), "|root|grp|shape");
    EXPECT_EQ(p.getLeafName(), "shape");
    EXPECT_EQ(Probe(&cache, plain).getLeafName(), "plain");
    EXPECT_EQ(Probe(&cache, slash).getLeafName(), "");
    EXPECT_EQ(p.getParentCache(), &cache);
    EXPECT_EQ(p.getNumAttrs(), 3);
    EXPECT_EQ(p.findAttr("still"), 2);
    EXPECT_EQ(p.findAttr("anim1"), 1);
    EXPECT_EQ(p.findAttr("missing"), -1);
    EXPECT_EQ(p.getAttrName(2), "still");
    EXPECT_EQ(p.getAttrType(0), "t");
    EXPECT_EQ(p.isAttrAnimated(1), ZelHelperObj::kAnimated);
    EXPECT_EQ(p.isAttrAnimated(2), ZelHelperObj::kStatic);
    EXPECT_THROW(p.isAttrAnimated(3), bool);

    Probe none(&cache, plain);
    EXPECT_EQ(none.getNumAttrs(), 0);
    EXPECT_EQ(none.findAttr("still"), -1);
    EXPECT_EQ(none.isAttrAnimated(0), ZelHelperObj::kStatic);

    // An index outside the cache reads as an object with nothing.
    Probe outside(&cache, 9);
    EXPECT_EQ(outside.getName(), "");
    EXPECT_EQ(outside.getNumAttrs(), 0);
    EXPECT_FALSE(outside.objectHas(makeTag("DATR")));

    // Copies share cache, index and categories.
    Probe copy(&cache, plain);
    copy = p;
    EXPECT_EQ(copy.getName(), p.getName());
    copy = copy;
    EXPECT_EQ(copy.getObjectIndex(), shape);
    EXPECT_EQ(copy.categories(), std::set<std::string>{"helperObj"});
}

TEST(ZelHelperObj, ChunkLookupReportsWhereTheChunkCameFrom) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int o = b.addObject("obj");
    b.addStatic<float>(o, "BOTH", {1});
    b.addStatic<double>(o, "STAT", {2}, 9);
    b.addSampled<float>(0, o, "BOTH", {5});
    b.addSampled<int>(0, o, "ANIM", {3}, 5);
    auto* nested = new ZelGroupChunk(makeTag("GRUP"));
    nested->addChild(new ZelLeafChunk<int>(makeTag("DEEP"), std::vector<int>{4}));
    b.sampleGroup(0, o).addChild(nested);
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    Probe p(&cache, o);

    const ZelChunk* c = nullptr;
    EXPECT_EQ(p.findChunk(0, makeTag("BOTH"), c), ZelHelperObj::kStatic);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(dynamic_cast<const ZelLeafChunk<float>*>(c)->values(), std::vector<float>{1});
    EXPECT_EQ(p.findChunk(0, makeTag("ANIM"), c), ZelHelperObj::kAnimated);
    EXPECT_EQ(ZelHelperObj::getDimension(c), 0);  // code 5 names no component count
    EXPECT_EQ(p.findChunk(0, makeTag("DEEP"), c), ZelHelperObj::kAnimated);
    EXPECT_EQ(p.findChunk(1, makeTag("ANIM"), c), ZelHelperObj::kStatic);
    EXPECT_EQ(c, nullptr);
    p.findChunk(1, makeTag("STAT"), c);
    EXPECT_EQ(ZelHelperObj::getDimension(c), 9);

    const ZelGroupChunk* g = cache.getSample(0, o);
    ASSERT_NE(g, nullptr);
    EXPECT_NE(ZelHelperObj::searchChunk(g, makeTag("GRUP")), nullptr);
    EXPECT_EQ(ZelHelperObj::searchChunk(g, makeTag("DEEP")), nullptr);

    EXPECT_EQ(p.getObjectType(makeTag("STAT")), "double");
    EXPECT_EQ(p.getObjectType(makeTag("ANIM")), "int32");
    EXPECT_EQ(p.getObjectType(makeTag("NONE")), "undef");

    EXPECT_EQ(p.isAnimated(makeTag("ANIM")), ZelHelperObj::kAnimated);
    EXPECT_EQ(p.isAnimated(makeTag("BOTH")), ZelHelperObj::kStatic);
    EXPECT_EQ(p.isAnimated(), ZelHelperObj::kStatic);
    EXPECT_TRUE(ZelHelperObj::isAnimated(static_cast<ZelHelperObj::AnimationState>(2)));
    EXPECT_FALSE(ZelHelperObj::isAnimated(ZelHelperObj::kStatic));
    EXPECT_TRUE(p.objectHas(makeTag("ANIM")));
    EXPECT_FALSE(p.objectHas(makeTag("NONE")));
}

TEST(ZelHelperObj, DimensionCodes) {
    const int expected[17] = {0, 1, 2, 3, 4, 0, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 16};
    for (int code = 0; code <= 16; ++code) {
        ZelLeafChunk<float> leaf(makeTag("POSI"), 0, static_cast<uint8>(code));
        EXPECT_EQ(ZelHelperObj::getDimension(&leaf), expected[code]) << code;
    }
    EXPECT_EQ(ZelHelperObj::getDimension(nullptr), 0);
}

TEST(ZelHelperObj, LeafDataNeedsTheExactType) {
    ZelLeafChunk<float> floats(makeTag("POSI"), std::vector<float>{1, 2});
    ZelLeafChunk<std::string> strings(makeTag("FORM"), std::vector<std::string>{"kOpen"});
    const std::vector<float>* f = nullptr;
    const std::vector<double> other;
    const std::vector<double>* d = &other;
    const std::vector<std::string>* s = nullptr;
    EXPECT_TRUE(Probe::getZelLeafData(&floats, f));
    EXPECT_EQ(f, &floats.values());
    EXPECT_FALSE(Probe::getZelLeafData(&floats, d));
    EXPECT_EQ(d, nullptr);
    EXPECT_TRUE(Probe::getZelLeafData(&strings, s));
    EXPECT_EQ(s->at(0), "kOpen");
    EXPECT_FALSE(Probe::getZelLeafData(nullptr, f));
    EXPECT_EQ(f, nullptr);
    // The header's type code and the class must both agree.
    ZelHeader h = floats.getHeader();
    h.type = kTypeDouble;
    floats.setHeader(h);
    EXPECT_FALSE(Probe::getZelLeafData(&floats, f));
    EXPECT_FALSE(Probe::getZelLeafData(&floats, d));
    ZelChunk plain(ZelHeader(makeTag("POSI"), kTypeFloat, 0));
    EXPECT_FALSE(Probe::getZelLeafData(&plain, f));
}

TEST(ZelHelperObj, AttributeValuesByPointerAndCopy) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int o = b.addObject("obj");
    const int d = b.addAnimatedAttr(o, "d");
    const int i64 = b.addAnimatedAttr(o, "big");
    for (int s = 0; s < 2; ++s) {
        b.addAnimatedValue<double>(s, o, {0.5 + s, 1.5}, 2);
        b.addAnimatedValue<int64>(s, o, {int64(1) << 40});
    }
    const int names = b.addStaticAttr<std::string>(o, "names", {"x", "yz"});
    const int ints = b.addStaticAttr<int>(o, "ints", {4, 5, 6}, 3);
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    Probe p(&cache, o);

    const std::vector<double>* dp = nullptr;
    int dim = 0;
    ASSERT_TRUE(p.getAttrData(1, d, dp, dim));
    EXPECT_EQ(*dp, (std::vector<double>{1.5, 1.5}));
    EXPECT_EQ(dim, 2);
    EXPECT_EQ(dp, &dynamic_cast<const ZelLeafChunk<double>*>(p.getAttrDataChunk(1, d))->values());

    // A float read of double values fails and leaves the caller's vector alone.
    std::vector<float> floats{9, 9};
    const std::vector<float>* fp = &floats;
    EXPECT_FALSE(p.getAttrData(0, d, fp, dim));
    EXPECT_EQ(fp, nullptr);
    EXPECT_FALSE(p.getAttr(0, d, floats, dim));
    EXPECT_EQ(floats, (std::vector<float>{9, 9}));

    std::vector<double> doubles;
    ASSERT_TRUE(p.getAttr(0, d, doubles, dim));
    EXPECT_EQ(doubles, (std::vector<double>{0.5, 1.5}));
    std::vector<int64> big;
    ASSERT_TRUE(p.getAttr(1, i64, big, dim));
    EXPECT_EQ(big, std::vector<int64>{int64(1) << 40});
    EXPECT_EQ(dim, 0);
    std::vector<int> intValues;
    ASSERT_TRUE(p.getAttr(1, ints, intValues, dim));
    EXPECT_EQ(intValues, (std::vector<int>{4, 5, 6}));
    EXPECT_EQ(dim, 3);
    std::vector<std::string> strings;
    ASSERT_TRUE(p.getAttr(0, names, strings));
    EXPECT_EQ(strings, (std::vector<std::string>{"x", "yz"}));

    EXPECT_EQ(p.getAttrDataType(0, d), "double");
    EXPECT_EQ(p.getAttrDataType(0, i64), "int64");
    EXPECT_EQ(p.getAttrDataType(0, names), "cstr");
    // No sample 5: the cache reports the missing "ATRS" group.
    testing::internal::CaptureStderr();
    EXPECT_EQ(p.getAttrDataType(5, d), "undef");
    EXPECT_FALSE(p.getAttr(5, d, doubles, dim));
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "ATRS GROUP chunk missing for object at 0\nATRS GROUP chunk missing for object at 0\n");
}

TEST(ZelHelperObj, SampleChoiceInsideAndAtTheEnds) {
    TempDir dir;
    CacheBuilder b(20, 1, 1);  // sample i at time 1 + i
    buildPowers(b, 20);
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    Probe p(&cache, 0);

    // Between samples 5 and 6: the run starts at 5 for every order.
    Choice c = choose(p, 0, 6.5f);
    EXPECT_TRUE(c.good);
    EXPECT_EQ(c.samples, std::vector<int>{5});
    EXPECT_EQ(c.times, std::vector<float>{6});
    EXPECT_EQ(choose(p, 1, 6.5f).samples, (std::vector<int>{5, 6}));
    EXPECT_EQ(choose(p, 2, 6.5f).samples, (std::vector<int>{5, 6, 7}));
    c = choose(p, 3, 6.5f);
    EXPECT_TRUE(c.good);
    EXPECT_EQ(c.samples, (std::vector<int>{5, 6, 7, 8}));
    EXPECT_EQ(c.times, (std::vector<float>{6, 7, 8, 9}));

    // Near the end the run moves back only while it would pass the last sample (strictly).
    EXPECT_EQ(choose(p, 2, 18.5f).samples, (std::vector<int>{17, 18, 19}));
    EXPECT_EQ(choose(p, 3, 18.5f).samples, (std::vector<int>{16, 17, 18, 19}));
    c = choose(p, 3, 19.5f);
    EXPECT_EQ(c.samples, (std::vector<int>{17, 18, 19, 19}));
    EXPECT_EQ(c.times, (std::vector<float>{18, 19, 20, 20}));
    // Order 4 still fills five entries.
    EXPECT_EQ(choose(p, 4, 6.5f).samples, (std::vector<int>{5, 6, 7, 8, 9}));

    // On a sample (within 0.001): only the first entry is set, the time is kept.
    c = choose(p, 2, 8.0005f);
    EXPECT_FALSE(c.good);
    EXPECT_EQ(c.samples[0], 7);
    EXPECT_EQ(c.times[0], 8.0005f);
    EXPECT_TRUE(choose(p, 1, 8.0011f).good);
    // Before the first sample: all -1 at the asked time.
    c = choose(p, 2, 0.5f);
    EXPECT_FALSE(c.good);
    EXPECT_EQ(c.samples, (std::vector<int>{-1, -1, -1}));
    EXPECT_EQ(c.times, (std::vector<float>{0.5f, 0.5f, 0.5f}));
    // After the last sample: all on the last sample and the last time.
    c = choose(p, 3, 25);
    EXPECT_FALSE(c.good);
    EXPECT_EQ(c.samples, (std::vector<int>{19, 19, 19, 19}));
    EXPECT_EQ(c.times, (std::vector<float>{20, 20, 20, 20}));
}

TEST(ZelHelperObj, NonUniformRunStartsAtTheLaterSample) {
    TempDir dir;
    CacheBuilder b(std::vector<float>{0, 1, 3, 4, 6});
    buildPowers(b, 5);
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    Probe p(&cache, 0);
    Choice c = choose(p, 1, 2);
    EXPECT_TRUE(c.good);
    EXPECT_EQ(c.samples, (std::vector<int>{2, 3}));
    EXPECT_EQ(c.times, (std::vector<float>{3, 4}));
    // So t = (2 - 3) / (4 - 3) = -1: the line through samples 2 and 3, one step before 2.
    ZelInterpolationHints hints;
    std::vector<double> v;
    int dim = 0;
    ASSERT_TRUE(p.getAttrAtTime(2, 0, hints, v, dim));
    EXPECT_EQ(v, (std::vector<double>{1, -1, -11}));
    EXPECT_EQ(p.getTimeFraction(12.25f), 0.25f);
}

TEST(ZelHelperObj, TimeFractionInSampleSteps) {
    TempDir dir;
    CacheBuilder b(5, 10, 2);
    b.addObject("obj");
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    Probe p(&cache, 0);
    EXPECT_EQ(p.getFirstTime(), 10.0f);
    EXPECT_EQ(p.getTimeFraction(12.25f), 0.5f);
    EXPECT_EQ(p.getTimeFraction(11.0f), 0.0f);
    EXPECT_EQ(p.getTimeFraction(9.75f), -0.5f);
}

TEST(ZelHelperObj, AttributeAtTimeBlendsByOrder) {
    TempDir dir;
    CacheBuilder b(20, 1, 1);
    buildPowers(b, 20);
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    Probe p(&cache, 0);
    ZelInterpolationHints hints;
    std::vector<double> v;
    int dim = -1;

    // Samples 5 and 6 hold (5, 25, 125) and (6, 36, 216): linear halfway is their mean.
    hints.order = 1;
    ASSERT_TRUE(p.getAttrAtTime(6.5f, 0, hints, v, dim));
    EXPECT_EQ(v, (std::vector<double>{5.5, 30.5, 170.5}));
    EXPECT_EQ(dim, 3);
    // Quadratic over samples 5, 6, 7 at t = -0.5: the parabola is exact for x and x².
    hints.order = 2;
    ASSERT_TRUE(p.getAttrAtTime(6.5f, 0, hints, v, dim));
    EXPECT_EQ(v, (std::vector<double>{5.5, 30.25, 166}));
    // Catmull-Rom over samples 5..8 at t = -0.5: weights 0.5625, 0.1875, 0.4375, -0.1875.
    hints.order = 3;
    ASSERT_TRUE(p.getAttrAtTime(6.5f, 0, hints, v, dim));
    EXPECT_EQ(v, (std::vector<double>{5.5, 30.25, 164.875}));
    // Order 0 and order 4 take the first chosen sample as it is.
    for (int order : {0, 4}) {
        hints.order = order;
        ASSERT_TRUE(p.getAttrAtTime(6.5f, 0, hints, v, dim));
        EXPECT_EQ(v, (std::vector<double>{5, 25, 125})) << order;
    }
    // On a sample the sample's values come back unchanged, whatever the order.
    hints.order = 3;
    ASSERT_TRUE(p.getAttrAtTime(11.0004f, 0, hints, v, dim));
    EXPECT_EQ(v, (std::vector<double>{10, 100, 1000}));
}

TEST(ZelHelperObj, AttributeAtTimeFailuresAndDegenerateRuns) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int o = b.addObject("obj");
    b.addAnimatedAttr(o, "a");
    b.addAnimatedValue<double>(0, o, {1, 2});
    b.addAnimatedValue<float>(1, o, {3, 4});  // not double: blending can't read it
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    Probe p(&cache, o);
    ZelInterpolationHints hints;
    std::vector<double> v{7};
    int dim = 5;
    EXPECT_FALSE(p.getAttrAtTime(0.5f, 0, hints, v, dim));
    EXPECT_TRUE(v.empty());
    EXPECT_EQ(dim, 0);
    // A later sample shorter than the first is refused rather than read past its end.
    CacheBuilder b3(2, 0, 1);
    const int o3 = b3.addObject("obj");
    b3.addAnimatedAttr(o3, "a");
    b3.addAnimatedValue<double>(0, o3, {1, 2});
    b3.addAnimatedValue<double>(1, o3, {3});
    ZelRoMemCache cache3;
    ASSERT_TRUE(b3.writeAndLoad(dir.file("c3.zel"), cache3));
    hints.order = 1;
    EXPECT_FALSE(Probe(&cache3, o3).getAttrAtTime(0.5f, 0, hints, v, dim));
    EXPECT_TRUE(v.empty());
    // Fewer samples than the order needs: the run repeats the last sample and t is not finite.
    CacheBuilder b2(2, 0, 1);
    buildPowers(b2, 2);
    ZelRoMemCache cache2;
    ASSERT_TRUE(b2.writeAndLoad(dir.file("c2.zel"), cache2));
    Probe p2(&cache2, 0);
    EXPECT_EQ(choose(p2, 2, 0.5f).samples, (std::vector<int>{0, 1, 1}));
    hints.order = 2;
    ASSERT_TRUE(p2.getAttrAtTime(0.5f, 0, hints, v, dim));
    EXPECT_FALSE(std::isfinite(v[1]));
}

TEST(ZelHelperObj, BoundsFromStoredBoxes) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int fbox = b.addObject("fbox");
    b.addStatic<float>(fbox, "BBOX", {-1, 1, -2, 2, -3, 3});
    const int dbox = b.addObject("dbox");
    b.addSampled<double>(1, dbox, "BBOX", {-1, -2, -3, 1, 2, 3});
    const int ibox = b.addObject("ibox");
    b.addStatic<int>(ibox, "BBOX", {0, 0, 0, 0, 0, 0});
    b.addStatic<float>(ibox, "POSI", {0, 0, 0});
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    ZelHelperObj::AnimationState state = ZelHelperObj::kAnimated;
    float box[6];

    Probe f(&cache, fbox);
    ASSERT_TRUE(f.getBounds(0, box, state, true));
    EXPECT_EQ(std::vector<float>(box, box + 6), (std::vector<float>{-1, -2, -3, 1, 2, 3}));
    EXPECT_EQ(state, ZelHelperObj::kStatic);
    ASSERT_TRUE(f.getBounds(0, box, state));
    EXPECT_EQ(std::vector<float>(box, box + 6), (std::vector<float>{-1, 1, -2, 2, -3, 3}));

    Probe d(&cache, dbox);
    std::vector<float> v;
    ASSERT_TRUE(d.getBounds(1, v, state));
    EXPECT_EQ(v, (std::vector<float>{-1, 1, -2, 2, -3, 3}));
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
    ASSERT_TRUE(d.getBounds(1, v, state, true));
    EXPECT_EQ(v, (std::vector<float>{-1, -2, -3, 1, 2, 3}));
    // Sample 0 has neither a box nor positions.
    EXPECT_FALSE(d.getBounds(0, v, state));

    // A box of another element type fails even though positions exist.
    EXPECT_FALSE(Probe(&cache, ibox).getBounds(0, box, state));
}

TEST(ZelHelperObj, BoundsComputedFromPositions) {
    TempDir dir;
    CacheBuilder b(1, 0, 1);
    const int p3 = b.addObject("p3");
    b.addSampled<float>(0, p3, "POSI", {0, 0, 0, 2, -1, 5, 1, 3, -4}, 3);
    const int p4 = b.addObject("p4");
    b.addStatic<double>(p4, "POSI", {0, 0, 0, 100, 2, -1, 5, -100, 1, 3, -4, 50}, 4);
    const int few = b.addObject("few");
    b.addStatic<float>(few, "POSI", {1, 2});
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    ZelHelperObj::AnimationState state = ZelHelperObj::kStatic;
    std::vector<float> v;

    ASSERT_TRUE(Probe(&cache, p3).getBounds(0, v, state));
    EXPECT_EQ(v, (std::vector<float>{0, 2, -1, 3, -4, 5}));
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
    ASSERT_TRUE(Probe(&cache, p3).getBounds(0, v, state, true));
    EXPECT_EQ(v, (std::vector<float>{0, -1, -4, 2, 3, 5}));
    // The weights of 4-component points never enter the box.
    ASSERT_TRUE(Probe(&cache, p4).getBounds(0, v, state));
    EXPECT_EQ(v, (std::vector<float>{0, 2, -1, 3, -4, 5}));
    EXPECT_EQ(state, ZelHelperObj::kStatic);
    // Fewer than three values: true, box unwritten.
    float box[6] = {7, 7, 7, 7, 7, 7};
    ASSERT_TRUE(Probe(&cache, few).getBounds(0, box, state));
    EXPECT_EQ(std::vector<float>(box, box + 6), std::vector<float>(6, 7));
}

namespace {

// Calls destroy() through a pointer that the compiler cannot see is null. The sanitizer's own
// null-call check is off here: the call through null is the point of the test.
__attribute__((noinline, no_sanitize("null", "vptr"))) void destroyThrough(
    ZelHelperObj* volatile* obj) {
    (*obj)->destroy();
}

}  // namespace

TEST(ZelHelperObj, DestroyThroughNullDoesNothing) {
    ZelHelperObj* volatile obj = nullptr;
    destroyThrough(&obj);
    SUCCEED();
}

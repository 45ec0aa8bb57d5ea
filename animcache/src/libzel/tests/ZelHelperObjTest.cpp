#include "ZelHelperObj.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "support/HelperFixture.h"

using namespace Zel;
using namespace ZelTest;

namespace {

// Opens the protected services to the tests.
class Probe : public ZelHelperObj {
  public:
    Probe(LoadedCache& c, int object) : ZelHelperObj(&c.cache, object) {}
    using ZelHelperObj::getEvalTimeAndSampleIndices;
    using ZelHelperObj::getZelLeafData;
};

// An object "obj" whose animated double attribute holds (i, i², i³) at sample i, 0 <= i < n.
int addPowers(CacheBuilder& b, int n) {
    const int o = b.addObject("obj");
    b.addAnimatedAttr(o, "a");
    for (int i = 0; i < n; ++i) {
        const double x = i;
        b.addAnimatedValue<double>(i, o, {x, x * x, x * x * x}, 3);
    }
    return o;
}

// "|root|grp|shape": animated "d" ((0.5 + s, 1.5), dimension 2) and "big", static "names" and
// "ints" (dimension 3); "BOTH" in the definition and sample 0, "ANIM" and "GRUP" holding "DEEP" in
// sample 0. "plain" has nothing; "grp|" ends in a bar.
enum { kShape, kPlain, kSlash, kD = 0, kBig = 1, kNames = 2, kInts = 3 };
std::unique_ptr<LoadedCache> loadObjects() {
    CacheBuilder b(2, 0, 1);
    for (const char* name : {"|root|grp|shape", "plain", "grp|"}) {
        b.addObject(name);
    }
    b.addAnimatedAttr(kShape, "d");
    b.addAnimatedAttr(kShape, "big");
    for (int s = 0; s < 2; ++s) {
        b.addAnimatedValue<double>(s, kShape, {0.5 + s, 1.5}, 2);
        b.addAnimatedValue<int64>(s, kShape, {int64(1) << 40});
    }
    b.addStaticAttr<std::string>(kShape, "names", {"x", "yz"});
    b.addStaticAttr<int>(kShape, "ints", {4, 5, 6}, 3);
    b.addStatic<float>(kShape, "BOTH", {1});
    b.addSampled<float>(0, kShape, "BOTH", {5});
    b.addSampled<int>(0, kShape, "ANIM", {3});
    auto* nested = new ZelGroupChunk(makeTag("GRUP"));
    nested->addChild(new ZelLeafChunk<int>(makeTag("DEEP"), std::vector<int>{4}));
    b.sampleGroup(0, kShape).addChild(nested);
    return std::make_unique<LoadedCache>(b);
}

}  // namespace

TEST(ZelHelperObj, NamesAttributesAndChunkLookup) {
    const auto c = loadObjects();
    Probe p(*c, kShape);
    const Probe plain(*c, kPlain);
    const Probe outside(*c, 9);
    EXPECT_EQ(p.getLeafName() + "," + plain.getLeafName(), "shape,plain");
    EXPECT_EQ(Probe(*c, kSlash).getLeafName() + outside.getName(), "");
    // Animated attributes come first; an index past the list meets the definition's check.
    EXPECT_EQ(p.getNumAttrs(), 4);
    EXPECT_EQ(p.findAttr("ints"), kInts);
    EXPECT_EQ(p.getAttrName(kNames) + ":" + p.getAttrType(kNames), "names:t");
    EXPECT_EQ(p.isAttrAnimated(kBig), kAnimated);
    EXPECT_EQ(p.isAttrAnimated(kNames), kStatic);
    EXPECT_THROW(p.isAttrAnimated(4), bool);
    // Without an attribute definition, and outside the cache.
    EXPECT_EQ(plain.getNumAttrs(), 0);
    EXPECT_EQ(outside.getNumAttrs(), 0);
    EXPECT_EQ(plain.findAttr("ints"), -1);
    EXPECT_EQ(plain.isAttrAnimated(0), kStatic);
    Probe copy(*c, kPlain);
    copy = p;
    EXPECT_EQ(copy.getName(), "|root|grp|shape");

    // The definition wins over the sample; the cache searches the sample's nested groups, but
    // searchChunk only the direct children.
    const ZelChunk* chunk = nullptr;
    EXPECT_EQ(p.findChunk(0, makeTag("BOTH"), chunk), kStatic);
    ASSERT_NE(chunk, nullptr);
    EXPECT_EQ(dynamic_cast<const ZelLeafChunk<float>*>(chunk)->values(), Floats{1});
    EXPECT_EQ(p.findChunk(0, makeTag("DEEP"), chunk), kAnimated);
    EXPECT_EQ(p.findChunk(1, makeTag("ANIM"), chunk), kStatic);
    EXPECT_EQ(chunk, nullptr);
    const ZelGroupChunk* g = c->cache.getSample(0, kShape);
    ASSERT_NE(g, nullptr);
    EXPECT_NE(ZelHelperObj::searchChunk(g, makeTag("ATRS")), nullptr);  // the first child
    EXPECT_EQ(ZelHelperObj::searchChunk(g, makeTag("DEEP")), nullptr);
    EXPECT_EQ(p.getObjectType(makeTag("ANIM")), "int32");
    EXPECT_EQ(p.getObjectType(makeTag("NONE")), "undef");
    EXPECT_EQ(p.isAnimated(makeTag("ANIM")), kAnimated);
    EXPECT_TRUE(p.objectHas(makeTag("ANIM")));
}

TEST(ZelHelperObj, AttributeValuesByPointerAndCopy) {
    const auto c = loadObjects();
    Probe p(*c, kShape);
    const Doubles* dp = nullptr;
    int dim = 0;
    ASSERT_TRUE(p.getAttrData(1, kD, dp, dim));
    EXPECT_EQ(*dp, (Doubles{1.5, 1.5}));
    EXPECT_EQ(dim, 2);
    // A float read of double values fails and leaves the caller's vector alone.
    Floats floats{9, 9};
    const Floats* fp = &floats;
    EXPECT_FALSE(p.getAttrData(0, kD, fp, dim));
    EXPECT_EQ(fp, nullptr);
    EXPECT_FALSE(p.getAttr(0, kD, floats, dim));
    EXPECT_EQ(floats, (Floats{9, 9}));

    Doubles doubles;
    std::vector<int64> big;
    Ints iv;
    Strings sv;
    ASSERT_TRUE(p.getAttr(0, kD, doubles, dim) && p.getAttr(1, kBig, big, dim) &&
                p.getAttr(0, kNames, sv) && p.getAttr(1, kInts, iv, dim));
    EXPECT_EQ(doubles, (Doubles{0.5, 1.5}));
    EXPECT_EQ(big, std::vector<int64>{int64(1) << 40});
    EXPECT_EQ(sv, (Strings{"x", "yz"}));
    EXPECT_EQ(iv, (Ints{4, 5, 6}));
    EXPECT_EQ(dim, 3);
    EXPECT_EQ(p.getAttrDataType(0, kBig), "int64");
    EXPECT_EQ(p.getAttrDataType(0, kNames), "cstr");
    // No sample 5: the cache reports the missing "ATRS" group once a read.
    testing::internal::CaptureStderr();
    EXPECT_EQ(p.getAttrDataType(5, kD), "undef");
    EXPECT_FALSE(p.getAttr(5, kD, doubles, dim));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), kMissingAtrs + kMissingAtrs);
}

TEST(ZelHelperObj, DimensionCodesAndExactLeafTypes) {
    const int expected[17] = {0, 1, 2, 3, 4, 0, 0, 0, 0, 9, 0, 0, 0, 0, 0, 0, 16};
    for (int code = 0; code <= 16; ++code) {
        ZelLeafChunk<float> leaf(makeTag("POSI"), 0, static_cast<uint8>(code));
        EXPECT_EQ(ZelHelperObj::getDimension(&leaf), expected[code]) << code;
    }
    EXPECT_EQ(ZelHelperObj::getDimension(nullptr), 0);

    // The header's type code and the class must both be exactly T; a failure nulls the pointer.
    ZelLeafChunk<float> floats(makeTag("POSI"), Floats{1, 2});
    const Floats* f = nullptr;
    const Doubles other;
    const Doubles* d = &other;
    EXPECT_TRUE(Probe::getZelLeafData(&floats, f));
    EXPECT_EQ(f, &floats.values());
    EXPECT_FALSE(Probe::getZelLeafData(&floats, d));
    EXPECT_EQ(d, nullptr);
    EXPECT_FALSE(Probe::getZelLeafData(nullptr, f));
    EXPECT_EQ(f, nullptr);
    ZelHeader h = floats.getHeader();
    h.type = kTypeDouble;
    floats.setHeader(h);
    EXPECT_FALSE(Probe::getZelLeafData(&floats, f));
    EXPECT_FALSE(Probe::getZelLeafData(&floats, d));
    ZelChunk plain(ZelHeader(makeTag("POSI"), kTypeFloat, 0));
    EXPECT_FALSE(Probe::getZelLeafData(&plain, f));
}

TEST(ZelHelperObj, SampleChoiceAndAttributeBlends) {
    CacheBuilder b(20, 1, 1);  // sample i at time 1 + i
    addPowers(b, 20);
    const int mixed = b.addObject("mixed");  // a float later sample can't be blended
    const int shorter = b.addObject("shorter");
    for (int o : {mixed, shorter}) {
        b.addAnimatedAttr(o, "a");
        b.addAnimatedValue<double>(0, o, {1, 2});
    }
    b.addAnimatedValue<float>(1, mixed, {3, 4});
    b.addAnimatedValue<double>(1, shorter, {3});  // refused rather than read past its end
    LoadedCache c(b);
    const Probe p(c, 0);
    const struct {
        int order;
        float time;
        bool good;
        std::vector<int> samples;
        Floats times;
    } rows[] = {
        // Between samples 5 and 6 the run starts at 5; order 4 still fills five entries.
        {0, 6.5f, true, {5}, {6}},
        {1, 6.5f, true, {5, 6}, {6, 7}},
        {4, 6.5f, true, {5, 6, 7, 8, 9}, {6, 7, 8, 9, 10}},
        {1, 8.0011f, true, {7, 8}, {8, 9}},
        // Near the end the run moves back only while it would pass the last sample (strictly).
        {2, 18.5f, true, {17, 18, 19}, {18, 19, 20}},
        {3, 18.5f, true, {16, 17, 18, 19}, {17, 18, 19, 20}},
        {3, 19.5f, true, {17, 18, 19, 19}, {18, 19, 20, 20}},
        // On a sample (within 0.001) only the first entry is set, to the asked time.
        {2, 8.0005f, false, {7, 99, 99}, {8.0005f, 99, 99}},
        // Before the first sample all -1 at the asked time; after the last all on the last.
        {2, 0.5f, false, {-1, -1, -1}, {0.5f, 0.5f, 0.5f}},
        {3, 25, false, {19, 19, 19, 19}, {20, 20, 20, 20}},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << "order " << r.order << " at " << r.time);
        ZelInterpolationHints hints;
        hints.order = r.order;
        std::vector<int> samples(r.samples.size(), 99);
        Floats times(r.times.size(), 99);
        EXPECT_EQ(p.getEvalTimeAndSampleIndices(r.time, hints, samples, times), r.good);
        EXPECT_EQ(samples, r.samples);
        EXPECT_EQ(times, r.times);
    }

    // Samples 5..8 hold (i, i², i³); t = -0.5 over the middle interval for orders 2 and 3.
    const struct {
        int order;
        float time;
        Doubles expected;
    } blends[] = {
        {1, 6.5f, {5.5, 30.5, 170.5}},     // the mean of samples 5 and 6
        {2, 6.5f, {5.5, 30.25, 166}},      // the parabola is exact for i and i²
        {3, 6.5f, {5.5, 30.25, 164.875}},  // weights 0.5625, 0.1875, 0.4375, -0.1875
        {0, 6.5f, {5, 25, 125}},           // orders 0 and 4 take the first chosen sample
        {4, 6.5f, {5, 25, 125}},
        {3, 11.0004f, {10, 100, 1000}},  // on a sample: that sample, whatever the order
    };
    ZelInterpolationHints hints;
    Doubles v;
    int dim = -1;
    for (const auto& r : blends) {
        hints.order = r.order;
        ASSERT_TRUE(p.getAttrAtTime(r.time, 0, hints, v, dim)) << r.order;
        EXPECT_EQ(v, r.expected) << r.order;
        EXPECT_EQ(dim, 3);
    }
    // The arithmetic is double, from the single-precision t widened: not float sums widened.
    hints.order = 1;
    ASSERT_TRUE(p.getAttrAtTime(6.1f, 0, hints, v, dim));
    const double t = (6.1f - 6.0f) / (7.0f - 6.0f);
    EXPECT_EQ(v, (Doubles{(1 - t) * 5 + t * 6, (1 - t) * 25 + t * 36, (1 - t) * 125 + t * 216}));
    EXPECT_NE(v[2], double((1 - float(t)) * 125 + float(t) * 216));
    // So are the weights: t² of the quadratic is squared in double.
    hints.order = 2;
    ASSERT_TRUE(p.getAttrAtTime(6.1f, 0, hints, v, dim));
    const double q = (6.1f - 7.0f) / (8.0f - 7.0f);
    EXPECT_EQ(v[1], 0.5 * 2 * (q * q) + 0.5 * 24 * q + 36);
    EXPECT_NE(v[1], 0.5 * 2 * double(float(q) * float(q)) + 0.5 * 24 * q + 36);
    // A failed read leaves the output empty and the dimension 0; before the first sample
    // there is none to read.
    hints.order = 1;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(p.getAttrAtTime(0.5f, 0, hints, v, dim));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), kMissingAtrs);
    EXPECT_EQ(dim, 0);
    for (int o : {mixed, shorter}) {
        v = {7};
        dim = 5;
        EXPECT_FALSE(Probe(c, o).getAttrAtTime(1.5f, 0, hints, v, dim)) << o;
        EXPECT_TRUE(v.empty());
        EXPECT_EQ(dim, 0);
    }
}

TEST(ZelHelperObj, NonUniformRunsAndTimeFractions) {
    CacheBuilder b(Floats{0, 1, 3, 4, 6});
    addPowers(b, 5);
    LoadedCache c(b);
    CacheBuilder u(2, 10, 2);  // times 10 and 10.5
    u.addObject("obj");
    LoadedCache uc(u);
    // At time 2 the run is samples 2 and 3 (times 3 and 4), so t = (2 - 3) / (4 - 3) = -1: the
    // line through samples 2 and 3, one step before 2.
    const Probe p(c, 0);
    ZelInterpolationHints hints;
    Doubles v;
    int dim = 0;
    ASSERT_TRUE(p.getAttrAtTime(2, 0, hints, v, dim));
    EXPECT_EQ(v, (Doubles{1, -1, -11}));
    // Without a rate the fraction is that of the time itself; with one, of the sample steps from
    // the first time, sign kept.
    EXPECT_EQ(p.getTimeFraction(12.25f), 0.25f);
    const Probe q(uc, 0);
    EXPECT_EQ(q.getFirstTime(), 10.0f);
    EXPECT_EQ(q.getTimeFraction(12.25f), 0.5f);
    EXPECT_EQ(q.getTimeFraction(9.75f), -0.5f);
}

TEST(ZelHelperObj, BoundsFromStoredBoxesOrPositions) {
    CacheBuilder b(2, 0, 1);
    const int fbox = b.addObject("fbox");  // float box: default layout
    b.addStatic<float>(fbox, "BBOX", {-1, 1, -2, 2, -3, 3});
    const int dbox = b.addObject("dbox");  // double box: point layout
    b.addSampled<double>(1, dbox, "BBOX", {-1, -2, -3, 1, 2, 3});
    const int ibox = b.addObject("ibox");  // a box of another type fails despite positions
    b.addStatic<int>(ibox, "BBOX", {0, 0, 0, 0, 0, 0});
    b.addStatic<float>(ibox, "POSI", {0, 0, 0});
    const int p3 = b.addObject("p3");
    b.addSampled<float>(0, p3, "POSI", {0, 0, 0, 2, -1, 5, 1, 3, -4}, 3);
    const int p4 = b.addObject("p4");  // the weights never enter the box
    b.addStatic<double>(p4, "POSI", {0, 0, 0, 100, 2, -1, 5, -100, 1, 3, -4, 50}, 4);
    const int few = b.addObject("few");  // fewer than three values: true, box unwritten
    b.addStatic<float>(few, "POSI", {1, 2});
    LoadedCache c(b);
    // Both forms, the state first set to the opposite of the expected one.
    auto expect = [&c](int o, int sample, bool pointOrder, bool ok, const Floats& box, State st) {
        SCOPED_TRACE(testing::Message() << "object " << o << " pointOrder " << pointOrder);
        float array[6] = {7, 7, 7, 7, 7, 7};
        State state = st == kStatic ? kAnimated : kStatic;
        const Probe p(c, o);
        EXPECT_EQ(p.getBounds(sample, array, state, pointOrder), ok);
        EXPECT_EQ(Floats(array, array + 6), box);
        EXPECT_EQ(state, st);
        Floats v;
        EXPECT_EQ(p.getBounds(sample, v, state, pointOrder), ok);
        EXPECT_TRUE(!ok || box == Floats(6, 7) || v == box);
    };
    const Floats byAxis{-1, 1, -2, 2, -3, 3};
    const Floats byPoint{-1, -2, -3, 1, 2, 3};
    expect(fbox, 0, true, true, byPoint, kStatic);
    expect(fbox, 0, false, true, byAxis, kStatic);
    expect(dbox, 1, false, true, byAxis, kAnimated);
    expect(dbox, 1, true, true, byPoint, kAnimated);
    expect(ibox, 0, false, false, Floats(6, 7), kStatic);
    expect(p3, 0, true, true, {0, -1, -4, 2, 3, 5}, kAnimated);
    expect(p4, 0, false, true, {0, 2, -1, 3, -4, 5}, kStatic);
    expect(few, 0, false, true, Floats(6, 7), kStatic);
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

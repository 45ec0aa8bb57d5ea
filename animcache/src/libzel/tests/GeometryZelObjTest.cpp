#include "GeometryZelObj.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/HelperFixture.h"

using namespace Zel;
using ZelTest::CacheBuilder;
using ZelTest::HelperPtr;
using ZelTest::LoadedCache;

namespace {

using State = ZelHelperObj::AnimationState;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;
constexpr State kStatic = ZelHelperObj::kStatic;
constexpr State kAnimated = ZelHelperObj::kAnimated;

const Floats frac0{0.1f, 1.3f, 1000.7f};
const Floats frac1{0.7f, 2.9f, 3.3f};

// The objects of the test cache, by index; the five kDims objects have static float positions
// with the dimension codes 2, 16, 4, 0 and 1.
enum { kFlt, kDbl, kFrac, kShorter, kLonger, kInts, kPrefFloat, kPrefDouble, kNoPref, kDims };

// Samples i = 0..5 at times 10 + i/2 (rate 2). "flt" has float positions (i, 2i, i²), dimension
// 3; "dbl" the same as double with a weight of 1, dimension 4; "frac" frac0 and frac1 at samples
// 2 and 3; "shorter" has fewer values at sample 1 than at 0, "longer" more.
std::unique_ptr<LoadedCache> load() {
    CacheBuilder b(6, 10, 2);
    for (const char* name :
         {"flt", "dbl", "frac", "shorter", "longer", "ints", "prefFloat", "prefDouble", "noPref"}) {
        b.addObject(name);
    }
    for (int i = 0; i < 6; ++i) {
        const float x = static_cast<float>(i);
        b.addSampled<float>(i, kFlt, "POSI", {x, 2 * x, x * x}, 3);
        b.addSampled<double>(i, kDbl, "POSI", {x, 2.0 * x, x * x, 1}, 4);
    }
    for (int i : {0, 2, 3}) {  // the factory looks at the first sample
        b.addSampled<float>(i, kFrac, "POSI", i == 3 ? frac1 : frac0, 3);
    }
    b.addSampled<float>(0, kShorter, "POSI", {0, 0, 0, 1, 1, 1}, 3);
    b.addSampled<float>(1, kShorter, "POSI", {2, 2, 2}, 3);
    b.addSampled<float>(0, kLonger, "POSI", {2, 2, 2}, 3);
    b.addSampled<float>(1, kLonger, "POSI", {0, 0, 0, 1, 1, 1}, 3);
    b.addStatic<int>(kInts, "POSI", {1, 2, 3}, 3);
    for (int o : {kPrefFloat, kPrefDouble, kNoPref}) {
        b.addStatic<float>(o, "POSI", {0, 0, 0});
    }
    // Only the first rest-pose attribute counts, whatever its type.
    b.addStaticAttr<int>(kPrefFloat, "other", {1});
    b.addStaticAttr<float>(kPrefFloat, "rmanP__Pref", {1, 2, 3}, 0);
    b.addStaticAttr<double>(kPrefDouble, "vorn_Pref", {4, 5}, 2);
    b.addStaticAttr<float>(kPrefDouble, "rmanP__Pref", {9, 9}, 2);
    for (uint8 code : {2, 16, 4, 0, 1}) {
        b.addStatic<float>(b.addObject("dims"), "POSI", {1, 2, 3, 4}, code);
    }
    return std::make_unique<LoadedCache>(b);
}

}  // namespace

TEST(GeometryZelObj, PositionPointersNeedTheExactTypeCopiesConvert) {
    const auto c = load();
    ASSERT_TRUE(c->loaded);
    const HelperPtr<GeometryZelObj> flt = c->get<GeometryZelObj>(kFlt);
    const HelperPtr<GeometryZelObj> dbl = c->get<GeometryZelObj>(kDbl);
    ASSERT_TRUE(flt && dbl);
    const Floats* fp = nullptr;
    const Doubles* dp = nullptr;
    State state = kStatic;
    int dim = 0;
    ASSERT_TRUE(flt->getPositionData(2, fp, state, dim));
    EXPECT_EQ(*fp, (Floats{2, 4, 4}));
    EXPECT_EQ(state, kAnimated);
    EXPECT_EQ(dim, 3);
    EXPECT_FALSE(flt->getPositionData(2, dp, state, dim));
    EXPECT_EQ(dp, nullptr);
    EXPECT_EQ(state, kStatic);
    EXPECT_FALSE(dbl->getPositionData(2, fp, state, dim));
    EXPECT_EQ(fp, nullptr);

    Floats f;
    ASSERT_TRUE(dbl->getPosition(3, f, state, dim));
    EXPECT_EQ(f, (Floats{3, 6, 9, 1}));
    EXPECT_EQ(dim, 4);
    EXPECT_EQ(state, kAnimated);
    Doubles d{5};
    ASSERT_TRUE(flt->getPosition(3, d, state, dim));
    EXPECT_EQ(d, (Doubles{3, 6, 9}));
    EXPECT_FALSE(flt->getPosition(9, d, state, dim));  // nothing at sample 9: left alone
    EXPECT_EQ(d, (Doubles{3, 6, 9}));

    // Dimension codes other than 3 and 4 read as 3.
    const int expected[] = {3, 3, 4, 3, 3};
    for (int k = 0; k < 5; ++k) {
        state = kAnimated;
        ASSERT_TRUE(c->get<GeometryZelObj>(kDims + k)->getPositionData(0, fp, state, dim));
        EXPECT_EQ(dim, expected[k]) << k;
        EXPECT_EQ(state, kStatic);
    }
    // int32 positions are neither float nor double: no copy, but the dimension is already set.
    state = kAnimated;
    dim = 0;
    d.clear();
    EXPECT_FALSE(c->get<GeometryZelObj>(kInts)->getPosition(0, d, state, dim));
    EXPECT_EQ(dim, 3);
    EXPECT_EQ(state, kAnimated);
    EXPECT_TRUE(d.empty());
}

TEST(GeometryZelObj, PositionsAtTimeBlendFloatSamplesOnly) {
    const auto c = load();
    ASSERT_TRUE(c->loaded);
    const HelperPtr<GeometryZelObj> flt = c->get<GeometryZelObj>(kFlt);
    const HelperPtr<GeometryZelObj> dbl = c->get<GeometryZelObj>(kDbl);
    ASSERT_TRUE(flt && dbl);
    ZelInterpolationHints hints;
    Floats f;
    Doubles d;
    State state = kStatic;
    int dim = 0;
    // Both variants: float results, widened for double.
    const struct {
        int order;
        float time;
        Floats expected;
    } rows[] = {
        {0, 11.0008f, {2, 4, 4}},  // within 0.001 of sample 2: that sample, whatever the order
        {3, 11.0008f, {2, 4, 4}},
        {1, 11.25f, {2.5f, 5, 6.5f}},   // halfway between samples 2 and 3: the mean
        {2, 11.25f, {2.5f, 5, 6.25f}},  // over samples 2, 3, 4 (t = -0.5): exact for i and i²
        {3, 11.25f, {2.5f, 5, 6.25f}},  // over samples 2..5
        // Order 4 copies the run's first sample; five samples from 2 would pass the end of the
        // cache, so that run starts at 1.
        {4, 11.25f, {1, 2, 1}},
        {4, 10.25f, {0, 0, 0}},
    };
    for (const auto& r : rows) {
        hints.order = r.order;
        ASSERT_TRUE(flt->getPositionAtTime(r.time, hints, f, state, dim)) << r.order;
        EXPECT_EQ(f, r.expected) << r.order << " at " << r.time;
        EXPECT_EQ(state, kAnimated);
        EXPECT_EQ(dim, 3);
        ASSERT_TRUE(flt->getPositionAtTime(r.time, hints, d, state, dim)) << r.order;
        EXPECT_EQ(d, Doubles(r.expected.begin(), r.expected.end())) << r.order;
    }
    // A limit of one sample evicts each sample of a run as the next one is read: the blend
    // still sees every array (the sanitizer build catches a read of an evicted one).
    c->cache.setMaxSamples(1);
    for (const auto& r : rows) {
        hints.order = r.order;
        ASSERT_TRUE(flt->getPositionAtTime(r.time, hints, f, state, dim)) << r.order;
        EXPECT_EQ(f, r.expected) << r.order << " at " << r.time << " under a limit";
    }
    c->cache.setMaxSamples(0);
    // The double variant sums in float too: its results are the float ones widened.
    hints.order = 1;
    const HelperPtr<GeometryZelObj> frac = c->get<GeometryZelObj>(kFrac);
    ASSERT_TRUE(frac->getPositionAtTime(11.3f, hints, f, state, dim));
    ASSERT_TRUE(frac->getPositionAtTime(11.3f, hints, d, state, dim));
    const float t = (11.3f - 11.0f) / 0.5f;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(f[i], (1 - t) * frac0[i] + t * frac1[i]) << i;
        EXPECT_EQ(d[i], double(f[i])) << i;
    }
    EXPECT_NE(d[2], double(1 - t) * frac0[2] + double(t) * frac1[2]);

    // Before the first sample there is nothing to read; outputs are reset.
    EXPECT_FALSE(flt->getPositionAtTime(9, hints, f, state, dim));
    EXPECT_TRUE(f.empty());
    EXPECT_EQ(state, kStatic);
    EXPECT_EQ(dim, 0);
    // Double positions can't be blended, only copied at a sample or at the ends.
    d = {1};
    f = {1};
    EXPECT_FALSE(dbl->getPositionAtTime(11.25f, hints, f, state, dim));
    EXPECT_FALSE(dbl->getPositionAtTime(11.25f, hints, d, state, dim));
    EXPECT_TRUE(f.empty() && d.empty());
    ASSERT_TRUE(dbl->getPositionAtTime(11.5f, hints, f, state, dim));
    EXPECT_EQ(f, (Floats{3, 6, 9, 1}));
    EXPECT_EQ(dim, 4);
    ASSERT_TRUE(dbl->getPositionAtTime(40, hints, d, state, dim));
    EXPECT_EQ(d, (Doubles{5, 10, 25, 1}));
    // A later sample shorter than the first is refused; a longer one is read to the first's end.
    EXPECT_FALSE(c->get<GeometryZelObj>(kShorter)->getPositionAtTime(10.25f, hints, f, state, dim));
    EXPECT_TRUE(f.empty());
    ASSERT_TRUE(c->get<GeometryZelObj>(kLonger)->getPositionAtTime(10.25f, hints, f, state, dim));
    EXPECT_EQ(f, (Floats{1, 1, 1}));
}

TEST(GeometryZelObj, RestPoseFromTheFirstPrefAttribute) {
    const auto c = load();
    ASSERT_TRUE(c->loaded);
    HelperPtr<GeometryZelObj> g = c->get<GeometryZelObj>(kPrefFloat);
    const Doubles* dp = nullptr;
    const Floats* fp = nullptr;
    int dim = -1;
    EXPECT_FALSE(g->getPrefData(dp, dim));
    EXPECT_EQ(dim, 0);
    ASSERT_TRUE(g->getPrefData(fp, dim));
    EXPECT_EQ(*fp, (Floats{1, 2, 3}));
    EXPECT_EQ(dim, 3);  // code 0 reads as 3

    // The first rest-pose attribute decides, even when a later one has the asked type.
    g = c->get<GeometryZelObj>(kPrefDouble);
    ASSERT_TRUE(g->getPrefData(dp, dim));
    EXPECT_EQ(*dp, (Doubles{4, 5}));
    EXPECT_EQ(dim, 2);
    EXPECT_FALSE(g->getPrefData(fp, dim));
    EXPECT_EQ(fp, nullptr);
    EXPECT_FALSE(c->get<GeometryZelObj>(kNoPref)->getPrefData(fp, dim));
}

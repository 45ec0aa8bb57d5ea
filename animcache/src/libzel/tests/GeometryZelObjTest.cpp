#include "GeometryZelObj.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "support/HelperFixture.h"

using namespace Zel;
using namespace ZelTest;

namespace {

const Floats frac0{0.1f, 1.3f, 1000.7f};
const Floats frac1{0.7f, 2.9f, 3.3f};

enum { kFlt, kDbl, kFrac, kInts, kPrefFloat, kPrefDouble };

// Samples i = 0..5 at times 10 + i/2 (rate 2). "flt" has float positions (i, 2i, i²), dimension
// 3; "dbl" the same as double with a weight of 1, dimension 4; "frac" frac0 and frac1 at samples
// 2 and 3, dimension code 16; "ints" int32 positions, dimension code 2. "prefFloat" and
// "prefDouble" have a rest pose: only the first rest-pose attribute counts, whatever its type.
std::unique_ptr<LoadedCache> load() {
    CacheBuilder b(6, 10, 2);
    for (const char* name : {"flt", "dbl", "frac", "ints", "prefFloat", "prefDouble"}) {
        b.addObject(name);
    }
    for (int i = 0; i < 6; ++i) {
        const float x = static_cast<float>(i);
        b.addSampled<float>(i, kFlt, "POSI", {x, 2 * x, x * x}, 3);
        b.addSampled<double>(i, kDbl, "POSI", {x, 2.0 * x, x * x, 1}, 4);
    }
    for (int i : {0, 2, 3}) {  // the factory looks at the first sample
        b.addSampled<float>(i, kFrac, "POSI", i == 3 ? frac1 : frac0, 16);
    }
    b.addStatic<int>(kInts, "POSI", {1, 2, 3}, 2);
    b.addStaticAttr<int>(kPrefFloat, "other", {1});
    b.addStaticAttr<float>(kPrefFloat, "rmanP__Pref", {1, 2, 3}, 0);
    b.addStaticAttr<double>(kPrefDouble, "vorn_Pref", {4, 5}, 2);
    b.addStaticAttr<float>(kPrefDouble, "rmanP__Pref", {9, 9}, 2);
    for (int o : {kPrefFloat, kPrefDouble}) {
        b.addStatic<float>(o, "POSI", {0, 0, 0});
    }
    return std::make_unique<LoadedCache>(b);
}

}  // namespace

TEST(GeometryZelObj, PointersNeedTheExactTypeCopiesConvertRestPoseFromTheFirstPrefAttribute) {
    const auto c = load();
    const HelperPtr<GeometryZelObj> flt = c->get<GeometryZelObj>(kFlt);
    const HelperPtr<GeometryZelObj> dbl = c->get<GeometryZelObj>(kDbl);
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
    ASSERT_TRUE(dbl->getPositionData(2, dp, state, dim));
    EXPECT_EQ(*dp, (Doubles{2, 4, 4, 1}));
    EXPECT_EQ(dim, 4);
    // Dimension codes other than 3 and 4 read as 3.
    ASSERT_TRUE(c->get<GeometryZelObj>(kFrac)->getPositionData(0, fp, state, dim));
    EXPECT_EQ(dim, 3);

    Floats f;
    ASSERT_TRUE(dbl->getPosition(3, f, state, dim));
    EXPECT_EQ(f, (Floats{3, 6, 9, 1}));
    Doubles d{5};
    ASSERT_TRUE(flt->getPosition(3, d, state, dim));
    EXPECT_EQ(d, (Doubles{3, 6, 9}));
    EXPECT_FALSE(flt->getPosition(9, d, state, dim));  // nothing at sample 9: left alone
    EXPECT_EQ(d, (Doubles{3, 6, 9}));
    // int32 positions are neither float nor double: no copy, but the dimension is already set
    // (code 2 reading as 3).
    state = kAnimated;
    dim = 0;
    EXPECT_FALSE(c->get<GeometryZelObj>(kInts)->getPosition(0, d, state, dim));
    EXPECT_EQ(dim, 3);
    EXPECT_EQ(state, kAnimated);
    EXPECT_EQ(d, (Doubles{3, 6, 9}));

    // Only the first rest-pose attribute counts, even when a later one has the asked type.
    HelperPtr<GeometryZelObj> g = c->get<GeometryZelObj>(kPrefFloat);
    dim = -1;
    EXPECT_FALSE(g->getPrefData(dp, dim));
    EXPECT_EQ(dim, 0);
    ASSERT_TRUE(g->getPrefData(fp, dim));
    EXPECT_EQ(*fp, (Floats{1, 2, 3}));
    EXPECT_EQ(dim, 3);  // code 0 reads as 3
    g = c->get<GeometryZelObj>(kPrefDouble);
    ASSERT_TRUE(g->getPrefData(dp, dim));
    EXPECT_EQ(*dp, (Doubles{4, 5}));
    EXPECT_EQ(dim, 2);
    EXPECT_FALSE(g->getPrefData(fp, dim));
    EXPECT_EQ(fp, nullptr);
    EXPECT_FALSE(flt->getPrefData(fp, dim));
}

TEST(GeometryZelObj, PositionsAtTimeBlendFloatSamplesOnly) {
    const auto c = load();
    const HelperPtr<GeometryZelObj> flt = c->get<GeometryZelObj>(kFlt);
    const HelperPtr<GeometryZelObj> dbl = c->get<GeometryZelObj>(kDbl);
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
        {3, 11.0008f, {2, 4, 4}},       // within 0.001 of sample 2: that sample
        {1, 11.25f, {2.5f, 5, 6.5f}},   // halfway between samples 2 and 3: the mean
        {2, 11.25f, {2.5f, 5, 6.25f}},  // over samples 2, 3, 4 (t = -0.5): exact for i and i²
        {3, 11.25f, {2.5f, 5, 6.25f}},  // over samples 2..5
        {4, 11.25f, {1, 2, 1}},         // the run's first sample: five from 2 would pass the end
    };
    // A limit of one sample evicts each sample of a run as the next one is read: the blend
    // still sees every array (the sanitizer build catches a read of an evicted one).
    for (int limit : {0, 1}) {
        c->cache.setMaxSamples(limit);
        for (const auto& r : rows) {
            SCOPED_TRACE(testing::Message() << "order " << r.order << " limit " << limit);
            hints.order = r.order;
            ASSERT_TRUE(flt->getPositionAtTime(r.time, hints, f, state, dim));
            EXPECT_EQ(f, r.expected);
            EXPECT_EQ(state, kAnimated);
            EXPECT_EQ(dim, 3);
            ASSERT_TRUE(flt->getPositionAtTime(r.time, hints, d, state, dim));
            EXPECT_EQ(d, Doubles(r.expected.begin(), r.expected.end()));
        }
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
    ASSERT_TRUE(dbl->getPositionAtTime(40, hints, d, state, dim));
    EXPECT_EQ(d, (Doubles{5, 10, 25, 1}));
    EXPECT_EQ(dim, 4);
}

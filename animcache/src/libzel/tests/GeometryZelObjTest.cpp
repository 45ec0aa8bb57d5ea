#include "GeometryZelObj.h"

#include <gtest/gtest.h>

#include <vector>

#include "ZelRoMemCache.h"
#include "support/CacheBuilder.h"
#include "support/HelperFixture.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::build;
using ZelTest::CacheBuilder;
using ZelTest::HelperPtr;
using ZelTest::TempDir;

namespace {

using State = ZelHelperObj::AnimationState;

// Samples i = 0..5 at times 10 + i/2 (rate 2). Object 0 ("flt") has float positions
// (i, 2i, i²) per sample, dimension 3; object 1 ("dbl") has the same stored as double, dimension
// 4 ("4d") and a weight of 1.
struct Fixture {
    TempDir dir;
    ZelRoMemCache cache;
    HelperPtr<GeometryZelObj> flt;
    HelperPtr<GeometryZelObj> dbl;

    Fixture() {
        CacheBuilder b(6, 10, 2);
        const int f = b.addObject("flt");
        const int d = b.addObject("dbl");
        for (int i = 0; i < 6; ++i) {
            const float x = static_cast<float>(i);
            b.addSampled<float>(i, f, "POSI", {x, 2 * x, x * x}, 3);
            b.addSampled<double>(i, d, "POSI", {x, 2.0 * x, x * x, 1}, 4);
        }
        EXPECT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
        ZelHelperObjFactory factory(&cache);
        flt = build<GeometryZelObj>(factory, f);
        dbl = build<GeometryZelObj>(factory, d);
    }
};

}  // namespace

TEST(GeometryZelObj, PositionPointersNeedTheExactTypeCopiesConvert) {
    Fixture fx;
    ASSERT_NE(fx.flt, nullptr);
    ASSERT_NE(fx.dbl, nullptr);
    const std::vector<float>* fp = nullptr;
    const std::vector<double>* dp = nullptr;
    State state = ZelHelperObj::kStatic;
    int dim = 0;
    ASSERT_TRUE(fx.flt->getPositionData(2, fp, state, dim));
    EXPECT_EQ(*fp, (std::vector<float>{2, 4, 4}));
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
    EXPECT_EQ(dim, 3);
    EXPECT_FALSE(fx.flt->getPositionData(2, dp, state, dim));
    EXPECT_EQ(dp, nullptr);
    EXPECT_EQ(state, ZelHelperObj::kStatic);
    EXPECT_FALSE(fx.dbl->getPositionData(2, fp, state, dim));
    EXPECT_EQ(fp, nullptr);

    std::vector<float> f;
    ASSERT_TRUE(fx.dbl->getPosition(3, f, state, dim));
    EXPECT_EQ(f, (std::vector<float>{3, 6, 9, 1}));
    EXPECT_EQ(dim, 4);
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
    std::vector<double> d{5};
    ASSERT_TRUE(fx.flt->getPosition(3, d, state, dim));
    EXPECT_EQ(d, (std::vector<double>{3, 6, 9}));
    // Nothing at sample 9: the output is left alone.
    EXPECT_FALSE(fx.flt->getPosition(9, d, state, dim));
    EXPECT_EQ(d, (std::vector<double>{3, 6, 9}));
}

TEST(GeometryZelObj, DimensionRuleAndStaticPositions) {
    TempDir dir;
    CacheBuilder b(1, 0, 1);
    const uint8 codes[] = {2, 16, 4, 0, 1};
    const int expected[] = {3, 3, 4, 3, 3};
    for (uint8 code : codes) {
        b.addStatic<float>(b.addObject("o"), "POSI", {1, 2, 3, 4}, code);
    }
    const int ints = b.addObject("ints");
    b.addStatic<int>(ints, "POSI", {1, 2, 3}, 3);
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    ZelHelperObjFactory factory(&cache);
    for (int o = 0; o < 5; ++o) {
        HelperPtr<GeometryZelObj> g = build<GeometryZelObj>(factory, o);
        ASSERT_NE(g, nullptr);
        const std::vector<float>* fp = nullptr;
        State state = ZelHelperObj::kAnimated;
        int dim = 0;
        ASSERT_TRUE(g->getPositionData(0, fp, state, dim));
        EXPECT_EQ(dim, expected[o]) << o;
        EXPECT_EQ(state, ZelHelperObj::kStatic);
    }
    // int32 positions are neither float nor double: no copy, but the dimension is already set.
    HelperPtr<GeometryZelObj> g = build<GeometryZelObj>(factory, ints);
    std::vector<double> d;
    State state = ZelHelperObj::kAnimated;
    int dim = 0;
    EXPECT_FALSE(g->getPosition(0, d, state, dim));
    EXPECT_EQ(dim, 3);
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
    EXPECT_TRUE(d.empty());
}

TEST(GeometryZelObj, PositionsAtTimeBlendFloatSamples) {
    Fixture fx;
    ZelInterpolationHints hints;
    std::vector<float> f;
    std::vector<double> d;
    State state = ZelHelperObj::kStatic;
    int dim = 0;

    // On sample 2 (time 11), within 0.001: that sample, unchanged.
    for (int order : {0, 1, 2, 3}) {
        hints.order = order;
        ASSERT_TRUE(fx.flt->getPositionAtTime(11.0008f, hints, f, state, dim));
        EXPECT_EQ(f, (std::vector<float>{2, 4, 4})) << order;
        EXPECT_EQ(state, ZelHelperObj::kAnimated);
        EXPECT_EQ(dim, 3);
    }
    // Halfway between samples 2 and 3, linear: the mean, in both variants.
    hints.order = 1;
    ASSERT_TRUE(fx.flt->getPositionAtTime(11.25f, hints, f, state, dim));
    EXPECT_EQ(f, (std::vector<float>{2.5f, 5, 6.5f}));
    ASSERT_TRUE(fx.flt->getPositionAtTime(11.25f, hints, d, state, dim));
    EXPECT_EQ(d, (std::vector<double>{2.5, 5, 6.5}));
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
    // A quarter of the way, in float arithmetic; the double variant is the float result widened.
    ASSERT_TRUE(fx.flt->getPositionAtTime(11.125f, hints, f, state, dim));
    ASSERT_TRUE(fx.flt->getPositionAtTime(11.125f, hints, d, state, dim));
    EXPECT_EQ(f, (std::vector<float>{2.25f, 4.5f, 5.25f}));
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(d[i], static_cast<double>(f[i]));
    }
    // Quadratic over samples 2, 3, 4 (t = -0.5): exact for i and i².
    hints.order = 2;
    ASSERT_TRUE(fx.flt->getPositionAtTime(11.25f, hints, f, state, dim));
    EXPECT_EQ(f, (std::vector<float>{2.5f, 5, 6.25f}));
    // Cubic over samples 2..5 at t = -0.5.
    hints.order = 3;
    ASSERT_TRUE(fx.flt->getPositionAtTime(11.25f, hints, d, state, dim));
    EXPECT_EQ(d, (std::vector<double>{2.5, 5, 6.25}));
    // Order 4 falls back to the plain copy of the run's first sample; five samples from 2 would
    // pass the end of this 6-sample cache, so the run was moved back to start at 1.
    hints.order = 4;
    ASSERT_TRUE(fx.flt->getPositionAtTime(11.25f, hints, f, state, dim));
    EXPECT_EQ(f, (std::vector<float>{1, 2, 1}));
    ASSERT_TRUE(fx.flt->getPositionAtTime(10.25f, hints, f, state, dim));
    EXPECT_EQ(f, (std::vector<float>{0, 0, 0}));
    // Before the first sample there is nothing to read.
    hints.order = 1;
    EXPECT_FALSE(fx.flt->getPositionAtTime(9, hints, f, state, dim));
    EXPECT_TRUE(f.empty());
    EXPECT_EQ(state, ZelHelperObj::kStatic);
    EXPECT_EQ(dim, 0);
}

TEST(GeometryZelObj, DoublePositionsOnlyAtSamples) {
    Fixture fx;
    ZelInterpolationHints hints;
    std::vector<float> f{1};
    std::vector<double> d{1};
    State state = ZelHelperObj::kAnimated;
    int dim = 0;
    EXPECT_FALSE(fx.dbl->getPositionAtTime(11.25f, hints, f, state, dim));
    EXPECT_TRUE(f.empty());
    EXPECT_FALSE(fx.dbl->getPositionAtTime(11.25f, hints, d, state, dim));
    EXPECT_TRUE(d.empty());
    ASSERT_TRUE(fx.dbl->getPositionAtTime(11.5f, hints, f, state, dim));
    EXPECT_EQ(f, (std::vector<float>{3, 6, 9, 1}));
    EXPECT_EQ(dim, 4);
    // At or after the last sample: the last sample's values.
    ASSERT_TRUE(fx.dbl->getPositionAtTime(40, hints, d, state, dim));
    EXPECT_EQ(d, (std::vector<double>{5, 10, 25, 1}));
}

TEST(GeometryZelObj, ShorterLaterSampleIsRefused) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int o = b.addObject("o");
    b.addSampled<float>(0, o, "POSI", {0, 0, 0, 1, 1, 1}, 3);
    b.addSampled<float>(1, o, "POSI", {2, 2, 2}, 3);
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    HelperPtr<GeometryZelObj> g = build<GeometryZelObj>(ZelHelperObjFactory(&cache), o);
    ZelInterpolationHints hints;
    std::vector<float> f;
    State state = ZelHelperObj::kStatic;
    int dim = 0;
    EXPECT_FALSE(g->getPositionAtTime(0.5f, hints, f, state, dim));
    EXPECT_TRUE(f.empty());
    // Reading the other way round is fine: only the first sample's length is used.
    CacheBuilder b2(2, 0, 1);
    b2.addObject("o");
    b2.addSampled<float>(0, 0, "POSI", {2, 2, 2}, 3);
    b2.addSampled<float>(1, 0, "POSI", {0, 0, 0, 1, 1, 1}, 3);
    ZelRoMemCache cache2;
    ASSERT_TRUE(b2.writeAndLoad(dir.file("c2.zel"), cache2));
    g = build<GeometryZelObj>(ZelHelperObjFactory(&cache2), 0);
    ASSERT_TRUE(g->getPositionAtTime(0.5f, hints, f, state, dim));
    EXPECT_EQ(f, (std::vector<float>{1, 1, 1}));
}

TEST(GeometryZelObj, RestPoseFromTheFirstPrefAttribute) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int fl = b.addObject("fl");
    b.addStatic<float>(fl, "POSI", {0, 0, 0});
    b.addStaticAttr<int>(fl, "other", {1});
    b.addStaticAttr<float>(fl, "rmanP__Pref", {1, 2, 3}, 0);
    const int db = b.addObject("db");
    b.addStatic<float>(db, "POSI", {0, 0, 0});
    b.addStaticAttr<double>(db, "vorn_Pref", {4, 5}, 2);
    b.addStaticAttr<float>(db, "rmanP__Pref", {9, 9}, 2);
    const int none = b.addObject("none");
    b.addStatic<float>(none, "POSI", {0, 0, 0});
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    ZelHelperObjFactory factory(&cache);

    HelperPtr<GeometryZelObj> g = build<GeometryZelObj>(factory, fl);
    const std::vector<double>* dp = nullptr;
    const std::vector<float>* fp = nullptr;
    int dim = -1;
    EXPECT_FALSE(g->getPrefData(dp, dim));
    EXPECT_EQ(dim, 0);
    ASSERT_TRUE(g->getPrefData(fp, dim));
    EXPECT_EQ(*fp, (std::vector<float>{1, 2, 3}));
    EXPECT_EQ(dim, 3);  // code 0 reads as 3

    // The first rest-pose attribute decides, even when a later one has the asked type.
    g = build<GeometryZelObj>(factory, db);
    ASSERT_TRUE(g->getPrefData(dp, dim));
    EXPECT_EQ(*dp, (std::vector<double>{4, 5}));
    EXPECT_EQ(dim, 2);
    EXPECT_FALSE(g->getPrefData(fp, dim));
    EXPECT_EQ(fp, nullptr);

    g = build<GeometryZelObj>(factory, none);
    EXPECT_FALSE(g->getPrefData(fp, dim));
}

#include "MeshZelObj.h"

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

}  // namespace

TEST(MeshZelObj, TopologyNormalsAndVelocities) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int o = b.addObject("quad");
    b.addStatic<int>(o, "MESH", {});
    b.addStatic<int>(o, "PCNT", {4});
    b.addStatic<int>(o, "PIDS", {0, 1, 2, 3});
    b.addStatic<float>(o, "NCNT", {4});  // wrong element type
    for (int s = 0; s < 2; ++s) {
        b.addSampled<int>(s, o, "NIDS", {s, s, s, s});
        b.addSampled<double>(s, o, "VPNO", {0, 0, 1.0 + s});
        b.addSampled<float>(s, o, "PONO", {0, 1, 0});
        b.addSampled<float>(s, o, "VELO", {0.5f * static_cast<float>(s), 0, 0});
    }
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    HelperPtr<MeshZelObj> m = build<MeshZelObj>(ZelHelperObjFactory(&cache), o);
    ASSERT_NE(m, nullptr);

    const std::vector<int>* ip = nullptr;
    State state = ZelHelperObj::kAnimated;
    ASSERT_TRUE(m->getPcnts(1, ip, state));
    EXPECT_EQ(*ip, std::vector<int>{4});
    EXPECT_EQ(state, ZelHelperObj::kStatic);
    ASSERT_TRUE(m->getNids(1, ip, state));
    EXPECT_EQ(*ip, (std::vector<int>{1, 1, 1, 1}));
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
    EXPECT_FALSE(m->getNcnts(1, ip, state));
    EXPECT_EQ(ip, nullptr);
    EXPECT_EQ(state, ZelHelperObj::kStatic);

    std::vector<int> ints{9};
    state = ZelHelperObj::kAnimated;
    EXPECT_FALSE(m->getFaceNormalVertexCnts(0, ints, state));
    EXPECT_EQ(ints, std::vector<int>{9});
    EXPECT_EQ(state, ZelHelperObj::kAnimated);  // set only on success
    ASSERT_TRUE(m->getFaceVertexIds(0, ints, state));
    EXPECT_EQ(ints, (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(state, ZelHelperObj::kStatic);
    ASSERT_TRUE(m->getFaceVertexCnts(0, ints, state));
    EXPECT_EQ(ints, std::vector<int>{4});
    ASSERT_TRUE(m->getFaceNormalVertexIds(0, ints, state));
    EXPECT_EQ(ints, (std::vector<int>{0, 0, 0, 0}));
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
    ASSERT_TRUE(m->getPids(0, ip, state));

    // Normals stored as double: pointer only as double, copies in either type.
    const std::vector<float>* fp = nullptr;
    const std::vector<double>* dp = nullptr;
    EXPECT_FALSE(m->getNormalData(1, fp, state));
    ASSERT_TRUE(m->getNormalData(1, dp, state));
    EXPECT_EQ(*dp, (std::vector<double>{0, 0, 2}));
    std::vector<float> f;
    ASSERT_TRUE(m->getNormals(1, f, state));
    EXPECT_EQ(f, (std::vector<float>{0, 0, 2}));
    EXPECT_EQ(state, ZelHelperObj::kAnimated);

    EXPECT_FALSE(m->getFaceNormalData(0, dp, state));
    ASSERT_TRUE(m->getFaceNormalData(0, fp, state));
    std::vector<double> d;
    ASSERT_TRUE(m->getFaceNormals(0, d, state));
    EXPECT_EQ(d, (std::vector<double>{0, 1, 0}));
    ASSERT_TRUE(m->getFaceNormals(0, f, state));

    ASSERT_TRUE(m->getVelocityData(1, fp, state));
    EXPECT_EQ(*fp, (std::vector<float>{0.5f, 0, 0}));
    EXPECT_FALSE(m->getVelocityData(1, dp, state));
    ASSERT_TRUE(m->getVelocity(1, d, state));
    EXPECT_EQ(d, (std::vector<double>{0.5, 0, 0}));
    ASSERT_TRUE(m->getVelocity(1, f, state));
    // Nothing at sample 4: outputs stay as they were.
    state = ZelHelperObj::kAnimated;
    EXPECT_FALSE(m->getVelocity(4, d, state));
    EXPECT_EQ(d, (std::vector<double>{0.5, 0, 0}));
    EXPECT_EQ(state, ZelHelperObj::kAnimated);
}

TEST(MeshZelObj, RestPoseCopyTriesDoubleThenFloat) {
    TempDir dir;
    CacheBuilder b(1, 0, 1);
    const int fl = b.addObject("fl");
    b.addStatic<int>(fl, "MESH", {});
    b.addStaticAttr<float>(fl, "rmanP__Pref", {0.25f, 1, 2});
    const int db = b.addObject("db");
    b.addStatic<int>(db, "MESH", {});
    b.addStaticAttr<double>(db, "vorn_Pref", {0.1, 1, 2});
    const int none = b.addObject("none");
    b.addStatic<int>(none, "MESH", {});
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    const ZelHelperObjFactory factory(&cache);

    HelperPtr<MeshZelObj> m = build<MeshZelObj>(factory, fl);
    const std::vector<double>* dp = nullptr;
    int dim = 0;
    EXPECT_FALSE(m->getPrefData(dp, dim));
    std::vector<double> d;
    ASSERT_TRUE(m->getPref(d));
    EXPECT_EQ(d, (std::vector<double>{0.25, 1, 2}));

    m = build<MeshZelObj>(factory, db);
    std::vector<float> f;
    ASSERT_TRUE(m->getPref(f));
    EXPECT_EQ(f, (std::vector<float>{0.1f, 1, 2}));

    m = build<MeshZelObj>(factory, none);
    f = {7};
    EXPECT_FALSE(m->getPref(f));
    EXPECT_EQ(f, std::vector<float>{7});
}

TEST(MeshZelObj, SubdivisionUnlessTheShapeTypeSaysOtherwise) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    auto mesh = [&](const char* name) {
        const int o = b.addObject(name);
        b.addStatic<int>(o, "MESH", {});
        return o;
    };
    const int bare = mesh("bare");
    const int one = mesh("one");
    b.addSampled<int>(0, one, "MSPT", {1});
    const int zero = mesh("zero");
    b.addStatic<int>(zero, "MSPT", {0});
    const int attr = mesh("attr");
    b.addStatic<int>(attr, "MSPT", {0});
    b.addStaticAttr<int>(attr, "mdShapeType", {2});
    const int floatAttr = mesh("floatAttr");
    b.addStaticAttr<float>(floatAttr, "mdShapeType", {1});
    b.addStatic<int>(floatAttr, "MSPT", {3});
    const int laterSample = mesh("laterSample");
    b.addSampled<int>(1, laterSample, "MSPT", {1});
    const int floatChunk = mesh("floatChunk");
    b.addStatic<float>(floatChunk, "MSPT", {1});
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    const ZelHelperObjFactory factory(&cache);
    auto isSubd = [&](int o) { return build<MeshZelObj>(factory, o)->isSubd(); };
    EXPECT_TRUE(isSubd(bare));
    EXPECT_FALSE(isSubd(one));
    EXPECT_TRUE(isSubd(zero));
    EXPECT_FALSE(isSubd(attr));
    // A shape type attribute of another type ends the walk; the chunk then decides.
    EXPECT_FALSE(isSubd(floatAttr));
    // Only the sample at the first time is asked.
    EXPECT_TRUE(isSubd(laterSample));
    EXPECT_TRUE(isSubd(floatChunk));
}

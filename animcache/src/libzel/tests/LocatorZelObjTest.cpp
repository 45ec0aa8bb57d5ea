#include "LocatorZelObj.h"

#include <gtest/gtest.h>

#include <string>
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

TEST(LxCoordSystemZelObj, SettingsFromAttributesWithDefaults) {
    TempDir dir;
    CacheBuilder b(2, 0, 1);
    const int bare = b.addObject("bare");
    b.addStatic<int>(bare, "LXCS", {});
    const int set = b.addObject("set");
    b.addStatic<int>(set, "LXCS", {});
    b.addStaticAttr<float>(set, "scoped", {0});  // not int32: default
    b.addStaticAttr<int>(set, "useAsClippingPlane", {0});
    b.addStaticAttr<std::string>(set, "parentRig", {"rig|main", "ignored"});
    const int shape = b.addAnimatedAttr(set, "displayShape");
    b.addAnimatedValue<int>(0, set, {3});
    b.addAnimatedValue<int>(1, set, {5});
    const int zero = b.addObject("zero");
    b.addStatic<int>(zero, "LXCS", {});
    b.addStaticAttr<int>(zero, "displayShape", {0});
    b.addStaticAttr<int>(zero, "scoped", {0});
    b.addStaticAttr<int>(zero, "parentRig", {1});
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    const ZelHelperObjFactory factory(&cache);

    HelperPtr<LxCoordSystemZelObj> cs = build<LxCoordSystemZelObj>(factory, bare);
    ASSERT_NE(cs, nullptr);
    EXPECT_TRUE(cs->scoped());
    EXPECT_TRUE(cs->useAsClippingPlane());
    EXPECT_EQ(cs->displayShape(), 1);
    EXPECT_EQ(cs->parentRig(), "");

    cs = build<LxCoordSystemZelObj>(factory, set);
    EXPECT_EQ(shape, 0);
    EXPECT_TRUE(cs->scoped());
    EXPECT_FALSE(cs->useAsClippingPlane());
    EXPECT_EQ(cs->displayShape(), 3);  // sample 0, even though it is animated
    EXPECT_EQ(cs->parentRig(), "rig|main");

    cs = build<LxCoordSystemZelObj>(factory, zero);
    EXPECT_EQ(cs->displayShape(), 0);
    EXPECT_FALSE(cs->scoped());
    EXPECT_EQ(cs->parentRig(), "");
}

TEST(LocatorZelObj, LocatorsAndCoordinateSystemsAreDistinct) {
    TempDir dir;
    CacheBuilder b(1, 0, 1);
    const int loc = b.addObject("loc");
    b.addStatic<int>(loc, "ELOC", {});
    b.addStatic<float>(loc, "BBOX", {-1, 1, -1, 1, -1, 1});
    const int cs = b.addObject("cs");
    b.addStatic<int>(cs, "LXCS", {});
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    const ZelHelperObjFactory factory(&cache);
    HelperPtr<LocatorZelObj> l = build<LocatorZelObj>(factory, loc);
    HelperPtr<LxCoordSystemZelObj> c = build<LxCoordSystemZelObj>(factory, cs);
    ASSERT_NE(l, nullptr);
    ASSERT_NE(c, nullptr);
    EXPECT_TRUE(l->isA("locator"));
    EXPECT_FALSE(l->isA("lxcoordsystem"));
    EXPECT_TRUE(c->isA("lxcoordsystem"));
    EXPECT_FALSE(c->isA("locator"));
    EXPECT_EQ(dynamic_cast<LocatorZelObj*>(static_cast<ZelHelperObj*>(c.get())), nullptr);
    // A locator answers the base questions, bounds included.
    std::vector<float> box;
    ZelHelperObj::AnimationState state = ZelHelperObj::kAnimated;
    ASSERT_TRUE(l->getBounds(0, box, state, true));
    EXPECT_EQ(box, (std::vector<float>{-1, -1, -1, 1, 1, 1}));
    EXPECT_EQ(l->getLeafName(), "loc");
    LxCoordSystemZelObj copy(*c);
    copy = *c;
    EXPECT_TRUE(copy.scoped());
    LocatorZelObj lcopy(*l);
    EXPECT_EQ(lcopy.categories(), l->categories());
}

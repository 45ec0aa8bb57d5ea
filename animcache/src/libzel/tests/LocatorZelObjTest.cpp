#include "LocatorZelObj.h"

#include <gtest/gtest.h>

#include <string>

#include "support/HelperFixture.h"

using namespace Zel;
using namespace ZelTest;

TEST(LxCoordSystemZelObj, SettingsFromAttributesWithDefaults) {
    enum { kBare, kSet, kZero };
    CacheBuilder b(2, 0, 1);
    for (const char* name : {"bare", "set", "zero"}) {
        b.addStatic<int>(b.addObject(name), "LXCS", {});
    }
    b.addStaticAttr<float>(kSet, "scoped", {0});  // not int32: the default
    b.addStaticAttr<int>(kSet, "useAsClippingPlane", {0});
    b.addStaticAttr<std::string>(kSet, "parentRig", {"rig|main", "ignored"});
    b.addAnimatedAttr(kSet, "displayShape");  // sample 0 counts, even though it is animated
    b.addAnimatedValue<int>(0, kSet, {3});
    b.addAnimatedValue<int>(1, kSet, {5});
    b.addStaticAttr<int>(kZero, "displayShape", {0});
    b.addStaticAttr<int>(kZero, "scoped", {0});
    b.addStaticAttr<int>(kZero, "parentRig", {1});  // not cstr: the default
    LoadedCache c(b);
    const struct {
        int object;
        bool scoped;
        bool clipping;
        int shape;
        std::string rig;
    } expected[] = {
        {kBare, true, true, 1, ""},
        {kSet, true, false, 3, "rig|main"},
        {kZero, false, true, 0, ""},
    };
    for (const auto& e : expected) {
        const HelperPtr<LxCoordSystemZelObj> cs = c.get<LxCoordSystemZelObj>(e.object);
        EXPECT_EQ(cs->scoped(), e.scoped) << e.object;
        EXPECT_EQ(cs->useAsClippingPlane(), e.clipping) << e.object;
        EXPECT_EQ(cs->displayShape(), e.shape) << e.object;
        EXPECT_EQ(cs->parentRig(), e.rig) << e.object;
    }
}

#include "ZelHelperObjFactory.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <typeinfo>
#include <vector>

#include "GeometryZelObj.h"
#include "LocatorZelObj.h"
#include "MeshZelObj.h"
#include "NurbsZelObj.h"
#include "TransformZelObj.h"
#include "support/HelperFixture.h"

using namespace Zel;
using namespace ZelTest;

using Categories = std::set<std::string>;

TEST(ZelHelperObjFactory, ClassChoiceFollowsTheFixedTagOrder) {
    // Each object carries the tag of its class and the next one in the order.
    CacheBuilder b(2, 0, 1);
    const int xfrmMesh = b.addObject("xfrmMesh");
    b.addStatic<float>(xfrmMesh, "MESH", {});
    b.addSampled<float>(0, xfrmMesh, "XFRM", {});  // found in the first sample
    const int meshNurbs = b.addObject("meshNurbs");
    b.addStatic<int>(meshNurbs, "NRBS", {});
    b.addStatic<int>(meshNurbs, "MESH", {});
    const int surface = b.addObject("surface");
    b.addStatic<int>(surface, "NRBC", {});
    b.addStatic<int>(surface, "NRBS", {});
    b.addSampled<float>(0, surface, "POSI", {0, 0, 0});
    const int curve = b.addObject("curve");
    b.addStatic<int>(curve, "ELOC", {});
    b.addStatic<int>(curve, "NRBC", {});
    const int locator = b.addObject("locator");
    b.addStatic<int>(locator, "LXCS", {});
    b.addStatic<int>(locator, "ELOC", {});
    const int coords = b.addObject("coords");
    b.addStatic<int>(coords, "POSI", {});
    b.addSampled<int>(0, coords, "LXCS", {});
    const int geometry = b.addObject("geometry");
    b.addSampled<float>(0, geometry, "POSI", {1, 2, 3});
    const int plain = b.addObject("plain");
    b.addSampled<float>(1, plain, "MESH", {});  // only the first sample is asked
    LoadedCache c(b);

    const struct {
        int object;
        const std::type_info& type;
        Categories categories;
    } expected[] = {
        {xfrmMesh, typeid(TransformZelObj), {"helperObj", "transform"}},
        {meshNurbs, typeid(MeshZelObj), {"geometry", "helperObj", "mesh"}},
        {surface, typeid(NurbsSurfaceZelObj), {"geometry", "helperObj", "nurbssurface"}},
        {curve, typeid(NurbsCurveZelObj), {"geometry", "helperObj", "nurbscurve"}},
        {locator, typeid(LocatorZelObj), {"helperObj", "locator"}},
        {coords, typeid(LxCoordSystemZelObj), {"helperObj", "lxcoordsystem"}},
        {geometry, typeid(GeometryZelObj), {"geometry", "helperObj"}},
        {plain, typeid(ZelHelperObj), {"helperObj"}},
        {42, typeid(ZelHelperObj), {"helperObj"}},
        {-1, typeid(ZelHelperObj), {"helperObj"}},
    };
    for (const auto& e : expected) {
        HelperPtr<ZelHelperObj> obj(c.factory.zelObjBuilder(e.object));
        ASSERT_NE(obj, nullptr);
        EXPECT_EQ(typeid(*obj), e.type) << e.object;
        EXPECT_EQ(obj->categories(), e.categories) << e.object;
        EXPECT_EQ(obj->getObjectIndex(), e.object);
        EXPECT_EQ(obj->isA("geometry"), e.categories.count("geometry") == 1) << e.object;
    }
}

TEST(ZelHelperObjFactory, ObjectNamesStopAtAnEmptyName) {
    CacheBuilder b(0, 0, 1);
    for (const char* name : {"a|first", "second", "", "fourth"}) {
        b.addObject(name);
    }
    LoadedCache c(b);
    CacheBuilder e(0, 0, 1);
    LoadedCache empty(e);
    std::vector<std::string> names{"stale"};
    EXPECT_FALSE(c.factory.getObjectNames(names));
    EXPECT_EQ(names, (std::vector<std::string>{"a|first", "second"}));
    EXPECT_TRUE(empty.factory.getObjectNames(names));
    EXPECT_TRUE(names.empty());

    // Without a cache: no names, but still a plain object.
    names.push_back("stale");
    ZelHelperObjFactory none(nullptr);
    EXPECT_FALSE(none.getObjectNames(names));
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(HelperPtr<ZelHelperObj>(none.zelObjBuilder(0))->categories(),
              Categories{"helperObj"});
}

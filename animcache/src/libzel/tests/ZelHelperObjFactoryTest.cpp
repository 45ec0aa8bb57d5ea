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
#include "ZelRoMemCache.h"
#include "support/CacheBuilder.h"
#include "support/HelperFixture.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::CacheBuilder;
using ZelTest::HelperPtr;
using ZelTest::TempDir;

namespace {

using Categories = std::set<std::string>;

}  // namespace

TEST(ZelHelperObjFactory, ClassChoiceFollowsTheFixedTagOrder) {
    TempDir dir;
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
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    const ZelHelperObjFactory factory(&cache);

    struct Expect {
        int object;
        const std::type_info& type;
        Categories categories;
    };
    const Expect expected[] = {
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
    for (const Expect& e : expected) {
        HelperPtr<ZelHelperObj> obj(factory.zelObjBuilder(e.object));
        ASSERT_NE(obj, nullptr);
        EXPECT_EQ(typeid(*obj), e.type) << e.object;
        EXPECT_EQ(obj->categories(), e.categories) << e.object;
        EXPECT_EQ(obj->getObjectIndex(), e.object);
        for (const char* c : {"helperObj", "geometry", "mesh", "nurbssurface", "transform"}) {
            EXPECT_EQ(obj->isA(c), e.categories.count(c) == 1) << e.object << " " << c;
        }
    }

    // Copies keep the class's categories.
    HelperPtr<NurbsSurfaceZelObj> s = ZelTest::build<NurbsSurfaceZelObj>(factory, surface);
    ASSERT_NE(s, nullptr);
    NurbsSurfaceZelObj copy(*s);
    EXPECT_EQ(copy.categories(), s->categories());
    EXPECT_EQ(copy.getName(), "surface");
}

TEST(ZelHelperObjFactory, ObjectNamesStopAtAnEmptyName) {
    TempDir dir;
    CacheBuilder b(0, 0, 1);
    b.addObject("a|first");
    b.addObject("second");
    b.addObject("");
    b.addObject("fourth");
    ZelRoMemCache cache;
    ASSERT_TRUE(b.writeAndLoad(dir.file("c.zel"), cache));
    std::vector<std::string> names{"stale"};
    EXPECT_FALSE(ZelHelperObjFactory(&cache).getObjectNames(names));
    EXPECT_EQ(names, (std::vector<std::string>{"a|first", "second"}));

    CacheBuilder empty(0, 0, 1);
    ZelRoMemCache emptyCache;
    ASSERT_TRUE(empty.writeAndLoad(dir.file("e.zel"), emptyCache));
    EXPECT_TRUE(ZelHelperObjFactory(&emptyCache).getObjectNames(names));
    EXPECT_TRUE(names.empty());

    names.push_back("stale");
    ZelHelperObjFactory none(nullptr);
    EXPECT_FALSE(none.getObjectNames(names));
    EXPECT_TRUE(names.empty());
    // Without a cache the factory still builds a plain object.
    HelperPtr<ZelHelperObj> obj(none.zelObjBuilder(0));
    EXPECT_EQ(obj->categories(), Categories{"helperObj"});
    none = ZelHelperObjFactory(&cache);
    EXPECT_TRUE(ZelHelperObjFactory(none).getObjectNames(names) == false && names.size() == 2);
}

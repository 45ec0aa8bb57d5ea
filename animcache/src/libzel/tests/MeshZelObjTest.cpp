#include "MeshZelObj.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/HelperFixture.h"

using namespace Zel;
using namespace ZelTest;

namespace {

using M = MeshZelObj;
template <class T>
using DataFn = bool (M::*)(int, const std::vector<T>*&, State&) const;
template <class T>
using CopyFn = bool (M::*)(int, std::vector<T>&, State&) const;

int addMesh(CacheBuilder& b, const char* name) {
    const int o = b.addObject(name);
    b.addStatic<int>(o, "MESH", {});
    return o;
}

}  // namespace

TEST(MeshZelObj, TopologyNormalsAndVelocities) {
    CacheBuilder b(2, 0, 1);
    const int o = addMesh(b, "quad");
    b.addStatic<int>(o, "PCNT", {4});
    b.addStatic<int>(o, "PIDS", {0, 1, 2, 3});
    b.addStatic<float>(o, "NCNT", {4});  // wrong element type
    for (int s = 0; s < 2; ++s) {
        b.addSampled<int>(s, o, "NIDS", {s, s, s, s});
        b.addSampled<double>(s, o, "VPNO", {0, 0, 1.0 + s});
        b.addSampled<float>(s, o, "PONO", {0, 1, 0});
        b.addSampled<float>(s, o, "VELO", {0.5f * static_cast<float>(s), 0, 0});
    }
    LoadedCache c(b);
    const HelperPtr<MeshZelObj> m = c.get<MeshZelObj>(o);

    // Pointers set null and kStatic first; copies leave output and state alone on failure.
    const struct {
        DataFn<int> data;
        CopyFn<int> copy;
        bool ok;
        Ints values;
        State state;
    } lists[] = {
        {&M::getPcnts, &M::getFaceVertexCnts, true, {4}, kStatic},
        {&M::getPids, &M::getFaceVertexIds, true, {0, 1, 2, 3}, kStatic},
        {&M::getNcnts, &M::getFaceNormalVertexCnts, false, {9}, kStatic},
        {&M::getNids, &M::getFaceNormalVertexIds, true, {1, 1, 1, 1}, kAnimated},
    };
    for (const auto& r : lists) {
        const Ints sentinel{9};
        const Ints* p = &sentinel;
        State state = kAnimated;
        EXPECT_EQ(((*m).*r.data)(1, p, state), r.ok) << r.values[0];
        EXPECT_EQ(p ? *p : Ints{9}, r.values);
        EXPECT_EQ(state, r.ok ? r.state : kStatic);
        Ints v = sentinel;
        const State before = r.state == kStatic ? kAnimated : kStatic;
        state = before;
        EXPECT_EQ(((*m).*r.copy)(1, v, state), r.ok);
        EXPECT_EQ(v, r.values);
        EXPECT_EQ(state, r.ok ? r.state : before);
    }

    // Real lists at sample 1: pointers only in the stored type (the other one is null and
    // static), copies in either.
    auto reals = [&m](DataFn<float> floatData, DataFn<double> doubleData, CopyFn<float> floatCopy,
                      CopyFn<double> doubleCopy, bool stored, const Doubles& values) {
        const Floats* fp = nullptr;
        const Doubles* dp = nullptr;
        State state = kStatic;
        ASSERT_EQ(((*m).*floatData)(1, fp, state), !stored);
        ASSERT_EQ(((*m).*doubleData)(1, dp, state), stored);
        EXPECT_EQ(state, stored ? kAnimated : kStatic);
        ASSERT_EQ(fp == nullptr, stored);
        ASSERT_EQ(dp == nullptr, !stored);
        EXPECT_EQ(stored ? *dp : Doubles(fp->begin(), fp->end()), values);
        Floats f;
        Doubles d;
        state = kStatic;
        ASSERT_TRUE(((*m).*floatCopy)(1, f, state) && ((*m).*doubleCopy)(1, d, state));
        EXPECT_EQ(d, values);
        EXPECT_EQ(Doubles(f.begin(), f.end()), values);
        EXPECT_EQ(state, kAnimated);
    };
    reals(&M::getNormalData, &M::getNormalData, &M::getNormals, &M::getNormals, true, {0, 0, 2});
    reals(&M::getFaceNormalData, &M::getFaceNormalData, &M::getFaceNormals, &M::getFaceNormals,
          false, {0, 1, 0});
    reals(&M::getVelocityData, &M::getVelocityData, &M::getVelocity, &M::getVelocity, false,
          {0.5, 0, 0});
}

TEST(MeshZelObj, SubdivisionUnlessTheShapeTypeSaysOtherwiseRestPoseInEitherType) {
    CacheBuilder b(2, 0, 1);
    const int bare = addMesh(b, "bare");
    const int one = addMesh(b, "one");
    b.addSampled<int>(0, one, "MSPT", {1});
    const int zero = addMesh(b, "zero");
    b.addStatic<int>(zero, "MSPT", {0});
    const int attr = addMesh(b, "attr");
    b.addStatic<int>(attr, "MSPT", {0});
    b.addStaticAttr<int>(attr, "mdShapeType", {2});
    const int floatAttr = addMesh(b, "floatAttr");  // another type ends the walk: "MSPT" decides
    b.addStaticAttr<float>(floatAttr, "mdShapeType", {1});
    b.addStaticAttr<int>(floatAttr, "mdShapeType", {0});  // never reached
    b.addStatic<int>(floatAttr, "MSPT", {3});
    const int laterSample = addMesh(b, "laterSample");  // only the first time's sample is asked
    b.addSampled<int>(1, laterSample, "MSPT", {1});
    const int floatChunk = addMesh(b, "floatChunk");
    b.addStatic<float>(floatChunk, "MSPT", {1});
    const int fl = addMesh(b, "fl");
    b.addStaticAttr<float>(fl, "rmanP__Pref", {0.25f, 1, 2});
    const int db = addMesh(b, "db");
    b.addStaticAttr<double>(db, "vorn_Pref", {0.1, 1, 2});
    LoadedCache c(b);
    const std::pair<int, bool> expected[] = {
        {bare, true},       {one, false},        {zero, true},      {attr, false},
        {floatAttr, false}, {laterSample, true}, {floatChunk, true}};
    for (const auto& e : expected) {
        EXPECT_EQ(c.get<MeshZelObj>(e.first)->isSubd(), e.second) << e.first;
    }

    Doubles d;
    ASSERT_TRUE(c.get<MeshZelObj>(fl)->getPref(d));
    EXPECT_EQ(d, (Doubles{0.25, 1, 2}));
    Floats f;
    ASSERT_TRUE(c.get<MeshZelObj>(db)->getPref(f));
    EXPECT_EQ(f, (Floats{0.1f, 1, 2}));
    f = {7};
    EXPECT_FALSE(c.get<MeshZelObj>(bare)->getPref(f));
    EXPECT_EQ(f, Floats{7});
}

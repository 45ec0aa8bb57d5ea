#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

#include "support/CacheFile.h"
#include "support/UtilsRun.h"

using namespace Zel;
using namespace ZelTest;

namespace {

template <class T>
ZelLeafChunk<T>* leaf(const char (&tag)[5], std::vector<T> values, uint8 compound = 0,
                      uint8 dimension = 0) {
    return new ZelLeafChunk<T>(makeTag(tag), compound, dimension, values);
}

// Adds a static attribute holding `values` to `d`.
template <class T>
void addStatic(ZelDOBJChunk* d, const std::string& name, const char* type, uint8 dimension,
               std::vector<T> values, uint8 compound = 0) {
    const int i = d->addAttr(false, name, type, ZelTypeCode<T>::value, compound, dimension);
    static_cast<ZelLeafChunk<T>*>(d->getDATR()->getStaticData(i))->values() = values;
}

// Date stamps are printed in local time: this program's zone is UTC.
const bool kUtc = setenv("TZ", "UTC", 1) == 0 && (tzset(), true);

Output run(const std::string& path) {
    return captured([&] { return zelinfo(path.c_str()); });
}

}  // namespace

// Ten objects of every kind described, three samples at times 1 to 3.
TEST(Zelinfo, SummarisesEveryKindOfObject) {
    ZelMETAChunk meta;
    meta.application = "mayaApp";
    meta.sourceFile = "scene.ma";
    meta.date = 86400;
    meta.numSamples = 3;
    meta.firstTime = meta.rate = 1;
    meta.lastTime = 3;
    ZelDOBJChunk* mesh = meta.addDOBJ("mesh");
    mesh->addChild(leaf<int>("MESH", {4, 4}));
    mesh->addChild(leaf<int>("MSPT", {1}));
    meta.addDOBJ("xform");
    meta.addDOBJ("loc");
    meta.addDOBJ("curve")->addChild(leaf<int>("NRBC", {3, 1}));
    meta.addDOBJ("surf")->addChild(leaf<float>("POSI", std::vector<float>(12, 1), 1, 3));
    meta.addDOBJ("cs")->addChild(leaf<int>("LXCS", {1}));
    ZelDOBJChunk* attrs = meta.addDOBJ("attrs");
    attrs->addAttr(true, "pts", "vector[]", kTypeFloat, 2, 3);
    attrs->addAttr(true, "gone", "float", kTypeFloat, 0, 0);
    addStatic<std::string>(attrs, "label", "string", 0, {"left", "right"});
    addStatic<int>(attrs, "ids", "int[]", 0, {1, 2, 3});
    addStatic<int64>(attrs, "big", "int64[]", 0, {5000000000LL, -1});
    addStatic<double>(attrs, "scale", "double[]", 1, {0.5, 2});
    addStatic<float>(attrs, "one", "float3", 3, {1.5f});
    addStatic<float>(attrs, "raw", "color4[]", 4, std::vector<float>(8, 0.25f), 5);
    addStatic<float>(attrs, "empty", "float[]", 0, {});
    addStatic<double>(attrs, "dpts", "double3[]", 3, std::vector<double>(6, 1.0));
    meta.addDOBJ("noatrs")->addAttr(true, "w", "float", kTypeFloat, 0, 0);
    ZelDOBJChunk* both = meta.addDOBJ("both");
    both->addChild(leaf<double>("MTRX", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}, 0, 16));
    both->addChild(leaf<int>("MESH", {4}));
    meta.addDOBJ("empty");
    auto fill = [](int s, int o, ZelGroupChunk& g) {
        const float t = static_cast<float>(s);
        if (o == 0) {
            g.addChild(leaf<float>("POSI", std::vector<float>(24, t), 1, 3));
        } else if (o == 1) {
            g.addChild(
                leaf<float>("MTRX", {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5 + t, 6, 7, 1}, 4, 16));
        } else if (o == 2) {
            g.addChild(leaf<float>("ELOC", {t, 2, 3}));
        } else if (o == 3) {
            g.addChild(leaf<double>("POSI", std::vector<double>(8, 1.0), 0, 4));
        } else if (o == 4) {
            g.addChild(leaf<int>("NRBS", {3, 3}));
        } else if (o == 6) {
            // Only the first animated attribute has its value in the samples.
            auto* atrs = new ZelGroupChunk(makeTag("ATRS"));
            atrs->addChild(leaf<float>("ATTR", std::vector<float>(24, t), 2, 3));
            g.addChild(atrs);
        }
    };
    TempDir dir;
    const std::string path = dir.file("scene.zel");
    ASSERT_TRUE(writeCacheFile(path, meta, fill));
    const Output r = run(path);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(
        r.out,
        "ZEL file version 2\napplication: mayaApp\nsource file: scene.ma\n"
        "date stamp: Fri Jan  2 00:00:00 1970\n"
        "number of time samples: 3\nfirst frame: 1\nlast frame: 3\n"
        "sampling rate: 1 sample per frame\nspace: object\n\nnumber of objects: 10\n"
        "object[ 0] name: mesh\n  MESH: mesh topology, MSPT: poly with 8 animated vertices\n"
        "object[ 1] name: xform\n"
        "  MTRX: animated float transform 4x4 [1,0,0,0] [0,1,0,0] [0,0,1,0] [5,6,7,1], ...\n"
        "object[ 2] name: loc\n  ELOC: animated locator\n"
        "object[ 3] name: curve\n  NRBC: nurbs curve topology with 2 animated vertices\n"
        "object[ 4] name: surf\n  NRBS: nurbs surface topology with 4 static vertices\n"
        "object[ 5] name: cs\n  LXCS: lxCoordSystem\n"
        "object[ 6] name: attrs\n  number of attributes: 10\n"
        "    attribute[ 0] NAME: 'pts' TYPE: 'vector[]' ATTR: animated float vector 3d size= 8\n"
        "    attribute[ 1] NAME: 'gone' TYPE: 'float' ATTR: animated float vector 3d size= 8\n"
        "    attribute[ 2] NAME: 'label' TYPE: 'string' ATTR: cstr 'left' 'right'\n"
        "    attribute[ 3] NAME: 'ids' TYPE: 'int[]' ATTR: int32 1, 2, 3\n"
        "    attribute[ 4] NAME: 'big' TYPE: 'int64[]' ATTR: int64 5000000000, -1\n"
        "    attribute[ 5] NAME: 'scale' TYPE: 'double[]' ATTR: double scalar 0.5, 2\n"
        "    attribute[ 6] NAME: 'one' TYPE: 'float3' ATTR: float 3d 1.5\n"
        "    attribute[ 7] NAME: 'raw' TYPE: 'color4[]' ATTR: float color 4d size= 2\n"
        "    attribute[ 8] NAME: 'empty' TYPE: 'float[]' ATTR: float\n"
        "    attribute[ 9] NAME: 'dpts' TYPE: 'double3[]' ATTR: double 3d size= 2\n"
        "object[ 7] name: noatrs\n  number of attributes: 1\n"
        "    attribute[0] NAME: 'w' TYPE: 'float'\n"
        "object[ 8] name: both\n"
        "  MTRX: static double 4x4 [1,0,0,0] [0,1,0,0] [0,0,1,0] [0,0,0,1]\n"
        "object[ 9] name: empty\n");
    // The cache's own report of the animated attribute without values.
    EXPECT_EQ(r.err, "ATRS GROUP chunk missing for object at 7\n");
}

// Ten thousand objects take six places, not five; a hundred and one attributes four, not three.
TEST(Zelinfo, StaticFileAndWideIndices) {
    TempDir dir;
    ZelMETAChunk meta;
    meta.space = 7;
    ZelDOBJChunk* m = meta.addDOBJ("m");
    m->addChild(leaf<int>("MESH", {3}));
    m->addChild(leaf<int>("MSPT", {0}));
    m->addChild(leaf<float>("POSI", std::vector<float>(9, 0), 0, 3));
    ZelDOBJChunk* many = meta.addDOBJ("many");
    many->addAttr(true, "anim", "f", kTypeFloat, 0, 0);
    for (int a = 0; a < 100; ++a) {
        addStatic<int>(many, "a" + std::to_string(a), "int", 0, {a});
    }
    while (meta.getNumObjects() < 10000) {
        meta.addDOBJ("o");
    }
    const std::string path = dir.file("static.zel");
    ASSERT_TRUE(writeCacheFile(path, meta, nullptr));
    const Output r = run(path);
    EXPECT_EQ(r.result, 0);
    const std::string head =
        "ZEL file version 2\nnumber of time samples: 0\nstatic file\nspace: unknown (7)\n\n"
        "number of objects: 10000\nobject[     0] name: m\n"
        "  MESH: mesh topology, MSPT: subd with 3 static vertices\n"
        "object[     1] name: many\n  number of attributes: 101\n"
        "    attribute[   0] NAME: 'anim' TYPE: 'f'\n"
        "    attribute[   1] NAME: 'a0' TYPE: 'int' ATTR: int32 0\n";
    EXPECT_EQ(r.out.substr(0, head.size()), head);
    EXPECT_NE(r.out.find("\n    attribute[ 100] NAME: 'a99' TYPE: 'int' ATTR: int32 99\n"
                         "object[     2] name: o\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("\nobject[  9999] name: o\n"), std::string::npos);
    // Reads use sample -1 in a file without samples.
    EXPECT_EQ(r.err, "ATRS GROUP chunk missing for object at 1\n");
}

TEST(Zelinfo, RatesInTheDefaultFormatWhateverTheCallerSetAndOneErrorLineWhenUnreadable) {
    TempDir dir;
    const std::string path = dir.file("c.zel");
    ZelMETAChunk meta;
    meta.numSamples = 4;
    meta.firstTime = meta.space = 0;
    meta.lastTime = 0.125f;
    meta.rate = 24;
    ASSERT_TRUE(writeCacheFile(path, meta, nullptr));
    // The caller's formatting of standard output changes nothing and is given back.
    std::cout << std::fixed << std::setprecision(2);
    const Output r = run(path);
    EXPECT_TRUE(std::cout.precision() == 2 && (std::cout.flags() & std::ios::fixed));
    std::cout << std::defaultfloat << std::setprecision(6);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out,
              "ZEL file version 2\nnumber of time samples: 4\nfirst frame: 0\nlast frame: 0.125\n"
              "sampling rate: 24 samples per frame\nspace: world\n\nnumber of objects: 0\n");
    meta.numSamples = 3;
    meta.lastTime = 5;
    meta.rate = 0;
    ASSERT_TRUE(writeCacheFile(path, meta, nullptr, {0, 1, 5}));
    EXPECT_NE(run(path).out.find("\nsampling rate: nonuniform\n"), std::string::npos);
    const std::string absent = dir.file("absent.zel");
    const Output failed = run(absent);
    EXPECT_EQ(failed.result, -1);
    EXPECT_EQ(failed.err, "zelinfo at animcache/src/libzel/src/zelUtils.cpp:139 Error " + absent +
                              ": could not open file\n");
    // Standard output holds only the loader's own report.
    EXPECT_EQ(failed.out.rfind("animcache/src/libzel/src/ZelCache.cpp:", 0), 0u);
    EXPECT_EQ(failed.out.find('\n'), failed.out.size() - 1);
}

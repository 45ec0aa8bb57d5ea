#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

#include "Zel.h"
#include "support/CacheFile.h"
#include "support/TempDir.h"

using namespace Zel;

namespace {

constexpr uint32 kATTR = makeTag("ATTR");

template <class T>
ZelLeafChunk<T>* leaf(const char (&tag)[5], std::vector<T> values, uint8 compound = 0,
                      uint8 dimension = 0) {
    return new ZelLeafChunk<T>(makeTag(tag), compound, dimension, values);
}

template <class T>
void setStatic(ZelDOBJChunk* d, int attr, std::vector<T> values) {
    static_cast<ZelLeafChunk<T>*>(d->getDATR()->getStaticData(attr))->values() = values;
}

std::vector<float> identity(float x, float y, float z) {
    return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, x, y, z, 1};
}

struct Output {
    int result;
    std::string out, err;
};

Output runZelinfo(const std::string& path) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    Output r;
    r.result = zelinfo(path.c_str());
    r.out = testing::internal::GetCapturedStdout();
    r.err = testing::internal::GetCapturedStderr();
    return r;
}

// Ten objects of every kind described, three samples at times 1 to 3.
void writeSceneCache(const std::string& path) {
    ZelMETAChunk meta;
    meta.application = "mayaApp";
    meta.sourceFile = "scene.ma";
    meta.date = 86400;
    meta.numSamples = 3;
    meta.firstTime = 1;
    meta.lastTime = 3;
    meta.rate = 1;
    meta.space = 1;
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
    attrs->addAttr(false, "label", "string", kTypeCstr, 0, 0);
    attrs->addAttr(false, "ids", "int[]", kTypeInt32, 0, 0);
    attrs->addAttr(false, "big", "int64[]", kTypeInt64, 0, 0);
    attrs->addAttr(false, "scale", "double[]", kTypeDouble, 0, 1);
    attrs->addAttr(false, "one", "float3", kTypeFloat, 0, 3);
    attrs->addAttr(false, "raw", "color4[]", kTypeFloat, 5, 4);
    attrs->addAttr(false, "empty", "float[]", kTypeFloat, 0, 0);
    setStatic<std::string>(attrs, 2, {"left", "right"});
    setStatic<int>(attrs, 3, {1, 2, 3});
    setStatic<int64>(attrs, 4, {5000000000LL, -1});
    setStatic<double>(attrs, 5, {0.5, 2});
    setStatic<float>(attrs, 6, {1.5f});
    setStatic<float>(attrs, 7, std::vector<float>(8, 0.25f));
    meta.addDOBJ("noatrs")->addAttr(true, "w", "float", kTypeFloat, 0, 0);
    ZelDOBJChunk* both = meta.addDOBJ("both");
    both->addChild(new ZelLeafChunk<double>(makeTag("MTRX"), 0, 16,
                                            {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    both->addChild(leaf<int>("MESH", {4}));
    meta.addDOBJ("empty");
    const bool ok = ZelTest::writeCacheFile(path, meta, [](int s, int o, ZelGroupChunk& g) {
        const float t = static_cast<float>(s);
        switch (o) {
            case 0:
                g.addChild(leaf<float>("POSI", std::vector<float>(24, t), 1, 3));
                break;
            case 1:
                g.addChild(leaf<float>("MTRX", identity(5 + t, 6, 7), 4, 16));
                break;
            case 2:
                g.addChild(leaf<float>("ELOC", {t, 2, 3}));
                break;
            case 3:
                g.addChild(leaf<double>("POSI", std::vector<double>(8, 1.0), 0, 4));
                break;
            case 4:
                g.addChild(leaf<int>("NRBS", {3, 3}));
                break;
            case 6: {
                // Only the first animated attribute has its value in the samples.
                auto* atrs = new ZelGroupChunk(makeTag("ATRS"));
                atrs->addChild(new ZelLeafChunk<float>(kATTR, 2, 3, std::vector<float>(24, t)));
                g.addChild(atrs);
                break;
            }
            default:
                break;
        }
    });
    ASSERT_TRUE(ok);
}

// A cache of `numSamples` samples without any sample content.
void writeBareCache(const std::string& path, ZelMETAChunk& meta,
                    const std::vector<float>& times = {}) {
    ASSERT_TRUE(ZelTest::writeCacheFile(path, meta, nullptr, times));
}

class ZelinfoTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const char* tz = std::getenv("TZ");
        hadTz = tz != nullptr;
        oldTz = hadTz ? tz : "";
        setenv("TZ", "UTC", 1);
        tzset();
    }
    void TearDown() override {
        if (hadTz) {
            setenv("TZ", oldTz.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    ZelTest::TempDir dir;
    bool hadTz = false;
    std::string oldTz;
};

TEST_F(ZelinfoTest, SummarisesEveryKindOfObject) {
    const std::string path = dir.file("scene.zel");
    writeSceneCache(path);
    const Output r = runZelinfo(path);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(
        r.out,
        "ZEL file version 2\n"
        "application: mayaApp\n"
        "source file: scene.ma\n"
        "date stamp: Fri Jan  2 00:00:00 1970\n"
        "number of time samples: 3\n"
        "first frame: 1\n"
        "last frame: 3\n"
        "sampling rate: 1 sample per frame\n"
        "space: object\n"
        "\n"
        "number of objects: 10\n"
        "object[ 0] name: mesh\n"
        "  MESH: mesh topology, MSPT: poly with 8 animated vertices\n"
        "object[ 1] name: xform\n"
        "  MTRX: animated float transform 4x4 [1,0,0,0] [0,1,0,0] [0,0,1,0] [5,6,7,1], ...\n"
        "object[ 2] name: loc\n"
        "  ELOC: animated locator\n"
        "object[ 3] name: curve\n"
        "  NRBC: nurbs curve topology with 2 animated vertices\n"
        "object[ 4] name: surf\n"
        "  NRBS: nurbs surface topology with 4 static vertices\n"
        "object[ 5] name: cs\n"
        "  LXCS: lxCoordSystem\n"
        "object[ 6] name: attrs\n"
        "  number of attributes: 9\n"
        "    attribute[0] NAME: 'pts' TYPE: 'vector[]' ATTR: animated float vector 3d size= 8\n"
        "    attribute[1] NAME: 'gone' TYPE: 'float' ATTR: animated float vector 3d size= 8\n"
        "    attribute[2] NAME: 'label' TYPE: 'string' ATTR: cstr 'left' 'right'\n"
        "    attribute[3] NAME: 'ids' TYPE: 'int[]' ATTR: int32 1, 2, 3\n"
        "    attribute[4] NAME: 'big' TYPE: 'int64[]' ATTR: int64 5000000000, -1\n"
        "    attribute[5] NAME: 'scale' TYPE: 'double[]' ATTR: double scalar 0.5, 2\n"
        "    attribute[6] NAME: 'one' TYPE: 'float3' ATTR: float 3d 1.5\n"
        "    attribute[7] NAME: 'raw' TYPE: 'color4[]' ATTR: float color 4d size= 2\n"
        "    attribute[8] NAME: 'empty' TYPE: 'float[]' ATTR: float\n"
        "object[ 7] name: noatrs\n"
        "  number of attributes: 1\n"
        "    attribute[0] NAME: 'w' TYPE: 'float'\n"
        "object[ 8] name: both\n"
        "  MTRX: static double 4x4 [1,0,0,0] [0,1,0,0] [0,0,1,0] [0,0,0,1]\n"
        "object[ 9] name: empty\n");
    // The cache's own report of the animated attribute without values.
    EXPECT_EQ(r.err, "ATRS GROUP chunk missing for object at 7\n");
}

TEST_F(ZelinfoTest, StaticFileAndWideAttributeIndices) {
    ZelMETAChunk meta;
    meta.space = 7;
    ZelDOBJChunk* m = meta.addDOBJ("m");
    m->addChild(leaf<int>("MESH", {3}));
    m->addChild(leaf<int>("MSPT", {0}));
    m->addChild(leaf<float>("POSI", std::vector<float>(9, 0), 0, 3));
    ZelDOBJChunk* many = meta.addDOBJ("many");
    many->addAttr(true, "anim", "f", kTypeFloat, 0, 0);
    for (int a = 0; a < 100; ++a) {
        many->addAttr(false, "a" + std::to_string(a), "int", kTypeInt32, 0, 0);
        setStatic<int>(many, a + 1, {a});
    }
    const std::string path = dir.file("static.zel");
    writeBareCache(path, meta);
    const Output r = runZelinfo(path);
    EXPECT_EQ(r.result, 0);
    std::string expected =
        "ZEL file version 2\n"
        "number of time samples: 0\n"
        "static file\n"
        "space: unknown (7)\n"
        "\n"
        "number of objects: 2\n"
        "object[0] name: m\n"
        "  MESH: mesh topology, MSPT: subd with 3 static vertices\n"
        "object[1] name: many\n"
        "  number of attributes: 101\n"
        "    attribute[   0] NAME: 'anim' TYPE: 'f'\n";
    for (int a = 0; a < 100; ++a) {
        char line[96];
        std::snprintf(line, sizeof(line),
                      "    attribute[%4d] NAME: 'a%d' TYPE: 'int' ATTR: int32 %d\n", a + 1, a, a);
        expected += line;
    }
    EXPECT_EQ(r.out, expected);
    // Reads use sample -1 in a file without samples.
    EXPECT_EQ(r.err, "ATRS GROUP chunk missing for object at 1\n");
}

TEST_F(ZelinfoTest, RateLinesAndTwoDigitAttributeIndices) {
    ZelMETAChunk meta;
    meta.numSamples = 4;
    meta.firstTime = 0;
    meta.lastTime = 0.125f;
    meta.rate = 24;
    meta.space = 0;
    std::string path = dir.file("rate24.zel");
    writeBareCache(path, meta);
    // The caller's formatting of standard output changes nothing and is given back.
    std::cout << std::fixed << std::setprecision(2);
    Output r = runZelinfo(path);
    EXPECT_TRUE(std::cout.precision() == 2 && (std::cout.flags() & std::ios::fixed));
    std::cout << std::defaultfloat << std::setprecision(6);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out,
              "ZEL file version 2\n"
              "number of time samples: 4\n"
              "first frame: 0\n"
              "last frame: 0.125\n"
              "sampling rate: 24 samples per frame\n"
              "space: world\n"
              "\n"
              "number of objects: 0\n");

    meta.numSamples = 3;
    meta.lastTime = 5;
    meta.rate = 0;
    ZelDOBJChunk* d = meta.addDOBJ("ten");
    for (int a = 0; a < 10; ++a) {
        d->addAttr(false, "s", "t", kTypeCstr, 0, 0);
    }
    path = dir.file("nonuniform.zel");
    writeBareCache(path, meta, {0, 1, 5});
    r = runZelinfo(path);
    EXPECT_EQ(r.result, 0);
    EXPECT_NE(r.out.find("last frame: 5\nsampling rate: nonuniform\n"), std::string::npos);
    // An attribute without values still prints its codes.
    EXPECT_NE(r.out.find("  number of attributes: 10\n"
                         "    attribute[ 0] NAME: 's' TYPE: 't' ATTR: cstr\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("    attribute[ 9] NAME: 's' TYPE: 't' ATTR: cstr\n"), std::string::npos);
}

TEST_F(ZelinfoTest, UnreadableFileGivesOneErrorLine) {
    const std::string path = dir.file("absent.zel");
    const Output r = runZelinfo(path);
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.err, "zelinfo at animcache/src/libzel/src/zelUtils.cpp:139 Error " + path +
                         ": could not open file\n");
    // Standard output holds only the loader's own report.
    EXPECT_EQ(r.out.rfind("animcache/src/libzel/src/ZelCache.cpp:", 0), 0u);
    EXPECT_EQ(r.out.find('\n'), r.out.size() - 1);
}

TEST_F(ZelinfoTest, CommandLineExitStatus) {
    const char* tools = std::getenv("ZEL_TOOLS_DIR");
    if (tools == nullptr) {
        GTEST_SKIP() << "ZEL_TOOLS_DIR is not set";
    }
    const std::string tool = std::string(tools) + "/zelinfo";
    const std::string good = dir.file("good.zel");
    writeSceneCache(good);
    const std::string quiet = " >" + dir.file("out.txt") + " 2>" + dir.file("err.txt");
    auto status = [&](const std::string& args) {
        const int rc = std::system(("\"" + tool + "\"" + args + quiet).c_str());
        return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
    };
    EXPECT_EQ(status(" \"" + good + "\""), 0);
    EXPECT_EQ(status(" \"" + dir.file("absent.zel") + "\""), 1);
    EXPECT_EQ(status(""), 2);
    EXPECT_EQ(status(" a b"), 2);
    const std::vector<unsigned char> err = ZelTest::readFileBytes(dir.file("err.txt"));
    EXPECT_EQ(std::string(err.begin(), err.end()), "usage: zelinfo FILE\n");
}

}  // namespace

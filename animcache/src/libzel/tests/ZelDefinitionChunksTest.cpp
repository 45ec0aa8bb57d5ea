#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iostream>
#include <regex>

#include "Zel.h"
#include "support/ChunkBytes.h"
#include "support/ChunkWalk.h"

using namespace Zel;
using namespace ZelTest;

// Every attribute as "name:type" and '*' when animated, else its value's type code ('-' if none).
static std::string attrs(const ZelDATRChunk& d) {
    std::string s;
    for (int i = 0; i < d.getNumAttrs(); ++i) {
        const ZelChunk* v = d.getStaticData(i);
        const std::string kind = d.isAnimated(i) ? "*" : v ? std::to_string(v->getType()) : "-";
        s += d.getAttrName(i) + ":" + d.getAttrType(i) + kind + " ";
    }
    return s;
}

// Two animated attributes ("pos", "vel") and one static float attribute ("mass").
static void defineAttrs(ZelDATRChunk& d) {
    EXPECT_EQ(d.addAttr(true, "pos", "point", 4, 1, 3), 0);
    EXPECT_EQ(d.addAttr(true, "vel", "vector", 9, 0, 0), 1);  // the type of animated ones is free
    EXPECT_EQ(d.addAttr(false, "mass", "scalar", 4, 0, 1), 2);
}

TEST(ZelDATRChunk, NumbersAnimatedAttributesFirstAndChecksEveryIndex) {
    ZelDATRChunk d;
    defineAttrs(d);
    EXPECT_EQ(attrs(d), "pos:point* vel:vector* mass:scalar4 ");
    EXPECT_EQ(d.getNumAnimatedAttrs() * 10 + d.getNumStaticAttrs(), 21);
    EXPECT_EQ(d.findAttr("mass") * 100 + d.findAttr("vel") * 10 + d.findAttr("Mass"), 209);
    EXPECT_EQ(d.getAnimatedDataIndex(1) * 10 + d.getAnimatedDataIndex(2), 9);
    ASSERT_EQ(d.getStaticData(2), d.getATRS().getChild(0));
    EXPECT_EQ(printed(*d.getStaticData(2), 0), "ATTR float (0) scalar : ");
    EXPECT_TRUE(d.setAttrName(2, "weight") && d.setAttrType(0, "position"));
    EXPECT_EQ(d.addAttr(true, "g", "", 1, 0, 0), -1);
    EXPECT_EQ(d.addAttr(false, "u", "", 0, 0, 0), -1);
    EXPECT_EQ(d.addAttr(false, "u", "", 7, 0, 0), -1);
    EXPECT_EQ(d.addAttr(false, "s", "", 2, 0, 0), 3);
    EXPECT_EQ(attrs(d), "pos:position* vel:vector* weight:scalar4 s:2 ");

    // Every index-taking operation prints the out-of-bounds line and throws false; an object
    // without an attribute definition has no attributes at all.
    ZelDOBJChunk bare("bare");
    EXPECT_EQ(bare.findAttr("pos"), -1);
    const std::vector<std::function<void()>> calls{
        [&] { d.isAnimated(4); },       [&] { d.getAnimatedDataIndex(-1); },
        [&] { d.getStaticData(4); },    [&] { d.getAttrName(4); },
        [&] { d.getAttrType(-5); },     [&] { d.setAttrName(4, "x"); },
        [&] { d.setAttrType(4, "x"); }, [&] { d.removeStaticAttrs(4, 1); },
        [&] { bare.getAttrName(0); },   [&] { d.removeAnimatedAttrs(4, 1); }};
    testing::internal::CaptureStdout();
    std::cout << std::hex;  // the line number is decimal whatever the stream is set to
    size_t thrown = 0;
    for (const auto& call : calls) {
        try {
            call();
        } catch (bool b) {
            thrown += !b;
        }
    }
    std::cout << std::dec;
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(thrown, calls.size());
    EXPECT_EQ(d.getNumAttrs(), 4);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(out, m,
                                 std::regex("(animcache/src/libzel/src/ZelChunks\\.cpp:([0-9]+) "
                                            "DATR attribute index out of bounds\n){10}")));
    // The number is the line of the reporting statement in the library source.
    const std::string test = __FILE__;
    std::ifstream in(test.substr(0, test.rfind("/tests/")) + "/src/ZelChunks.cpp");
    std::string line;
    for (int n = std::stoi(m[2]); n > 0 && std::getline(in, line); --n) {
    }
    EXPECT_NE(line.find("__LINE__"), std::string::npos) << line;
}

TEST(ZelDATRChunk, RemovesAndMergesStaticAttributes) {
    ZelDATRChunk d;
    defineAttrs(d);
    d.addAttr(false, "id", "", 3, 0, 1);
    d.addAttr(false, "tag", "", 2, 0, 0);
    EXPECT_FALSE(d.removeStaticAttrs(0, 1) || d.removeStaticAttrs(3, 3));
    EXPECT_TRUE(d.removeStaticAttrs(3, 1));
    EXPECT_EQ(attrs(d), "pos:point* vel:vector* mass:scalar4 tag:2 ");
    EXPECT_TRUE(d.removeStaticAttrs(2, 2));
    EXPECT_EQ(d.getATRS().numChildren() + d.getSATR().types().size(), 0u);
    // Animated ones go one fewer than the count asks, clamped at the animated attributes.
    d.addAnimatedAttribute("c", "tc");
    d.addAttr(false, "s", "ts", 4, 0, 0);
    EXPECT_EQ(d.removeAnimatedAttrs(3, 1), -1);
    EXPECT_EQ(d.removeAnimatedAttrs(0, 1), 0);
    EXPECT_EQ(d.getNumAnimatedAttrs(), 3);
    EXPECT_EQ(d.removeAnimatedAttrs(0, 3), 0);
    EXPECT_EQ(attrs(d), "c:tc* s:ts4 ");
    EXPECT_EQ(d.removeAnimatedAttrs(0, 1000), 0);
    EXPECT_EQ(attrs(d), "s:ts4 ");

    ZelDATRChunk from;
    from.addAnimatedAttribute("anim", "t");      // animated: never merged
    from.addAttr(false, "s", "other", 4, 0, 0);  // present already
    from.addAttr(false, "color", "rgb", 4, 5, 3);
    dynamic_cast<ZelLeafChunk<float>&>(*from.getStaticData(2)).values() = {0.5f, 0.25f, 1.0f};
    from.addAttr(false, "raw", "", 4, 0, 0);
    from.getATRS().removeChild(2);
    from.getATRS().addChild(new ZelLeafChunk<char>(makeTag("ATTR"), {'x'}));
    testing::internal::CaptureStderr();
    d.mergeStaticAttributes(&from);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "mergeStaticAttributes NOT Merged, unknown type fof: raw\n");
    EXPECT_EQ(attrs(d), "s:ts4 color:rgb4 ");
    EXPECT_NE(d.getStaticData(1), from.getStaticData(2));
    EXPECT_EQ(printed(*d.getStaticData(1), 0), "ATTR float (12) color 3d : 0.5 0.25 1 ");
    d.mergeStaticAttributes(&d);  // a merge into itself finds everything present
    EXPECT_EQ(d.getNumAttrs() * 10 + int(d.getATRS().numChildren()), 22);
}

TEST(ZelDATRChunk, StaticListsOnDiskStayInStep) {
    TempDir dir;
    ZelDATRChunk d;
    d.addAttr(false, "a", "t", 3, 0, 0);
    d.addAttr(false, "b", "", 3, 0, 0);
    d.addAttr(false, "c", "", 3, 0, 0);
    d.getSATR().types() = {"t"};
    EXPECT_EQ(attrs(d), "a:t3 b:3 c:3 ");  // a missing type string reads as empty
    Bytes expect;
    putHeader(expect, "SATR", 1, 16 + 6 + 16 + 4);
    putHeader(expect, "NAME", 2, 6);
    put(expect, "a\0b\0c\0", 6);
    putHeader(expect, "TYPE", 2, 4);
    put(expect, "t\0\0\0", 4);
    EXPECT_EQ(writtenAll(dir, d.getSATR()), expect);

    // With fewer values than static names the statics are left out, with a warning.
    d.addAnimatedAttribute("anim", "");
    d.getATRS().removeChild(1);
    EXPECT_EQ(attrs(d), "anim:* a:t3 b:3 c:- ");
    testing::internal::CaptureStdout();
    const Bytes bytes = writtenAll(dir, d);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "WARNING: SATR and ATRS write skipped, counts do not match\n");
    ASSERT_GE(bytes.size(), 36u);
    EXPECT_EQ(std::memcmp(bytes.data() + 16, "AATR", 4), 0);
    // A type string added after lists of other lengths belongs to the attribute added with it.
    d.getAATR().types().push_back("unnamed");
    d.addAnimatedAttribute("w", "tw");
    d.addAttr(false, "e", "te", 3, 0, 0);
    EXPECT_EQ(attrs(d), "anim:* w:tw* a:t3 b:3 c:3 e:te- ");
}

TEST(ZelDOBJChunk, RoundTripsPrintsAndFailsOnABrokenDefinition) {
    TempDir dir;
    ZelDOBJChunk obj("cube");
    obj.addAttr(true, "P", "point", 4, 1, 3);
    obj.addAttr(true, "v", "", 4, 2, 3);
    obj.addAttr(false, "id", "int", 3, 0, 1);
    obj.addAttr(false, "name", "string", 2, 0, 0);
    auto* id = dynamic_cast<ZelLeafChunk<int>*>(obj.getDATR()->getStaticData(2));
    id->values() = {7};
    id->updateLength();
    auto* name = dynamic_cast<ZelLeafChunk<std::string>*>(obj.getDATR()->getStaticData(3));
    name->values() = {"cube"};
    name->updateLength();
    EXPECT_EQ(printed(obj, 1),
              ". DOBJ group (0) : \n"
              ". . name = cube\n"
              ". . DATR group (0) : \n"
              ". . . SATR group (0) : \n"
              ". . . . names = id name \n"
              ". . . . types = int string \n"
              ". . . AATR group (0) : \n"
              ". . . . names = P v \n"
              ". . . . types = point  \n"
              ". . . ATRS group (0) : \n"
              ". . . . ATTR int32 (4) scalar : 7 \n"
              ". . . . ATTR cstr (5) : cube \n");

    obj.addChild(new ZelLeafChunk<float>(makeTag("BBOX"), {0, 0, 0, 1, 1, 1}));
    const Bytes bytes = writtenAll(dir, obj);
    EXPECT_EQ(layout(walkChunks(dir.file("out.zel"))),
              "DOBJ/1@0+260 >NAME/2@16+5 >DATR/1@37+183 >>SATR/1@53+51 >>>NAME/2@69+8 "
              ">>>TYPE/2@93+11 >>ATRS/1@120+41 >>>ATTR/3@136+4:0,1 >>>ATTR/2@156+5 "
              ">>AATR/1@177+43 >>>NAME/2@193+4 >>>TYPE/2@213+7 >BBOX/4@236+24");
    // With every list complete the length estimate is the written size.
    EXPECT_EQ(obj.getLength(), 260);
    Reader r(dir, bytes);
    ZelDOBJChunk back;
    ASSERT_TRUE(back.read(r.h, r.f));
    ASSERT_NE(back.getDATR(), nullptr);
    EXPECT_EQ(back.getName() + " " + attrs(*back.getDATR()),
              "cube P:point* v:* id:int3 name:string2 ");
    // The object forwards to its definition.
    EXPECT_EQ(std::to_string(back.isAttrAnimated(1)) + std::to_string(back.isAttrAnimated(2)) +
                  back.getAttrName(3) + back.getAttrType(3),
              "10namestring");
    EXPECT_EQ(writtenAll(dir, back), bytes);
    Reader cut(dir, Bytes(bytes.begin(), bytes.begin() + 150));  // inside the first static value
    EXPECT_FALSE(ZelDOBJChunk().read(cut.h, cut.f));
    ZelDOBJChunk bare("bare");
    bare.addDATR();
    bare.removeChildren(0, 0);  // an empty range takes nothing, the definition included
    EXPECT_NE(bare.getDATR(), nullptr);
    obj.reset();
    EXPECT_EQ(printed(obj, 0), "DOBJ group (0) : \n");
    EXPECT_EQ(obj.getLength(), 17);  // the name's header is always counted
    EXPECT_EQ(ZelDOBJChunk(nullptr).getName(), "");
}

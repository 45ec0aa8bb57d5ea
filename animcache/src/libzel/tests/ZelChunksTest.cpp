#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <regex>

#include "Zel.h"
#include "support/ChunkBytes.h"

using namespace Zel;
using namespace ZelTest;

template <class C>
static C* as(ZelChunk* c) {
    return dynamic_cast<C*>(c);
}

// ---------------------------------------------------------------------------------------------
// Leaves

TEST(ZelLeafChunk, WritesByteSizeOfCurrentValuesAndRoundTrips) {
    TempDir dir;
    ZelLeafChunk<float> fl(makeTag("POSI"), 1, 3, {1.0f, 2.5f});
    fl.values().push_back(-4.0f);
    EXPECT_EQ(fl.getLength(), 8);  // the stored length lags until it is updated
    const ZelLeafChunk<std::string> s(makeTag("NAME"), {"x", "", "yz"});
    const ZelLeafChunk<double> empty(makeTag("EMPT"), 2, 16);
    const ZelLeafChunk<char> c(makeTag("CHAR"), {'a', '\0'});
    const ZelLeafChunk<int> i(makeTag("INTS"), {-1, 2147483647});
    const ZelLeafChunk<int64> l(makeTag("LONG"), {int64(1) << 40});

    Bytes expect;
    putHeader(expect, "POSI", 4, 12, 1, 3);
    for (float v : {1.0f, 2.5f, -4.0f}) {
        putValue(expect, v);
    }
    putHeader(expect, "NAME", 2, 6);
    put(expect, "x\0\0yz\0", 6);
    putHeader(expect, "EMPT", 6, 0, 2, 16);
    putHeader(expect, "CHAR", 0, 2);
    put(expect, "a\0", 2);
    putHeader(expect, "INTS", 3, 8);
    putValue(expect, -1);
    putValue(expect, 2147483647);
    putScalar(expect, "LONG", 5, int64(1) << 40);
    const Bytes bytes = written(dir, [&](ZelFile& f) {
        for (const ZelChunk* x : std::vector<const ZelChunk*>{&fl, &s, &empty, &c, &i, &l}) {
            EXPECT_TRUE(x->write(f));
        }
    });
    ASSERT_EQ(bytes, expect);
    fl.updateLength();
    EXPECT_EQ(fl.getLength(), 12);

    Reader r(dir, bytes);
    ZelLeafChunk<float> fl2(makeTag("POSI"));
    ASSERT_TRUE(fl2.read(r.h, r.f));
    EXPECT_EQ(fl2.values(), fl.values());
    EXPECT_EQ(fl2.getCompound(), 1);
    EXPECT_EQ(fl2.getDimension(), 3);
    ZelLeafChunk<std::string> s2(makeTag("NAME"));
    ASSERT_TRUE(r.f.readHeader(r.h) && s2.read(r.h, r.f));
    EXPECT_EQ(s2.values(), s.values());
    ZelLeafChunk<double> empty2(makeTag("EMPT"), {9.0});
    ASSERT_TRUE(r.f.readHeader(r.h) && empty2.read(r.h, r.f));
    EXPECT_TRUE(empty2.values().empty());
    ZelLeafChunk<char> c2(makeTag("CHAR"));
    ASSERT_TRUE(r.f.readHeader(r.h) && c2.read(r.h, r.f));
    EXPECT_EQ(c2.values(), c.values());
    ZelLeafChunk<int> i2(makeTag("INTS"));
    ASSERT_TRUE(r.f.readHeader(r.h) && i2.read(r.h, r.f));
    EXPECT_EQ(i2.values(), i.values());
    ZelLeafChunk<int64> l2(makeTag("LONG"));
    ASSERT_TRUE(r.f.readHeader(r.h) && l2.read(r.h, r.f));
    EXPECT_EQ(l2.values(), l.values());
    EXPECT_EQ(r.pos(), static_cast<int64>(bytes.size()));
}

TEST(ZelLeafChunk, ReadRefusesMismatchedOrBadPayloads) {
    TempDir dir;
    Bytes ten;
    putHeader(ten, "FLTS", 4, 10);
    ten.resize(ten.size() + 10);
    {
        Reader r(dir, ten);
        ZelLeafChunk<float> wrongTag(makeTag("XXXX"));
        ZelLeafChunk<int> wrongType(makeTag("FLTS"));
        EXPECT_FALSE(wrongTag.read(r.h, r.f));
        EXPECT_FALSE(wrongType.read(r.h, r.f));
        EXPECT_EQ(wrongTag.getLength(), 0);
        // 10 bytes are no whole number of floats: header taken, payload left unread.
        ZelLeafChunk<float> leaf(makeTag("FLTS"), {7.0f});
        EXPECT_FALSE(leaf.read(r.h, r.f));
        EXPECT_EQ(leaf.getLength(), 10);
        EXPECT_EQ(leaf.values(), std::vector<float>{7.0f});
        EXPECT_EQ(r.pos(), 16);
    }
    // A length far beyond the file fails before anything is allocated; so does a negative one
    // and a payload cut short by the end of the file.
    for (int64 length : {int64(1) << 60, int64(-8), int64(16)}) {
        for (uint8 type : {uint8(2), uint8(6)}) {
            Bytes b;
            putHeader(b, "DATA", type, length);
            putValue(b, 1.0);
            Reader r(dir, b);
            ZelChunk* leaf = ZelChunk::create(makeTag("DATA"), type);
            EXPECT_FALSE(leaf->read(r.h, r.f)) << length;
            delete leaf;
        }
    }
}

TEST(ZelLeafChunk, PrintsValuesAfterHeaderWithTypePrecision) {
    std::ostringstream os;
    ZelLeafChunk<double>(makeTag("ABCD"), {1.0, 0.5}).print(os, 2);
    EXPECT_EQ(os.str(), ". . ABCD double (16) : 1 0.5 ");
    EXPECT_EQ(os.precision(), 16);  // left set on the stream
    EXPECT_EQ(printed(ZelLeafChunk<double>(makeTag("ABCD"), {1.0 / 3.0}), 0),
              "ABCD double (8) : 0.3333333333333333 ");
    EXPECT_EQ(printed(ZelLeafChunk<float>(makeTag("POSI"), 1, 3, {1.0f / 3.0f, 2.0f}), 1),
              ". POSI float (8) point 3d : 0.33333334 2 ");
    EXPECT_EQ(printed(ZelLeafChunk<int>(makeTag("INTS"), 0, 1, {-3, 12}), 0),
              "INTS int32 (8) scalar : -3 12 ");
    EXPECT_EQ(printed(ZelLeafChunk<std::string>(makeTag("NAME"), {"a b", "c"}), 0),
              "NAME cstr (6) : a b c ");
    EXPECT_EQ(printed(ZelLeafChunk<char>(makeTag("RAWB"), {'h', 'i'}), 0), "RAWB undef (2) : h i ");
}

// ---------------------------------------------------------------------------------------------
// Factory

TEST(ZelChunkFactory, CreatesNodeByTypeCodeAlone) {
    const uint32 tag = makeTag("META");  // the tag never selects a class
    std::unique_ptr<ZelChunk> made[8];
    for (uint8 type = 0; type < 8; ++type) {
        made[type].reset(ZelChunk::create(tag, type));
        ASSERT_NE(made[type], nullptr);
        EXPECT_EQ(made[type]->getTag(), tag);
        EXPECT_EQ(made[type]->getType(), type);
        EXPECT_EQ(made[type]->getLength(), 0);
    }
    EXPECT_NE(as<ZelLeafChunk<char>>(made[0].get()), nullptr);
    EXPECT_NE(as<ZelGroupChunk>(made[1].get()), nullptr);
    EXPECT_EQ(as<ZelMETAChunk>(made[1].get()), nullptr);
    EXPECT_NE(as<ZelLeafChunk<std::string>>(made[2].get()), nullptr);
    EXPECT_NE(as<ZelLeafChunk<int>>(made[3].get()), nullptr);
    EXPECT_NE(as<ZelLeafChunk<float>>(made[4].get()), nullptr);
    EXPECT_NE(as<ZelLeafChunk<int64>>(made[5].get()), nullptr);
    EXPECT_NE(as<ZelLeafChunk<double>>(made[6].get()), nullptr);
    const ZelChunk& plain = *made[7];
    EXPECT_EQ(typeid(plain), typeid(ZelChunk));
}

TEST(ZelChunkFactory, UnknownTypeIsPlainChunkThatSkipsAndReserves) {
    TempDir dir;
    std::unique_ptr<ZelChunk> c(ZelChunk::create(makeTag("ODD9"), 9));
    Bytes b;
    putHeader(b, "ODD9", 9, 40);
    b.resize(b.size() + 40, 0xAB);
    putHeader(b, "NEXT", 0, 0);
    {
        Reader r(dir, b);
        EXPECT_TRUE(c->read(r.h, r.f));
        EXPECT_EQ(r.pos(), 56);        // the payload was skipped
        EXPECT_EQ(c->getLength(), 0);  // and the node's header left as it was
    }
    // Writing reserves the stored length without writing it.
    c->setHeader(ZelHeader(makeTag("ODD9"), 9, 40));
    c->free();
    EXPECT_EQ(c->getType(), 9);
    const Bytes out = written(dir, [&](ZelFile& f) {
        EXPECT_TRUE(c->write(f));
        EXPECT_TRUE(f.writeChunk(ZelHeader(makeTag("NEXT"), 0, 0), nullptr));
    });
    Bytes expect;
    putHeader(expect, "FREE", 9, 40);
    expect.resize(56);
    putHeader(expect, "NEXT", 0, 0);
    EXPECT_EQ(out, expect);
}

TEST(ZelChunkFactory, CopyIsDeepAndRefusesFreeCharAndUnknownNodes) {
    EXPECT_EQ(ZelChunk::copy(nullptr), nullptr);
    ZelLeafChunk<float> freeLeaf(makeTag("FREE"), {1.0f});
    ZelLeafChunk<char> chars(makeTag("RAWB"), {'a'});
    ZelChunk odd(ZelHeader(makeTag("ODD9"), 9, 4));
    ZelChunk fake(ZelHeader(makeTag("FAKE"), 4, 4));  // claims a leaf type, has no values
    for (const ZelChunk* c : std::vector<const ZelChunk*>{&freeLeaf, &chars, &odd, &fake}) {
        EXPECT_EQ(ZelChunk::copy(c), nullptr);
    }

    ZelLeafChunk<float> leaf(makeTag("POSI"), 1, 3, {1.0f, 2.0f});
    leaf.values().push_back(3.0f);
    std::unique_ptr<ZelChunk> c(ZelChunk::copy(&leaf));
    leaf.values()[0] = 9.0f;
    ZelLeafChunk<float>* copy = as<ZelLeafChunk<float>>(c.get());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->getHeader().compound, 1);
    EXPECT_EQ(copy->getDimension(), 3);
    EXPECT_EQ(copy->getLength(), 12);
    EXPECT_EQ(copy->values(), (std::vector<float>{1.0f, 2.0f, 3.0f}));

    // A derived group copies as a plain group of its generic children; children that cannot be
    // copied are dropped.
    ZelDOBJChunk obj("typed member, not copied");
    obj.addChild(new ZelLeafChunk<char>(makeTag("RAWB"), {'x'}));
    auto* inner = new ZelGroupChunk(makeTag("SUBG"));
    inner->addChild(new ZelLeafChunk<int>(makeTag("INTS"), {4}));
    obj.addChild(inner);
    c.reset(ZelChunk::copy(&obj));
    ZelGroupChunk* g = as<ZelGroupChunk>(c.get());
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(typeid(*g), typeid(ZelGroupChunk));
    EXPECT_EQ(g->getTag(), makeTag("DOBJ"));
    ASSERT_EQ(g->numChildren(), 1u);
    ZelGroupChunk* sub = as<ZelGroupChunk>(g->getChild(0));
    ASSERT_TRUE(sub != nullptr && sub != inner && sub->numChildren() == 1);
    EXPECT_EQ(as<ZelLeafChunk<int>>(sub->getChild(0))->values(), std::vector<int>{4});
}

// ---------------------------------------------------------------------------------------------
// Groups

// ROOT { POSI float[3], EMPT {}, NEST { INTS int32[1], STRS {"ab"} } }
static ZelGroupChunk* makeTree() {
    auto* root = new ZelGroupChunk(makeTag("ROOT"));
    root->addChild(new ZelLeafChunk<float>(makeTag("POSI"), {1.0f, 2.0f, 3.0f}));
    root->addChild(new ZelGroupChunk(makeTag("EMPT")));
    auto* nest = new ZelGroupChunk(makeTag("NEST"));
    nest->addChild(new ZelLeafChunk<int>(makeTag("INTS"), {42}));
    nest->addChild(new ZelLeafChunk<std::string>(makeTag("STRS"), {"ab"}));
    root->addChild(nest);
    return root;
}

TEST(ZelGroupChunk, WritesBackPatchedLengthsAndReadsTreeBack) {
    TempDir dir;
    std::unique_ptr<ZelGroupChunk> root(makeTree());
    // 16+12 (POSI) + 16 (EMPT) + 16 + (16+4 + 16+3) (NEST) = 99
    EXPECT_EQ(root->getLength(), 99);
    Bytes expect;
    putHeader(expect, "ROOT", 1, 99);
    putHeader(expect, "POSI", 4, 12);
    for (float v : {1.0f, 2.0f, 3.0f}) {
        putValue(expect, v);
    }
    putHeader(expect, "EMPT", 1, 0);
    putHeader(expect, "NEST", 1, 39);
    putScalar(expect, "INTS", 3, 42);
    putHeader(expect, "STRS", 2, 3);
    putString(expect, "ab");
    putHeader(expect, "TAIL", 5, 0);
    const Bytes bytes = written(dir, [&](ZelFile& f) {
        EXPECT_TRUE(root->write(f));
        EXPECT_TRUE(f.writeChunk(ZelHeader(makeTag("TAIL"), 5, 0), nullptr));
    });
    ASSERT_EQ(bytes, expect);
    EXPECT_EQ(root->getHeader().length, 0);  // writing does not update the stored header

    Reader r(dir, bytes);
    ZelGroupChunk back(makeTag("ROOT"));
    back.addChild(new ZelGroupChunk(makeTag("OLD_")));  // replaced by the read, not leaked
    ASSERT_TRUE(back.read(r.h, r.f));
    EXPECT_EQ(r.pos(), 16 + 99);  // stops at the group's end, TAIL unread
    EXPECT_EQ(r.f.getLevel(), 0u);
    EXPECT_EQ(back.getHeader().length, 99);
    ASSERT_EQ(back.numChildren(), 3u);
    EXPECT_EQ(as<ZelLeafChunk<float>>(back.getChild(0))->values(),
              (std::vector<float>{1.0f, 2.0f, 3.0f}));
    EXPECT_EQ(as<ZelGroupChunk>(back.getChild(1))->numChildren(), 0u);
    ZelGroupChunk* nest = as<ZelGroupChunk>(back.getChild(2));
    ASSERT_TRUE(nest != nullptr && nest->numChildren() == 2);
    EXPECT_EQ(as<ZelLeafChunk<std::string>>(nest->getChild(1))->values(),
              std::vector<std::string>{"ab"});
}

TEST(ZelGroupChunk, ReadEndsAtEmptyLastChildAndAfterEmptyGroup) {
    TempDir dir;
    Bytes b;  // OUTR { LEAF int32[1], LAST {} } TAIL
    putHeader(b, "OUTR", 1, 20 + 16);
    putScalar(b, "LEAF", 3, 7);
    putHeader(b, "LAST", 1, 0);
    putScalar(b, "TAIL", 3, 8);
    {
        Reader r(dir, b);
        ZelGroupChunk g(makeTag("OUTR"));
        ASSERT_TRUE(g.read(r.h, r.f));
        EXPECT_EQ(g.numChildren(), 2u);
        EXPECT_EQ(r.pos(), 52);
    }
    Bytes empty;
    putHeader(empty, "EMPT", 1, 0);
    putScalar(empty, "TAIL", 3, 8);
    Reader r(dir, empty);
    ZelGroupChunk g(makeTag("EMPT"));
    ASSERT_TRUE(g.read(r.h, r.f));
    EXPECT_EQ(g.numChildren(), 0u);
    EXPECT_EQ(r.pos(), 16);
    empty.resize(16);
    EXPECT_EQ(written(dir, [&](ZelFile& f) { EXPECT_TRUE(g.write(f)); }), empty);
}

TEST(ZelGroupChunk, ReadFailuresKeepWhatWasRead) {
    TempDir dir;
    Bytes b;
    putHeader(b, "GRUP", 1, 20 + 16 + 8);
    putScalar(b, "GOOD", 3, 1);
    putHeader(b, "BAD_", 4, 8);  // cut short by the end of the file
    putValue(b, 1.0f);
    {
        Reader r(dir, b);
        ZelGroupChunk wrongTag(makeTag("PURG"));
        EXPECT_FALSE(wrongTag.read(r.h, r.f));
        ZelGroupChunk g(makeTag("GRUP"));
        EXPECT_FALSE(g.read(r.h, r.f));
        ASSERT_EQ(g.numChildren(), 1u);
        EXPECT_EQ(g.getChild(0)->getTag(), makeTag("GOOD"));
    }
    // A negative group length announces no payload: nothing after it belongs to the group.
    Bytes neg;
    putHeader(neg, "GRUP", 1, -16);
    putHeader(neg, "NEXT", 3, 0);
    Reader r(dir, neg);
    ZelGroupChunk g(makeTag("GRUP"));
    EXPECT_FALSE(g.read(r.h, r.f));
    EXPECT_EQ(g.numChildren(), 0u);
}

TEST(ZelGroupChunk, DeepNestingIsRefusedWithoutExhaustingTheStack) {
    TempDir dir;
    auto nested = [](int depth) {
        Bytes b;
        for (int i = 0; i < depth; ++i) {
            putHeader(b, "NEST", 1, 16 * int64(depth - i));
        }
        putHeader(b, "LEAF", 3, 0);
        return b;
    };
    {
        Reader r(dir, nested(100));
        ZelGroupChunk g(makeTag("NEST"));
        EXPECT_TRUE(g.read(r.h, r.f));
        EXPECT_EQ(r.pos(), 101 * 16);
    }
    Reader r(dir, nested(100000));
    ZelGroupChunk g(makeTag("NEST"));
    EXPECT_FALSE(g.read(r.h, r.f));
}

TEST(ZelGroupChunk, FindsAndRemovesChildren) {
    std::unique_ptr<ZelGroupChunk> g(makeTree());
    g->addChild(new ZelLeafChunk<int>(makeTag("POSI"), {1}));
    EXPECT_EQ(g->findChild(makeTag("POSI"), 0), 0u);
    EXPECT_EQ(g->findChild(makeTag("POSI"), 1), 3u);
    EXPECT_EQ(g->findChild(makeTag("POSI"), 4), 4u);
    EXPECT_EQ(g->findChild(makeTag("NONE"), 0), 4u);
    g->removeChild(1);        // EMPT
    g->removeChildren(2, 1);  // a reversed range removes nothing
    g->removeChildren(1, 1);
    ASSERT_EQ(g->numChildren(), 3u);
    EXPECT_EQ(g->getChild(1)->getTag(), makeTag("NEST"));
    g->removeChildren(0, 2);
    ASSERT_EQ(g->numChildren(), 1u);
    EXPECT_EQ(g->getChild(0)->getType(), 3);
    g->removeChildren(0, 1);
    EXPECT_EQ(g->numChildren(), 0u);
    g.reset(makeTree());
    g->reset();
    EXPECT_EQ(g->getLength(), 0);
}

TEST(ZelGroupChunk, PrintsOneLinePerChunkIndentedByDepth) {
    std::unique_ptr<ZelGroupChunk> root(makeTree());
    EXPECT_EQ(printed(*root, 1),
              ". ROOT group (0) : \n"
              ". . POSI float (12) : 1 2 3 \n"
              ". . EMPT group (0) : \n"
              "\n"
              ". . NEST group (0) : \n"
              ". . . INTS int32 (4) : 42 \n"
              ". . . STRS cstr (3) : ab \n"
              "\n");
}

// ---------------------------------------------------------------------------------------------
// Attribute definitions

// Runs `fn`, which must print the index line and throw false; returns what it printed.
template <class Fn>
static std::string indexError(Fn fn) {
    testing::internal::CaptureStdout();
    bool thrown = false;
    try {
        fn();
    } catch (bool b) {
        thrown = !b;
    }
    EXPECT_TRUE(thrown);
    return testing::internal::GetCapturedStdout();
}

// Two animated attributes ("pos", "vel") and one static float attribute ("mass").
static void defineAttrs(ZelDATRChunk& d) {
    EXPECT_EQ(d.addAttr(true, "pos", "point", 4, 1, 3), 0);
    EXPECT_EQ(d.addAttr(true, "vel", "vector", 9, 0, 0), 1);  // the type of animated ones is free
    EXPECT_EQ(d.addAttr(false, "mass", "scalar", 4, 0, 1), 2);
}

TEST(ZelDATRChunk, NumbersAnimatedAttributesFirst) {
    ZelDATRChunk d;
    defineAttrs(d);
    EXPECT_EQ(d.getNumAttrs(), 3);
    EXPECT_EQ(d.getNumStaticAttrs(), 1);
    EXPECT_EQ(d.findAttr("mass"), 2);
    EXPECT_EQ(d.findAttr("vel"), 1);
    EXPECT_EQ(d.findAttr("Mass"), -1);
    EXPECT_TRUE(d.isAnimated(1));
    EXPECT_FALSE(d.isAnimated(2));
    EXPECT_EQ(d.getAnimatedDataIndex(1), 1);
    EXPECT_EQ(d.getAnimatedDataIndex(2), -1);
    EXPECT_EQ(d.getStaticData(1), nullptr);
    ASSERT_EQ(d.getStaticData(2), d.getATRS().getChild(0));
    EXPECT_EQ(d.getStaticData(2)->getHeader().tag, makeTag("ATTR"));
    EXPECT_EQ(d.getStaticData(2)->getDimension(), 1);
    EXPECT_NE(as<ZelLeafChunk<float>>(d.getStaticData(2)), nullptr);
    EXPECT_TRUE(d.setAttrName(2, "weight"));
    EXPECT_TRUE(d.setAttrType(0, "position"));
    EXPECT_EQ(d.getAttrName(2), "weight");
    EXPECT_EQ(d.getAttrType(0), "position");
    EXPECT_EQ(d.getAttrType(2), "scalar");

    EXPECT_EQ(d.addAttr(true, "g", "", 1, 0, 0), -1);
    EXPECT_EQ(d.addAttr(false, "u", "", 0, 0, 0), -1);
    EXPECT_EQ(d.addAttr(false, "u", "", 7, 0, 0), -1);
    EXPECT_EQ(d.getNumAttrs(), 3);
    EXPECT_EQ(d.getATRS().numChildren(), 1u);
    EXPECT_EQ(d.addAttr(false, "s", "", 2, 0, 0), 3);
    EXPECT_NE(as<ZelLeafChunk<std::string>>(d.getStaticData(3)), nullptr);
}

TEST(ZelDATRChunk, IndexOutsideAttributesPrintsLineAndThrowsFalse) {
    ZelDATRChunk d;
    defineAttrs(d);
    const std::string out = indexError([&] { d.isAnimated(3); });
    std::smatch m;
    ASSERT_TRUE(std::regex_match(out, m,
                                 std::regex("animcache/src/libzel/src/ZelChunks\\.cpp:([0-9]+) "
                                            "DATR attribute index out of bounds\n")))
        << out;
    // The number is the line of the reporting statement in the library source.
    const std::string test = __FILE__;
    std::ifstream in(test.substr(0, test.rfind("/tests/")) + "/src/ZelChunks.cpp");
    std::string line;
    for (int n = std::stoi(m[1]); n > 0 && std::getline(in, line); --n) {
    }
    EXPECT_NE(line.find("__LINE__"), std::string::npos) << line;

    // Every index-taking operation runs the same check.
    EXPECT_EQ(indexError([&] { d.getAnimatedDataIndex(-1); }), out);
    EXPECT_EQ(indexError([&] { d.getStaticData(3); }), out);
    EXPECT_EQ(indexError([&] { d.getAttrName(3); }), out);
    EXPECT_EQ(indexError([&] { d.getAttrType(-5); }), out);
    EXPECT_EQ(indexError([&] { d.setAttrName(3, "x"); }), out);
    EXPECT_EQ(indexError([&] { d.setAttrType(3, "x"); }), out);
    EXPECT_EQ(indexError([&] { d.removeStaticAttrs(3, 1); }), out);
    EXPECT_EQ(indexError([&] { d.removeAnimatedAttrs(3, 1); }), out);
    EXPECT_EQ(d.getNumAttrs(), 3);
    // An object without an attribute definition has no attributes at all.
    ZelDOBJChunk obj("bare");
    EXPECT_EQ(obj.findAttr("pos"), -1);
    EXPECT_EQ(indexError([&] { obj.getAttrName(0); }), out);
}

TEST(ZelDATRChunk, RemovesStaticAttributesWithTheirValues) {
    ZelDATRChunk d;
    defineAttrs(d);
    d.addAttr(false, "id", "", 3, 0, 1);
    d.addAttr(false, "tag", "", 2, 0, 0);  // attributes 2, 3, 4 are static
    EXPECT_FALSE(d.removeStaticAttrs(0, 1));
    EXPECT_FALSE(d.removeStaticAttrs(3, 3));
    EXPECT_TRUE(d.removeStaticAttrs(3, 1));
    EXPECT_EQ(d.getAttrName(3), "tag");
    EXPECT_EQ(d.getStaticData(3)->getType(), 2);
    EXPECT_TRUE(d.removeStaticAttrs(2, 2));
    EXPECT_EQ(d.getNumStaticAttrs(), 0);
    EXPECT_EQ(d.getATRS().numChildren(), 0u);
    EXPECT_TRUE(d.getSATR().types().empty());
    EXPECT_EQ(d.getNumAttrs(), 2);
}

TEST(ZelDATRChunk, RemoveAnimatedAttrsTakesOneFewerThanCount) {
    ZelDATRChunk d;
    d.addAnimatedAttribute("a", "ta");
    d.addAnimatedAttribute("b", "tb");
    d.addAnimatedAttribute("c", "tc");
    d.addAttr(false, "s", "ts", 4, 0, 0);
    EXPECT_EQ(d.removeAnimatedAttrs(3, 1), -1);
    EXPECT_EQ(d.removeAnimatedAttrs(0, 1), 0);
    EXPECT_EQ(d.getNumAnimatedAttrs(), 3);
    EXPECT_EQ(d.removeAnimatedAttrs(0, 3), 0);
    ASSERT_EQ(d.getNumAnimatedAttrs(), 1);
    EXPECT_EQ(d.getAttrType(0), "tc");
    EXPECT_EQ(d.getAttrName(1), "s");
    EXPECT_EQ(d.removeAnimatedAttrs(0, 1000), 0);  // clamped at the animated attributes
    EXPECT_EQ(d.getNumAttrs(), 1);
}

TEST(ZelDATRChunk, MergeAddsMissingStaticAttributesAsCopies) {
    ZelDATRChunk d;
    defineAttrs(d);
    ZelDATRChunk from;
    from.addAnimatedAttribute("anim", "t");        // animated: never merged
    from.addAttr(false, "pos", "other", 4, 0, 0);  // named like an animated one
    from.addAttr(false, "color", "rgb", 4, 5, 3);
    as<ZelLeafChunk<float>>(from.getStaticData(2))->values() = {0.5f, 0.25f, 1.0f};
    from.addAttr(false, "raw", "", 4, 0, 0);
    from.getATRS().removeChild(2);
    from.getATRS().addChild(new ZelLeafChunk<char>(makeTag("ATTR"), {'x'}));

    testing::internal::CaptureStderr();
    d.mergeStaticAttributes(&from);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "mergeStaticAttributes NOT Merged, unknown type fof: raw\n");
    ASSERT_EQ(d.getNumAttrs(), 4);
    EXPECT_EQ(d.findAttr("color"), 3);
    EXPECT_EQ(d.getAttrType(3), "rgb");
    ZelLeafChunk<float>* color = as<ZelLeafChunk<float>>(d.getStaticData(3));
    ASSERT_TRUE(color != nullptr && color != from.getStaticData(2));
    EXPECT_EQ(color->getTag(), makeTag("ATTR"));
    EXPECT_EQ(color->getCompound(), 5);
    EXPECT_EQ(color->getLength(), 12);
    EXPECT_EQ(color->values(), (std::vector<float>{0.5f, 0.25f, 1.0f}));
    // A merge into itself finds everything present.
    d.mergeStaticAttributes(&d);
    EXPECT_EQ(d.getNumAttrs(), 4);
    EXPECT_EQ(d.getATRS().numChildren(), 2u);
}

// An object with a name, two animated and two static attributes with values.
static void defineObject(ZelDOBJChunk& obj) {
    obj.addAttr(true, "P", "point", 4, 1, 3);
    obj.addAttr(true, "v", "", 4, 2, 3);
    obj.addAttr(false, "id", "int", 3, 0, 1);
    obj.addAttr(false, "name", "string", 2, 0, 0);
    ZelLeafChunk<int>* id = as<ZelLeafChunk<int>>(obj.getDATR()->getStaticData(2));
    id->values() = {7};
    id->updateLength();
    ZelLeafChunk<std::string>* name =
        as<ZelLeafChunk<std::string>>(obj.getDATR()->getStaticData(3));
    name->values() = {"cube"};
    name->updateLength();
}

TEST(ZelDOBJChunk, RoundTripsNameAndAttributes) {
    TempDir dir;
    ZelDOBJChunk obj("|root|cube");
    defineObject(obj);
    obj.addChild(new ZelLeafChunk<float>(makeTag("BBOX"), {0, 0, 0, 1, 1, 1}));
    const Bytes bytes = written(dir, [&](ZelFile& f) { EXPECT_TRUE(obj.write(f)); });
    // Children in the order written: NAME, DATR { SATR, ATRS, AATR }, then the generic BBOX.
    EXPECT_EQ(std::memcmp(bytes.data() + 16, "NAME", 4), 0);
    EXPECT_EQ(std::memcmp(bytes.data() + 16 + 27, "DATR", 4), 0);
    EXPECT_EQ(std::memcmp(bytes.data() + 16 + 27 + 16, "SATR", 4), 0);
    EXPECT_EQ(std::memcmp(bytes.data() + 16 + 27 + 16 + 16 + 51, "ATRS", 4), 0);
    EXPECT_EQ(std::memcmp(bytes.data() + bytes.size() - 40, "BBOX", 4), 0);
    // With every list complete the length estimate is the written size.
    EXPECT_EQ(obj.getLength(), static_cast<int64>(bytes.size()) - 16);

    Reader r(dir, bytes);
    ZelDOBJChunk back;
    ASSERT_TRUE(back.read(r.h, r.f));
    EXPECT_EQ(back.getName(), "|root|cube");
    ASSERT_EQ(back.getNumAttrs(), 4);
    EXPECT_EQ(back.findAttr("v"), 1);
    EXPECT_EQ(back.getAttrType(0), "point");
    EXPECT_EQ(back.getAttrType(1), "");
    EXPECT_EQ(back.getAttrName(3), "name");
    EXPECT_TRUE(back.isAttrAnimated(1));
    EXPECT_FALSE(back.isAttrAnimated(2));
    ZelLeafChunk<int>* id = as<ZelLeafChunk<int>>(back.getDATR()->getStaticData(2));
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(id->values(), std::vector<int>{7});
    ASSERT_EQ(back.numChildren(), 1u);
    EXPECT_EQ(back.getChild(0)->getTag(), makeTag("BBOX"));
    EXPECT_EQ(back.getLength(), obj.getLength());

    EXPECT_EQ(ZelDOBJChunk().getLength(), 17);  // the name's header is always counted
    EXPECT_EQ(ZelDOBJChunk(nullptr).getName(), "");
}

TEST(ZelDOBJChunk, LaterDefinitionReplacesEarlierAndBrokenOneFails) {
    TempDir dir;
    ZelDATRChunk first, second;
    first.addAnimatedAttribute("first", "");
    second.addAnimatedAttribute("second", "");
    Bytes bytes = written(dir, [&](ZelFile& f) {
        EXPECT_TRUE(f.startGroup(ZelHeader(makeTag("DOBJ"), 1, 0)));
        EXPECT_TRUE(first.write(f) && second.write(f));
        EXPECT_TRUE(f.endGroup());
    });
    {
        Reader r(dir, bytes);
        ZelDOBJChunk back;
        ASSERT_TRUE(back.read(r.h, r.f));
        EXPECT_EQ(back.getNumAttrs(), 1);
        EXPECT_EQ(back.getAttrName(0), "second");
    }
    bytes.resize(bytes.size() - 3);
    Reader r(dir, bytes);
    ZelDOBJChunk back;
    EXPECT_FALSE(back.read(r.h, r.f));
}

TEST(ZelDATRChunk, StaticListsOnDiskStayInStep) {
    TempDir dir;
    ZelDATRChunk d;
    d.addAttr(false, "a", "t", 3, 0, 0);
    d.addAttr(false, "b", "", 3, 0, 0);
    d.addAttr(false, "c", "", 3, 0, 0);
    d.getSATR().types() = {"t"};
    Bytes expect;
    putHeader(expect, "SATR", 1, 16 + 6 + 16 + 4);
    putHeader(expect, "NAME", 2, 6);
    put(expect, "a\0b\0c\0", 6);
    putHeader(expect, "TYPE", 2, 4);
    put(expect, "t\0\0\0", 4);
    EXPECT_EQ(written(dir, [&](ZelFile& f) { EXPECT_TRUE(d.getSATR().write(f)); }), expect);
    EXPECT_EQ(d.getAttrType(1), "");  // a missing type string reads as empty

    // With fewer values than static names the statics are left out, with a warning.
    d.addAnimatedAttribute("anim", "");
    d.getATRS().removeChild(1);
    testing::internal::CaptureStdout();
    const Bytes bytes = written(dir, [&](ZelFile& f) { EXPECT_TRUE(d.write(f)); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "WARNING: SATR and ATRS write skipped, counts do not match\n");
    ASSERT_GE(bytes.size(), 36u);
    EXPECT_EQ(std::memcmp(bytes.data() + 16, "AATR", 4), 0);
    EXPECT_NE(d.getStaticData(2), nullptr);
    EXPECT_EQ(d.getStaticData(3), nullptr);  // its value is missing
}

TEST(ZelDOBJChunk, PrintsNameAndDefinitionTree) {
    ZelDOBJChunk obj("cube");
    defineObject(obj);
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
    obj.reset();
    EXPECT_EQ(printed(obj, 0), "DOBJ group (0) : \n");
}

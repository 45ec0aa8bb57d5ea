#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <regex>
#include <typeinfo>

#include "Zel.h"
#include "support/ChunkBytes.h"

using namespace Zel;
using namespace ZelTest;

template <class C>
static C* as(ZelChunk* c) {
    return dynamic_cast<C*>(c);
}

template <class... C>
static Bytes writtenAll(const TempDir& dir, const C&... chunks) {
    return written(dir, [&](ZelFile& f) { EXPECT_TRUE((chunks.write(f) && ...)); });
}

TEST(ZelLeafChunk, EveryElementTypeWritesItsBytesAndRoundTrips) {
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
    const float floats[] = {1.0f, 2.5f, -4.0f};
    const int ints[] = {-1, 2147483647};
    putHeader(expect, "POSI", 4, 12, 1, 3);
    put(expect, floats, 12);
    putHeader(expect, "NAME", 2, 6);
    put(expect, "x\0\0yz\0", 6);
    putHeader(expect, "EMPT", 6, 0, 2, 16);
    putHeader(expect, "CHAR", 0, 2);
    put(expect, "a\0", 2);
    putHeader(expect, "INTS", 3, 8);
    put(expect, ints, 8);
    putScalar(expect, "LONG", 5, int64(1) << 40);
    const Bytes bytes = writtenAll(dir, fl, s, empty, c, i, l);
    ASSERT_EQ(bytes, expect);
    fl.updateLength();
    EXPECT_EQ(fl.getLength(), 12);

    // Read twice into the same new nodes (a read replaces the values), then write them again.
    Reader r(dir, bytes);
    std::vector<std::unique_ptr<ZelChunk>> back;
    for (const ZelChunk* x : std::vector<const ZelChunk*>{&fl, &s, &empty, &c, &i, &l}) {
        back.emplace_back(ZelChunk::create(x->getTag(), x->getType()));
    }
    for (int pass = 0; pass < 2; ++pass) {
        ASSERT_TRUE(r.f.seek(0, SEEK_SET, true));
        for (auto& x : back) {
            ASSERT_TRUE(r.f.readHeader(r.h) && x->read(r.h, r.f));
        }
    }
    EXPECT_EQ(r.pos(), static_cast<int64>(bytes.size()));
    EXPECT_EQ(writtenAll(dir, *back[0], *back[1], *back[2], *back[3], *back[4], *back[5]), bytes);
}

TEST(ZelLeafChunk, RefusesBadPayloadsAndPrintsWithTypePrecision) {
    TempDir dir;
    Bytes ten;
    putHeader(ten, "FLTS", 4, 10);
    ten.resize(ten.size() + 10);
    Reader r(dir, ten);
    ZelLeafChunk<float> wrongTag(makeTag("XXXX")), leaf(makeTag("FLTS"), {7.0f});
    EXPECT_FALSE(wrongTag.read(r.h, r.f) || ZelLeafChunk<int>(makeTag("FLTS")).read(r.h, r.f));
    EXPECT_EQ(wrongTag.getLength(), 0);
    // 10 bytes are no whole number of floats: header taken, payload left unread.
    EXPECT_FALSE(leaf.read(r.h, r.f));
    EXPECT_EQ(printed(leaf, 2), ". . FLTS float (10) : 7 ");
    EXPECT_EQ(r.pos(), 16);
    // A length far beyond the file, a negative one and a payload cut short all fail before
    // anything is allocated.
    for (int64 length : {int64(1) << 60, int64(-8), int64(16)}) {
        for (uint8 type : {uint8(2), uint8(6)}) {
            Bytes b;
            putHeader(b, "DATA", type, length);
            putValue(b, 1.0);
            Reader in(dir, b);
            std::unique_ptr<ZelChunk> data(ZelChunk::create(makeTag("DATA"), type));
            EXPECT_FALSE(data->read(in.h, in.f)) << length;
        }
    }
    std::ostringstream os;
    ZelLeafChunk<double>(makeTag("ABCD"), {1.0 / 3.0, 0.5}).print(os, 0);
    EXPECT_EQ(os.str(), "ABCD double (16) : 0.3333333333333333 0.5 ");
    EXPECT_EQ(os.precision(), 16);  // left set on the stream
    EXPECT_EQ(printed(ZelLeafChunk<float>(makeTag("POSI"), 1, 3, {1.0f / 3.0f, 2.0f}), 0),
              "POSI float (8) point 3d : 0.33333334 2 ");
    EXPECT_EQ(printed(ZelLeafChunk<std::string>(makeTag("NAME"), {"a b", "c"}), 0),
              "NAME cstr (6) : a b c ");
}

TEST(ZelChunkFactory, CreatesByTypeCodeAloneAndUnknownTypesSkipAndReserve) {
    const std::type_info* kinds[8] = {
        &typeid(ZelLeafChunk<char>),        &typeid(ZelGroupChunk),
        &typeid(ZelLeafChunk<std::string>), &typeid(ZelLeafChunk<int>),
        &typeid(ZelLeafChunk<float>),       &typeid(ZelLeafChunk<int64>),
        &typeid(ZelLeafChunk<double>),      &typeid(ZelChunk)};
    for (uint8 type = 0; type < 8; ++type) {
        std::unique_ptr<ZelChunk> made(ZelChunk::create(makeTag("META"), type));
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(typeid(*made), *kinds[type]) << int(type);  // never ZelMETAChunk
        const ZelHeader h = made->getHeader(), want(makeTag("META"), type, 0);
        EXPECT_EQ(std::memcmp(&h, &want, 16), 0);
    }
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
    c->setHeader(ZelHeader(makeTag("ODD9"), 9, 40));
    c->free();  // reserved space of the same length
    std::fill(b.begin() + 16, b.begin() + 56, 0);
    std::memcpy(b.data(), "FREE", 4);
    EXPECT_EQ(writtenAll(dir, *c, ZelLeafChunk<char>(makeTag("NEXT"))), b);
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
    TempDir dir;
    ZelLeafChunk<float> leaf(makeTag("POSI"), 1, 3, {1.0f, 2.0f, 3.0f});
    const Bytes before = writtenAll(dir, leaf);
    std::unique_ptr<ZelChunk> c(ZelChunk::copy(&leaf));
    leaf.values()[0] = 9.0f;
    ASSERT_NE(as<ZelLeafChunk<float>>(c.get()), nullptr);
    EXPECT_EQ(writtenAll(dir, *c), before);

    // A derived group copies as a plain group of its generic children; children that cannot be
    // copied are dropped. Nested groups print with a blank line after their children.
    ZelDOBJChunk obj("typed member, not copied");
    obj.addChild(new ZelLeafChunk<char>(makeTag("RAWB"), {'x'}));
    auto* inner = new ZelGroupChunk(makeTag("SUBG"));
    inner->addChild(new ZelLeafChunk<int>(makeTag("INTS"), {4}));
    obj.addChild(inner);
    c.reset(ZelChunk::copy(&obj));
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(typeid(*c), typeid(ZelGroupChunk));
    EXPECT_NE(as<ZelGroupChunk>(c.get())->getChild(0), inner);
    EXPECT_EQ(printed(*c, 1),
              ". DOBJ group (0) : \n. . SUBG group (0) : \n. . . INTS int32 (4) : 4 \n\n");
}

TEST(ZelGroupChunk, WritesBackPatchedLengthsAndReadsTreeBack) {
    TempDir dir;
    ZelGroupChunk root(makeTag("ROOT"));
    root.addChild(new ZelLeafChunk<float>(makeTag("POSI"), {1.0f, 2.0f, 3.0f}));
    auto* nest = new ZelGroupChunk(makeTag("NEST"));
    nest->addChild(new ZelLeafChunk<int>(makeTag("INTS"), {42}));
    nest->addChild(new ZelLeafChunk<std::string>(makeTag("STRS"), {"ab"}));
    root.addChild(nest);
    root.addChild(new ZelGroupChunk(makeTag("EMPT")));
    EXPECT_EQ(root.getLength(), 99);  // 16+12 + 16+(16+4 + 16+3) + 16
    Bytes expect;
    const float floats[] = {1.0f, 2.0f, 3.0f};
    putHeader(expect, "ROOT", 1, 99);
    putHeader(expect, "POSI", 4, 12);
    put(expect, floats, 12);
    putHeader(expect, "NEST", 1, 39);
    putScalar(expect, "INTS", 3, 42);
    putHeader(expect, "STRS", 2, 3);
    putString(expect, "ab");
    putHeader(expect, "EMPT", 1, 0);
    const Bytes bytes = writtenAll(dir, root);
    ASSERT_EQ(bytes, expect);
    EXPECT_EQ(root.getHeader().length, 0);  // writing does not update the stored header

    // The empty last child closes the group at its header: TAIL stays unread.
    putScalar(expect, "TAIL", 3, 8);
    Reader r(dir, expect);
    ZelGroupChunk back(makeTag("ROOT"));
    back.addChild(new ZelGroupChunk(makeTag("OLD_")));  // replaced by the read, not leaked
    ASSERT_TRUE(back.read(r.h, r.f));
    EXPECT_EQ(r.pos(), 16 + 99);
    EXPECT_EQ(r.f.getLevel(), 0u);
    EXPECT_EQ(back.getHeader().length, 99);
    EXPECT_EQ(writtenAll(dir, back), bytes);

    back.addChild(new ZelLeafChunk<int>(makeTag("POSI"), {1}));
    EXPECT_EQ(back.findChild(makeTag("POSI"), 0), 0u);
    EXPECT_EQ(back.findChild(makeTag("POSI"), 1), 3u);
    EXPECT_EQ(back.findChild(makeTag("POSI"), 4), 4u);
    EXPECT_EQ(back.findChild(makeTag("NONE"), 0), 4u);
    back.removeChild(2);        // EMPT
    back.removeChildren(2, 1);  // a reversed range removes nothing
    back.removeChildren(1, 1);
    back.removeChildren(0, 1);
    ASSERT_EQ(back.numChildren(), 2u);
    EXPECT_EQ(back.getChild(0)->getTag() ^ back.getChild(1)->getType(), makeTag("NEST") ^ 3);
    back.removeChildren(0, 2);
    EXPECT_EQ(back.numChildren(), 0u);
    root.reset();
    EXPECT_EQ(root.getLength(), 0);
}

TEST(ZelGroupChunk, ReadFailuresKeepWhatWasReadAndRefuseDeepNesting) {
    TempDir dir;
    Bytes b;
    putHeader(b, "GRUP", 1, 20 + 16 + 8);
    putScalar(b, "GOOD", 3, 1);
    putHeader(b, "BAD_", 4, 8);  // cut short by the end of the file
    putValue(b, 1.0f);
    {
        Reader r(dir, b);
        ZelGroupChunk wrongTag(makeTag("PURG")), g(makeTag("GRUP"));
        EXPECT_FALSE(wrongTag.read(r.h, r.f) || g.read(r.h, r.f));
        ASSERT_EQ(g.numChildren(), 1u);
        EXPECT_EQ(g.getChild(0)->getTag(), makeTag("GOOD"));
    }
    // A negative group length announces no payload: nothing after it belongs to the group.
    Bytes neg;
    putHeader(neg, "GRUP", 1, -16);
    putHeader(neg, "NEXT", 3, 0);
    {
        Reader r(dir, neg);
        ZelGroupChunk g(makeTag("GRUP"));
        EXPECT_FALSE(g.read(r.h, r.f));
        EXPECT_EQ(g.numChildren(), 0u);
    }
    for (int depth : {100, 100000}) {
        Bytes deep;
        for (int i = 0; i < depth; ++i) {
            putHeader(deep, "NEST", 1, 16 * int64(depth - i));
        }
        putHeader(deep, "LEAF", 3, 0);
        Reader r(dir, deep);
        ZelGroupChunk g(makeTag("NEST"));
        EXPECT_EQ(g.read(r.h, r.f), depth == 100) << depth;
    }
}

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

    // Every index-taking operation prints the same line and throws false; an object without an
    // attribute definition has no attributes at all.
    ZelDOBJChunk bare("bare");
    EXPECT_EQ(bare.findAttr("pos"), -1);
    const std::vector<std::function<void()>> calls{
        [&] { d.isAnimated(4); },       [&] { d.getAnimatedDataIndex(-1); },
        [&] { d.getStaticData(4); },    [&] { d.getAttrName(4); },
        [&] { d.getAttrType(-5); },     [&] { d.setAttrName(4, "x"); },
        [&] { d.setAttrType(4, "x"); }, [&] { d.removeStaticAttrs(4, 1); },
        [&] { bare.getAttrName(0); },   [&] { d.removeAnimatedAttrs(4, 1); }};
    std::vector<std::string> lines;
    for (const auto& call : calls) {
        testing::internal::CaptureStdout();
        std::cout << std::hex;  // the line number is decimal whatever the stream is set to
        bool thrown = false;
        try {
            call();
        } catch (bool b) {
            thrown = !b;
        }
        std::cout << std::dec;
        lines.push_back(testing::internal::GetCapturedStdout());
        EXPECT_TRUE(thrown) << lines.size();
    }
    EXPECT_EQ(lines, std::vector<std::string>(calls.size(), lines[0]));
    EXPECT_EQ(d.getNumAttrs(), 4);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(lines[0], m,
                                 std::regex("animcache/src/libzel/src/ZelChunks\\.cpp:([0-9]+) "
                                            "DATR attribute index out of bounds\n")));
    // The number is the line of the reporting statement in the library source.
    const std::string test = __FILE__;
    std::ifstream in(test.substr(0, test.rfind("/tests/")) + "/src/ZelChunks.cpp");
    std::string line;
    for (int n = std::stoi(m[1]); n > 0 && std::getline(in, line); --n) {
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
    as<ZelLeafChunk<float>>(from.getStaticData(2))->values() = {0.5f, 0.25f, 1.0f};
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

TEST(ZelDOBJChunk, RoundTripsAndPrintsNameAndAttributes) {
    TempDir dir;
    ZelDOBJChunk obj("cube");
    obj.addAttr(true, "P", "point", 4, 1, 3);
    obj.addAttr(true, "v", "", 4, 2, 3);
    obj.addAttr(false, "id", "int", 3, 0, 1);
    obj.addAttr(false, "name", "string", 2, 0, 0);
    auto* id = as<ZelLeafChunk<int>>(obj.getDATR()->getStaticData(2));
    id->values() = {7};
    id->updateLength();
    auto* name = as<ZelLeafChunk<std::string>>(obj.getDATR()->getStaticData(3));
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
    // Children in the order written: NAME, DATR { SATR, ATRS, AATR }, then the generic BBOX.
    for (auto [at, tag] : {std::pair<size_t, const char*>{16, "NAME"},
                           {37, "DATR"},
                           {53, "SATR"},
                           {120, "ATRS"},
                           {bytes.size() - 40, "BBOX"}}) {
        EXPECT_EQ(std::memcmp(bytes.data() + at, tag, 4), 0) << tag;
    }
    // With every list complete the length estimate is the written size.
    EXPECT_EQ(obj.getLength(), static_cast<int64>(bytes.size()) - 16);
    Reader r(dir, bytes);
    ZelDOBJChunk back;
    ASSERT_TRUE(back.read(r.h, r.f));
    ASSERT_NE(back.getDATR(), nullptr);
    EXPECT_EQ(back.getName() + " " + attrs(*back.getDATR()),
              "cube P:point* v:* id:int3 name:string2 ");
    EXPECT_TRUE(back.isAttrAnimated(1) && !back.isAttrAnimated(2));
    EXPECT_EQ(back.getAttrName(3) + back.getAttrType(3), "namestring");
    EXPECT_EQ(writtenAll(dir, back), bytes);
    ZelDOBJChunk bare("bare");
    bare.addDATR();
    bare.removeChildren(0, 0);  // an empty range takes nothing, the definition included
    EXPECT_NE(bare.getDATR(), nullptr);
    obj.reset();
    EXPECT_EQ(printed(obj, 0), "DOBJ group (0) : \n");
    EXPECT_EQ(obj.getLength(), 17);  // the name's header is always counted
    EXPECT_EQ(ZelDOBJChunk(nullptr).getName(), "");
}

TEST(ZelDOBJChunk, LaterDefinitionReplacesEarlierAndBrokenOneFails) {
    TempDir dir;
    ZelDATRChunk first, second;
    first.addAnimatedAttribute("first", "");
    second.addAnimatedAttribute("second", "");
    Bytes bytes = written(dir, [&](ZelFile& f) {
        EXPECT_TRUE(f.startGroup(ZelHeader(makeTag("DOBJ"), 1, 0)));
        EXPECT_TRUE(first.write(f) && second.write(f) && f.endGroup());
    });
    for (bool cut : {false, true}) {
        bytes.resize(bytes.size() - (cut ? 3 : 0));
        Reader r(dir, bytes);
        ZelDOBJChunk back;
        ASSERT_EQ(back.read(r.h, r.f), !cut);
        EXPECT_EQ(cut || attrs(*back.getDATR()) == "second:* ", true);
    }
}

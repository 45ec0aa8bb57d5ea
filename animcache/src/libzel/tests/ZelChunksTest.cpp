#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "Zel.h"
#include "support/ChunkBytes.h"
#include "support/ChunkWalk.h"

using namespace Zel;
using namespace ZelTest;

TEST(ZelLeafChunk, EveryElementTypeWritesItsBytesAndRoundTrips) {
    TempDir dir;
    // Moved-in values are taken over, not copied: the leaf holds the very same array.
    std::vector<float> points{1.0f, 2.5f};
    const float* const pointData = points.data();
    ZelLeafChunk<float> fl(makeTag("POSI"), 1, 3, std::move(points));
    EXPECT_TRUE(fl.values().data() == pointData && points.empty());
    fl.values().push_back(-4.0f);
    EXPECT_EQ(fl.getLength(), 8);  // the stored length lags until it is updated
    std::vector<std::string> names{"x", "", "yz"};
    const ZelLeafChunk<std::string> s(makeTag("NAME"), std::move(names));
    EXPECT_TRUE(names.empty() && s.getLength() == 6);
    const ZelLeafChunk<double> empty(makeTag("EMPT"), 2, 16);
    const ZelLeafChunk<char> c(makeTag("CHAR"), {'a', '\0'});
    const ZelLeafChunk<int> i(makeTag("INTS"), {-1, 2147483647});
    const std::vector<int64> longs{int64(1) << 40};
    const ZelLeafChunk<int64> l(makeTag("LONG"), longs);
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
    EXPECT_EQ(r.f.tell(), 16);
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
}

// The type alone picks the class. A type the library does not know skips its payload when read
// and, freed, reserves as much; nothing of such a node, a "FREE" one or a char leaf is copied.
TEST(ZelChunkFactory, CreatesByTypeCopiesDeeplyAndRefusesWhatItCannotCopy) {
    TempDir dir;
    const std::unique_ptr<ZelChunk> meta(ZelChunk::create(makeTag("META"), kTypeGroup));
    EXPECT_EQ(typeid(*meta), typeid(ZelGroupChunk));
    std::unique_ptr<ZelChunk> c(ZelChunk::create(makeTag("ODD9"), 9));
    Bytes b;
    putHeader(b, "ODD9", 9, 40);
    b.resize(b.size() + 40, 0xAB);
    putHeader(b, "NEXT", 0, 0);
    {
        Reader r(dir, b);
        EXPECT_TRUE(c->read(r.h, r.f));
        EXPECT_EQ(r.f.tell(), 56);     // the payload was skipped
        EXPECT_EQ(c->getLength(), 0);  // and the node's header left as it was
    }
    c->setHeader(ZelHeader(makeTag("ODD9"), 9, 40));
    ZelLeafChunk<float> freeLeaf(makeTag("FREE"), {1.0f});
    ZelLeafChunk<char> chars(makeTag("RAWB"), {'a'});
    ZelChunk fake(ZelHeader(makeTag("FAKE"), 4, 4));  // claims a leaf type, has no values
    for (const ZelChunk* x :
         std::vector<const ZelChunk*>{nullptr, &freeLeaf, &chars, c.get(), &fake}) {
        EXPECT_EQ(ZelChunk::copy(x), nullptr);
    }
    c->free();
    std::fill(b.begin() + 16, b.begin() + 56, 0);
    std::memcpy(b.data(), "FREE", 4);
    EXPECT_EQ(writtenAll(dir, *c, ZelLeafChunk<char>(makeTag("NEXT"))), b);
    ZelLeafChunk<float> leaf(makeTag("POSI"), 1, 3, {1.0f, 2.0f, 3.0f});
    const Bytes before = writtenAll(dir, leaf);
    c.reset(ZelChunk::copy(&leaf));
    leaf.values()[0] = 9.0f;
    ASSERT_NE(dynamic_cast<ZelLeafChunk<float>*>(c.get()), nullptr);
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
    EXPECT_NE(dynamic_cast<ZelGroupChunk&>(*c).getChild(0), inner);
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
    const Bytes bytes = writtenAll(dir, root);
    EXPECT_EQ(layout(walkChunks(dir.file("out.zel"))),
              "ROOT/1@0+99 >POSI/4@16+12 >NEST/1@44+39 >>INTS/3@60+4 >>STRS/2@80+3 >EMPT/1@99+0");
    EXPECT_EQ(root.getHeader().length, 0);  // writing does not update the stored header

    // The empty last child closes the group at its header: TAIL stays unread.
    Bytes withTail = bytes;
    putScalar(withTail, "TAIL", 3, 8);
    Reader r(dir, withTail);
    ZelGroupChunk back(makeTag("ROOT"));
    back.addChild(new ZelGroupChunk(makeTag("OLD_")));  // replaced by the read, not leaked
    ASSERT_TRUE(back.read(r.h, r.f));
    EXPECT_EQ(r.f.tell(), 16 + 99);
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
    root.reset();
    EXPECT_EQ(back.numChildren() + root.numChildren(), 0u);
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
        // What an earlier read left is read into where it fits, but never outlives a failed read.
        g.addChild(new ZelLeafChunk<int>(makeTag("GOOD"), {7, 7}));
        g.addChild(new ZelLeafChunk<float>(makeTag("BAD_"), {7.0f}));
        g.addChild(new ZelGroupChunk(makeTag("MORE")));
        EXPECT_FALSE(wrongTag.read(r.h, r.f) || g.read(r.h, r.f));
        ASSERT_EQ(g.numChildren(), 1u);
        EXPECT_EQ(dynamic_cast<ZelLeafChunk<int>&>(*g.getChild(0)).values(), std::vector<int>{1});
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

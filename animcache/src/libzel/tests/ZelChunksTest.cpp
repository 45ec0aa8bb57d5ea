#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "Zel.h"
#include "support/TempDir.h"

using namespace Zel;
using Bytes = std::vector<unsigned char>;

namespace {

void put(Bytes& b, const void* p, size_t n) {
    const unsigned char* c = static_cast<const unsigned char*>(p);
    b.insert(b.end(), c, c + n);
}

template <class V>
void putValue(Bytes& b, V v) {
    put(b, &v, sizeof(v));
}

void putHeader(Bytes& b, const char* tag, uint8 type, int64 length, uint8 compound = 0,
               uint8 dimension = 0) {
    put(b, tag, 4);
    const unsigned char codes[4] = {type, compound, dimension, 0};
    put(b, codes, 4);
    putValue(b, length);
}

void putString(Bytes& b, const char* s) {
    put(b, s, std::strlen(s) + 1);
}

// Writes whatever `fn` writes to a fresh file and returns the file's bytes.
template <class Fn>
Bytes written(const ZelTest::TempDir& dir, Fn fn) {
    const std::string path = dir.file("out.zel");
    {
        ZelFile f;
        EXPECT_TRUE(f.open(path.c_str(), "w"));
        fn(f);
    }
    return ZelTest::readFileBytes(path);
}

// A file holding `bytes`, opened for reading with its first header already read.
struct Reader {
    Reader(const ZelTest::TempDir& dir, const Bytes& bytes) {
        const std::string path = dir.file("in.zel");
        ZelTest::writeFileBytes(path, bytes);
        EXPECT_TRUE(f.open(path.c_str(), "r"));
        headerOk = f.readHeader(h);
    }
    int64 pos() const { return f.tell(); }

    ZelFile f;
    ZelHeader h;
    bool headerOk = false;
};

std::string printed(const ZelChunk& c, int indent) {
    std::ostringstream os;
    c.print(os, indent);
    return os.str();
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Leaves

TEST(ZelLeafChunk, WritesHeaderWithByteSizeOfCurrentValues) {
    ZelTest::TempDir dir;
    ZelLeafChunk<float> leaf(makeTag("POSI"), 1, 3, {1.0f, 2.5f});
    EXPECT_EQ(leaf.getLength(), 8);
    leaf.values().push_back(-4.0f);
    // The stored length lags behind the values until it is updated; write never does.
    EXPECT_EQ(leaf.getLength(), 8);

    Bytes expect;
    putHeader(expect, "POSI", 4, 12, 1, 3);
    putValue(expect, 1.0f);
    putValue(expect, 2.5f);
    putValue(expect, -4.0f);
    EXPECT_EQ(written(dir, [&](ZelFile& f) { EXPECT_TRUE(leaf.write(f)); }), expect);

    leaf.updateLength();
    EXPECT_EQ(leaf.getLength(), 12);
}

TEST(ZelLeafChunk, StringAndEmptyLeavesWriteExactBytes) {
    ZelTest::TempDir dir;
    ZelLeafChunk<std::string> strings(makeTag("NAME"), {"x", "yz"});
    EXPECT_EQ(strings.getLength(), 5);
    ZelLeafChunk<double> empty(makeTag("EMPT"), 2, 16);

    Bytes expect;
    putHeader(expect, "NAME", 2, 5);
    putString(expect, "x");
    putString(expect, "yz");
    putHeader(expect, "EMPT", 6, 0, 2, 16);
    EXPECT_EQ(written(dir,
                      [&](ZelFile& f) {
                          EXPECT_TRUE(strings.write(f));
                          EXPECT_TRUE(empty.write(f));
                      }),
              expect);
}

TEST(ZelLeafChunk, ConstructorsSetTypeCodeOfElement) {
    EXPECT_EQ(ZelLeafChunk<char>().getType(), 0);
    EXPECT_EQ(ZelLeafChunk<char>().getTag(), makeTag("FREE"));
    EXPECT_EQ(ZelLeafChunk<std::string>(makeTag("A123")).getType(), 2);
    EXPECT_EQ(ZelLeafChunk<int>(makeTag("A123")).getType(), 3);
    EXPECT_EQ(ZelLeafChunk<int64>(makeTag("A123"), {1, 2}).getLength(), 16);
    EXPECT_EQ(ZelLeafChunk<double>(makeTag("A123"), {1.0}).getType(), 6);
    ZelLeafChunk<int> codes(makeTag("A123"), 5, 4);
    EXPECT_EQ(codes.getCompound(), 5);
    EXPECT_EQ(codes.getDimension(), 4);
    EXPECT_EQ(codes.getLength(), 0);
    EXPECT_EQ(codes.getHeader().reserved, 0);
}

TEST(ZelLeafChunk, RoundTripsEveryElementType) {
    ZelTest::TempDir dir;
    const ZelLeafChunk<char> c(makeTag("CHAR"), {'a', '\0', 'z'});
    const ZelLeafChunk<std::string> s(makeTag("STRS"), 0, 0, {"", "two", ""});
    const ZelLeafChunk<int> i(makeTag("INTS"), 6, 1, {-1, 2147483647});
    const ZelLeafChunk<float> fl(makeTag("FLTS"), 3, 3, {0.1f, -2.0f, 1e30f});
    const ZelLeafChunk<int64> l(makeTag("LONG"), {int64(1) << 40});
    const ZelLeafChunk<double> d(makeTag("DBLS"), 4, 16, {1.0 / 3.0});
    const Bytes bytes = written(dir, [&](ZelFile& f) {
        for (const ZelChunk* x : std::vector<const ZelChunk*>{&c, &s, &i, &fl, &l, &d}) {
            EXPECT_TRUE(x->write(f));
        }
    });

    Reader r(dir, bytes);
    ZelLeafChunk<char> c2(makeTag("CHAR"));
    ASSERT_TRUE(c2.read(r.h, r.f));
    EXPECT_EQ(c2.values(), c.values());
    ZelLeafChunk<std::string> s2(makeTag("STRS"));
    ASSERT_TRUE(r.f.readHeader(r.h) && s2.read(r.h, r.f));
    EXPECT_EQ(s2.values(), s.values());
    ZelLeafChunk<int> i2(makeTag("INTS"));
    ASSERT_TRUE(r.f.readHeader(r.h) && i2.read(r.h, r.f));
    EXPECT_EQ(i2.values(), i.values());
    EXPECT_EQ(i2.getCompound(), 6);
    EXPECT_EQ(i2.getDimension(), 1);
    ZelLeafChunk<float> fl2(makeTag("FLTS"));
    ASSERT_TRUE(r.f.readHeader(r.h) && fl2.read(r.h, r.f));
    EXPECT_EQ(fl2.values(), fl.values());
    ZelLeafChunk<int64> l2(makeTag("LONG"));
    ASSERT_TRUE(r.f.readHeader(r.h) && l2.read(r.h, r.f));
    EXPECT_EQ(l2.values(), l.values());
    ZelLeafChunk<double> d2(makeTag("DBLS"));
    ASSERT_TRUE(r.f.readHeader(r.h) && d2.read(r.h, r.f));
    EXPECT_EQ(d2.values(), d.values());
    EXPECT_EQ(d2.getHeader().length, 8);
    EXPECT_EQ(r.pos(), static_cast<int64>(bytes.size()));
}

TEST(ZelLeafChunk, ReadRefusesMismatchedOrBadPayloads) {
    ZelTest::TempDir dir;
    Bytes bytes;
    putHeader(bytes, "FLTS", 4, 10);
    bytes.resize(bytes.size() + 10);
    {
        Reader r(dir, bytes);
        ZelLeafChunk<float> wrongTag(makeTag("XXXX"));
        EXPECT_FALSE(wrongTag.read(r.h, r.f));
        ZelLeafChunk<int> wrongType(makeTag("FLTS"));
        EXPECT_FALSE(wrongType.read(r.h, r.f));
        EXPECT_EQ(r.pos(), 16);  // nothing consumed
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
        Bytes b;
        putHeader(b, "DBLS", 6, length);
        putValue(b, 1.0);
        Reader r(dir, b);
        ZelLeafChunk<double> leaf(makeTag("DBLS"));
        EXPECT_FALSE(leaf.read(r.h, r.f)) << length;
        EXPECT_TRUE(leaf.values().empty()) << length;
        ZelLeafChunk<std::string> strings(makeTag("DBLS"));
        r.h.type = 2;
        strings.setHeader(ZelHeader(makeTag("DBLS"), 2, 0));
        EXPECT_FALSE(strings.read(r.h, r.f)) << length;
    }
}

TEST(ZelLeafChunk, ZeroLengthReadsNoValues) {
    ZelTest::TempDir dir;
    Bytes b;
    putHeader(b, "FLTS", 4, 0);
    Reader r(dir, b);
    ZelLeafChunk<float> leaf(makeTag("FLTS"), {1.0f, 2.0f});
    EXPECT_TRUE(leaf.read(r.h, r.f));
    EXPECT_TRUE(leaf.values().empty());
    leaf.values().push_back(3.0f);
    leaf.reset();
    EXPECT_TRUE(leaf.values().empty());
}

TEST(ZelLeafChunk, PrintsValuesAfterHeaderWithTypePrecision) {
    std::ostringstream os;
    ZelLeafChunk<double> d(makeTag("ABCD"), {1.0, 0.5});
    d.print(os, 2);
    EXPECT_EQ(os.str(), ". . ABCD double (16) : 1 0.5 ");
    EXPECT_EQ(os.precision(), 16);

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
    struct Case {
        uint8 type;
        bool (*is)(const ZelChunk*);
    };
    const Case cases[] = {
        {0,
         [](const ZelChunk* c) { return dynamic_cast<const ZelLeafChunk<char>*>(c) != nullptr; }},
        {1, [](const ZelChunk* c) { return dynamic_cast<const ZelGroupChunk*>(c) != nullptr; }},
        {2,
         [](const ZelChunk* c) {
             return dynamic_cast<const ZelLeafChunk<std::string>*>(c) != nullptr;
         }},
        {3, [](const ZelChunk* c) { return dynamic_cast<const ZelLeafChunk<int>*>(c) != nullptr; }},
        {4,
         [](const ZelChunk* c) { return dynamic_cast<const ZelLeafChunk<float>*>(c) != nullptr; }},
        {5,
         [](const ZelChunk* c) { return dynamic_cast<const ZelLeafChunk<int64>*>(c) != nullptr; }},
        {6,
         [](const ZelChunk* c) { return dynamic_cast<const ZelLeafChunk<double>*>(c) != nullptr; }},
    };
    for (const Case& k : cases) {
        ZelChunk* c = ZelChunk::create(tag, k.type);
        ASSERT_NE(c, nullptr);
        EXPECT_TRUE(k.is(c)) << int(k.type);
        EXPECT_EQ(c->getHeader().tag, tag);
        EXPECT_EQ(c->getType(), k.type);
        EXPECT_EQ(c->getLength(), 0);
        EXPECT_EQ(c->getCompound() + c->getDimension(), 0);
        EXPECT_EQ(dynamic_cast<ZelMETAChunk*>(c), nullptr);
        delete c;
    }
}

TEST(ZelChunkFactory, UnknownTypeIsPlainChunkThatSkipsAndReserves) {
    ZelTest::TempDir dir;
    ZelChunk* c = ZelChunk::create(makeTag("ODD9"), 9);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(dynamic_cast<ZelLeafChunk<char>*>(c), nullptr);
    EXPECT_EQ(dynamic_cast<ZelGroupChunk*>(c), nullptr);
    EXPECT_EQ(c->getType(), 9);

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

    // Writing reserves the stored length without writing it: a reserved "FREE" chunk.
    ZelChunk reserve(ZelHeader(makeTag("FREE"), 9, 40));
    c->free();
    EXPECT_EQ(c->getTag(), makeTag("FREE"));
    EXPECT_EQ(c->getType(), 9);
    const Bytes out = written(dir, [&](ZelFile& f) {
        EXPECT_TRUE(reserve.write(f));
        EXPECT_EQ(f.tell(), 56);
        EXPECT_TRUE(f.writeChunk(ZelHeader(makeTag("NEXT"), 0, 0), nullptr));
    });
    ASSERT_EQ(out.size(), 72u);
    EXPECT_EQ(std::memcmp(out.data(), "FREE\x09\0\0\0\x28\0\0\0\0\0\0\0", 16), 0);
    EXPECT_EQ(std::memcmp(out.data() + 56, "NEXT", 4), 0);
    delete c;
}

TEST(ZelChunkFactory, CopyRefusesFreeCharAndUnknownNodes) {
    EXPECT_EQ(ZelChunk::copy(nullptr), nullptr);
    ZelLeafChunk<float> freeLeaf(makeTag("FREE"), {1.0f});
    EXPECT_EQ(ZelChunk::copy(&freeLeaf), nullptr);
    ZelLeafChunk<char> chars(makeTag("RAWB"), {'a'});
    EXPECT_EQ(ZelChunk::copy(&chars), nullptr);
    ZelChunk odd(ZelHeader(makeTag("ODD9"), 9, 4));
    EXPECT_EQ(ZelChunk::copy(&odd), nullptr);
    // A plain node claiming a leaf type has no values to copy.
    ZelChunk fake(ZelHeader(makeTag("FAKE"), 4, 4));
    EXPECT_EQ(ZelChunk::copy(&fake), nullptr);
}

TEST(ZelChunkFactory, CopyIsDeepAndRecomputesLength) {
    ZelLeafChunk<float> leaf(makeTag("POSI"), 1, 3, {1.0f, 2.0f});
    leaf.values().push_back(3.0f);
    ZelChunk* c = ZelChunk::copy(&leaf);
    auto* copy = dynamic_cast<ZelLeafChunk<float>*>(c);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->getTag(), makeTag("POSI"));
    EXPECT_EQ(copy->getCompound(), 1);
    EXPECT_EQ(copy->getDimension(), 3);
    EXPECT_EQ(copy->getLength(), 12);
    leaf.values()[0] = 9.0f;
    EXPECT_EQ(copy->values(), (std::vector<float>{1.0f, 2.0f, 3.0f}));
    delete c;

    // A derived group copies as a plain group of its generic children; children that cannot be
    // copied are dropped.
    ZelDOBJChunk obj("typed member, not copied");
    obj.addChild(new ZelLeafChunk<int>(makeTag("INTS"), {4}));
    obj.addChild(new ZelLeafChunk<char>(makeTag("RAWB"), {'x'}));
    auto* inner = new ZelGroupChunk(makeTag("SUBG"));
    inner->addChild(new ZelLeafChunk<std::string>(makeTag("STRS"), {"s"}));
    obj.addChild(inner);
    c = ZelChunk::copy(&obj);
    auto* g = dynamic_cast<ZelGroupChunk*>(c);
    ASSERT_NE(g, nullptr);
    EXPECT_EQ(dynamic_cast<ZelDOBJChunk*>(c), nullptr);
    EXPECT_EQ(g->getTag(), makeTag("DOBJ"));
    ASSERT_EQ(g->numChildren(), 2u);
    EXPECT_EQ(dynamic_cast<ZelLeafChunk<int>*>(g->getChild(0))->values(), std::vector<int>{4});
    auto* sub = dynamic_cast<ZelGroupChunk*>(g->getChild(1));
    ASSERT_NE(sub, nullptr);
    EXPECT_NE(sub, inner);
    ASSERT_EQ(sub->numChildren(), 1u);
    EXPECT_NE(sub->getChild(0), inner->getChild(0));
    EXPECT_EQ(sub->getChild(0)->getTag(), makeTag("STRS"));
    delete c;
}

// ---------------------------------------------------------------------------------------------
// Groups

namespace {

// ROOT { POSI float[3], EMPT {}, NEST { INTS int32[1], STRS {"ab"} } }
ZelGroupChunk* makeTree() {
    auto* root = new ZelGroupChunk(makeTag("ROOT"));
    root->addChild(new ZelLeafChunk<float>(makeTag("POSI"), {1.0f, 2.0f, 3.0f}));
    root->addChild(new ZelGroupChunk(makeTag("EMPT")));
    auto* nest = new ZelGroupChunk(makeTag("NEST"));
    nest->addChild(new ZelLeafChunk<int>(makeTag("INTS"), {42}));
    nest->addChild(new ZelLeafChunk<std::string>(makeTag("STRS"), {"ab"}));
    root->addChild(nest);
    return root;
}

}  // namespace

TEST(ZelGroupChunk, WritesBackPatchedLengthsAndReadsTreeBack) {
    ZelTest::TempDir dir;
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
    putHeader(expect, "INTS", 3, 4);
    putValue(expect, 42);
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
    ASSERT_TRUE(back.read(r.h, r.f));
    EXPECT_EQ(r.pos(), 16 + 99);  // stops at the group's end, TAIL unread
    EXPECT_EQ(r.f.getLevel(), 0u);
    EXPECT_EQ(back.getHeader().length, 99);
    ASSERT_EQ(back.numChildren(), 3u);
    EXPECT_EQ(dynamic_cast<ZelLeafChunk<float>*>(back.getChild(0))->values(),
              (std::vector<float>{1.0f, 2.0f, 3.0f}));
    EXPECT_EQ(dynamic_cast<ZelGroupChunk*>(back.getChild(1))->numChildren(), 0u);
    auto* nest = dynamic_cast<ZelGroupChunk*>(back.getChild(2));
    ASSERT_NE(nest, nullptr);
    ASSERT_EQ(nest->numChildren(), 2u);
    EXPECT_EQ(dynamic_cast<ZelLeafChunk<std::string>*>(nest->getChild(1))->values(),
              std::vector<std::string>{"ab"});
    EXPECT_EQ(back.getLength(), 99);
}

TEST(ZelGroupChunk, ReadEndsAtEmptyLastChildAndOnEmptyGroup) {
    ZelTest::TempDir dir;
    // OUTR { LEAF int32[1], LAST {} } TAIL
    Bytes b;
    putHeader(b, "OUTR", 1, 20 + 16);
    putHeader(b, "LEAF", 3, 4);
    putValue(b, 7);
    putHeader(b, "LAST", 1, 0);
    putHeader(b, "TAIL", 3, 4);
    putValue(b, 8);
    {
        Reader r(dir, b);
        ZelGroupChunk g(makeTag("OUTR"));
        ASSERT_TRUE(g.read(r.h, r.f));
        EXPECT_EQ(g.numChildren(), 2u);
        EXPECT_EQ(r.pos(), 52);
    }
    Bytes empty;
    putHeader(empty, "EMPT", 1, 0);
    putHeader(empty, "TAIL", 3, 4);
    putValue(empty, 8);
    Reader r(dir, empty);
    ZelGroupChunk g(makeTag("EMPT"));
    g.addChild(new ZelGroupChunk(makeTag("OLD_")));  // replaced by the read, not leaked
    ASSERT_TRUE(g.read(r.h, r.f));
    EXPECT_EQ(g.numChildren(), 0u);
    EXPECT_EQ(r.pos(), 16);

    // Writing a group without children writes a header of length 0.
    const Bytes out = written(dir, [&](ZelFile& f) { EXPECT_TRUE(g.write(f)); });
    Bytes expect;
    putHeader(expect, "EMPT", 1, 0);
    EXPECT_EQ(out, expect);
}

TEST(ZelGroupChunk, ReadFailuresKeepWhatWasRead) {
    ZelTest::TempDir dir;
    Bytes b;
    putHeader(b, "GRUP", 1, 20 + 16 + 8);
    putHeader(b, "GOOD", 3, 4);
    putValue(b, 1);
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
    ZelTest::TempDir dir;
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
    EXPECT_EQ(g->findChild(makeTag("POSI"), 9), 4u);
    EXPECT_EQ(g->findChild(makeTag("NONE"), 0), 4u);

    g->removeChild(1);  // EMPT
    ASSERT_EQ(g->numChildren(), 3u);
    EXPECT_EQ(g->getChild(1)->getTag(), makeTag("NEST"));
    g->removeChildren(2, 1);  // reversed range: nothing
    g->removeChildren(1, 1);
    EXPECT_EQ(g->numChildren(), 3u);
    g->removeChildren(0, 2);
    ASSERT_EQ(g->numChildren(), 1u);
    EXPECT_EQ(g->getChild(0)->getType(), 3);
    g->removeChildren(0, 1);
    EXPECT_EQ(g->numChildren(), 0u);

    std::unique_ptr<ZelGroupChunk> h(makeTree());
    h->reset();
    EXPECT_EQ(h->numChildren(), 0u);
    EXPECT_EQ(h->getLength(), 0);
}

TEST(ZelGroupChunk, LengthCountsChildHeadersAndNestedGroups) {
    ZelGroupChunk g(makeTag("GRUP"));
    g.addChild(new ZelLeafChunk<float>(makeTag("POSI"), {1.0f, 2.0f, 3.0f}));
    g.addChild(new ZelGroupChunk(makeTag("EMPT")));
    EXPECT_EQ(g.getLength(), 16 + 12 + 16 + 0);
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

namespace {

// Runs `fn`, which must print the index line and throw false; returns what it printed.
template <class Fn>
std::string expectIndexError(Fn fn) {
    testing::internal::CaptureStdout();
    bool thrown = false;
    try {
        fn();
    } catch (bool b) {
        thrown = !b;
    }
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(thrown);
    return out;
}

// Two animated attributes ("pos", "vel") and one static float attribute ("mass").
void defineAttrs(ZelDATRChunk& d) {
    EXPECT_EQ(d.addAttr(true, "pos", "point", 4, 1, 3), 0);
    EXPECT_EQ(d.addAttr(true, "vel", "vector", 9, 0, 0), 1);  // the type of animated ones is free
    EXPECT_EQ(d.addAttr(false, "mass", "scalar", 4, 0, 1), 2);
}

}  // namespace

TEST(ZelDATRChunk, NumbersAnimatedAttributesFirst) {
    ZelDATRChunk d;
    defineAttrs(d);
    EXPECT_EQ(d.getNumAttrs(), 3);
    EXPECT_EQ(d.getNumAnimatedAttrs(), 2);
    EXPECT_EQ(d.getNumStaticAttrs(), 1);
    EXPECT_EQ(d.findAttr("mass"), 2);
    EXPECT_EQ(d.findAttr("vel"), 1);
    EXPECT_EQ(d.findAttr("Mass"), -1);
    EXPECT_EQ(d.findAttr(""), -1);
    EXPECT_TRUE(d.isAnimated(1));
    EXPECT_FALSE(d.isAnimated(2));
    EXPECT_EQ(d.getAnimatedDataIndex(1), 1);
    EXPECT_EQ(d.getAnimatedDataIndex(2), -1);
    EXPECT_EQ(d.getStaticData(1), nullptr);
    ASSERT_EQ(d.getStaticData(2), d.getATRS().getChild(0));
    const ZelChunk* mass = d.getStaticData(2);
    EXPECT_EQ(mass->getTag(), makeTag("ATTR"));
    EXPECT_EQ(mass->getType(), 4);
    EXPECT_EQ(mass->getDimension(), 1);
    EXPECT_EQ(d.getAttrName(0), "pos");
    EXPECT_EQ(d.getAttrType(2), "scalar");

    EXPECT_TRUE(d.setAttrName(2, "weight"));
    EXPECT_TRUE(d.setAttrType(0, "position"));
    EXPECT_EQ(d.findAttr("weight"), 2);
    EXPECT_EQ(d.getAttrType(0), "position");
}

TEST(ZelDATRChunk, AddAttrRefusesGroupAndUnknownStaticTypes) {
    ZelDATRChunk d;
    EXPECT_EQ(d.addAttr(false, "g", "", 1, 0, 0), -1);
    EXPECT_EQ(d.addAttr(true, "g", "", 1, 0, 0), -1);
    EXPECT_EQ(d.addAttr(false, "u", "", 0, 0, 0), -1);
    EXPECT_EQ(d.addAttr(false, "u", "", 7, 0, 0), -1);
    EXPECT_EQ(d.getNumAttrs(), 0);
    EXPECT_EQ(d.getATRS().numChildren(), 0u);
    EXPECT_EQ(d.addAttr(false, "s", "", 2, 0, 0), 0);
    EXPECT_NE(dynamic_cast<ZelLeafChunk<std::string>*>(d.getStaticData(0)), nullptr);
    EXPECT_EQ(d.addAttr(false, "l", "", 5, 0, 0), 1);
    EXPECT_NE(dynamic_cast<ZelLeafChunk<int64>*>(d.getStaticData(1)), nullptr);
}

TEST(ZelDATRChunk, IndexOutsideAttributesPrintsLineAndThrowsFalse) {
    ZelDATRChunk d;
    defineAttrs(d);
    const std::string out = expectIndexError([&] { d.isAnimated(3); });
    std::smatch m;
    ASSERT_TRUE(std::regex_match(
        out, m,
        std::regex("animcache/src/libzel/src/ZelChunks\\.cpp:([0-9]+) DATR attribute index out "
                   "of bounds\n")))
        << out;

    // The number is the line of the reporting statement in the library source.
    const std::string testFile = __FILE__;
    const std::string source = testFile.substr(0, testFile.rfind("/tests/")) + "/src/ZelChunks.cpp";
    std::ifstream in(source);
    ASSERT_TRUE(in) << source;
    std::string line;
    for (int n = std::stoi(m[1]); n > 0 && std::getline(in, line); --n) {
    }
    EXPECT_NE(line.find("__LINE__"), std::string::npos) << line;

    // Every index-taking operation runs the same check.
    EXPECT_EQ(expectIndexError([&] { d.getAnimatedDataIndex(-1); }), out);
    EXPECT_EQ(expectIndexError([&] { d.getStaticData(3); }), out);
    EXPECT_EQ(expectIndexError([&] { d.getAttrName(3); }), out);
    EXPECT_EQ(expectIndexError([&] { d.getAttrType(-5); }), out);
    EXPECT_EQ(expectIndexError([&] { d.setAttrName(3, "x"); }), out);
    EXPECT_EQ(expectIndexError([&] { d.setAttrType(3, "x"); }), out);
    EXPECT_EQ(expectIndexError([&] { d.removeStaticAttrs(3, 1); }), out);
    EXPECT_EQ(expectIndexError([&] { d.removeAnimatedAttrs(3, 1); }), out);
    EXPECT_EQ(d.getNumAttrs(), 3);

    // An object without an attribute definition has no attributes at all.
    ZelDOBJChunk obj("bare");
    EXPECT_EQ(obj.findAttr("pos"), -1);
    EXPECT_EQ(obj.getNumAttrs(), 0);
    EXPECT_EQ(expectIndexError([&] { obj.getAttrName(0); }), out);
    EXPECT_EQ(expectIndexError([&] { obj.isAttrAnimated(0); }), out);
}

TEST(ZelDATRChunk, RemovesStaticAttributesWithTheirValues) {
    ZelDATRChunk d;
    defineAttrs(d);
    d.addAttr(false, "id", "", 3, 0, 1);
    d.addAttr(false, "tag", "", 2, 0, 0);  // attributes 2, 3, 4 are static
    EXPECT_FALSE(d.removeStaticAttrs(0, 1));
    EXPECT_FALSE(d.removeStaticAttrs(3, 3));
    EXPECT_EQ(d.getNumStaticAttrs(), 3);

    EXPECT_TRUE(d.removeStaticAttrs(3, 1));
    EXPECT_EQ(d.getNumStaticAttrs(), 2);
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
    EXPECT_EQ(d.getAttrName(0), "c");
    EXPECT_EQ(d.getAttrType(0), "tc");
    EXPECT_EQ(d.getAttrName(1), "s");
    EXPECT_EQ(d.removeAnimatedAttrs(0, 1000), 0);  // clamped at the animated attributes
    EXPECT_EQ(d.getNumAnimatedAttrs(), 0);
    EXPECT_EQ(d.getNumStaticAttrs(), 1);
}

TEST(ZelDATRChunk, MergeAddsMissingStaticAttributesAsCopies) {
    ZelDATRChunk d;
    defineAttrs(d);
    ZelDATRChunk from;
    from.addAnimatedAttribute("anim", "t");        // animated: never merged
    from.addAttr(false, "pos", "other", 4, 0, 0);  // named like an animated one
    EXPECT_EQ(from.addAttr(false, "color", "rgb", 4, 5, 3), 2);
    dynamic_cast<ZelLeafChunk<float>*>(from.getStaticData(2))->values() = {0.5f, 0.25f, 1.0f};
    from.addAttr(false, "label", "text", 2, 0, 0);
    dynamic_cast<ZelLeafChunk<std::string>*>(from.getStaticData(3))->values() = {"hi"};

    d.mergeStaticAttributes(&from);
    ASSERT_EQ(d.getNumAttrs(), 5);
    EXPECT_EQ(d.findAttr("anim"), -1);
    EXPECT_EQ(d.findAttr("color"), 3);
    EXPECT_EQ(d.getAttrType(3), "rgb");
    auto* color = dynamic_cast<ZelLeafChunk<float>*>(d.getStaticData(3));
    ASSERT_NE(color, nullptr);
    EXPECT_NE(color, from.getStaticData(2));
    EXPECT_EQ(color->getTag(), makeTag("ATTR"));
    EXPECT_EQ(color->getCompound(), 5);
    EXPECT_EQ(color->getDimension(), 3);
    EXPECT_EQ(color->getLength(), 12);
    EXPECT_EQ(color->values(), (std::vector<float>{0.5f, 0.25f, 1.0f}));
    EXPECT_EQ(dynamic_cast<ZelLeafChunk<std::string>*>(d.getStaticData(4))->values(),
              std::vector<std::string>{"hi"});

    // A second merge and a merge into itself find everything present.
    d.mergeStaticAttributes(&from);
    d.mergeStaticAttributes(&d);
    EXPECT_EQ(d.getNumAttrs(), 5);
    EXPECT_EQ(d.getATRS().numChildren(), 3u);
}

TEST(ZelDATRChunk, MergeReportsValuesOfUnknownType) {
    ZelDATRChunk from;
    from.addAttr(false, "raw", "", 4, 0, 0);
    from.getATRS().removeChild(0);
    from.getATRS().addChild(new ZelLeafChunk<char>(makeTag("ATTR"), {'x'}));
    ZelDATRChunk d;
    testing::internal::CaptureStderr();
    d.mergeStaticAttributes(&from);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "mergeStaticAttributes NOT Merged, unknown type fof: raw\n");
    EXPECT_EQ(d.getNumAttrs(), 0);
}

namespace {

// An object with a name, two animated and two static attributes with values.
void defineObject(ZelDOBJChunk& obj) {
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
}

}  // namespace

TEST(ZelDOBJChunk, RoundTripsNameAndAttributes) {
    ZelTest::TempDir dir;
    ZelDOBJChunk obj("|root|cube");
    defineObject(obj);
    obj.addChild(new ZelLeafChunk<float>(makeTag("BBOX"), {0, 0, 0, 1, 1, 1}));
    const Bytes bytes = written(dir, [&](ZelFile& f) { EXPECT_TRUE(obj.write(f)); });

    // The estimate matches the written size when every list is complete.
    int64 onDisk = 0;
    std::memcpy(&onDisk, bytes.data() + 8, 8);
    EXPECT_EQ(static_cast<int64>(bytes.size()), 16 + onDisk);
    EXPECT_EQ(obj.getLength(), onDisk);

    // Children in the order written: NAME, DATR { SATR, ATRS, AATR }, then the generic BBOX.
    EXPECT_EQ(std::memcmp(bytes.data() + 16, "NAME", 4), 0);
    EXPECT_EQ(std::memcmp(bytes.data() + 16 + 16 + 11, "DATR", 4), 0);
    EXPECT_EQ(std::memcmp(bytes.data() + 16 + 16 + 11 + 16, "SATR", 4), 0);
    EXPECT_EQ(std::memcmp(bytes.data() + bytes.size() - 40, "BBOX", 4), 0);

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
    auto* id = dynamic_cast<ZelLeafChunk<int>*>(back.getDATR()->getStaticData(2));
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(id->values(), std::vector<int>{7});
    EXPECT_EQ(id->getDimension(), 1);
    ASSERT_EQ(back.numChildren(), 1u);
    EXPECT_EQ(back.getChild(0)->getTag(), makeTag("BBOX"));
    EXPECT_EQ(back.getLength(), obj.getLength());
}

TEST(ZelDOBJChunk, LengthOfBareObjectCountsNameHeader) {
    ZelDOBJChunk none;
    EXPECT_EQ(none.getLength(), 17);
    ZelDOBJChunk named("ab");
    EXPECT_EQ(named.getLength(), 19);
    named.addDATR();
    EXPECT_EQ(named.getLength(), 19 + 16);
    EXPECT_EQ(named.addDATR(), named.getDATR());
    named.removeDATR();
    EXPECT_EQ(named.getDATR(), nullptr);
    EXPECT_EQ(ZelDOBJChunk(nullptr).getName(), "");
}

TEST(ZelSATRChunk, TypeListIsWrittenAtTheLengthOfTheNames) {
    ZelTest::TempDir dir;
    ZelDATRChunk d;
    d.addAttr(false, "a", "t", 3, 0, 0);
    d.addAttr(false, "b", "", 3, 0, 0);
    d.addAttr(false, "c", "", 3, 0, 0);
    d.getSATR().types() = {"t"};
    const Bytes bytes = written(dir, [&](ZelFile& f) { EXPECT_TRUE(d.getSATR().write(f)); });
    Bytes expect;
    putHeader(expect, "SATR", 1, 16 + 6 + 16 + 4);
    putHeader(expect, "NAME", 2, 6);
    for (const char* s : {"a", "b", "c"}) {
        putString(expect, s);
    }
    putHeader(expect, "TYPE", 2, 4);
    put(expect, "t\0\0\0", 4);
    EXPECT_EQ(bytes, expect);
    EXPECT_EQ(d.getAttrType(1), "");  // a missing type string reads as empty

    // Without types only the names are written.
    d.getSATR().types().clear();
    const Bytes bare = written(dir, [&](ZelFile& f) { EXPECT_TRUE(d.getSATR().write(f)); });
    EXPECT_EQ(bare.size(), 16u + 16 + 6);
}

TEST(ZelDATRChunk, MismatchedStaticCountsSkipStaticsWithWarning) {
    ZelTest::TempDir dir;
    ZelDATRChunk d;
    d.addAttr(true, "anim", "", 4, 0, 0);
    d.addAttr(false, "a", "", 3, 0, 0);
    d.addAttr(false, "b", "", 3, 0, 0);
    d.getATRS().removeChild(1);
    testing::internal::CaptureStdout();
    const Bytes bytes = written(dir, [&](ZelFile& f) { EXPECT_TRUE(d.write(f)); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "WARNING: SATR and ATRS write skipped, counts do not match\n");
    ASSERT_GE(bytes.size(), 36u);
    EXPECT_EQ(std::memcmp(bytes.data() + 16, "AATR", 4), 0);

    // Values missing from a definition read as null.
    EXPECT_EQ(d.getStaticData(2), nullptr);
    EXPECT_NE(d.getStaticData(1), nullptr);
}

TEST(ZelDOBJChunk, ReadTakesLastDefinitionAndFailsOnBrokenOne) {
    ZelTest::TempDir dir;
    ZelDOBJChunk a("x");
    a.addAttr(true, "first", "", 4, 0, 0);
    ZelDOBJChunk b("x");
    b.addAttr(true, "second", "", 4, 0, 0);
    Bytes twice = written(dir, [&](ZelFile& f) {
        EXPECT_TRUE(a.write(f));
        EXPECT_TRUE(b.write(f));
    });
    // Splice the second DATR into the first object: DOBJ { NAME, DATR, DATR }.
    const int64 nameEnd = 16 + 16 + 2;
    int64 lenA = 0;
    std::memcpy(&lenA, twice.data() + 8, 8);
    Bytes datrB(twice.begin() + 16 + lenA + nameEnd, twice.end());
    Bytes spliced(twice.begin(), twice.begin() + 16 + lenA);
    spliced.insert(spliced.end(), datrB.begin(), datrB.end());
    const int64 lenSpliced = lenA + static_cast<int64>(datrB.size());
    std::memcpy(spliced.data() + 8, &lenSpliced, 8);
    {
        Reader r(dir, spliced);
        ZelDOBJChunk back;
        ASSERT_TRUE(back.read(r.h, r.f));
        EXPECT_EQ(back.getAttrName(0), "second");
        EXPECT_EQ(back.getNumAttrs(), 1);
    }
    // A definition cut short fails the object's read.
    spliced.resize(spliced.size() - 3);
    Reader r(dir, spliced);
    ZelDOBJChunk back;
    EXPECT_FALSE(back.read(r.h, r.f));
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
    ZelDOBJChunk bare;
    EXPECT_EQ(printed(bare, 0), "DOBJ group (0) : \n");
    obj.reset();
    EXPECT_EQ(obj.getName(), "");
    EXPECT_EQ(obj.getDATR(), nullptr);
}

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <string>

#include "Zel.h"
#include "support/ChunkBytes.h"

using namespace Zel;
using namespace ZelTest;

namespace {

// Date stamps are printed in local time: this program's zone is UTC.
const bool kUtc = setenv("TZ", "UTC", 1) == 0 && (tzset(), true);

// Every member set, and one object with one animated attribute.
void fill(ZelMETAChunk& meta) {
    meta.application = "app";
    meta.sourceFile = "scene.ma";
    meta.date = 86400;
    meta.numSamples = 3;
    meta.firstTime = 1.5f;
    meta.lastTime = 3.5f;
    meta.rate = 2.0f;
    meta.space = 0;
    meta.addDOBJ("cube")->addAttr(true, "P", "", kTypeFloat, 1, 3);
}

}  // namespace

TEST(ZelDZELChunk, WritesTwentyFourBytesReadsBackAndRequiresAnExactHeader) {
    TempDir dir;
    Bytes expect;
    putScalar(expect, "DZEL", 5, int64(2));
    EXPECT_EQ(writtenAll(dir, ZelDZELChunk()), expect);
    ZelDZELChunk back;
    {
        Reader r(dir, writtenAll(dir, ZelDZELChunk(-7)));
        ASSERT_TRUE(back.read(r.h, r.f));
    }
    EXPECT_EQ(printed(back, 1), ". DZEL int64 (8) : version = -7");
    back.reset();
    EXPECT_EQ(back.getVersion(), 2);

    Bytes four, badType, badTag, cut;
    putHeader(four, "DZEL", 5, 4);
    putValue(four, 3);
    putScalar(badType, "DZEL", 6, 3.0);
    putScalar(badTag, "DZEK", 5, int64(3));
    putHeader(cut, "DZEL", 5, 8);
    putValue(cut, 3);
    for (const Bytes& b : {four, badType, badTag, cut}) {
        Reader r(dir, b);
        ZelDZELChunk dzel(9);
        EXPECT_FALSE(dzel.read(r.h, r.f));
        EXPECT_EQ(dzel.version, 9);
    }
}

// META of 305: WAPP 20, SFIL 25, DATE 24, NSAM 24, FTIM, LTIM, RATE 20 each, SPAC 24, NOBJ 24,
// then DOBJ 104 (NAME 21, DATR 67 holding AATR 51: NAME "P" 18, TYPE "" 17).
TEST(ZelMETAChunk, WritesEveryMemberInOrderAndReadsBack) {
    TempDir dir;
    ZelMETAChunk meta;
    fill(meta);
    Bytes expect;
    putHeader(expect, "META", 1, 305);
    putHeader(expect, "WAPP", 2, 4);
    put(expect, "app", 4);
    putHeader(expect, "SFIL", 2, 9);
    put(expect, "scene.ma", 9);
    putScalar(expect, "DATE", 5, int64(86400));
    putScalar(expect, "NSAM", 5, int64(3));
    putScalar(expect, "FTIM", 4, 1.5f);
    putScalar(expect, "LTIM", 4, 3.5f);
    putScalar(expect, "RATE", 4, 2.0f);
    putScalar(expect, "SPAC", 5, int64(0));
    putScalar(expect, "NOBJ", 5, int64(1));
    putHeader(expect, "DOBJ", 1, 88);
    const Bytes bytes = writtenAll(dir, meta);
    ASSERT_EQ(bytes.size(), 16u + 305);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + static_cast<long>(expect.size())), expect);
    // With every optional child present the length estimate is exact.
    EXPECT_EQ(meta.getLength(), 305);

    Reader r(dir, bytes);
    ZelMETAChunk back;
    ASSERT_TRUE(back.read(r.h, r.f));
    ASSERT_EQ(back.getNumObjects(), 1);
    EXPECT_EQ(back.getDOBJ(0)->findAttr("P"), 0);
    EXPECT_EQ(back.numChildren(), 0u);
    EXPECT_EQ(writtenAll(dir, back), bytes);
}

TEST(ZelMETAChunk, MismatchedTagsStayGenericResetKeepsMandatoryChildrenBrokenDefinitionsFail) {
    TempDir dir;
    Bytes in;
    putHeader(in, "META", 1, 24 + 24 + 24 + 16 + 20 + 20);
    putScalar(in, "RATE", 6, 2.0);  // a double rate is not the rate
    putScalar(in, "NSAM", 5, int64(4));
    putScalar(in, "NOBJ", 5, int64(5));  // the count is what is met, not what is said
    putHeader(in, "DOBJ", 1, 0);
    putScalar(in, "FTIM", 4, 2.0f);
    putScalar(in, "SPAC", 4, 0.0f);  // wrong type: generic, space keeps its default
    ZelMETAChunk meta;
    {
        Reader r(dir, in);
        ASSERT_TRUE(meta.read(r.h, r.f));
    }
    EXPECT_EQ(meta.numSamples, 4);
    EXPECT_EQ(meta.firstTime, 2.0f);
    EXPECT_EQ(meta.rate, 1.0f);
    EXPECT_EQ(meta.space, 1);
    EXPECT_EQ(meta.getNumObjects(), 1);
    // NSAM FTIM LTIM RATE SPAC NOBJ (24+20*3+24+24) then DOBJ (16), then the generic children.
    const Bytes out = writtenAll(dir, meta);
    const size_t generic = 16 + 24 + 60 + 24 + 24 + 16;
    ASSERT_EQ(out.size(), generic + 24 + 20);
    EXPECT_EQ(std::memcmp(out.data() + generic - 16, "DOBJ", 4), 0);
    Bytes tail;
    putScalar(tail, "RATE", 6, 2.0);
    putScalar(tail, "SPAC", 4, 0.0f);
    EXPECT_EQ(Bytes(out.begin() + generic, out.end()), tail);
    // Reset, it writes only NSAM, SPAC and NOBJ (72 bytes, though the estimate says 130): without
    // samples no time or rate is stored.
    meta.reset();
    meta.firstTime = 3.0f;
    meta.rate = 24.0f;
    Bytes mandatory;
    putHeader(mandatory, "META", 1, 72);
    putScalar(mandatory, "NSAM", 5, int64(0));
    putScalar(mandatory, "SPAC", 5, int64(1));
    putScalar(mandatory, "NOBJ", 5, int64(0));
    EXPECT_EQ(writtenAll(dir, meta), mandatory);
    EXPECT_EQ(meta.getLength(), 130);

    Bytes broken;
    putHeader(broken, "META", 1, 16 + 16 + 5);
    putHeader(broken, "DOBJ", 1, 16 + 5);
    putHeader(broken, "NAME", 2, 50);  // longer than the file
    put(broken, "abcde", 5);
    Reader r(dir, broken);
    EXPECT_FALSE(meta.read(r.h, r.f));
    EXPECT_EQ(meta.getNumObjects(), 0);
}

TEST(ZelMETAChunk, PrintsMembersThenDefinitions) {
    ZelMETAChunk meta;
    fill(meta);
    EXPECT_EQ(printed(meta, 0),
              "META group (0) : \n"
              ". application = app\n"
              ". sourceFile = scene.ma\n"
              ". date stamp = Fri Jan  2 00:00:00 1970\n"
              "\n"
              ". numObjects = 1\n"
              ". numSamples = 3\n"
              ". firstTime = frame 1.5\n"
              ". lastTime = 3.5\n"
              ". rate = 2 samples per frame\n"
              ". space = world\n"
              ". DOBJ group (0) : \n"
              ". . name = cube\n"
              ". . DATR group (0) : \n"
              ". . . AATR group (0) : \n"
              ". . . . names = P \n"
              ". . . . types =  \n");
    meta.reset();
    meta.rate = 0.0f;
    EXPECT_EQ(printed(meta, 1),
              ". META group (0) : \n. . numObjects = 0\n. . numSamples = 0\n"
              ". . firstTime = frame inf\n. . lastTime = -inf\n. . rate = nonuniform\n"
              ". . space = object\n");
    meta.space = 7;
    meta.date = std::numeric_limits<int64>::max();  // beyond any calendar: shown as seconds
    const std::string out = printed(meta, 0);
    EXPECT_NE(out.find(". date stamp = 9223372036854775807\n\n. numObjects"), std::string::npos)
        << out;
    EXPECT_NE(out.find(". space = 7\n"), std::string::npos) << out;
}

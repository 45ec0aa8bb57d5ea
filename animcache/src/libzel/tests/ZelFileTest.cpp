#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "ZelFile.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::readFileBytes;
using ZelTest::TempDir;
using ZelTest::writeFileBytes;

namespace {

const uint32 kRoot = makeTag("ROOT");
const uint32 kLeaf = makeTag("LEAF");

// The 8-byte length field of the header at `offset` in `bytes`.
int64 lengthAt(const std::vector<unsigned char>& bytes, size_t offset) {
    int64 length = 0;
    std::memcpy(&length, bytes.data() + offset + 8, sizeof length);
    return length;
}

}  // namespace

TEST(ZelFile, ClosedStreamRefusesEverything) {
    ZelFile f;
    ZelHeader h;
    int64 x = 0;
    bool ok = true;
    EXPECT_FALSE(f.isOpen());
    EXPECT_FALSE(f.readHeader(h));
    EXPECT_FALSE(f.readData(h, &x));
    EXPECT_FALSE(f.skipData(h));
    EXPECT_FALSE(f.writeChunk(h, nullptr));
    EXPECT_FALSE(f.startGroup(h));
    EXPECT_FALSE(f.endGroup());
    EXPECT_FALSE(f.seek(0, SEEK_SET, true));
    EXPECT_FALSE(f.rewind());
    EXPECT_EQ(f.tell(&ok), -1);
    EXPECT_FALSE(ok);
    EXPECT_TRUE(f.close());
}

TEST(ZelFile, GroupsGetBackPatchedLengths) {
    TempDir dir;
    const std::string path = dir.file("g.bin");
    {
        ZelFile f(path.c_str(), "w");
        ASSERT_TRUE(f.startGroup(ZelHeader(kRoot, kTypeGroup, 0)));
        ASSERT_TRUE(f.startGroup(ZelHeader(makeTag("INNR"), kTypeGroup, 0)));
        ASSERT_TRUE(f.writeChunk(kLeaf, std::vector<float>{1, 2, 3}));
        ASSERT_TRUE(f.endGroup());
        ASSERT_TRUE(f.startGroup(ZelHeader(makeTag("EMPT"), kTypeGroup, 0)));
        ASSERT_TRUE(f.endGroup());
        EXPECT_EQ(f.getLevel(), 1u);
        ASSERT_TRUE(f.endGroup());
        EXPECT_EQ(f.getLevel(), 0u);
        EXPECT_FALSE(f.endGroup());
        EXPECT_EQ(f.tell(), 16 + 16 + 28 + 16);
    }
    const auto bytes = readFileBytes(path);
    ASSERT_EQ(bytes.size(), 76u);
    EXPECT_EQ(lengthAt(bytes, 0), 60);   // inner group's header counted
    EXPECT_EQ(lengthAt(bytes, 16), 28);  // one float leaf
    EXPECT_EQ(lengthAt(bytes, 60), 0);   // empty group
}

TEST(ZelFile, LevelsCloseEveryGroupThatEndsAtAChunk) {
    TempDir dir;
    const std::string path = dir.file("levels.bin");
    {
        ZelFile f(path.c_str(), "w");
        f.startGroup(ZelHeader(kRoot, kTypeGroup, 0));
        f.writeChunk(kLeaf, std::vector<int>{7});
        f.startGroup(ZelHeader(makeTag("INNR"), kTypeGroup, 0));
        f.writeChunk(ZelHeader(makeTag("ZERO"), kTypeFloat, 0), nullptr);
        f.endGroup();
        f.endGroup();
        f.writeChunk(makeTag("TAIL"), "abc");
    }
    ZelFile f;
    ASSERT_TRUE(f.open(path.c_str(), "r"));
    ZelHeader h;
    ASSERT_TRUE(f.readHeader(h));
    EXPECT_EQ(f.getLevel(), 1u);
    ASSERT_TRUE(f.readHeader(h));
    int value = 0;
    ASSERT_TRUE(f.readData(h, &value));
    EXPECT_EQ(value, 7);
    ASSERT_TRUE(f.readHeader(h));
    EXPECT_EQ(f.getLevel(), 2u);
    // A zero-length last leaf closes both groups already at its header.
    ASSERT_TRUE(f.readHeader(h));
    EXPECT_EQ(h.tag, makeTag("ZERO"));
    EXPECT_EQ(f.getLevel(), 0u);
    ASSERT_TRUE(f.readHeader(h));
    std::string s;
    ASSERT_TRUE(f.readData(h, s));
    EXPECT_EQ(s, "abc");
    EXPECT_FALSE(f.readHeader(h));
}

TEST(ZelFile, SkippingAGroupPopsItsOwnEntry) {
    TempDir dir;
    const std::string path = dir.file("skip.bin");
    {
        ZelFile f(path.c_str(), "w");
        f.startGroup(ZelHeader(kRoot, kTypeGroup, 0));
        f.writeChunk(kLeaf, std::vector<double>{1, 2});
        f.endGroup();
        f.writeChunk(kLeaf, std::vector<double>{3});
    }
    ZelFile f(path.c_str(), "r");
    ZelHeader h;
    ASSERT_TRUE(f.readHeader(h));
    EXPECT_EQ(f.getLevel(), 1u);
    ASSERT_TRUE(f.skipData(h));
    EXPECT_EQ(f.getLevel(), 0u);
    ASSERT_TRUE(f.readHeader(h));
    double d = 0;
    ASSERT_TRUE(f.readData(h, &d));
    EXPECT_EQ(d, 3.0);
}

TEST(ZelFile, StringsAndStringListsRoundTrip) {
    TempDir dir;
    const std::string path = dir.file("s.bin");
    {
        ZelFile f(path.c_str(), "w");
        ASSERT_TRUE(f.writeChunk(makeTag("STR1"), "abc"));
        ASSERT_TRUE(f.writeChunk(makeTag("STR2"), std::vector<std::string>{"ab", ""}));
        ASSERT_TRUE(f.writeChunk(makeTag("STR3"), std::vector<std::string>{}));
        ASSERT_TRUE(f.writeChunk(makeTag("STR4"), std::string("xy"), -1, 2, 1));
    }
    const auto bytes = readFileBytes(path);
    EXPECT_EQ(lengthAt(bytes, 0), 4);
    EXPECT_EQ(lengthAt(bytes, 20), 4);
    EXPECT_EQ(std::string(bytes.begin() + 36, bytes.begin() + 40), std::string("ab\0\0", 4));
    EXPECT_EQ(lengthAt(bytes, 40), 0);
    EXPECT_EQ(bytes[56 + 5], 2);
    EXPECT_EQ(bytes[56 + 6], 1);

    ZelFile f(path.c_str(), "r");
    ZelHeader h;
    std::string s;
    std::vector<std::string> v;
    ASSERT_TRUE(f.readHeader(h));
    ASSERT_TRUE(f.readData(h, s));
    EXPECT_EQ(s, "abc");
    ASSERT_TRUE(f.readHeader(h));
    ASSERT_TRUE(f.readData(h, v));
    EXPECT_EQ(v, (std::vector<std::string>{"ab", ""}));
    ASSERT_TRUE(f.readHeader(h));
    ASSERT_TRUE(f.readData(h, v));
    EXPECT_TRUE(v.empty());
    ASSERT_TRUE(f.readHeader(h));
    ASSERT_TRUE(f.readData(h, s));
    EXPECT_EQ(s, "xy");
}

TEST(ZelFile, StringPayloadsWithoutFinalNulAreStillTaken) {
    TempDir dir;
    const std::string path = dir.file("raw.bin");
    {
        ZelFile f(path.c_str(), "w");
        f.writeChunk(ZelHeader(makeTag("LIST"), kTypeCstr, 6), "a\0\0bc\0");
        f.writeChunk(ZelHeader(makeTag("LAST"), kTypeCstr, 3), "a\0b");
        f.writeChunk(ZelHeader(makeTag("NONE"), kTypeCstr, 2), "xy");
    }
    ZelFile f(path.c_str(), "r");
    ZelHeader h;
    std::vector<std::string> v;
    std::string s;
    ASSERT_TRUE(f.readHeader(h) && f.readData(h, v));
    EXPECT_EQ(v, (std::vector<std::string>{"a", "", "bc"}));
    ASSERT_TRUE(f.readHeader(h) && f.readData(h, v));
    EXPECT_EQ(v, (std::vector<std::string>{"a", "b"}));
    ASSERT_TRUE(f.readHeader(h) && f.readData(h, s));
    EXPECT_EQ(s, "xy");
}

TEST(ZelFile, WriteAtOffsetOverwritesAndKeepsThePosition) {
    TempDir dir;
    const std::string path = dir.file("o.bin");
    ZelFile f(path.c_str(), "w");
    ASSERT_TRUE(f.writeChunk(kLeaf, std::vector<int64>{1, 2}));
    ASSERT_TRUE(f.writeChunk(makeTag("NEXT"), std::vector<int>{5}));
    const int64 end = f.tell();
    ASSERT_TRUE(f.writeChunk(kLeaf, std::vector<int64>{8, 9}, 0));
    EXPECT_EQ(f.tell(), end);
    // An empty vector ignores the offset and writes its header here.
    ASSERT_TRUE(f.writeChunk(makeTag("EMPT"), std::vector<int64>{}, 0));
    EXPECT_EQ(f.tell(), end + 16);
    // A null payload reserves space without writing it.
    ASSERT_TRUE(f.writeChunk(ZelHeader(makeTag("FREE"), kTypeUndef, 8), nullptr));
    ASSERT_TRUE(f.writeChunk(makeTag("LAST"), "z"));
    f.close();
    const auto bytes = readFileBytes(path);
    ASSERT_EQ(bytes.size(), 32u + 20 + 16 + 24 + 18);
    int64 first = 0;
    std::memcpy(&first, bytes.data() + 16, 8);
    EXPECT_EQ(first, 8);
    EXPECT_EQ(lengthAt(bytes, 68), 8);
}

TEST(ZelFile, UpdateStreamSwitchesBetweenReadingAndWriting) {
    TempDir dir;
    const std::string path = dir.file("u.bin");
    {
        ZelFile f(path.c_str(), "w");
        f.writeChunk(kLeaf, std::vector<int>{1, 2, 3});
        f.writeChunk(kLeaf, std::vector<int>{7, 8, 9});
    }
    ZelFile f(path.c_str(), "r+");
    ZelHeader h;
    int values[3] = {};
    ASSERT_TRUE(f.readHeader(h));
    ASSERT_TRUE(f.readData(h, values));
    // Write straight after a read, then read straight after the write.
    ASSERT_TRUE(f.writeChunk(ZelHeader(kLeaf, kTypeInt32, 4), std::vector<int>{5}.data()));
    ASSERT_TRUE(f.readData(ZelHeader(kLeaf, kTypeInt32, 8), values));
    EXPECT_EQ(values[0], 8);
    EXPECT_EQ(values[1], 9);
    ASSERT_TRUE(f.seek(28, SEEK_SET, true));
    ASSERT_TRUE(f.readHeader(h));
    EXPECT_EQ(h.length, 4);
    ASSERT_TRUE(f.readData(h, values));
    EXPECT_EQ(values[0], 5);
}

TEST(ZelFile, HostilePayloadLengthsFailWithoutReading) {
    TempDir dir;
    const std::string path = dir.file("bad.bin");
    { ZelFile(path.c_str(), "w").writeChunk(kLeaf, std::vector<int>{1, 2}); }
    ZelFile f(path.c_str(), "r");
    ZelHeader h;
    ASSERT_TRUE(f.readHeader(h));
    EXPECT_EQ(f.bytesLeft(), 8);
    std::string s;
    h.length = int64(1) << 60;
    EXPECT_FALSE(f.readData(h, s));
    int buf[2];
    h.length = 9;
    EXPECT_FALSE(f.readData(h, buf));
    h.length = -8;
    EXPECT_FALSE(f.skipData(h));
    EXPECT_FALSE(f.readData(h, buf));
    EXPECT_EQ(f.tell(), 16);
    // A skip past the end is allowed; the next header read then fails.
    h.length = 100;
    EXPECT_TRUE(f.skipData(h));
    EXPECT_FALSE(f.readHeader(h));
}

TEST(ZelFile, NegativeGroupLengthEntersNothing) {
    TempDir dir;
    const std::string path = dir.file("neg.bin");
    ZelHeader negative(kRoot, kTypeGroup, -16);
    std::vector<unsigned char> bytes(16);
    std::memcpy(bytes.data(), &negative, 16);
    writeFileBytes(path, bytes);
    ZelFile f(path.c_str(), "r");
    ZelHeader h;
    ASSERT_TRUE(f.readHeader(h));
    EXPECT_EQ(f.getLevel(), 0u);
    EXPECT_FALSE(f.skipData(h));
}

TEST(ZelFile, RecognisesFilesByTheirFirstTag) {
    TempDir dir;
    const std::string good = dir.file("good.zel");
    const std::string shortFile = dir.file("short.zel");
    const std::string other = dir.file("other.zel");
    { ZelFile(good.c_str(), "w").writeChunk(ZelHeader(makeTag("DZEL"), kTypeFloat, 0), nullptr); }
    writeFileBytes(shortFile, {'D', 'Z', 'E', 'L', 5, 0, 0, 0});
    { ZelFile(other.c_str(), "w").writeChunk(makeTag("META"), "x"); }
    EXPECT_TRUE(ZelFile::isZelFile(good.c_str()));
    EXPECT_FALSE(ZelFile::isZelFile(shortFile.c_str()));
    EXPECT_FALSE(ZelFile::isZelFile(other.c_str()));
    EXPECT_FALSE(ZelFile::isZelFile(dir.file("missing").c_str()));
    EXPECT_FALSE(ZelFile::isZelFile(nullptr));
    EXPECT_TRUE(ZelFile::exists(good.c_str()));
    EXPECT_TRUE(ZelFile::isWritable(good.c_str()));
    EXPECT_FALSE(ZelFile::exists(dir.file("missing").c_str()));
}

TEST(ZelFile, CopiesShareTheStreamUntilTheLastOneCloses) {
    TempDir dir;
    const std::string path = dir.file("c.bin");
    { ZelFile(path.c_str(), "w").writeChunk(kLeaf, std::vector<int>{1, 2}); }
    ZelFile a(path.c_str(), "r");
    ZelHeader h;
    ASSERT_TRUE(a.readHeader(h));
    {
        ZelFile b(a);
        EXPECT_EQ(b.tell(), 16);
        int values[2];
        ASSERT_TRUE(b.readData(h, values));
        EXPECT_EQ(values[1], 2);
    }
    EXPECT_TRUE(a.isOpen());
    EXPECT_EQ(a.tell(), 24);
    EXPECT_TRUE(a.rewind());
    EXPECT_EQ(a.tell(), 0);
}

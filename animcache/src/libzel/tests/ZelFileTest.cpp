#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "ZelFile.h"
#include "support/Child.h"
#include "support/ChunkWalk.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::readFileBytes;
using ZelTest::TempDir;
using ZelTest::writeFileBytes;

static const uint32 kLeaf = makeTag("LEAF");

TEST(ZelFile, ClosedStreamRefusesEverything) {
    ZelFile f;
    ZelHeader h;
    int64 x = 0;
    bool ok = true;
    EXPECT_FALSE(f.isOpen() || f.readHeader(h) || f.readData(h, &x) || f.skipData(h) ||
                 f.writeChunk(h, nullptr) || f.startGroup(h) || f.endGroup() ||
                 f.seek(0, SEEK_SET, true) || f.rewind());
    EXPECT_EQ(f.tell(&ok), -1);
    EXPECT_FALSE(ok);
    EXPECT_TRUE(f.close());
}

// ROOT{LEAF int64[2], INNR{EMPT{}, ZERO float[0]}}, FREE reserve of 8, EMVC, TAIL "abc".
TEST(ZelFile, GroupLengthsReservedChunksAndLevelsWhileReading) {
    TempDir dir;
    const std::string path = dir.file("g.bin");
    {
        ZelFile f(path.c_str(), "w");
        ASSERT_TRUE(f.startGroup(ZelHeader(makeTag("ROOT"), kTypeGroup, 0)));
        ASSERT_TRUE(f.writeChunk(kLeaf, std::vector<int64>{1, 2}));
        ASSERT_TRUE(f.startGroup(ZelHeader(makeTag("INNR"), kTypeGroup, 0)));
        ASSERT_TRUE(f.startGroup(ZelHeader(makeTag("EMPT"), kTypeGroup, 0)) && f.endGroup());
        ASSERT_TRUE(f.writeChunk(ZelHeader(makeTag("ZERO"), kTypeFloat, 0), nullptr));
        ASSERT_TRUE(f.endGroup() && f.endGroup());
        EXPECT_FALSE(f.endGroup());
        ASSERT_TRUE(f.writeChunk(ZelHeader(makeTag("FREE"), kTypeUndef, 8), nullptr));
        ASSERT_TRUE(f.writeChunk(kLeaf, std::vector<int64>{8, 9}, 16));
        // An empty vector ignores the offset and writes its header here.
        ASSERT_TRUE(f.writeChunk(makeTag("EMVC"), std::vector<int64>{}, 0));
        ASSERT_TRUE(f.writeChunk(makeTag("TAIL"), "abc"));
    }
    EXPECT_EQ(readFileBytes(path).size(), 156u);
    // An empty group is no group to leave; the empty last leaf closes both groups at its header.
    const auto c = ZelTest::walkChunks(path);
    EXPECT_EQ(ZelTest::layout(c),
              "ROOT/1@0+80 >LEAF/5@16+16 >INNR/1@48+32 >>EMPT/1@64+0 >>ZERO/4@80+0 FREE/0@96+8 "
              "EMVC/5@120+0 TAIL/2@136+4");
    EXPECT_EQ(c[1].values<int64>(), (std::vector<int64>{8, 9}));
    // Skipping a group pops the entry its own header pushed.
    ZelFile f(path.c_str(), "r");
    ZelHeader h;
    ASSERT_TRUE(f.readHeader(h) && f.skipData(h));
    EXPECT_EQ(f.getLevel(), 0u);
    EXPECT_EQ(f.tell(), 96);
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
        f.writeChunk(ZelHeader(makeTag("LIST"), kTypeCstr, 6), "a\0\0bc\0");
        f.writeChunk(ZelHeader(makeTag("LAST"), kTypeCstr, 3), "a\0b");
        f.writeChunk(ZelHeader(makeTag("NONE"), kTypeCstr, 2), "xy");
    }
    EXPECT_EQ(ZelTest::layout(ZelTest::walkChunks(path)),
              "STR1/2@0+4 STR2/2@20+4 STR3/2@40+0 STR4/2@56+3:2,1 LIST/2@75+6 LAST/2@97+3 "
              "NONE/2@116+2");

    // Each chunk read as one string ('s') or as a list; a list reads back joined by '|'.
    const std::pair<char, std::string> reads[] = {{'s', "abc"}, {'l', "ab|"},   {'l', ""},
                                                  {'s', "xy"},  {'l', "a||bc"}, {'l', "a|b"},
                                                  {'s', "xy"}};
    ZelFile f(path.c_str(), "r");
    ZelHeader h;
    for (const auto& [kind, text] : reads) {
        std::string s;
        std::vector<std::string> v;
        ASSERT_TRUE(f.readHeader(h) && (kind == 's' ? f.readData(h, s) : f.readData(h, v)));
        for (size_t i = 0; i < v.size(); ++i) {
            s += (i == 0 ? "" : "|") + v[i];
        }
        EXPECT_EQ(s, text) << h.tagStr();
    }
}

// Copies share one stream and its position; the original stays open when a copy goes.
TEST(ZelFile, CopiesShareAnUpdateStreamThatSwitchesBetweenReadingAndWriting) {
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
    ASSERT_TRUE(f.readHeader(h) && ZelFile(f).readData(h, values));
    EXPECT_EQ(values[2], 3);
    EXPECT_TRUE(f.isOpen());
    EXPECT_EQ(f.tell(), 28);
    // Write straight after a read, then read straight after the write.
    ASSERT_TRUE(f.writeChunk(ZelHeader(kLeaf, kTypeInt32, 4), std::vector<int>{5}.data()));
    ASSERT_TRUE(f.readData(ZelHeader(kLeaf, kTypeInt32, 8), values));
    EXPECT_EQ(values[0] * 10 + values[1], 89);
    ASSERT_TRUE(f.seek(28, SEEK_SET, true) && f.readHeader(h) && f.readData(h, values));
    EXPECT_EQ(h.length * 10 + values[0], 45);
    EXPECT_TRUE(f.rewind());
    EXPECT_EQ(f.tell(), 0);
}

TEST(ZelFile, HostileLengthsFailWithoutReading) {
    TempDir dir;
    const std::string path = dir.file("bad.bin");
    { ZelFile(path.c_str(), "w").writeChunk(kLeaf, std::vector<int>{1, 2}); }
    ZelFile f(path.c_str(), "r");
    ZelHeader h;
    ASSERT_TRUE(f.readHeader(h));
    EXPECT_EQ(f.bytesLeft(), 8);
    std::string s;
    int buf[2];
    EXPECT_FALSE(f.readData(ZelHeader(kLeaf, kTypeCstr, int64(1) << 60), s));
    EXPECT_FALSE(f.readData(ZelHeader(kLeaf, kTypeInt32, 9), buf));
    const ZelHeader negative(kLeaf, kTypeInt32, -8);
    EXPECT_FALSE(f.skipData(negative) || f.readData(negative, buf));
    EXPECT_EQ(f.tell(), 16);
    // A skip past the end is allowed; the next header read then fails.
    h.length = 100;
    EXPECT_TRUE(f.skipData(h));
    EXPECT_FALSE(f.readHeader(h));

    // A negative group length enters no group; one beyond any file ends beyond the data.
    for (const int64 length : {int64(-16), std::numeric_limits<int64>::max()}) {
        const ZelHeader group(makeTag("ROOT"), kTypeGroup, length);
        const auto* p = reinterpret_cast<const unsigned char*>(&group);
        writeFileBytes(path, std::vector<unsigned char>(p, p + 16));
        ASSERT_TRUE(f.open(path.c_str(), "r") && f.readHeader(h));
        EXPECT_EQ(f.getLevel(), length < 0 ? 0u : 1u) << length;
        EXPECT_FALSE(f.skipData(h));
    }
}

// A file opened "r" is read past stdio through a read-ahead of a few kB: reads that start inside
// it, run past it or lie behind it must give the file's bytes, and seeks must move as stdio's do.
TEST(ZelFile, ReadOnlyStreamsReadAndSeekAsStdioDoes) {
    TempDir dir;
    const std::string path = dir.file("bytes.bin");
    std::vector<unsigned char> bytes(100000);
    for (size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(i * 7 % 251);
    }
    writeFileBytes(path, bytes);
    ZelFile f(path.c_str(), "r");
    // {origin, offset, bytes to read there}
    const int64 steps[][3] = {{SEEK_SET, 0, 16},         {SEEK_CUR, 0, 30000},
                              {SEEK_CUR, -20000, 100},   {SEEK_CUR, -116, 16},
                              {SEEK_END, -50000, 49990}, {SEEK_CUR, 0, 10}};
    for (const auto& step : steps) {
        ASSERT_TRUE(f.seek(step[1], static_cast<int>(step[0]), true));
        const int64 at = f.tell();
        std::vector<unsigned char> got(static_cast<size_t>(step[2]));
        ASSERT_TRUE(f.readData(ZelHeader(kLeaf, kTypeUndef, step[2]), got.data()));
        EXPECT_TRUE(std::equal(got.begin(), got.end(), bytes.begin() + at)) << at;
        EXPECT_EQ(f.tell(), at + step[2]);
    }
    ZelHeader h;
    EXPECT_FALSE(f.readHeader(h));  // at the end
    EXPECT_FALSE(f.seek(-1, SEEK_SET, true) || f.seek(-100001, SEEK_END, true) ||
                 f.seek(0, 7, true));
    EXPECT_TRUE(f.seek(200000, SEEK_SET, true));
    EXPECT_FALSE(f.readHeader(h));
}

TEST(ZelFile, RecognisesFilesByTheirFirstTag) {
    TempDir dir;
    const std::string good = dir.file("good.zel"), other = dir.file("other.zel");
    const std::string shortFile = dir.file("short.zel"), missing = dir.file("missing");
    { ZelFile(good.c_str(), "w").writeChunk(ZelHeader(makeTag("DZEL"), kTypeFloat, 0), nullptr); }
    writeFileBytes(shortFile, {'D', 'Z', 'E', 'L', 5, 0, 0, 0});
    { ZelFile(other.c_str(), "w").writeChunk(makeTag("META"), "x"); }
    EXPECT_TRUE(ZelFile::isZelFile(good.c_str()));
    EXPECT_FALSE(ZelFile::isZelFile(shortFile.c_str()) || ZelFile::isZelFile(other.c_str()) ||
                 ZelFile::isZelFile(missing.c_str()) || ZelFile::isZelFile(nullptr));
    EXPECT_TRUE(ZelFile::exists(good.c_str()) && ZelFile::isWritable(good.c_str()));
    EXPECT_FALSE(ZelFile::exists(missing.c_str()));
}

// ROOT{BIG int[300000], INNR{60000 x LEAF int[1]}}: the big payload bypasses the write-behind
// buffer and the leaves overflow it, so lengths and rewrites are patched in memory and on disk.
TEST(ZelFile, WriteBehindKeepsPatchesAcrossFlushesAndReportsLateFailures) {
    TempDir dir;
    const std::string path = dir.file("big.bin");
    constexpr int kLeaves = 60000;
    ZelFile f(path.c_str(), "w+");
    ASSERT_TRUE(f.startGroup(ZelHeader(makeTag("ROOT"), kTypeGroup, 0)));
    ASSERT_TRUE(f.writeChunk(makeTag("BIG "), std::vector<int>(300000, 7)));
    ASSERT_TRUE(f.startGroup(ZelHeader(makeTag("INNR"), kTypeGroup, 0)));
    const int64 first = f.tell();
    for (int i = 0; i < kLeaves; ++i) {
        ASSERT_TRUE(f.writeChunk(kLeaf, std::vector<int>{i}));
    }
    ASSERT_TRUE(f.writeChunk(kLeaf, std::vector<int>{-1}, first));
    ASSERT_TRUE(f.writeChunk(kLeaf, std::vector<int>{-2}, f.tell() - 20));
    ASSERT_TRUE(f.endGroup() && f.endGroup());
    const int64 end = f.tell();
    ZelHeader h;
    ASSERT_TRUE(f.seek(0, SEEK_SET, true) && f.readHeader(h));
    EXPECT_EQ(h.length, end - 16);
    ASSERT_TRUE(f.readHeader(h) && f.skipData(h) && f.readHeader(h));
    EXPECT_EQ(h.length, 20 * kLeaves);
    for (int i = 0; i < kLeaves; ++i) {
        int value = 0;
        ASSERT_TRUE(f.readHeader(h) && f.readData(h, &value));
        ASSERT_EQ(value, i == 0 ? -1 : i == kLeaves - 1 ? -2 : i) << i;
    }
    EXPECT_TRUE(f.close());
    EXPECT_EQ(static_cast<int64>(readFileBytes(path).size()), end);

    // Read-only refuses a write at once; past a size limit the buffered write fails at flush.
    ASSERT_TRUE(f.open(path.c_str(), "r"));
    EXPECT_FALSE(f.writeChunk(kLeaf, std::vector<int>{1}));
    EXPECT_EQ(ZelTest::inChild([&] {
                  const bool taken = f.open(path.c_str(), "w") &&
                                     ZelTest::limitFileSize(24, false) &&
                                     f.writeChunk(kLeaf, std::vector<int>{1, 2, 3});
                  const bool flushed = f.flush();
                  return taken && !flushed && errno == EFBIG && !f.close() ? 0 : 1;
              }),
              0);
}

// Overlapping and touching rewrites below the held 60 bytes merge, newest bytes winning; a leaf
// past the end goes to the file. An unheld copy given the same writes holds the expected bytes.
TEST(ZelFile, HeldWritesReachTheFileOnlyWhenCommitted) {
    TempDir dir;
    const std::string path = dir.file("h.bin"), copy = dir.file("copy.bin");
    { ZelFile(path.c_str(), "w").writeChunk(kLeaf, std::vector<int>(11, 1)); }
    const std::vector<unsigned char> before = readFileBytes(path);
    const int values[] = {10, 30, 4};
    const ZelHeader leaf(kLeaf, kTypeInt32, 4), over(makeTag("OVER"), kTypeInt32, 0);
    const auto update = [&](ZelFile& f) {
        return f.writeChunk(leaf, &values[0], 20) && f.writeChunk(leaf, &values[1], 40) &&
               f.writeChunk(over, nullptr, 32) && f.seek(0, SEEK_END, true) &&
               f.writeChunk(leaf, &values[2]);
    };
    ZelTest::writeFileBytes(copy, before);
    ZelFile unheld(copy.c_str(), "r+");
    ASSERT_TRUE(update(unheld) && unheld.close());
    const std::vector<unsigned char> expected = readFileBytes(copy);
    for (const bool commit : {false, true}) {
        ZelFile f(path.c_str(), "r+");
        f.holdWritesBelow(60);
        ASSERT_TRUE(update(f) && f.flush());
        std::vector<unsigned char> seen(80);
        ASSERT_TRUE(f.seek(0, SEEK_SET, true) &&
                    f.readData(ZelHeader(kLeaf, kTypeUndef, 80), seen.data()));
        EXPECT_EQ(seen, expected);
        const std::vector<unsigned char> onDisk = readFileBytes(path);
        EXPECT_TRUE(std::equal(before.begin(), before.end(), onDisk.begin()));
        ASSERT_TRUE(commit ? f.commitHeldWrites() : f.discardHeldWrites());
        EXPECT_TRUE(f.close());
        EXPECT_EQ(readFileBytes(path), commit ? expected : before) << commit;
    }
}

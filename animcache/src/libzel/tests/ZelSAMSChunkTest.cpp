#include "ZelSAMSChunk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "ZelChunks.h"
#include "ZelFile.h"
#include "support/ChunkWalk.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::ChunkEntry;
using ZelTest::walkChunks;

namespace {

// A 24-byte leaf in front of the section, so that offsets relative to the section and offsets
// from the file's start differ.
void writePrefix(ZelFile& f) {
    const int64 version = 2;
    ASSERT_TRUE(f.writeChunk(ZelHeader(makeTag("DZEL"), kTypeInt64, 8), &version));
}

// Writes one sample whose every object is an "SOBJ" holding a "POSI" of `positions`.
void writeSample(ZelSAMSChunk& sams, ZelFile& f, int numObjects, float* time,
                 const std::vector<float>& positions) {
    ASSERT_TRUE(sams.writeStartSAMPChunk(f, numObjects, time));
    for (int o = 0; o < numObjects; ++o) {
        ASSERT_TRUE(sams.writeStartSOBJChunk(f));
        ASSERT_TRUE(f.writeChunk(makeTag("POSI"), positions));
        ASSERT_TRUE(sams.writeEndSOBJChunk(f));
    }
    ASSERT_TRUE(sams.writeEndSAMPChunk(f));
}

void expectChunk(const ChunkEntry& e, int64 offset, const char* tag, uint8 type, int64 length) {
    EXPECT_EQ(e.offset, offset) << tag;
    EXPECT_EQ(e.tag(), tag) << "at " << offset;
    EXPECT_EQ(e.header.type, type) << tag << " at " << offset;
    EXPECT_EQ(e.header.length, length) << tag << " at " << offset;
    EXPECT_EQ(e.header.compound, 0) << tag;
    EXPECT_EQ(e.header.dimension, 0) << tag;
}

}  // namespace

// Layout worked out by hand: prefix 0..24, SAMS header at 24, TIMS at 40 (28 bytes), JSAM at 68
// (40 bytes), then three SAMP groups of 128 bytes (16 + JOBJ 32 + two SOBJ of 40) at 108, 236
// and 364, ending the file at 492.
TEST(ZelSAMSChunkTest, ThreeSamplesFillTheTimeSampleAndObjectTables) {
    ZelTest::TempDir tmp;
    const std::string path = tmp.file("three.zel");
    {
        ZelFile f;
        ASSERT_TRUE(f.open(path.c_str(), "w"));
        writePrefix(f);
        ZelSAMSChunk sams;
        ASSERT_TRUE(sams.writeStart(f, 3, 0, true));
        for (int s = 0; s < 3; ++s) {
            float time = 10.0f + 0.5f * static_cast<float>(s);
            writeSample(sams, f, 2, &time, {static_cast<float>(s), 1.0f});
        }
        EXPECT_FALSE(sams.writeStartSAMPChunk(f, 2, nullptr)) << "a fourth sample is refused";
        EXPECT_EQ(f.tell(), 492) << "the refused sample writes nothing";
        ASSERT_TRUE(sams.writeEnd(f));
        EXPECT_EQ(f.getLevel(), 0u);
        ASSERT_TRUE(f.close());
    }
    EXPECT_EQ(ZelTest::readFileBytes(path).size(), 492u);

    const std::vector<ChunkEntry> c = walkChunks(path);
    ASSERT_EQ(ZelTest::tagSequence(c),
              "DZEL SAMS TIMS JSAM "
              "SAMP JOBJ SOBJ POSI SOBJ POSI SAMP JOBJ SOBJ POSI SOBJ POSI "
              "SAMP JOBJ SOBJ POSI SOBJ POSI");
    expectChunk(c[1], 24, "SAMS", kTypeGroup, 492 - 40);
    expectChunk(c[2], 40, "TIMS", kTypeFloat, 12);
    EXPECT_EQ(c[2].values<float>(), (std::vector<float>{10.0f, 10.5f, 11.0f}));
    expectChunk(c[3], 68, "JSAM", kTypeInt64, 24);
    EXPECT_EQ(c[3].values<int64>(), (std::vector<int64>{108, 236, 364}));
    const int64 samp[3] = {108, 236, 364};
    for (int s = 0; s < 3; ++s) {
        const ChunkEntry* e = &c[4 + 6 * s];
        expectChunk(e[0], samp[s], "SAMP", kTypeGroup, 112);
        expectChunk(e[1], samp[s] + 16, "JOBJ", kTypeInt64, 16);
        EXPECT_EQ(e[1].values<int64>(), (std::vector<int64>{samp[s] + 48, samp[s] + 88}));
        expectChunk(e[2], samp[s] + 48, "SOBJ", kTypeGroup, 24);
        expectChunk(e[4], samp[s] + 88, "SOBJ", kTypeGroup, 24);
        EXPECT_EQ(e[5].values<float>(), (std::vector<float>{static_cast<float>(s), 1.0f}));
    }
}

// Reserve 5: TIMS at 40 is followed by a FREE of 20 bytes at 68, JSAM at 104 by a FREE of 40 at
// 144, and the samples (56 bytes each: 16 + JOBJ 24 + an empty SOBJ) start at 200. Appending two
// samples of 80 bytes moves 8 bytes of each time reserve and 16 bytes of each jump reserve into
// the tables and puts the new samples at the old end of the file, 368 and 448.
TEST(ZelSAMSChunkTest, AppendTakesSamplesFromTheReserve) {
    ZelTest::TempDir tmp;
    const std::string path = tmp.file("append.zel");
    {
        ZelFile f;
        ASSERT_TRUE(f.open(path.c_str(), "w"));
        writePrefix(f);
        ZelSAMSChunk sams;
        ASSERT_TRUE(sams.writeStart(f, 3, 5, true));
        ZelGroupChunk empty(makeTag("SOBJ"));
        for (int s = 0; s < 3; ++s) {
            float time = static_cast<float>(s + 1);
            ASSERT_TRUE(sams.writeStartSAMPChunk(f, 1, &time));
            ASSERT_TRUE(sams.writeSOBJChunk(f, &empty));
            ASSERT_TRUE(sams.writeEndSAMPChunk(f));
        }
        ASSERT_TRUE(sams.writeEnd(f));
        ASSERT_TRUE(f.close());
    }
    std::vector<ChunkEntry> c = walkChunks(path);
    ASSERT_EQ(ZelTest::tagSequence(c),
              "DZEL SAMS TIMS FREE JSAM FREE SAMP JOBJ SOBJ SAMP JOBJ SOBJ SAMP JOBJ SOBJ");
    expectChunk(c[1], 24, "SAMS", kTypeGroup, 368 - 40);
    expectChunk(c[3], 68, "FREE", kTypeUndef, 20);
    expectChunk(c[5], 144, "FREE", kTypeUndef, 40);
    EXPECT_EQ(c[4].values<int64>(), (std::vector<int64>{200, 256, 312}));
    EXPECT_EQ(c[7].values<int64>(), (std::vector<int64>{240}));

    {
        ZelFile f;
        ASSERT_TRUE(f.open(path.c_str(), "r+"));
        ASSERT_TRUE(f.seek(24, SEEK_SET, true));
        ZelSAMSChunk sams;
        ASSERT_TRUE(sams.appendStart(f, 2));
        EXPECT_EQ(f.tell(), 368);
        for (int s = 3; s < 5; ++s) {
            float time = static_cast<float>(s + 1);
            writeSample(sams, f, 1, &time, {7.0f, 8.0f});
        }
        EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, nullptr));
        ASSERT_TRUE(sams.writeEnd(f));
        ASSERT_TRUE(f.close());
    }
    c = walkChunks(path);
    ASSERT_EQ(ZelTest::tagSequence(c),
              "DZEL SAMS TIMS FREE JSAM FREE SAMP JOBJ SOBJ SAMP JOBJ SOBJ SAMP JOBJ SOBJ "
              "SAMP JOBJ SOBJ POSI SAMP JOBJ SOBJ POSI");
    EXPECT_EQ(ZelTest::readFileBytes(path).size(), 528u);
    expectChunk(c[1], 24, "SAMS", kTypeGroup, 528 - 40);
    expectChunk(c[2], 40, "TIMS", kTypeFloat, 20);
    EXPECT_EQ(c[2].values<float>(), (std::vector<float>{1, 2, 3, 4, 5}));
    expectChunk(c[3], 76, "FREE", kTypeUndef, 12);
    expectChunk(c[4], 104, "JSAM", kTypeInt64, 40);
    EXPECT_EQ(c[4].values<int64>(), (std::vector<int64>{200, 256, 312, 368, 448}));
    expectChunk(c[5], 160, "FREE", kTypeUndef, 24);
    expectChunk(c[15], 368, "SAMP", kTypeGroup, 64);
    EXPECT_EQ(c[16].values<int64>(), (std::vector<int64>{408}));
    expectChunk(c[19], 448, "SAMP", kTypeGroup, 64);
    EXPECT_EQ(c[20].values<int64>(), (std::vector<int64>{488}));
}

TEST(ZelSAMSChunkTest, AppendRefusesAnInsufficientReserveOrAnotherChunk) {
    ZelTest::TempDir tmp;
    const std::string path = tmp.file("short.zel");
    {
        ZelFile f;
        ASSERT_TRUE(f.open(path.c_str(), "w"));
        writePrefix(f);
        ZelSAMSChunk sams;
        ASSERT_TRUE(sams.writeStart(f, 1, 5, false));
        writeSample(sams, f, 1, nullptr, {1.0f});
        ASSERT_TRUE(sams.writeEnd(f));
        ASSERT_TRUE(f.close());
    }
    const std::vector<unsigned char> before = ZelTest::readFileBytes(path);

    ZelFile f;
    ASSERT_TRUE(f.open(path.c_str(), "r+"));
    ZelSAMSChunk sams;
    EXPECT_FALSE(sams.appendStart(f, 1)) << "the DZEL prefix is no section";
    ASSERT_TRUE(f.seek(24, SEEK_SET, true));
    EXPECT_FALSE(sams.appendStart(f, 6)) << "room for 5 samples only";
    ASSERT_TRUE(f.close());

    // Only the section's length has been rewritten, as the placeholder 0.
    std::vector<unsigned char> expected = before;
    std::fill(expected.begin() + 32, expected.begin() + 40, 0);
    ASSERT_NE(expected, before);
    EXPECT_EQ(ZelTest::readFileBytes(path), expected);
}

TEST(ZelSAMSChunkTest, EmptyTablesAreRewrittenAsHeadersAtTheCurrentPosition) {
    ZelTest::TempDir tmp;
    const std::string path = tmp.file("empty.zel");
    {
        ZelFile f;
        ASSERT_TRUE(f.open(path.c_str(), "w"));
        ZelSAMSChunk sams;
        // Zero samples: the section holds placeholders only and both tables follow it.
        ASSERT_TRUE(sams.writeStart(f, 0, 0, true));
        ASSERT_TRUE(sams.writeEnd(f));
        // Zero objects: each sample is followed by a stray empty JOBJ. The writer is reused: a
        // section without times leaves the earlier section's time table alone.
        ASSERT_TRUE(sams.writeStart(f, 2, 0, false));
        for (int s = 0; s < 2; ++s) {
            ASSERT_TRUE(sams.writeStartSAMPChunk(f, 0, nullptr));
            EXPECT_FALSE(sams.writeStartSOBJChunk(f));
            ASSERT_TRUE(sams.writeEndSAMPChunk(f));
        }
        ASSERT_TRUE(sams.writeEnd(f));
        ASSERT_TRUE(f.close());
    }
    const std::vector<ChunkEntry> c = walkChunks(path);
    ASSERT_EQ(ZelTest::tagSequence(c),
              "SAMS TIMS JSAM TIMS JSAM SAMS JSAM SAMP JOBJ JOBJ SAMP JOBJ JOBJ");
    expectChunk(c[0], 0, "SAMS", kTypeGroup, 32);
    expectChunk(c[3], 48, "TIMS", kTypeFloat, 0);
    EXPECT_EQ(c[3].depth, 0u);
    expectChunk(c[4], 64, "JSAM", kTypeInt64, 0);
    // Second section at 80: JSAM at 96 (32 bytes), SAMP groups of 32 bytes at 128 and 176, each
    // followed by its 16-byte stray JOBJ.
    expectChunk(c[5], 80, "SAMS", kTypeGroup, 224 - 96);
    EXPECT_EQ(c[6].values<int64>(), (std::vector<int64>{128, 176}));
    expectChunk(c[7], 128, "SAMP", kTypeGroup, 16);
    expectChunk(c[8], 144, "JOBJ", kTypeInt64, 0);
    EXPECT_EQ(c[8].depth, 2u);
    expectChunk(c[9], 160, "JOBJ", kTypeInt64, 0);
    EXPECT_EQ(c[9].depth, 1u) << "the stray JOBJ lies after SAMP, inside SAMS";
    expectChunk(c[12], 208, "JOBJ", kTypeInt64, 0);
    EXPECT_EQ(ZelTest::readFileBytes(path).size(), 224u);
}

TEST(ZelSAMSChunkTest, ObjectsBeyondTheCountOrOfTheWrongKindAreRefused) {
    ZelTest::TempDir tmp;
    const std::string path = tmp.file("objects.zel");
    ZelFile f;
    ASSERT_TRUE(f.open(path.c_str(), "w"));
    ZelSAMSChunk sams;
    EXPECT_FALSE(sams.writeStartSAMPChunk(f, 1, nullptr)) << "no section started";
    ASSERT_TRUE(sams.writeStart(f, 1, 0, false));
    ASSERT_TRUE(sams.writeStartSAMPChunk(f, 2, nullptr));
    const int64 here = f.tell();
    ZelGroupChunk samp(makeTag("SAMP"));
    ZelGroupChunk sobj(makeTag("SOBJ"));
    EXPECT_FALSE(sams.writeSOBJChunk(f, &samp));
    EXPECT_FALSE(sams.writeSOBJChunk(f, nullptr));
    EXPECT_EQ(f.tell(), here) << "refused groups write nothing";
    ASSERT_TRUE(sams.writeSOBJChunk(f, &sobj));
    ASSERT_TRUE(sams.writeSOBJChunk(f, &sobj));
    EXPECT_FALSE(sams.writeSOBJChunk(f, &sobj)) << "a third object of two";
    EXPECT_FALSE(sams.writeStartSOBJChunk(f));
    EXPECT_EQ(f.tell(), here + 32);
    ASSERT_TRUE(sams.writeEndSAMPChunk(f));
    // A generic child of the section is written after the samples, inside it.
    sams.addChild(new ZelGroupChunk(makeTag("XTRA")));
    ASSERT_TRUE(sams.writeEnd(f));
    ASSERT_TRUE(f.close());

    const std::vector<ChunkEntry> c = walkChunks(path);
    ASSERT_EQ(ZelTest::tagSequence(c), "SAMS JSAM SAMP JOBJ SOBJ SOBJ XTRA");
    EXPECT_EQ(c[3].values<int64>(), (std::vector<int64>{here, here + 16}));
    EXPECT_EQ(c[6].depth, 1u);
    EXPECT_EQ(c[0].header.length, 136 - 16);
}

TEST(ZelSAMSChunkTest, TheSectionIsNeverReadOrWrittenAsATree) {
    ZelTest::TempDir tmp;
    const std::string path = tmp.file("tree.zel");
    ZelFile f;
    ASSERT_TRUE(f.open(path.c_str(), "w"));
    ZelSAMSChunk sams;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(sams.write(f));
    EXPECT_FALSE(sams.read(ZelHeader(makeTag("SAMS"), kTypeGroup, 0), f));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "traces are off by default";
    EXPECT_EQ(f.tell(), 0);
    ZelFile closed;
    EXPECT_FALSE(sams.writeStart(closed, 1, 0, true));
    EXPECT_FALSE(sams.appendStart(closed, 1));
}

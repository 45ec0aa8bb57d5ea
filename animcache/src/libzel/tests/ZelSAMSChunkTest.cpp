#include "ZelSAMSChunk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include "support/ChunkWalk.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::layout;
using ZelTest::walkChunks;

namespace {

// A section after a 24-byte "DZEL", so that offsets from the file's start are what counts.
struct SectionFile {
    explicit SectionFile(const char* mode, bool prefix = true) {
        EXPECT_TRUE(f.open(path.c_str(), mode));
        const int64 version = 2;
        EXPECT_TRUE(!prefix || f.writeChunk(ZelHeader(makeTag("DZEL"), kTypeInt64, 8), &version));
    }
    // One sample at `time` whose every object is an "SOBJ" holding a "POSI" of `positions`.
    void sample(int numObjects, float time, const std::vector<float>& positions) {
        ASSERT_TRUE(sams.writeStartSAMPChunk(f, numObjects, &time));
        for (int o = 0; o < numObjects; ++o) {
            ASSERT_TRUE(sams.writeStartSOBJChunk(f) && f.writeChunk(makeTag("POSI"), positions) &&
                        sams.writeEndSOBJChunk(f));
        }
        ASSERT_TRUE(sams.writeEndSAMPChunk(f));
    }

    ZelTest::TempDir tmp;
    const std::string path = tmp.file("s.zel");
    ZelFile f;
    ZelSAMSChunk sams;
};

}  // namespace

// SAMS at 24, TIMS 28 bytes, JSAM 40, then SAMP groups of 128 bytes (JOBJ 32, SOBJ 40 each).
TEST(ZelSAMSChunkTest, ThreeSamplesFillTheTimeSampleAndObjectTables) {
    SectionFile s("w");
    ASSERT_TRUE(s.sams.writeStart(s.f, 3, 0, true));
    for (int k = 0; k < 3; ++k) {
        s.sample(2, 10.0f + 0.5f * static_cast<float>(k), {static_cast<float>(k), 1.0f});
    }
    EXPECT_FALSE(s.sams.writeStartSAMPChunk(s.f, 2, nullptr)) << "a fourth sample";
    EXPECT_EQ(s.f.tell(), 492) << "the refused sample writes nothing";
    ASSERT_TRUE(s.sams.writeEnd(s.f) && s.f.close());
    const auto c = walkChunks(s.path);
    ASSERT_EQ(layout(c),
              "DZEL/5@0+8 SAMS/1@24+452 >TIMS/4@40+12 >JSAM/5@68+24 "
              ">SAMP/1@108+112 >>JOBJ/5@124+16 >>SOBJ/1@156+24 >>>POSI/4@172+8 "
              ">>SOBJ/1@196+24 >>>POSI/4@212+8 >SAMP/1@236+112 >>JOBJ/5@252+16 "
              ">>SOBJ/1@284+24 >>>POSI/4@300+8 >>SOBJ/1@324+24 >>>POSI/4@340+8 "
              ">SAMP/1@364+112 >>JOBJ/5@380+16 >>SOBJ/1@412+24 >>>POSI/4@428+8 "
              ">>SOBJ/1@452+24 >>>POSI/4@468+8");
    EXPECT_EQ(ZelTest::readFileBytes(s.path).size(), 492u);
    EXPECT_EQ(c[2].values<float>(), (std::vector<float>{10.0f, 10.5f, 11.0f}));
    EXPECT_EQ(c[3].values<int64>(), (std::vector<int64>{108, 236, 364}));
    EXPECT_EQ(c[5].values<int64>(), (std::vector<int64>{156, 196}));
}

// Reserve 5: FREE of 20 and 40 bytes; two appended samples move 8 and 16 bytes of them into TIMS
// and JSAM and land at the old end of the file, 368 and 448.
TEST(ZelSAMSChunkTest, AppendTakesSamplesFromTheReserveAndRefusesMoreThanItHolds) {
    const std::string samples =
        " >SAMP/1@200+40 >>JOBJ/5@216+8 >>SOBJ/1@240+0 >SAMP/1@256+40 >>JOBJ/5@272+8 "
        ">>SOBJ/1@296+0 >SAMP/1@312+40 >>JOBJ/5@328+8 >>SOBJ/1@352+0";
    SectionFile s("w");
    ASSERT_TRUE(s.sams.writeStart(s.f, 3, 5, true));
    const ZelGroupChunk empty(makeTag("SOBJ"));
    for (int k = 0; k < 3; ++k) {
        float time = static_cast<float>(k + 1);
        ASSERT_TRUE(s.sams.writeStartSAMPChunk(s.f, 1, &time) &&
                    s.sams.writeSOBJChunk(s.f, &empty) && s.sams.writeEndSAMPChunk(s.f));
    }
    ASSERT_TRUE(s.sams.writeEnd(s.f) && s.f.close());
    EXPECT_EQ(layout(walkChunks(s.path)),
              "DZEL/5@0+8 SAMS/1@24+328 >TIMS/4@40+12 >FREE/0@68+20 >JSAM/5@104+24 "
              ">FREE/0@144+40" +
                  samples);

    s.sams.reset();  // the writer starts afresh: nothing of the first section is remembered
    ASSERT_TRUE(s.f.open(s.path.c_str(), "r+") && s.f.seek(24, SEEK_SET, true));
    ASSERT_TRUE(s.sams.appendStart(s.f, 2));
    EXPECT_EQ(s.f.tell(), 368);
    s.sample(1, 4, {7.0f, 8.0f});
    s.sample(1, 5, {7.0f, 8.0f});
    EXPECT_FALSE(s.sams.writeStartSAMPChunk(s.f, 1, nullptr));
    ASSERT_TRUE(s.sams.writeEnd(s.f) && s.f.close());
    const auto c = walkChunks(s.path);
    ASSERT_EQ(layout(c),
              "DZEL/5@0+8 SAMS/1@24+488 >TIMS/4@40+20 >FREE/0@76+12 >JSAM/5@104+40 "
              ">FREE/0@160+24" +
                  samples +
                  " >SAMP/1@368+64 >>JOBJ/5@384+8 >>SOBJ/1@408+24 >>>POSI/4@424+8 "
                  ">SAMP/1@448+64 >>JOBJ/5@464+8 >>SOBJ/1@488+24 >>>POSI/4@504+8");
    EXPECT_EQ(c[2].values<float>(), (std::vector<float>{1, 2, 3, 4, 5}));
    EXPECT_EQ(c[4].values<int64>(), (std::vector<int64>{200, 256, 312, 368, 448}));
    EXPECT_EQ(c[20].values<int64>(), std::vector<int64>{488});

    // Room is left for 3 more: asking for 4 fails once the section header has been rewritten
    // with its placeholder length (bytes 32 to 39), and nothing else is written.
    std::vector<unsigned char> expected = ZelTest::readFileBytes(s.path);
    ASSERT_TRUE(s.f.open(s.path.c_str(), "r+"));
    ZelSAMSChunk other;
    EXPECT_FALSE(other.appendStart(s.f, 1)) << "DZEL is no section";
    EXPECT_EQ(other.getHeader().tagStr(), "DZEL");  // the header found there is kept
    ASSERT_TRUE(s.f.seek(24, SEEK_SET, true));
    EXPECT_FALSE(ZelSAMSChunk().appendStart(s.f, 4));
    ASSERT_TRUE(s.f.close());
    std::fill(expected.begin() + 32, expected.begin() + 40, 0);
    EXPECT_EQ(ZelTest::readFileBytes(s.path), expected);
}

// Zero samples: the empty TIMS and JSAM land after the section. Zero objects: an empty JOBJ
// follows each SAMP. The writer is reused without reset: a section without times leaves the
// earlier section's time table alone.
TEST(ZelSAMSChunkTest, EmptyTablesAreRewrittenAsHeadersAtTheCurrentPosition) {
    SectionFile s("w", false);
    ASSERT_TRUE(s.sams.writeStart(s.f, 0, 0, true) && s.sams.writeEnd(s.f));
    ASSERT_TRUE(s.sams.writeStart(s.f, 2, 0, false));
    for (int k = 0; k < 2; ++k) {
        ASSERT_TRUE(s.sams.writeStartSAMPChunk(s.f, 0, nullptr) && s.sams.writeEndSAMPChunk(s.f));
    }
    ASSERT_TRUE(s.sams.writeEnd(s.f) && s.f.close());
    const auto c = walkChunks(s.path);
    ASSERT_EQ(layout(c),
              "SAMS/1@0+32 >TIMS/4@16+0 >JSAM/5@32+0 TIMS/4@48+0 JSAM/5@64+0 "
              "SAMS/1@80+128 >JSAM/5@96+16 >SAMP/1@128+16 >>JOBJ/5@144+0 >JOBJ/5@160+0 "
              ">SAMP/1@176+16 >>JOBJ/5@192+0 >JOBJ/5@208+0");
    EXPECT_EQ(c[6].values<int64>(), (std::vector<int64>{128, 176}));
}

TEST(ZelSAMSChunkTest, RefusedCallsWriteNothing) {
    SectionFile s("w", false);
    ZelSAMSChunk& sams = s.sams;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(sams.write(s.f)) << "never written as a tree";
    EXPECT_FALSE(sams.read(ZelHeader(makeTag("SAMS"), kTypeGroup, 0), s.f));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "traces are off by default";
    EXPECT_FALSE(sams.writeStartSAMPChunk(s.f, 1, nullptr)) << "no section started";
    ZelFile closed;
    EXPECT_FALSE(sams.writeStart(closed, 1, 0, false));

    ASSERT_TRUE(sams.writeStart(s.f, 1, 0, false) && sams.writeStartSAMPChunk(s.f, 2, nullptr));
    const ZelGroupChunk samp(makeTag("SAMP")), sobj(makeTag("SOBJ"));
    EXPECT_FALSE(sams.writeSOBJChunk(s.f, &samp) || sams.writeSOBJChunk(s.f, nullptr));
    ASSERT_TRUE(sams.writeSOBJChunk(s.f, &sobj) && sams.writeSOBJChunk(s.f, &sobj));
    EXPECT_FALSE(sams.writeSOBJChunk(s.f, &sobj)) << "a third object of two";
    EXPECT_FALSE(sams.writeStartSOBJChunk(s.f));
    ASSERT_TRUE(sams.writeEndSAMPChunk(s.f));
    sams.addChild(nullptr);                             // an empty slot writes nothing
    sams.addChild(new ZelGroupChunk(makeTag("XTRA")));  // generic children end the section
    ASSERT_TRUE(sams.writeEnd(s.f) && s.f.close());
    EXPECT_EQ(layout(walkChunks(s.path)),
              "SAMS/1@0+120 >JSAM/5@16+8 >SAMP/1@40+64 >>JOBJ/5@56+16 >>SOBJ/1@88+0 "
              ">>SOBJ/1@104+0 >XTRA/1@120+0");
}

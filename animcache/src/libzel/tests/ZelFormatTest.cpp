#include "ZelFormat.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "support/ChunkBytes.h"

using namespace Zel;
using ZelTest::Bytes;
using ZelTest::putHeader;
using ZelTest::putValue;

namespace {

TEST(ZelFormat, DecodesHeadersAndTablesOnlyInsideTheBuffer) {
    Bytes b(1);  // one byte ahead: entries decode at any alignment
    putHeader(b, "JSAM", kTypeInt64, 16);
    putValue<int64>(b, 7);
    putValue<int64>(b, -9);
    ZelHeader h;
    EXPECT_FALSE(decodeHeader(b.data(), 16, 1, h));
    EXPECT_FALSE(decodeHeader(b.data(), b.size(), b.size() - 15, h));
    EXPECT_FALSE(decodeHeader(b.data(), b.size(), b.size() + 1, h));
    ASSERT_TRUE(decodeHeader(b.data(), b.size(), 1, h));
    EXPECT_EQ(h.tag, kTagJSAM);
    EXPECT_EQ(h.length, 16);

    struct Row {
        int64 length;
        uint64 available;  // bytes of the buffer from the payload's start
        bool ok;
        std::vector<int64> entries;  // after one entry was there
    };
    for (const Row& row :
         {Row{16, 16, true, {1, 7, -9}}, Row{0, 0, true, {1}}, Row{24, 16, false, {1}},
          Row{12, 16, false, {1}}, Row{-8, 16, false, {1}}, Row{INT64_MAX, 16, false, {1}}}) {
        SCOPED_TRACE(row.length);
        h.length = row.length;
        std::vector<int64> entries{1};
        EXPECT_EQ(
            decodeTable(b.data(), 1 + kHeaderSize + row.available, 1 + kHeaderSize, h, entries),
            row.ok);
        EXPECT_EQ(entries, row.entries);
    }
}

// A samples section whose tables are given as bytes, read back through a stream.
struct Section {
    Bytes bytes;
    ZelTest::TempDir tmp;
    std::vector<TimeEntry> times;
    std::vector<JumpEntry> jumps;
    SectionTables tables;

    SectionTablesError read(int64 end = INT64_MAX) {
        ZelTest::Reader r(tmp, bytes);
        return readSectionTables(r.f, times, jumps, tables, nullptr, end);
    }
};

TEST(ZelFormat, SectionTablesAndTheirReservesUpToTheFirstSample) {
    Section s;
    putHeader(s.bytes, "SAMS", kTypeGroup, 0);
    putHeader(s.bytes, "TIMS", kTypeFloat, 8);
    putValue(s.bytes, 1.5f);
    putValue(s.bytes, 2.5f);
    putHeader(s.bytes, "FREE", kTypeUndef, 12);
    s.bytes.resize(s.bytes.size() + 12);
    putHeader(s.bytes, "JSAM", kTypeInt64, 16);
    putValue<int64>(s.bytes, 200);
    putValue<int64>(s.bytes, 300);
    const int64 jumpsEnd = static_cast<int64>(s.bytes.size());
    putHeader(s.bytes, "FREE", kTypeUndef, 24);
    s.bytes.resize(s.bytes.size() + 24);
    putHeader(s.bytes, "SAMP", kTypeGroup, 0);
    putHeader(s.bytes, "JSAM", kTypeInt64, 8);  // inside the samples: never read
    putValue<int64>(s.bytes, 400);

    ASSERT_EQ(s.read(), SectionTablesError::kNone);
    EXPECT_EQ(s.times, (std::vector<TimeEntry>{1.5f, 2.5f}));
    EXPECT_EQ(s.jumps, (std::vector<JumpEntry>{200, 300}));
    const SectionTables& t = s.tables;
    EXPECT_TRUE(t.hasTimes && t.hasJumps);
    EXPECT_EQ(std::make_tuple(t.timeCount, t.spareTimes, t.spareJumps, t.jumpsEnd,
                              t.jumpReserveStart, t.jumpReserveLength),
              std::make_tuple(2, 3, 3, jumpsEnd, jumpsEnd + kHeaderSize, 24));

    // Bounded by the section's end, the walk stops before the jump table.
    Section bounded;
    bounded.bytes = s.bytes;
    ASSERT_EQ(bounded.read(kHeaderSize + 8 + kHeaderSize), SectionTablesError::kNone);
    EXPECT_TRUE(bounded.tables.hasTimes);
    EXPECT_FALSE(bounded.tables.hasJumps);
}

TEST(ZelFormat, SectionTablesNameTheTableThatCannotBeRead) {
    struct Row {
        const char* tag;
        int64 length;
        SectionTablesError error;
    };
    for (const Row& row :
         {Row{"TIMS", 6, SectionTablesError::kTimes}, Row{"TIMS", 400, SectionTablesError::kTimes},
          Row{"JSAM", 12, SectionTablesError::kJumps}, Row{"JSAM", -8, SectionTablesError::kJumps},
          Row{"FREE", -1, SectionTablesError::kReserve}}) {
        SCOPED_TRACE(std::string(row.tag) + " " + std::to_string(row.length));
        Section s;
        putHeader(s.bytes, "SAMS", kTypeGroup, 0);
        putHeader(s.bytes, row.tag, kTypeUndef, row.length);
        s.bytes.resize(s.bytes.size() + 16);
        EXPECT_EQ(s.read(), row.error);
        // A refused table leaves nothing behind.
        EXPECT_TRUE(s.times.empty() && s.jumps.empty());
    }
}

}  // namespace

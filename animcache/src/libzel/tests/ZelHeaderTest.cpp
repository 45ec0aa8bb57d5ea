#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "ZelHeader.h"

using namespace Zel;

TEST(ZelHeader, TagsDiskOrderAndTheReservedByte) {
    EXPECT_EQ(makeTag("FREE"), 0x45455246u);
    ZelHeader h(makeTag("AB\0D"), kTypeInt32, 12, 0, 3);
    EXPECT_EQ(h.tagStr(), "AB");
    const unsigned char disk[16] = {'A', 'B', 0, 'D', 3, 0, 3, 0, 12, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(&h, disk, 16));
    // set keeps the reserved byte; a copy takes all 16 bytes.
    h.reserved = 7;
    h.set(makeTag("WXYZ"), kTypeDouble, 16, 2, 4);
    const ZelHeader copy(h);
    const unsigned char after[16] = {'W', 'X', 'Y', 'Z', 6, 2, 4, 7, 16, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(&copy, after, 16));
}

TEST(ZelHeader, PrintsOnlyTheCodesThatAreSetAndTheTagBytesRaw) {
    const struct {
        ZelHeader h;
        std::string text;
    } rows[] = {{ZelHeader(), "FREE undef (0)"},
                {ZelHeader(makeTag("ABCD"), kTypeFloat, 1200, 1, 3), "ABCD float (1200) point 3d"},
                {ZelHeader(makeTag("ABCD"), kTypeFloat, 40, 0, 1), "ABCD float (40) scalar"},
                {ZelHeader(makeTag("ABCD"), kTypeInt64, 40, 6, 0), "ABCD int64 (40) compound"},
                {ZelHeader(makeTag("ABCD"), kTypeFloat, 0, 5, 9), "ABCD float (0) color 3x3"},
                {ZelHeader(makeTag("ABCD"), kTypeInt32, 0, 0, 5), "ABCD int32 (0) "},
                {ZelHeader(makeTag("A\0CD"), kTypeCstr, 2), std::string("A\0CD cstr (2)", 13)}};
    for (const auto& row : rows) {
        std::ostringstream os;
        row.h.print(os);
        EXPECT_EQ(os.str(), row.text);
    }
    ZelHeader h(0, 9, 0, 7, 200);  // codes outside the tables
    EXPECT_EQ(h.typeStr() + "|" + h.compoundStr() + "|" + h.dimensionStr(), "undef|undef|");
    h.set(0, kTypeDouble, 0, 4, 16);
    EXPECT_EQ(h.typeStr() + "|" + h.compoundStr() + "|" + h.dimensionStr(), "double|transform|4x4");
}

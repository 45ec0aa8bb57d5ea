#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "ZelHeader.h"

using namespace Zel;

namespace {
std::string printed(const ZelHeader& h) {
    std::ostringstream os;
    h.print(os);
    return os.str();
}
}  // namespace

TEST(ZelHeader, TagsPutTheFirstCharacterInTheLowByte) {
    EXPECT_EQ(makeTag("FREE"), 0x45455246u);
    ZelHeader h;
    EXPECT_EQ(h.tag, makeTag("FREE"));
    EXPECT_EQ(h.tagStr(), "FREE");
    h.tag = makeTag("AB\0D");
    EXPECT_EQ(h.tagStr(), "AB");
}

TEST(ZelHeader, ConstructorTakesLengthBeforeTheCodesAndDiskOrderIsFixed) {
    const ZelHeader h(makeTag("ABCD"), kTypeInt32, 12, 0, 3);
    unsigned char bytes[16];
    std::memcpy(bytes, &h, sizeof bytes);
    const unsigned char expected[16] = {'A', 'B', 'C', 'D', 3, 0, 3, 0, 12, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(0, std::memcmp(bytes, expected, sizeof bytes));
}

TEST(ZelHeader, SetKeepsTheReservedByteWhileCopiesTakeIt) {
    ZelHeader h(makeTag("ABCD"), kTypeFloat, 4);
    h.reserved = 7;
    h.set(makeTag("WXYZ"), kTypeDouble, 16, 2, 4);
    EXPECT_EQ(h.reserved, 7);
    EXPECT_EQ(h.type, kTypeDouble);
    EXPECT_EQ(h.length, 16);
    EXPECT_EQ(h.compound, 2);
    EXPECT_EQ(h.dimension, 4);
    const ZelHeader copy(h);
    EXPECT_EQ(0, std::memcmp(&copy, &h, sizeof h));
}

TEST(ZelHeader, PrintShowsCompoundAndDimensionOnlyWhenSet) {
    EXPECT_EQ(printed(ZelHeader()), "FREE undef (0)");
    EXPECT_EQ(printed(ZelHeader(makeTag("ABCD"), kTypeFloat, 1200, 1, 3)),
              "ABCD float (1200) point 3d");
    EXPECT_EQ(printed(ZelHeader(makeTag("META"), kTypeGroup, 512)), "META group (512)");
    EXPECT_EQ(printed(ZelHeader(makeTag("ABCD"), kTypeFloat, 40, 0, 1)), "ABCD float (40) scalar");
    EXPECT_EQ(printed(ZelHeader(makeTag("ABCD"), kTypeFloat, 40, 6, 0)),
              "ABCD float (40) compound");
}

TEST(ZelHeader, PrintWritesAllFourTagBytesRaw) {
    const std::string s = printed(ZelHeader(makeTag("A\0CD"), kTypeCstr, 2));
    EXPECT_EQ(s, std::string("A\0CD cstr (2)", 13));
}

TEST(ZelHeader, CodeNamesAndOutOfTableCodes) {
    ZelHeader h;
    h.dimension = 5;
    EXPECT_EQ(h.dimensionStr(), "");
    h.dimension = 16;
    EXPECT_EQ(h.dimensionStr(), "4x4");
    h.dimension = 9;
    EXPECT_EQ(h.dimensionStr(), "3x3");
    h.dimension = 200;
    EXPECT_EQ(h.dimensionStr(), "");
    h.type = kTypeInt64;
    EXPECT_EQ(h.typeStr(), "int64");
    h.type = 9;
    EXPECT_EQ(h.typeStr(), "undef");
    h.compound = 4;
    EXPECT_EQ(h.compoundStr(), "transform");
    h.compound = 7;
    EXPECT_EQ(h.compoundStr(), "undef");
    EXPECT_STREQ(zelTypeNames[6], "double");
    EXPECT_STREQ(zelCompoundNames[5], "color");
    EXPECT_STREQ(zelDimensionNames[2], "2d");
}

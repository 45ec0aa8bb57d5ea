#include <gtest/gtest.h>

#include <iostream>
#include <string>

#include "support/UtilsRun.h"
#include "zelUtils.h"

using namespace Zel;
using namespace ZelTest;

namespace {

const std::string kErrorAt = "zel2txt at animcache/src/libzel/src/zelUtils.cpp:";

// The small cache's dump, lengths and offsets worked out from its layout: DZEL 24 bytes, META
// 16 + 250, SAMS at 290 holding TIMS, JSAM and the samples at 362 and 667.
const std::string kSmallCacheDump =
    "DZEL int64 (8) : 2 \n"
    "META group (250) : \n"
    ". WAPP cstr (4) : app \n"
    ". DATE int64 (8) : 1700000000 \n"
    ". NSAM int64 (8) : 2 \n"
    ". FTIM float (4) : 1 \n"
    ". LTIM float (4) : 2 \n"
    ". RATE float (4) : 1 \n"
    ". SPAC int64 (8) : 0 \n"
    ". NOBJ int64 (8) : 2 \n"
    ". DOBJ group (21) : #0\n"
    ". . NAME cstr (5) : cube \n"
    ". DOBJ group (21) : #1\n"
    ". . NAME cstr (5) : ball \n"
    "SAMS group (497) : \n"
    ". TIMS float (8) : 1 2 \n"
    ". JSAM int64 (16) : 362 667 \n"
    ". SAMP group (289) : #0\n"
    ". . JOBJ int64 (16) : 410 623 \n"
    ". . SOBJ group (197) : #0\n"
    ". . . POSI float (12) point 3d : 0.1 0.33333334 -2.5 \n"
    ". . . DVAL double (24) scalar : 0.1 0.3333333333333333 9.999999999999999e-21 \n"
    ". . . IVAL int32 (12) : 1 -2 3 \n"
    ". . . LVAL int64 (8) : 9000000000 \n"
    ". . . SVAL cstr (6) : ab  c \n"
    ". . . BVAL undef (3) : x y z \n"
    ". . . XTRA undef (0) : \n"  // a chunk of unknown type keeps the header it was made with
    ". . . VELO float (0) vector 3d : \n"
    ". . SOBJ group (28) : #1\n"
    ". . . POSI float (12) point 3d : 1 2 3 \n"
    ". SAMP group (120) : #1\n"
    ". . JOBJ int64 (16) : 715 759 \n"
    ". . SOBJ group (28) : #0\n"
    ". . . POSI float (12) point 3d : 4 5 6 \n"
    ". . SOBJ group (28) : #1\n"
    ". . . POSI float (12) point 3d : 7 8 9 \n";

Output dump(const std::string& path) {
    return captured([&] { return zel2txt(path.c_str()); });
}

// The dump up to the last line that starts with `line`.
std::string dumpBefore(const char* line) {
    return kSmallCacheDump.substr(0, kSmallCacheDump.rfind(line));
}

}  // namespace

TEST(Zel2txt, DumpsEveryChunkByDepthOrStopsAtItsErrorLine) {
    TempDir dir;
    const std::string path = dir.file("small.zel");
    ASSERT_TRUE(writeSmallCache(path));
    // The dump is decimal in the default format whatever the caller set, and gives that back.
    const std::streamsize precision = std::cout.precision(3);
    std::cout << std::hex;
    Output r = dump(path);
    EXPECT_TRUE(std::cout.precision(precision) == 3 && (std::cout.flags() & std::ios::hex));
    std::cout << std::dec;
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out, kSmallCacheDump);
    EXPECT_EQ(r.err, "");

    // Definitions without samples: the object counter ends at the number of definitions.
    ZelMETAChunk defs;
    defs.addDOBJ("a");
    defs.addDOBJ("b");
    ASSERT_TRUE(writeCacheFile(path, defs, nullptr));
    r = dump(path);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out + r.err,
              "DZEL int64 (8) : 2 \nMETA group (140) : \n. NSAM int64 (8) : 0 \n"
              ". SPAC int64 (8) : 1 \n. NOBJ int64 (8) : 2 \n. DOBJ group (18) : #0\n"
              ". . NAME cstr (2) : a \n. DOBJ group (18) : #1\n. . NAME cstr (2) : b \n");
    // The last sample ends after one of the two objects: the whole listing comes first.
    damageSmallCache(path, -1, 0, 759);
    r = dump(path);
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.out, dumpBefore(". . SOBJ group (28) : #1"));
    EXPECT_EQ(r.err, kErrorAt + "476 Error Number of SOBJ not match number of DOBJ\n");
    damageSmallCache(path, -1, 0, 480);  // cut inside DVAL's payload (470..494)
    r = dump(path);
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.out, dumpBefore(". . . DVAL"));
    EXPECT_EQ(r.err, kErrorAt + "468 Error " + path + ": error reading leaf chunk\n");
    writeFileBytes(path, Bytes(40, 'a'));
    std::cerr << std::hex;  // the location code is decimal whatever the stream is set to
    EXPECT_EQ(dump(path).err, kErrorAt + "437 Error " + path + ": is not a valid ZEL file\n");
    std::cerr << std::dec;
}

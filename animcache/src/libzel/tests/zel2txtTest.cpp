#include <gtest/gtest.h>

#include <cstring>
#include <iostream>
#include <limits>
#include <random>
#include <string>

#include "support/UtilsRun.h"
#include "zelUtils.h"

using namespace Zel;
using namespace ZelTest;

namespace {

const std::string kErrorAt = "zel2txt at animcache/src/libzel/src/zelUtils.cpp:";

// The small cache's dump, lengths and offsets worked out from its layout: DZEL 24 bytes, META
// 16 + 250, SAMS at 290 holding TIMS, JSAM, FREE and the samples at 378 and 683.
const char* const kSmallCacheDump =
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
    "SAMS group (513) : \n"
    ". TIMS float (8) : 1 2 \n"
    ". JSAM int64 (16) : 378 683 \n"
    ". FREE undef (0) : \n"
    ". SAMP group (289) : #0\n"
    ". . JOBJ int64 (16) : 426 639 \n"
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
    ". . JOBJ int64 (16) : 731 775 \n"
    ". . SOBJ group (28) : #0\n"
    ". . . POSI float (12) point 3d : 4 5 6 \n"
    ". . SOBJ group (28) : #1\n"
    ". . . POSI float (12) point 3d : 7 8 9 \n";

Output dump(const std::string& path) {
    return captured([&] { return zel2txt(path.c_str()); });
}

// The dump up to the line that starts with `line`.
std::string dumpBefore(const char* line) {
    return std::string(kSmallCacheDump, std::strstr(kSmallCacheDump, line));
}

}  // namespace

TEST(Zel2txt, DumpsEveryChunkByDepthWithSharedObjectCounters) {
    TempDir dir;
    const std::string path = dir.file("small.zel");
    ASSERT_TRUE(writeSmallCache(path));
    ASSERT_EQ(readFileBytes(path).size(), 819u);
    // The dump is decimal in the default format whatever the caller set, and gives that back.
    const std::streamsize precision = std::cout.precision(3);
    std::cout << std::hex;
    Output r = dump(path);
    EXPECT_TRUE(std::cout.precision(precision) == 3 && (std::cout.flags() & std::ios::hex));
    std::cout << std::dec;
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(r.out, kSmallCacheDump);
    EXPECT_EQ(r.err, "");

    SmallCache c;
    c.numSamples = 0;
    ASSERT_TRUE(writeSmallCache(path, c));
    r = dump(path);
    EXPECT_EQ(r.result, 0);
    EXPECT_NE(r.out.find("\nSAMS group (32) : \n. TIMS float (0) : \n. JSAM int64 (0) : \n"),
              std::string::npos);
    // The last sample has fewer objects than the definitions: the whole listing comes first; the
    // second sample lost 44 bytes of object and 8 of table.
    c = SmallCache();
    c.lastSampleObjects = 1;
    ASSERT_TRUE(writeSmallCache(path, c));
    r = dump(path);
    EXPECT_EQ(r.result, -1);
    std::string expected = dumpBefore(". SAMP group (120)") +
                           ". SAMP group (68) : #1\n. . JOBJ int64 (8) : 723 \n"
                           ". . SOBJ group (28) : #0\n. . . POSI float (12) point 3d : 4 5 6 \n";
    expected.replace(expected.find("(513)"), 5, "(461)");
    EXPECT_EQ(r.out, expected);
    EXPECT_EQ(r.err, kErrorAt + "476 Error Number of SOBJ not match number of DOBJ\n");
}

TEST(Zel2txt, BadInputFailsWithItsErrorLine) {
    TempDir dir;
    const std::string path = dir.file("bad.zel");
    writeFileBytes(path, Bytes(40, 'a'));
    std::cerr << std::hex;  // the location code is decimal whatever the stream is set to
    EXPECT_EQ(dump(path).err, kErrorAt + "437 Error " + path + ": is not a valid ZEL file\n");
    std::cerr << std::dec;
    const std::string readError = kErrorAt + "468 Error " + path + ": error reading leaf chunk\n";
    damageSmallCache(path, -1, 0, 500);  // cut inside DVAL's payload (486..510)
    Output r = dump(path);
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.out, dumpBefore(". . . DVAL"));
    EXPECT_EQ(r.err, readError);
    damageSmallCache(path, -1, 0, 590);  // inside BVAL's header: the first sample lacks an object
    EXPECT_EQ(dump(path).err, kErrorAt + "476 Error Number of SOBJ not match number of DOBJ\n");
    // The last POSI (at 791) running past the end, not a whole number of floats; negative
    // lengths on DVAL (at 470) and on the chunk of unknown type (at 603).
    for (const auto& [at, length] :
         {std::pair<long, int64>{791, 1000}, {791, 10}, {470, -24}, {603, -4}}) {
        damageSmallCache(path, at, length);
        r = dump(path);
        EXPECT_EQ(r.result, -1);
        EXPECT_EQ(r.err, readError) << at << " " << length;
    }
    // A group longer than any file ends with the data.
    Bytes bytes;
    putScalar(bytes, "DZEL", kTypeInt64, int64{2});
    putHeader(bytes, "SAMS", kTypeGroup, std::numeric_limits<int64>::max());
    putScalar(bytes, "TIMS", kTypeFloat, 1.5f);
    writeFileBytes(path, bytes);
    EXPECT_EQ(
        dump(path).out,
        "DZEL int64 (8) : 2 \nSAMS group (9223372036854775807) : \n. TIMS float (4) : 1.5 \n");

    // Random bytes after a valid header, through the walk that zeldiff's dumps share: one error
    // line, or the end of the headers when a chunk of unknown type skips past the end of the
    // file. Never a crash or a hang.
    int failures = 0;
    for (unsigned seed = 1; seed <= 64; ++seed) {
        std::mt19937 random(seed);
        bytes.resize(24);
        for (int i = 0; i < 2048; ++i) {
            bytes.push_back(static_cast<unsigned char>(random()));
        }
        writeFileBytes(path, bytes);
        r = dump(path);
        EXPECT_EQ(r.out.rfind("DZEL int64 (8) : 2 \n", 0), 0u);
        EXPECT_EQ(r.err.empty() ? 0 : -1, r.result) << "seed " << seed;
        EXPECT_TRUE(r.err.empty() ||
                    (r.err.rfind(kErrorAt, 0) == 0 && r.err.find('\n') + 1 == r.err.size()))
            << r.err;
        failures += r.result == -1;
    }
    EXPECT_GT(failures, 0);
}

TEST(Zel2txtTool, ExitStatusFollowsTheResult) {
    TempDir dir;
    const std::string path = dir.file("small.zel"), out = dir.file("out.txt"),
                      err = dir.file("err.txt");
    ASSERT_TRUE(writeSmallCache(path));
    const int status = runTool("zel2txt", path, out, err);
    if (status == -2) {
        GTEST_SKIP() << "the zel2txt tool is not built";
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(fileText(out), kSmallCacheDump);
    EXPECT_EQ(runTool("zel2txt", dir.file("none.zel"), out, err), 1);
    EXPECT_EQ(runTool("zel2txt", path + " " + path, out, err), 2);
    EXPECT_EQ(runTool("zel2txt", "", out, err), 2);
    EXPECT_EQ(fileText(err), "usage: zel2txt FILE\n");
}

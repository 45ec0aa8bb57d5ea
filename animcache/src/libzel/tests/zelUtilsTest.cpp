#include "zelUtils.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZelFile.h"
#include "support/ChunkWalk.h"
#include "support/UtilsRun.h"

using namespace Zel;
using namespace ZelTest;

// DZEL 24 bytes; META 184 (NSAM, SPAC, NOBJ of 24, two DOBJ of 36, ABCD of 24); SAMS from 208:
// JSAM 24, FREE 32, one SAMP of 256 (JOBJ 32, SOBJ of 80 and 128).
TEST(zelUtilsTest, ZeltestWritesTheFixedCacheOrReportsTheFailedStepOnce) {
    TempDir tmp;
    const std::string path = tmp.file("test.zel");
    const Output r = captured([&] { return zeltest(path.c_str()); });
    ASSERT_EQ(r.result, 0);
    EXPECT_EQ(r.out + r.err, "");
    EXPECT_EQ(readFileBytes(path).size(), 536u);
    const auto c = walkChunks(path);
    EXPECT_EQ(layout(c),
              "DZEL/5@0+8 META/1@24+168 >NSAM/5@40+8 >SPAC/5@64+8 >NOBJ/5@88+8 "
              ">DOBJ/1@112+20 >>NAME/2@128+4 >DOBJ/1@148+20 >>NAME/2@164+4 >ABCD/2@184+8 "
              "SAMS/1@208+312 >JSAM/5@224+8 >FREE/0@248+16 >SAMP/1@280+240 >>JOBJ/5@296+16 "
              ">>SOBJ/1@328+64 >>>POSI/4@344+16 >>>VELO/4@376+16 "
              ">>SOBJ/1@408+112 >>>POSI/4@424+40 >>>VELO/4@480+40");
    ASSERT_EQ(c.size(), 21u);
    // Version 1, no samples counted in META, world space, two objects.
    for (int i : {0, 2, 3, 4}) {
        EXPECT_EQ(c[i].values<int64>(), std::vector<int64>{i == 0 ? 1 : i == 4 ? 2 : 0}) << i;
    }
    auto text = [&](int i) { return std::string(c[i].payload.begin(), c[i].payload.end()); };
    EXPECT_EQ(text(6) + text(8) + text(9), std::string("foo\0bar\0a\0b\0c\0d\0", 16));
    EXPECT_EQ(c[11].values<int64>(), std::vector<int64>{280});
    EXPECT_EQ(c[14].values<int64>(), (std::vector<int64>{328, 408}));
    EXPECT_EQ(c[16].values<float>(), (std::vector<float>{0, 1, 2, 3}));
    EXPECT_EQ(c[17].values<float>(), (std::vector<float>{0, 2, 4, 6}));
    EXPECT_EQ(c[19].values<float>(), (std::vector<float>{0, 3, 6, 9, 12, 15, 18, 21, 24, 27}));
    EXPECT_EQ(c[20].values<float>(), (std::vector<float>{0, 4, 8, 12, 16, 20, 24, 28, 32, 36}));

    const std::string missing = tmp.file("missing/dir/test.zel");
    const Output failed = captured([&] { return zeltest(missing.c_str()); });
    EXPECT_EQ(failed.result, -1);
    EXPECT_EQ(failed.err,
              "zeltest at animcache/src/libzel/src/zelUtils.cpp:57 Error opening file\n");
    EXPECT_FALSE(ZelFile::exists(missing.c_str()));
    // A device that takes no data: the buffered bytes fail at the first seek, the back-patch of
    // the first object definition, and the failure comes up through the group writes.
    if (ZelFile::isWritable("/dev/full")) {
        EXPECT_EQ(captured([] { return zeltest("/dev/full"); }).err,
                  "zeltest at animcache/src/libzel/src/zelUtils.cpp:79 Error writing META chunk\n");
    }
}

// Each command prints what its function prints and exits 0 or 1 by the function's result (zeldiff
// by diff's own status, 2 for trouble such as a file it cannot dump), or 2 with a usage line when
// the arguments do not fit.
TEST(zelTools, PrintWhatTheirFunctionsPrintAndExitByTheResult) {
    TempDir tmp;
    const std::string a = tmp.file("a.zel"), b = tmp.file("b.zel"), none = tmp.file("none.zel");
    const std::string made = tmp.file("made.zel"), ref = tmp.file("ref.zel");
    ASSERT_TRUE(writeSmallCache(a) && writeSmallCache(b, 9.5f) && zeltest(ref.c_str()) == 0);
    const std::string out = tmp.file("out.txt"), err = tmp.file("err.txt");
    if (runTool("zeltest", made, out, err) == -2) {
        GTEST_SKIP() << "the tools are not built";
    }
    EXPECT_EQ(readFileBytes(made), readFileBytes(ref));
    auto usage = [](const char* line) {
        return Output{0, "", "usage: " + std::string(line) + "\n"};
    };
    auto test = [](const std::string& p) { return captured([&] { return zeltest(p.c_str()); }); };
    auto info = [](const std::string& p) { return captured([&] { return zelinfo(p.c_str()); }); };
    auto txt = [](const std::string& p) { return captured([&] { return zel2txt(p.c_str()); }); };
    auto diff = [](const std::string& p, const std::string& q, const char* options) {
        return captured([&] { return zeldiff(p.c_str(), q.c_str(), options); });
    };
    const struct {
        const char* tool;
        std::string args;
        int status;
        Output expect;
    } rows[] = {
        {"zeltest", none + "/x", 1, test(none + "/x")},
        {"zeltest", "", 2, usage("zeltest FILE")},
        {"zelinfo", ref, 0, info(ref)},
        {"zelinfo", none, 1, info(none)},
        {"zelinfo", a + " " + a, 2, usage("zelinfo FILE")},
        {"zel2txt", a, 0, txt(a)},
        {"zel2txt", none, 1, txt(none)},
        {"zel2txt", "", 2, usage("zel2txt FILE")},
        {"zeldiff", a + " " + a, 0, diff(a, a, nullptr)},
        {"zeldiff", a + " " + b + " -b -e", 1, diff(a, b, "-b -e")},  // options joined by a blank
        {"zeldiff", a + " " + b + " --no-such-option", 2, diff(a, b, "--no-such-option")},
        {"zeldiff", a + " " + none, 2, diff(a, none, nullptr)},
        {"zeldiff", a, 2, usage("zeldiff FILE1 FILE2 [DIFF-OPTIONS...]")},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.tool) + " " + row.args);
        EXPECT_EQ(runTool(row.tool, row.args, out, err), row.status);
        EXPECT_EQ(fileText(out), row.expect.out);
        EXPECT_EQ(fileText(err), row.expect.err);
    }
}

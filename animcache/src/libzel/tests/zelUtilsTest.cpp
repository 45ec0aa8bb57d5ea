#include "zelUtils.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "ZelFile.h"
#include "support/ChunkWalk.h"
#include "support/TempDir.h"

using namespace Zel;

namespace {

std::string readText(const std::string& path) {
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Runs a shell command and returns its exit status (-1 when it did not exit normally).
int run(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// zeltest
// ---------------------------------------------------------------------------------------------

// DZEL 24 bytes; META 184 (NSAM, SPAC, NOBJ of 24, two DOBJ of 36, ABCD of 24); SAMS from 208:
// JSAM 24, FREE 32, one SAMP of 256 (JOBJ 32, SOBJ of 80 and 128).
TEST(zelUtilsTest, ZeltestWritesTheFixedCache) {
    ZelTest::TempDir tmp;
    const std::string path = tmp.file("test.zel");
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    ASSERT_EQ(zeltest(path.c_str()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(ZelTest::readFileBytes(path).size(), 536u);

    const auto c = ZelTest::walkChunks(path);
    EXPECT_EQ(ZelTest::layout(c),
              "DZEL/5@0+8 META/1@24+168 >NSAM/5@40+8 >SPAC/5@64+8 >NOBJ/5@88+8 "
              ">DOBJ/1@112+20 >>NAME/2@128+4 >DOBJ/1@148+20 >>NAME/2@164+4 >ABCD/2@184+8 "
              "SAMS/1@208+312 >JSAM/5@224+8 >FREE/0@248+16 >SAMP/1@280+240 >>JOBJ/5@296+16 "
              ">>SOBJ/1@328+64 >>>POSI/4@344+16 >>>VELO/4@376+16 "
              ">>SOBJ/1@408+112 >>>POSI/4@424+40 >>>VELO/4@480+40");
    ASSERT_EQ(c.size(), 21u);
    EXPECT_EQ(c[0].values<int64>(), std::vector<int64>{1}) << "format version";
    EXPECT_EQ(c[2].values<int64>(), std::vector<int64>{0}) << "no samples counted in META";
    EXPECT_EQ(c[3].values<int64>(), std::vector<int64>{0}) << "world space";
    EXPECT_EQ(c[4].values<int64>(), std::vector<int64>{2});
    EXPECT_EQ(c[6].values<char>(), (std::vector<char>{'f', 'o', 'o', '\0'}));
    EXPECT_EQ(c[8].values<char>(), (std::vector<char>{'b', 'a', 'r', '\0'}));
    EXPECT_EQ(c[9].values<char>(), (std::vector<char>{'a', '\0', 'b', '\0', 'c', '\0', 'd', '\0'}));
    EXPECT_EQ(c[11].values<int64>(), std::vector<int64>{280});
    EXPECT_EQ(c[14].values<int64>(), (std::vector<int64>{328, 408}));
    EXPECT_EQ(c[16].values<float>(), (std::vector<float>{0, 1, 2, 3}));
    EXPECT_EQ(c[17].values<float>(), (std::vector<float>{0, 2, 4, 6}));
    EXPECT_EQ(c[19].values<float>(), (std::vector<float>{0, 3, 6, 9, 12, 15, 18, 21, 24, 27}));
    EXPECT_EQ(c[20].values<float>(), (std::vector<float>{0, 4, 8, 12, 16, 20, 24, 28, 32, 36}));
}

TEST(zelUtilsTest, ZeltestReportsTheFirstFailedStepOnce) {
    ZelTest::TempDir tmp;
    const std::string path = tmp.file("missing/dir/test.zel");
    testing::internal::CaptureStderr();
    EXPECT_EQ(zeltest(path.c_str()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "zeltest at animcache/src/libzel/src/zelUtils.cpp:57 Error opening file\n");
    EXPECT_FALSE(ZelFile::exists(path.c_str()));

    // A device that takes no data: the buffered bytes fail at the first seek, which is the
    // back-patch of the first object definition inside META.
    if (!ZelFile::isWritable("/dev/full")) {
        GTEST_SKIP() << "no /dev/full";
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(zeltest("/dev/full"), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "zeltest at animcache/src/libzel/src/zelUtils.cpp:79 Error writing META chunk\n");
}

TEST(zelUtilsTest, ZeltestToolMapsResultsToExitStatus) {
    const char* dir = std::getenv("ZEL_TOOLS_DIR");
    if (dir == nullptr) {
        GTEST_SKIP() << "ZEL_TOOLS_DIR not set";
    }
    const std::string tool = std::string(dir) + "/zeltest";
    ZelTest::TempDir tmp;
    const std::string err = tmp.file("err.txt");
    EXPECT_EQ(run("'" + tool + "' 2>'" + err + "'"), 2);
    EXPECT_EQ(readText(err), "usage: zeltest FILE\n");
    EXPECT_EQ(run("'" + tool + "' a b 2>'" + err + "'"), 2);

    const std::string out = tmp.file("tool.zel");
    const std::string ref = tmp.file("ref.zel");
    EXPECT_EQ(run("'" + tool + "' '" + out + "' 2>'" + err + "'"), 0);
    EXPECT_EQ(readText(err), "");
    ASSERT_EQ(zeltest(ref.c_str()), 0);
    EXPECT_EQ(ZelTest::readFileBytes(out), ZelTest::readFileBytes(ref));

    EXPECT_EQ(run("'" + tool + "' '" + tmp.file("no/such.zel") + "' 2>'" + err + "'"), 1);
    EXPECT_EQ(readText(err),
              "zeltest at animcache/src/libzel/src/zelUtils.cpp:57 Error opening file\n");
}

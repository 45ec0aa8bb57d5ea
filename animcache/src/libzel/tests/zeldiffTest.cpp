#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/UtilsRun.h"
#include "zelUtils.h"

using namespace Zel;
using namespace ZelTest;

namespace {

const std::string kErrorAt = "zeldiff at animcache/src/libzel/src/zelUtils.cpp:";

// Each test points the system temporary directory at a fresh directory of its own, writes the
// small cache as "a.zel" and, as "b.zel", one whose last value is 9.5.
class Zeldiff : public testing::Test {
  protected:
    void SetUp() override {
        const char* old = std::getenv("TMPDIR");
        savedTmp_ = old != nullptr ? old : "";
        std::filesystem::create_directory(dir_.file("tmp"));
        setenv("TMPDIR", dir_.file("tmp").c_str(), 1);
        ASSERT_TRUE(writeSmallCache(a_) && writeSmallCache(b_, 9.5f));
    }
    void TearDown() override {
        // Whatever happened, no comparison directory is left behind.
        for (const auto& e : std::filesystem::directory_iterator(base())) {
            EXPECT_NE(e.path().filename().string().rfind("zeldiff-", 0), 0u) << e.path();
        }
        savedTmp_.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", savedTmp_.c_str(), 1);
    }
    // Where the private directories are made: /disk1/tmp wins when it exists.
    std::string base() const {
        struct stat st;
        const bool disk1 = stat("/disk1/tmp", &st) == 0 && S_ISDIR(st.st_mode);
        return disk1 ? "/disk1/tmp" : dir_.file("tmp");
    }
    Output diff(const std::string& a, const std::string& b, const char* options) {
        return captured([&] { return zeldiff(a.c_str(), b.c_str(), options); });
    }

    TempDir dir_;
    std::string savedTmp_;
    const std::string a_ = dir_.file("a.zel");
    const std::string b_ = dir_.file("b.zel");
};

}  // namespace

// Copies written at different times compare equal: the dumps leave the date out.
TEST_F(Zeldiff, ComparesFlatDumpsWithoutTheDateInAPrivateDirectory) {
    const std::string later = dir_.file("later.zel");
    ASSERT_TRUE(writeSmallCache(later, 9.0f, 1800000000));
    ASSERT_NE(readFileBytes(a_), readFileBytes(later));
    const Output same = diff(a_, later, nullptr);
    EXPECT_EQ(same.out + same.err + std::to_string(same.result), "0");
    const Output r = diff(a_, b_, "");
    EXPECT_TRUE(WIFEXITED(r.result) && WEXITSTATUS(r.result) == 1) << r.result;
    EXPECT_EQ(
        r.out + r.err,
        "36c36\n< POSI float (12) point 3d : 7 8 9 \n---\n> POSI float (12) point 3d : 7 8 9.5 \n");
    // Unified output with wide context shows the whole dumps and their paths.
    std::istringstream in(diff(a_, b_, "-U 100").out);
    std::vector<std::string> out;
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    ASSERT_EQ(out.size(), 40u);
    const std::string path1 = out[0].substr(4, out[0].find('\t') - 4);
    const std::string privateDir = path1.substr(0, path1.rfind('/'));
    EXPECT_EQ(out[0].substr(0, 4) + path1, "--- " + privateDir + "/zel___diff___1.txt");
    EXPECT_EQ(out[1].substr(0, out[1].find('\t')), "+++ " + privateDir + "/zel___diff___2.txt");
    EXPECT_EQ(privateDir.substr(0, privateDir.rfind('/')), base());
    EXPECT_FALSE(std::filesystem::exists(privateDir));
    // Each comparison makes a directory of its own, so two at once never share a dump.
    const std::string again = diff(a_, b_, "-q").out;
    EXPECT_EQ(again.rfind("Files " + base() + "/zeldiff-", 0), 0u) << again;
    EXPECT_EQ(again.find(privateDir), std::string::npos) << again;
    const std::vector<std::string> expected = {"@@ -1,36 +1,36 @@", " DZEL int64 (8) : 2 ",
                                               " META group (250)", " WAPP cstr (4) : app ",
                                               " DATE skipped",     " NSAM int64 (8) : 2 "};
    EXPECT_EQ(std::vector<std::string>(out.begin() + 2, out.begin() + 8), expected);
    EXPECT_EQ(out[22], " SOBJ group (197)");
    EXPECT_EQ(out[30], " VELO float (0) vector 3d");
}

TEST_F(Zeldiff, BadInputFailsWithItsErrorLineBeforeTheComparison) {
    const std::string cut = dir_.file("cut.zel"), text = dir_.file("text.zel");
    damageSmallCache(cut, 60, -8);  // META's DATE cannot be skipped
    writeFileBytes(text, Bytes(40, 'a'));
    // A second file that is not a cache is reported before the first is dumped.
    const Output r = diff(cut, text, nullptr);
    EXPECT_EQ(r.result, -1);
    EXPECT_EQ(r.out + r.err, kErrorAt + "494 Error " + text + ": is not a valid ZEL file\n");
    EXPECT_EQ(diff(a_, cut, nullptr).err,
              kErrorAt + "567 Error " + cut + ": error reading leaf chunk\n");
}

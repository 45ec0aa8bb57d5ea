#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "ZelReplace.h"
#include "support/Child.h"
#include "support/TempDir.h"

using namespace Zel;
using ZelTest::readFileBytes;
using ZelTest::TempDir;

namespace {

const std::vector<unsigned char> kOld = {'o', 'l', 'd'};

// The names in directory `dir`, sorted.
std::vector<std::string> names(const std::string& dir) {
    std::vector<std::string> v;
    for (const auto& e : std::filesystem::directory_iterator(dir)) {
        v.push_back(e.path().filename().string());
    }
    std::sort(v.begin(), v.end());
    return v;
}

mode_t modeOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

// Replaces `target` with one 16-byte chunk.
bool replaceWithChunk(const std::string& target) {
    ZelReplace r;
    ZelFile f;
    return r.begin(target.c_str(), f) && f.writeChunk(ZelHeader(), nullptr) && r.commit(f);
}

TEST(ZelReplace, CommitReplacesTheFileALinkNamesKeepingItsMode) {
    TempDir dir;
    const std::string real = dir.file("real.zel"), link = dir.file("link.zel");
    ZelTest::writeFileBytes(real, kOld);
    ASSERT_EQ(chmod(real.c_str(), 0640), 0);
    ASSERT_EQ(symlink("real.zel", link.c_str()), 0);
    ASSERT_TRUE(replaceWithChunk(link));
    EXPECT_EQ(readFileBytes(real).size(), 16u);
    EXPECT_EQ(modeOf(real), 0640u);
    EXPECT_TRUE(std::filesystem::is_symlink(link));

    const mode_t old = umask(027);
    EXPECT_TRUE(replaceWithChunk(dir.file("new.zel")));
    umask(old);
    EXPECT_EQ(modeOf(dir.file("new.zel")), 0640u);

    // Abandoned or destroyed before the commit: the target stays, the temporary file goes.
    {
        ZelReplace r;
        ZelFile f;
        ASSERT_TRUE(r.begin(real.c_str(), f) && f.writeChunk(ZelHeader(), nullptr));
        EXPECT_EQ(r.tempPath().rfind(dir.file(".real.zel.tmp-"), 0), 0u) << r.tempPath();
        const std::string temp = r.tempPath();
        r.abandon(f);
        EXPECT_FALSE(f.isOpen() || ZelFile::exists(temp.c_str()));
        ASSERT_TRUE(r.begin(real.c_str(), f));
    }
    EXPECT_EQ(names(dir.path()), (std::vector<std::string>{"link.zel", "new.zel", "real.zel"}));
    EXPECT_EQ(readFileBytes(real).size(), 16u);
}

TEST(ZelReplace, FailuresSayWhyAndLeaveNothingBehind) {
    TempDir dir;
    const std::string target = dir.file("t.zel");
    ZelTest::writeFileBytes(target, kOld);
    ZelReplace r;
    ZelFile f;
    const std::pair<std::string, int> refused[] = {
        {dir.path(), EISDIR}, {"/dev/null", EINVAL}, {dir.file("none/t.zel"), ENOENT}};
    for (const auto& [path, err] : refused) {
        errno = 0;
        EXPECT_FALSE(r.begin(path.c_str(), f));
        EXPECT_EQ(errno, err) << path;
    }
    // A write past the file size limit fails the commit with the write's own error.
    const int status = ZelTest::inChild([&] {
        ZelReplace child;
        ZelFile out;
        const bool begun = child.begin(target.c_str(), out) && ZelTest::limitFileSize(8, false) &&
                           out.writeChunk(ZelHeader(), nullptr);
        return begun && !child.commit(out) && errno == EFBIG ? 0 : 1;
    });
    EXPECT_EQ(ZelTest::exitCode(status), 0);
    // Without write permission on the target, or on its directory for a new one.
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(target.c_str(), 0444), 0);
    const int denied = ZelTest::inChild([&] {
        ZelReplace child;
        ZelFile out;
        if (!ZelTest::dropRoot()) {
            return 2;
        }
        const bool existing = child.begin(target.c_str(), out);
        const int err = errno;
        const bool fresh = child.begin(dir.file("new.zel").c_str(), out);
        return !existing && err == EACCES && !fresh && errno == EACCES ? 0 : 1;
    });
    EXPECT_EQ(ZelTest::exitCode(denied), 0);
    EXPECT_EQ(names(dir.path()), std::vector<std::string>{"t.zel"});
    EXPECT_EQ(readFileBytes(target), kOld);
}

}  // namespace

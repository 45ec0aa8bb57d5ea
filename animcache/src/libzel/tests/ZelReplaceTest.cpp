#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "ZelReplace.h"
#include "support/Child.h"
#include "support/TempDir.h"

using namespace Zel;

namespace {

// Replaces `target` with one header-only chunk of 16 bytes, or abandons that before the commit.
bool replaceWithChunk(const std::string& target, bool commit = true) {
    ZelReplace r;
    ZelFile f;
    const bool written = r.begin(target.c_str(), f) && f.writeChunk(ZelHeader(), nullptr);
    if (!commit) {
        r.abandon(f);
    }
    return written && commit && r.commit(f);
}

mode_t modeOf(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

TEST(ZelReplace, ReplacesTheFileALinkNamesKeepingItsModeOrLeavesItAlone) {
    ZelTest::TempDir dir;
    const std::string real = dir.file("real.zel"), link = dir.file("link.zel");
    ZelTest::writeFileBytes(real, {'o', 'l', 'd'});
    ASSERT_EQ(chmod(real.c_str(), 0640) + symlink("real.zel", link.c_str()), 0);
    EXPECT_FALSE(replaceWithChunk(link, false));
    EXPECT_EQ(ZelTest::readFileBytes(real).size(), 3u);
    ASSERT_TRUE(replaceWithChunk(link));
    EXPECT_EQ(ZelTest::readFileBytes(real).size(), 16u);
    EXPECT_EQ(modeOf(real), 0640u);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    const mode_t old = umask(027);
    EXPECT_TRUE(replaceWithChunk(dir.file("new.zel")));
    umask(old);
    EXPECT_EQ(modeOf(dir.file("new.zel")), 0640u);

    ZelReplace r;
    ZelFile f;
    EXPECT_FALSE(r.begin(dir.path().c_str(), f));
    EXPECT_EQ(errno, EISDIR);
    EXPECT_FALSE(r.begin("/dev/null", f));
    EXPECT_EQ(errno, EINVAL);
    // A write past the file size limit fails the commit with the write's own error.
    EXPECT_EQ(ZelTest::inChild([&] {
                  const bool begun = r.begin(link.c_str(), f) && ZelTest::limitFileSize(8, false) &&
                                     f.writeChunk(ZelHeader(), nullptr);
                  return begun && !r.commit(f) && errno == EFBIG ? 0 : 1;
              }),
              0);
    // Nothing but the three files, and the last one committed, is left.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 3);
    EXPECT_EQ(ZelTest::readFileBytes(real).size(), 16u);
}

}  // namespace

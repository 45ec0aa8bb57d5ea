// A private temporary directory per test, removed with everything in it when the test ends.
#ifndef ZEL_TEST_TEMPDIR_H
#define ZEL_TEST_TEMPDIR_H

#include <string>
#include <vector>

namespace ZelTest {

class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    // The path of `name` inside the directory.
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// The whole content of a file as bytes (empty when it cannot be read).
std::vector<unsigned char> readFileBytes(const std::string& path);
// Writes `bytes` to `path`, replacing it.
void writeFileBytes(const std::string& path, const std::vector<unsigned char>& bytes);

}  // namespace ZelTest

#endif

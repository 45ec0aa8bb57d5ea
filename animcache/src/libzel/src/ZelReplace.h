// ZelReplace: replacing a file as a whole, so that a save either lands completely or not at all.
// Internal to the library (not installed).
#ifndef ZEL_REPLACE_H
#define ZEL_REPLACE_H

#include <sys/types.h>

#include <string>

#include "ZelFile.h"

namespace Zel {

// Writes a new version of a file beside it and moves it into place only when complete: a failure,
// or a write abandoned before commit(), leaves the original file untouched.
class ZelReplace {
  public:
    ZelReplace() = default;
    ZelReplace(const ZelReplace&) = delete;
    ZelReplace& operator=(const ZelReplace&) = delete;
    // Removes a temporary file that was never committed.
    ~ZelReplace();

    // Creates a temporary file in the directory of `target` (a symbolic link is followed to the
    // file it names), named ".<target name>.tmp-XXXXXX", and opens `file` on it ("w+"). False with
    // errno set when that fails, and (EACCES) when `target` exists but is not writable.
    bool begin(const char* target, ZelFile& file);
    // Syncs and closes `file`, gives the temporary file the target's permission bits (or
    // 0666 & ~umask for a new target), renames it over the target and syncs the directory.
    // False with errno set; the temporary file is then removed.
    bool commit(ZelFile& file);
    // Closes `file` and removes the temporary file (nothing when there is none). Keeps errno.
    void abandon(ZelFile& file);
    // Says that the temporary file's bytes below `upTo` were handed to the system: every few
    // megabytes of them, asks it to start writing them to disk, so that commit() has less to wait
    // for. A hint: nothing happens where the system takes no such request. Keeps errno.
    void writeBack(int64 upTo);
    const std::string& tempPath() const { return temp_; }

  private:
    void closeTemp();

    // The file that `begin` resolved the target to, its directory, and the permission bits it
    // has when it exists (a new file keeps those the temporary file was created with).
    std::string target_;
    std::string dir_;
    std::string temp_;
    mode_t mode_ = 0;
    bool keepMode_ = false;
    int fd_ = -1;            // the temporary file, for writeBack()
    int64 writtenBack_ = 0;  // the bytes writeBack() asked for so far
};

}  // namespace Zel

#endif

#include "ZelReplace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <random>
#include <vector>

namespace Zel {

namespace {

// Symbolic links followed at most, as the system's own path lookup allows.
constexpr int kMaxLinks = 40;
// Target names are cut to this length inside the temporary name, which must stay a valid name.
constexpr size_t kMaxNameInTemp = 200;
// The longest link target read.
constexpr size_t kMaxLink = 65536;
// Names tried before giving up when every one is taken.
constexpr int kTempAttempts = 100;
// How many bytes of a new file collect before writeBack() asks for them to go to disk: enough to
// make each request worth a call, little against the memory that holds them meanwhile.
constexpr int64 kWriteBackStep = int64(16) << 20;

// The errno of a call that just failed, never 0: a failure must not read as success.
int failure() {
    return errno != 0 ? errno : EIO;
}

// The directory part of `path` ("." when it has none).
std::string dirOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The target of symbolic link `link` (whose lstat gave `linkSize`), relative to its directory
// when it is a relative link. False with errno set.
bool readLink(const std::string& link, off_t linkSize, std::string& target) {
    std::vector<char> buf(std::clamp<size_t>(static_cast<size_t>(linkSize) + 1, 256, kMaxLink));
    for (;;) {
        const ssize_t n = readlink(link.c_str(), buf.data(), buf.size());
        if (n < 0) {
            return false;
        }
        if (static_cast<size_t>(n) < buf.size()) {
            target.assign(buf.data(), static_cast<size_t>(n));
            break;
        }
        // Links of the kernel's own files report no size: grow until the target fits.
        if (buf.size() >= kMaxLink) {
            errno = ENAMETOOLONG;
            return false;
        }
        buf.resize(buf.size() * 2);
    }
    if (target.empty() || target[0] != '/') {
        target = dirOf(link) + "/" + target;
    }
    return true;
}

// Follows symbolic links from `path` to the file they name, which need not exist. `st` receives
// its status and `exists` whether it exists. False with errno set.
bool resolve(std::string& path, struct stat& st, bool& exists) {
    for (int hop = 0; hop <= kMaxLinks; ++hop) {
        if (lstat(path.c_str(), &st) != 0) {
            exists = false;
            return errno == ENOENT;
        }
        exists = true;
        if (!S_ISLNK(st.st_mode)) {
            return true;
        }
        std::string next;
        if (!readLink(path, st.st_size, next)) {
            return false;
        }
        path = next;
    }
    errno = ELOOP;
    return false;
}

// Creates a new file named `prefix` plus six random characters with the default permissions
// (0666 less the umask) and returns its name in `path` and a descriptor open on it in `fd`. False
// with errno set.
bool createTemp(const std::string& prefix, std::string& path, int& fd) {
    static const char kChars[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    // Names need only differ from those of other writers in the same directory at the same time;
    // O_EXCL settles any clash.
    static std::atomic<unsigned> calls{0};
    const auto now =
        static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count());
    std::minstd_rand rng(now ^ (static_cast<unsigned>(getpid()) * 2654435761u) ^ calls++);
    std::uniform_int_distribution<size_t> pick(0, sizeof(kChars) - 2);
    for (int attempt = 0; attempt < kTempAttempts; ++attempt) {
        path = prefix;
        for (int i = 0; i < 6; ++i) {
            path += kChars[pick(rng)];
        }
        fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0) {
            return true;
        }
        if (errno != EEXIST) {
            return false;
        }
    }
    return false;
}

// Asks the system to put the directory entry of a rename on disk. A directory that cannot be
// opened for reading, or a file system without directory syncs, is left as it is.
bool syncDirectory(const std::string& dir) {
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return true;
    }
    const bool synced = fsync(fd) == 0 || errno == EINVAL;
    const int err = errno;
    close(fd);
    errno = err;
    return synced;
}

}  // namespace

ZelReplace::~ZelReplace() {
    const int err = errno;
    closeTemp();
    if (!temp_.empty()) {
        unlink(temp_.c_str());
    }
    errno = err;
}

void ZelReplace::closeTemp() {
    if (fd_ >= 0) {
        close(fd_);
        fd_ = -1;
    }
}

void ZelReplace::writeBack(int64 upTo) {
#ifdef SYNC_FILE_RANGE_WRITE
    if (fd_ >= 0 && upTo - writtenBack_ >= kWriteBackStep) {
        const int err = errno;
        sync_file_range(fd_, writtenBack_, upTo - writtenBack_, SYNC_FILE_RANGE_WRITE);
        writtenBack_ = upTo;
        errno = err;
    }
#else
    static_cast<void>(upTo);
#endif
}

bool ZelReplace::begin(const char* target, ZelFile& file) {
    if (!temp_.empty()) {
        abandon(file);
    }
    if (target == nullptr || *target == '\0') {
        errno = EINVAL;
        return false;
    }
    std::string path(target);
    struct stat st;
    bool exists = false;
    if (!resolve(path, st, exists)) {
        return false;
    }
    const std::string name = path.substr(path.rfind('/') + 1);
    if ((exists && S_ISDIR(st.st_mode)) || name.empty()) {
        errno = EISDIR;
        return false;
    }
    // Renaming over a device or a pipe would replace the node itself, not write to it.
    if (exists && !S_ISREG(st.st_mode)) {
        errno = EINVAL;
        return false;
    }
    if (exists && access(path.c_str(), W_OK) != 0) {
        return false;
    }
    target_ = path;
    dir_ = dirOf(path);
    keepMode_ = exists;
    mode_ = st.st_mode & 07777;
    std::string temp;
    if (!createTemp(dir_ + "/." + name.substr(0, kMaxNameInTemp) + ".tmp-", temp, fd_)) {
        return false;
    }
    temp_ = temp;
    writtenBack_ = 0;
    if (!file.open(temp_.c_str(), "w+")) {
        abandon(file);
        return false;
    }
    return true;
}

bool ZelReplace::commit(ZelFile& file) {
    if (temp_.empty()) {
        file.close();
        errno = EINVAL;
        return false;
    }
    // The first failure's errno is the one reported: later steps are skipped, the cleanup keeps it.
    int err = file.sync() ? 0 : failure();
    if (!file.close() && err == 0) {
        err = failure();
    }
    closeTemp();
    if (err == 0 && keepMode_ && chmod(temp_.c_str(), mode_) != 0) {
        err = failure();
    }
    if (err == 0 && rename(temp_.c_str(), target_.c_str()) != 0) {
        err = failure();
    }
    if (err != 0) {
        errno = err;
        abandon(file);
        return false;
    }
    temp_.clear();
    return syncDirectory(dir_);
}

void ZelReplace::abandon(ZelFile& file) {
    const int err = errno;
    file.close();
    closeTemp();
    if (!temp_.empty()) {
        unlink(temp_.c_str());
        temp_.clear();
    }
    errno = err;
}

}  // namespace Zel

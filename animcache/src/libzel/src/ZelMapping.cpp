#include "ZelMapping.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace Zel {

namespace {

// Closes a descriptor when it goes out of scope.
struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd >= 0) {
            ::close(fd);
        }
    }
};

}  // namespace

ZelMapping::~ZelMapping() {
    close();
}

void ZelMapping::close() {
    if (mapped_) {
        ::munmap(const_cast<unsigned char*>(data_), static_cast<size_t>(size_));
    }
    copy_.reset();
    data_ = nullptr;
    size_ = 0;
    mapped_ = false;
}

ZelStatus ZelMapping::open(const std::string& path) {
    close();
    Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    if (file.fd < 0) {
        return ZelStatus::fromErrno(errno, "cannot open '" + path + "'");
    }
    struct stat st {};
    if (::fstat(file.fd, &st) != 0) {
        return ZelStatus::fromErrno(errno, "cannot open '" + path + "'");
    }
    if (S_ISDIR(st.st_mode)) {
        return ZelStatus(ZelStatusCode::kNotACache, "cannot open '" + path + "': Is a directory");
    }
    if (!S_ISREG(st.st_mode)) {
        return readWhole(file.fd, false, path);
    }
    size_ = static_cast<uint64>(st.st_size);
    if (size_ == 0) {
        return ZelStatus();
    }
    void* p = ::mmap(nullptr, static_cast<size_t>(size_), PROT_READ, MAP_PRIVATE, file.fd, 0);
    if (p == MAP_FAILED) {
        size_ = 0;
        return readWhole(file.fd, true, path);
    }
    data_ = static_cast<const unsigned char*>(p);
    mapped_ = true;
    return ZelStatus();
}

namespace {

// Gives `advice` for the whole pages around [offset, offset + length) of the `size` bytes mapped at
// `data`. Only a hint: errno is kept, and where the system refuses, reads work as they always do.
[[maybe_unused]] void advise(const unsigned char* data, uint64 size, uint64 offset, uint64 length,
                             int advice) {
    if (offset >= size) {
        return;
    }
    const int err = errno;
    const auto page = static_cast<uint64>(::sysconf(_SC_PAGESIZE));
    const uint64 start = offset - offset % page;
    const uint64 end = offset + std::min(length, size - offset);
    ::madvise(const_cast<unsigned char*>(data) + start, static_cast<size_t>(end - start), advice);
    errno = err;
}

}  // namespace

void ZelMapping::prefetch(uint64 offset, uint64 length) const {
#ifdef MADV_POPULATE_READ
    if (mapped_) {
        advise(data_, size_, offset, length, MADV_POPULATE_READ);
    }
#else
    static_cast<void>(offset);
    static_cast<void>(length);
#endif
}

void ZelMapping::release(uint64 offset, uint64 length) const {
#ifdef MADV_DONTNEED
    if (mapped_) {
        advise(data_, size_, offset, length, MADV_DONTNEED);
    }
#else
    static_cast<void>(offset);
    static_cast<void>(length);
#endif
}

ZelStatus ZelMapping::readWhole(int fd, bool seekable, const std::string& path) {
    // Without a size up front (a pipe, a device) the bytes are read in growing steps.
    uint64 capacity = 1 << 16;
    uint64 size = 0;
    std::unique_ptr<unsigned char[]> bytes;
    for (;;) {
        if (bytes == nullptr || size == capacity) {
            capacity = bytes == nullptr ? capacity : capacity * 2;
            std::unique_ptr<unsigned char[]> grown(new (std::nothrow) unsigned char[capacity]);
            if (grown == nullptr) {
                return ZelStatus(ZelStatusCode::kIo, path + ": out of memory reading the file");
            }
            if (size > 0) {
                std::copy(bytes.get(), bytes.get() + size, grown.get());
            }
            bytes = std::move(grown);
        }
        const size_t room = static_cast<size_t>(capacity - size);
        const ssize_t n = seekable ? ::pread(fd, bytes.get() + size, room, static_cast<off_t>(size))
                                   : ::read(fd, bytes.get() + size, room);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return ZelStatus::fromErrno(errno, path);
        }
        if (n == 0) {
            break;
        }
        size += static_cast<uint64>(n);
    }
    copy_ = std::move(bytes);
    data_ = copy_.get();
    size_ = size;
    return ZelStatus();
}

}  // namespace Zel

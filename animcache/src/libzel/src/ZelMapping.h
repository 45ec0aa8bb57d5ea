// A whole file's bytes in memory, read-only: mapped where the system can map the file, read with
// pread into memory of the file's size where it cannot. Internal to the library.
#ifndef ZEL_MAPPING_H
#define ZEL_MAPPING_H

#include <memory>
#include <string>

#include "ZelStatus.h"
#include "ZelTypes.h"

namespace Zel {

class ZelMapping {
  public:
    ZelMapping() = default;
    ~ZelMapping();
    ZelMapping(const ZelMapping&) = delete;
    ZelMapping& operator=(const ZelMapping&) = delete;

    // Maps `path` (a regular file), replacing what was mapped. The status names the file and the
    // system's reason on failure.
    ZelStatus open(const std::string& path);
    void close();

    const unsigned char* data() const { return data_; }
    uint64 size() const { return size_; }
    // Whether the bytes are a mapping (false: a copy read with pread).
    bool mapped() const { return mapped_; }

  private:
    // Reads everything `fd` holds into memory: pread where it can seek, read where it cannot.
    ZelStatus readWhole(int fd, bool seekable, const std::string& path);

    const unsigned char* data_ = nullptr;
    uint64 size_ = 0;
    bool mapped_ = false;
    std::unique_ptr<unsigned char[]> copy_;
};

}  // namespace Zel

#endif

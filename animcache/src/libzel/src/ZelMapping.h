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
    // Asks the system to map the pages of [offset, offset + length) now, in one call instead of a
    // fault every few pages, for bytes about to be read through; nothing where it cannot.
    void prefetch(uint64 offset, uint64 length) const;
    // Lets go of the pages of [offset, offset + length) after they were read through, so that a
    // pass over a large file keeps few of them mapped; they map again when read. Nothing where
    // the system cannot.
    void release(uint64 offset, uint64 length) const;

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

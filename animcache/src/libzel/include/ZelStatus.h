// ZelStatus: the one error model of the writer and reader layer.
#ifndef ZEL_STATUS_H
#define ZEL_STATUS_H

#include <string>

#include "ZelTypes.h"

namespace Zel {

// What kind of failure a status reports; callers branch on this, people read the message.
enum class ZelStatusCode {
    kOk = 0,
    kNotFound,         // a file, object or attribute that does not exist
    kNotACache,        // a file that is not a cache at all
    kCorrupt,          // a cache whose content contradicts itself
    kIo,               // the system refused a read, write, sync or rename
    kInvalidArgument,  // the caller asked for something the cache cannot hold
    kUnsupported,      // a valid request this cache or file cannot serve
};

// The result of an operation that can fail: ok, or a code and a one-line message that names the
// file and the reason (the system's own words, from strerror, for system errors).
class ZEL_API ZelStatus {
  public:
    // Success.
    ZelStatus() = default;
    ZelStatus(ZelStatusCode code, std::string message);
    // A failure of the system call behind `what` with errno value `err`: "<what>: <strerror>".
    // ENOENT gives kNotFound, every other value kIo.
    static ZelStatus fromErrno(int err, const std::string& what);

    bool ok() const { return code_ == ZelStatusCode::kOk; }
    ZelStatusCode code() const { return code_; }
    const std::string& message() const { return message_; }
    // The code's name: "ok", "not found", "not a cache", "corrupt", "I/O error",
    // "invalid argument", "unsupported".
    static const char* codeName(ZelStatusCode code);

  private:
    ZelStatusCode code_ = ZelStatusCode::kOk;
    std::string message_;
};

}  // namespace Zel

#endif

#include "ZelStatus.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace Zel {

ZelStatus::ZelStatus(ZelStatusCode code, std::string message)
    : code_(code), message_(std::move(message)) {}

ZelStatus ZelStatus::fromErrno(int err, const std::string& what) {
    const ZelStatusCode code = err == ENOENT ? ZelStatusCode::kNotFound : ZelStatusCode::kIo;
    return ZelStatus(code, what + ": " + std::strerror(err));
}

const char* ZelStatus::codeName(ZelStatusCode code) {
    switch (code) {
        case ZelStatusCode::kOk:
            return "ok";
        case ZelStatusCode::kNotFound:
            return "not found";
        case ZelStatusCode::kNotACache:
            return "not a cache";
        case ZelStatusCode::kCorrupt:
            return "corrupt";
        case ZelStatusCode::kIo:
            return "I/O error";
        case ZelStatusCode::kInvalidArgument:
            return "invalid argument";
        case ZelStatusCode::kUnsupported:
            return "unsupported";
    }
    return "unknown";
}

}  // namespace Zel

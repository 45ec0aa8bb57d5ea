#include "ZelVersion.h"

namespace Zel {

const char* zelVersion() {
    return ZEL_VERSION_STRING;
}

}  // namespace Zel

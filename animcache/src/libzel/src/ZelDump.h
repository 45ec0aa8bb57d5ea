// Text forms of the chunk tree shared by the chunks' print operations, the dump utilities and
// the trace printers. Internal to the library.
#ifndef ZEL_DUMP_H
#define ZEL_DUMP_H

#include <ostream>

#include "ZelTypes.h"

namespace Zel {

// Writes the nesting marks of `depth` levels: ". " once per level. Returns `os`.
inline std::ostream& writeIndent(std::ostream& os, int64 depth) {
    for (int64 i = 0; i < depth; ++i) {
        os << ". ";
    }
    return os;
}

}  // namespace Zel

#endif

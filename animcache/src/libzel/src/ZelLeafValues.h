// Helpers over the values of leaf chunks that the chunk sources share. Internal to the library.
#ifndef ZEL_LEAF_VALUES_H
#define ZEL_LEAF_VALUES_H

#include <string>
#include <vector>

#include "ZelChunks.h"

namespace Zel {

// The payload size of a string list: every string with its terminating NUL.
int64 byteSize(const std::vector<std::string>& values);

// A new leaf, owned by the caller, carrying `tag` and the element type, codes and values of leaf
// `c`; null when `c` is null or not a leaf of an element type from "cstr" to "double".
ZelChunk* copyLeafAs(const ZelChunk* c, uint32 tag);

}  // namespace Zel

#endif

// What the chunk sources share: helpers over the values of leaf chunks and the index check of the
// attribute definitions. Internal to the library.
#ifndef ZEL_CHUNKS_INTERNAL_H
#define ZEL_CHUNKS_INTERNAL_H

#include <string>
#include <vector>

#include "ZelChunks.h"

namespace Zel {

// The payload size of a string list: every string with its terminating NUL.
int64 byteSize(const std::vector<std::string>& values);

// A new leaf, owned by the caller, carrying `tag` and the element type, codes and values of leaf
// `c`; null when `c` is null or not a leaf of an element type from "cstr" to "double".
ZelChunk* copyLeafAs(const ZelChunk* c, uint32 tag);

// The one check behind every index-taking operation of the attribute definitions: for `i` outside
// [0, numAttrs) it writes "<this source>:<line> DATR attribute index out of bounds" to standard
// output and throws false. The line names the chunk tree's own source, ZelChunks.cpp.
void checkAttrIndex(int i, int numAttrs);

}  // namespace Zel

#endif

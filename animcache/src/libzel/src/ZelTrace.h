// The trace level of a source module. Each source that traces includes this header and so holds
// a level of its own, set by the build (ZEL_DEBUG_LEVEL, -1 unless raised) and never changed by
// the library. Traces go to standard error and never change a result.
#ifndef ZEL_TRACE_H
#define ZEL_TRACE_H

namespace Zel {

[[maybe_unused]] static int debugLevel = ZEL_DEBUG_LEVEL;

}  // namespace Zel

#endif

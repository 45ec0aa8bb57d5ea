// ZelProgress: how long-running library work (checking, repairing, stitching) reports progress.
#ifndef ZEL_PROGRESS_H
#define ZEL_PROGRESS_H

#include <functional>

#include "ZelTypes.h"

namespace Zel {

// Called from the working thread as work goes on: `done` of `total` samples. It is called at
// least once at the start (done 0) and once at the end (done == total), and at most a few hundred
// times in between, so it may print without slowing the work. An empty function is not called.
using ZelProgress = std::function<void(int64 done, int64 total)>;

}  // namespace Zel

#endif

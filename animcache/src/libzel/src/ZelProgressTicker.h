// Reporting progress as ZelProgress promises it. Internal to the library.
#ifndef ZEL_PROGRESS_TICKER_H
#define ZEL_PROGRESS_TICKER_H

#include <algorithm>

#include "ZelProgress.h"

namespace Zel {

// Calls `progress` (when not empty) with done 0 when constructed, at most 200 times in between as
// work goes on, and with done == total from finish().
class ZelProgressTicker {
  public:
    ZelProgressTicker(const ZelProgress& progress, int64 total)
        : progress_(progress), total_(total), step_(std::max<int64>(1, (total + 199) / 200)) {
        if (progress_) {
            progress_(0, total_);
        }
    }
    // `done` of the total are done.
    void done(int64 done) const {
        if (progress_ && done < total_ && done % step_ == 0) {
            progress_(done, total_);
        }
    }
    void finish() const {
        if (progress_) {
            progress_(total_, total_);
        }
    }

  private:
    const ZelProgress& progress_;
    int64 total_;
    int64 step_;
};

}  // namespace Zel

#endif

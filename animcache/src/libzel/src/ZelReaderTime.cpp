// ZelReader's values at any time: the run of samples around the time, read where they lie in the
// file and blended by the same kernels, in the same precision, as the helper objects blend them.
#include <cstring>

#include "ZelChannels.h"
#include "ZelControlPoints.h"
#include "ZelInterpolation.h"
#include "ZelMatrix.h"
#include "ZelReaderImpl.h"

namespace Zel {

ZelRun chooseRun(const ZelReader::Impl& r, float time, int order) {
    ZelRun run;
    run.chosen = r.clock().chooseRun(time, order, run.samples, run.times);
    run.blend = run.chosen && order >= 1 && order <= 3;
    if (run.blend) {
        run.t = blendParameter(order, time, run.times);
    }
    return run;
}

ZelStatus readerClosed() {
    return ZelStatus(ZelStatusCode::kInvalidArgument, "no cache is open");
}

ZelStatus badOrder(const ZelReader::Impl& r, int order) {
    return r.fail(ZelStatusCode::kInvalidArgument,
                  "interpolation order " + std::to_string(order) + " is negative");
}

ZelStatus dataAt(const ZelReader::Impl& r, int object, int sample, uint32 tag, ZelDataView& view,
                 const ZelElementType* type) {
    ZelChunkRef chunk;
    bool animated = false;
    ZelStatus status = r.findData(object, sample, tag, chunk, animated);
    if (status.ok()) {
        status = r.viewOf(chunk, animated, view);
    }
    if (status.ok() && type != nullptr && view.type != *type) {
        return r.fail(ZelStatusCode::kUnsupported,
                      std::string("the data is stored as ") + elementTypeName(view.type) +
                          ", which is blended only as " + elementTypeName(*type));
    }
    return status;
}

namespace {

using Impl = ZelReader::Impl;

// The component count of point data: 3 or 4 as stored, 3 for anything else.
int pointDimension(const ZelDataView& v) {
    return v.dimension == 4 ? 4 : 3;
}

// Copies real values converted to Out; kUnsupported for other element types.
template <class Out>
ZelStatus copyReals(const Impl& r, const ZelDataView& v, std::vector<Out>& out) {
    if (v.type != ZelElementType::kFloat && v.type != ZelElementType::kDouble) {
        return r.fail(ZelStatusCode::kUnsupported, "the data holds no real numbers");
    }
    out.resize(static_cast<size_t>(v.count));
    v.copyTo(out.data());
    return ZelStatus();
}

// The values at a time from the run's arrays, each read by read(sample, view): the first
// sample's values converted when nothing is blended, else the blend of every array (each at
// least as long as the first). `last` receives the last view read, as the helpers report the
// last read's shape.
template <class Real, class Out, class Read>
ZelStatus blendRun(const Impl& r, const ZelRun& run, int order, const Read& read,
                   std::vector<Out>& out, ZelDataView& last) {
    const int runSize = run.blend ? order + 1 : 1;
    ZelDataView views[4];
    const void* arrays[4] = {};
    for (int i = 0; i < runSize; ++i) {
        ZelStatus status = read(run.samples[static_cast<size_t>(i)], views[i]);
        last = views[i];
        if (status.ok() && views[i].count < views[0].count) {
            status = r.fail(ZelStatusCode::kCorrupt, "a sample holds fewer values than the first");
        }
        if (!status.ok()) {
            return status;
        }
        arrays[i] = views[i].data;
    }
    if (!run.blend) {
        return copyReals(r, views[0], out);
    }
    out.resize(static_cast<size_t>(views[0].count));
    blendSampleBytes<Real, Out>(order, run.t, arrays, out.size(), out.data());
    return ZelStatus();
}

// Points (positions, normals) of `tag` at `time`: blended only when stored as floats.
template <class Out>
ZelStatus pointsAt(const Impl& r, int object, uint32 tag, float time, int order,
                   std::vector<Out>& out, ZelValuesInfo* info) {
    if (order < 0) {
        return badOrder(r, order);
    }
    const ZelRun run = chooseRun(r, time, order);
    const ZelElementType floats = ZelElementType::kFloat;
    const auto read = [&](int sample, ZelDataView& view) {
        return dataAt(r, object, sample, tag, view, run.blend ? &floats : nullptr);
    };
    ZelDataView last;
    const ZelStatus status = blendRun<float>(r, run, order, read, out, last);
    if (info != nullptr) {
        *info = ZelValuesInfo{pointDimension(last), last.animated};
    }
    return status;
}

}  // namespace

ZelStatus ZelReader::positionsAt(int object, float time, int order, std::vector<float>& out,
                                 ZelValuesInfo* info) const {
    return impl_ ? pointsAt(*impl_, object, kTagPOSI, time, order, out, info) : readerClosed();
}

ZelStatus ZelReader::positionsAt(int object, float time, int order, std::vector<double>& out,
                                 ZelValuesInfo* info) const {
    return impl_ ? pointsAt(*impl_, object, kTagPOSI, time, order, out, info) : readerClosed();
}

ZelStatus ZelReader::normalsAt(int object, float time, int order, std::vector<float>& out,
                               ZelValuesInfo* info) const {
    return impl_ ? pointsAt(*impl_, object, kTagVPNO, time, order, out, info) : readerClosed();
}

ZelStatus ZelReader::attributeAt(int object, int attr, float time, int order,
                                 std::vector<double>& out, ZelValuesInfo* info) const {
    if (!impl_) {
        return readerClosed();
    }
    if (order < 0) {
        return badOrder(*impl_, order);
    }
    const ZelRun run = chooseRun(*impl_, time, order);
    const auto read = [&](int sample, ZelDataView& view) {
        ZelStatus status = attributeView(object, attr, sample, view);
        if (status.ok() && view.type != ZelElementType::kDouble) {
            status = impl_->fail(ZelStatusCode::kUnsupported,
                                 "attribute values are answered at a time only when stored as "
                                 "doubles");
        }
        return status;
    };
    ZelDataView last;
    const ZelStatus status = blendRun<double>(*impl_, run, order, read, out, last);
    if (status.ok() && info != nullptr) {
        *info = ZelValuesInfo{last.dimension, last.animated};
    }
    return status;
}

}  // namespace Zel

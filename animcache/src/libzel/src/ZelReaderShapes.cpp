// ZelReader's NURBS control points and transform matrices at any time, answered as the NURBS and
// transform helper objects answer them.
#include "ZelChannels.h"
#include "ZelControlPoints.h"
#include "ZelInterpolation.h"
#include "ZelMatrix.h"
#include "ZelReaderImpl.h"

namespace Zel {

namespace {

using Impl = ZelReader::Impl;

const ZelElementType kInt32 = ZelElementType::kInt32;
const ZelElementType kFloat = ZelElementType::kFloat;
const ZelElementType kString = ZelElementType::kString;

bool isReal(const ZelDataView& v) {
    return v.type == ZelElementType::kFloat || v.type == ZelElementType::kDouble;
}

// Degrees, forms and knot counts of a curve (v unused) or surface in `sample`.
struct NurbsShape {
    int degreeU = 0, degreeV = 0;
    std::string_view formU, formV;
    int64 knotsU = 0, knotsV = 0;
};

ZelStatus curveShape(const Impl& r, int object, int sample, NurbsShape& shape) {
    ZelDataView degree, form, knots;
    ZelStatus status = dataAt(r, object, sample, kTagDEGR, degree, &kInt32);
    if (status.ok() && degree.empty()) {
        status = r.fail(ZelStatusCode::kCorrupt, "the curve has no degree");
    }
    if (status.ok()) {
        status = dataAt(r, object, sample, kTagFORM, form, &kString);
    }
    if (status.ok() && stringCount(form.data, form.count) == 0) {
        status = r.fail(ZelStatusCode::kCorrupt, "the curve has no form");
    }
    if (status.ok()) {
        status = dataAt(r, object, sample, kTagKNTU, knots);
    }
    if (status.ok()) {
        shape.degreeU = degree.value<int>(0);
        shape.formU = stringAt(form.data, form.count, 0);
        shape.knotsU = isReal(knots) ? knots.count : 0;
    }
    return status;
}

ZelStatus surfaceShape(const Impl& r, int object, int sample, NurbsShape& shape) {
    ZelDataView degrees, forms, knotsU, knotsV;
    ZelStatus status = dataAt(r, object, sample, kTagFORM, forms, &kString);
    if (status.ok()) {
        status = dataAt(r, object, sample, kTagDEGR, degrees, &kInt32);
    }
    if (!status.ok()) {
        return status;
    }
    if (stringCount(forms.data, forms.count) >= 2) {
        shape.formU = stringAt(forms.data, forms.count, 0);
        shape.formV = stringAt(forms.data, forms.count, 1);
    }
    if (degrees.count >= 2) {
        shape.degreeU = degrees.value<int>(0);
        shape.degreeV = degrees.value<int>(1);
    }
    // Knots of another type, or none, count as no knots.
    if (dataAt(r, object, sample, kTagKNTU, knotsU).ok() && isReal(knotsU)) {
        shape.knotsU = knotsU.count;
    }
    if (dataAt(r, object, sample, kTagKNTV, knotsV).ok() && isReal(knotsV)) {
        shape.knotsV = knotsV.count;
    }
    if (shape.knotsU == 0 || shape.knotsV == 0) {
        return r.fail(ZelStatusCode::kCorrupt, "the surface has no knots in u or v");
    }
    return ZelStatus();
}

// The expanded control points of `object` in `sample`.
template <class T>
ZelStatus controlPointsIn(const Impl& r, int object, int sample, bool surface, bool uFastest,
                          std::vector<T>& points) {
    NurbsShape shape;
    ZelStatus status =
        surface ? surfaceShape(r, object, sample, shape) : curveShape(r, object, sample, shape);
    ZelDataView stored;
    if (status.ok()) {
        status = dataAt(r, object, sample, kTagPOSI, stored, &kFloat);
    }
    if (!status.ok()) {
        return status;
    }
    const int64 nu = shape.knotsU - shape.degreeU + 1;
    const int64 nv = surface ? shape.knotsV - shape.degreeV + 1 : 1;
    const int64 periodicU = shape.formU == kPeriodicForm ? shape.degreeU : 0;
    const int64 periodicV = surface && shape.formV == kPeriodicForm ? shape.degreeV : 0;
    // A periodic direction repeats its first d points, so it stores at least d of them.
    const bool repeatsTooMuch = surface && ((periodicU > 0 && nu - periodicU < periodicU) ||
                                            (periodicV > 0 && nv - periodicV < periodicV));
    if (repeatsTooMuch ||
        !expandControlPoints(stored.data, static_cast<size_t>(stored.count), nu, nv, periodicU,
                             periodicV, surface && uFastest, points)) {
        return r.fail(ZelStatusCode::kCorrupt,
                      "the stored control points do not match the degrees and knots");
    }
    return ZelStatus();
}

template <class T>
ZelStatus controlPointsAtTime(const Impl& r, int object, float time, int order, bool surface,
                              bool uFastest, std::vector<T>& out) {
    if (order < 0) {
        return badOrder(r, order);
    }
    const ZelRun run = chooseRun(r, time, order);
    // Orders without a blend: a surface falls back to the first chosen sample, a curve fails.
    if (!run.chosen || order == 0 || (surface && order > 3)) {
        return controlPointsIn(r, object, run.samples[0], surface, uFastest, out);
    }
    if (order > 3) {
        return r.fail(ZelStatusCode::kUnsupported,
                      "a curve's control points blend with orders 0 to 3 only");
    }
    std::vector<T> cps[4];
    const std::vector<T>* arrays[4] = {&cps[0], &cps[1], &cps[2], &cps[3]};
    for (int i = 0; i <= order; ++i) {
        ZelStatus status = controlPointsIn(r, object, run.samples[static_cast<size_t>(i)], surface,
                                           uFastest, cps[i]);
        if (!status.ok()) {
            return status;
        }
        if (cps[i].size() < cps[0].size()) {
            return r.fail(ZelStatusCode::kCorrupt, "a sample holds fewer points than the first");
        }
    }
    blendSamples<T, T, float>(order, run.t, arrays, out);
    return ZelStatus();
}

template <class T>
ZelStatus controlPointsOf(const ZelReader& reader, const Impl* r, int object, float time, int order,
                          bool uFastest, std::vector<T>& out) {
    if (r == nullptr) {
        return readerClosed();
    }
    const ZelObjectKind kind = reader.objectKind(object);
    if (kind != ZelObjectKind::kNurbsCurve && kind != ZelObjectKind::kNurbsSurface) {
        return r->fail(ZelStatusCode::kUnsupported,
                       "object " + std::to_string(object) + " is not a NURBS curve or surface");
    }
    return controlPointsAtTime(*r, object, time, order, kind == ZelObjectKind::kNurbsSurface,
                               uFastest, out);
}

}  // namespace

ZelStatus ZelReader::controlPointsAt(int object, float time, int order, std::vector<float>& out,
                                     bool uFastest) const {
    return controlPointsOf(*this, impl_.get(), object, time, order, uFastest, out);
}

ZelStatus ZelReader::controlPointsAt(int object, float time, int order, std::vector<double>& out,
                                     bool uFastest) const {
    return controlPointsOf(*this, impl_.get(), object, time, order, uFastest, out);
}

}  // namespace Zel

// Fuzz target: ZelReader's open, then every lookup, view and time query it offers, with each
// view's values read through.
#include <algorithm>
#include <array>
#include <cstdint>

#include "FuzzInput.h"
#include "ZelReader.h"

namespace {

using namespace Zel;

const char* const kTags[] = {"POSI", "VPNO", "PCNT", "PIDS", "MTRX", "DEGR",
                             "FORM", "KNTU", "KNTV", "BBOX", "INHT", "ATRS"};

// Reads every value of a view, as a caller copying it out would.
double touch(const ZelDataView& v) {
    std::vector<double> values(
        static_cast<size_t>(v.type == ZelElementType::kString ? 0 : v.count));
    v.copyTo(values.data());
    double sum = 0;
    for (double x : values) {
        sum += x;
    }
    return sum + (v.count > 0 ? v.data[0] : 0);
}

double askSamples(const ZelReader& r, int o) {
    double sum = 0;
    const int n = r.sampleCount();
    for (int s : {-1, 0, 1, n / 2, n - 1, n}) {
        for (const char* tag : kTags) {
            ZelDataView v;
            if (r.view(o, s, tag, v).ok()) {
                sum += touch(v);
            }
        }
        sum += double(r.pointCount(o, s));
        for (int a = 0; a < std::min(r.attributeCount(o), ZelFuzz::kMaxAttributes); ++a) {
            ZelDataView v;
            if (r.attributeView(o, a, s, v).ok()) {
                sum += touch(v);
            }
        }
    }
    return sum;
}

void askTimes(const ZelReader& r, int o) {
    std::vector<float> floats;
    std::vector<double> doubles;
    std::array<float, 16> mf;
    std::array<double, 16> md;
    for (float t : ZelFuzz::probeTimes(r.firstTime(), r.lastTime())) {
        for (int order = -1; order <= 4; ++order) {
            r.positionsAt(o, t, order, floats);
            r.positionsAt(o, t, order, doubles);
            r.normalsAt(o, t, order, floats);
            r.controlPointsAt(o, t, order, floats, true);
            r.controlPointsAt(o, t, order, doubles, false);
            r.matrixAt(o, t, order, mf);
            r.matrixAt(o, t, order, md);
            for (int a = 0; a < std::min(r.attributeCount(o), ZelFuzz::kMaxAttributes); ++a) {
                r.attributeAt(o, a, t, order, doubles);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ZelReader r;
    if (!r.open(ZelFuzz::inputFile(data, size)).ok()) {
        return 0;
    }
    r.times();
    r.sampleAtOrAfter(r.firstTime());
    volatile double sink = 0;
    for (int o = 0; o < std::min(r.objectCount(), ZelFuzz::kMaxObjects); ++o) {
        r.objectKind(o);
        r.findObject(r.objectName(o));
        for (int a = 0; a < std::min(r.attributeCount(o), ZelFuzz::kMaxAttributes); ++a) {
            r.findAttribute(o, r.attribute(o, a).name);
        }
        sink = sink + askSamples(r, o);
        askTimes(r, o);
    }
    return 0;
}

// Writes the fuzz targets' seed corpus: small caches of every kind of object, written by the
// library itself, into the directory given (the committed seeds were made with
// `zel_fuzz_seeds animcache/src/libzel/tests/fuzz/seeds`). Each seed starts the fuzzer from a
// different layout: uniform and non-uniform sampling, a second samples section, frames appended
// into a section's reserve, a cut-off file, the fixed test cache, and headers that claim 2^40,
// 2^62 or negative lengths and counts.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "Zel.h"

namespace {

using namespace Zel;

// Keeps the first failure of a run of calls.
struct Keep {
    ZelStatus first;
    void operator()(const ZelStatus& s) {
        if (first.ok() && !s.ok()) {
            first = s;
        }
    }
};

struct Scene {
    int mesh = -1, curve = -1, surface = -1, matrix = -1, channels = -1, locator = -1, ground = -1;
    int translateX = -1, rotateY = -1, weight = -1;
};

const std::vector<int> kFaceCounts{4, 4, 4, 4};
const std::vector<int> kFaceIndices{0, 1, 4, 3, 1, 2, 5, 4, 3, 4, 7, 6, 4, 5, 8, 7};
const std::vector<float> kCurveKnots{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
const std::vector<float> kSurfaceKnots{0, 0, 0, 1, 1, 1};

ZelAttrDesc attr(const char* name, ZelElementType type) {
    ZelAttrDesc d;
    d.name = name;
    d.type = type;
    return d;
}

// Declares one object of each kind, with animated and static attributes.
Scene declare(ZelWriter& w, Keep& keep) {
    Scene s;
    ZelMeshDesc mesh;
    mesh.faceCounts = kFaceCounts;
    mesh.faceIndices = kFaceIndices;
    mesh.normals = true;
    keep(w.addMesh("|seed|grid", mesh, &s.mesh));
    ZelCurveDesc curve;
    curve.form = ZelNurbsForm::kPeriodic;
    curve.knots = kCurveKnots;
    curve.pointCount = 6;
    keep(w.addNurbsCurve("|seed|hoop", curve, &s.curve));
    ZelSurfaceDesc surface;
    surface.degreeU = surface.degreeV = 2;
    surface.knotsU = surface.knotsV = kSurfaceKnots;
    surface.pointCountU = surface.pointCountV = 3;
    keep(w.addNurbsSurface("|seed|patch", surface, &s.surface));
    keep(w.addTransform("|seed|xform", ZelTransformDesc{}, &s.matrix));
    ZelTransformDesc floats;
    floats.doublePrecision = false;
    keep(w.addTransform("|seed|rig", floats, &s.channels));
    keep(w.addAnimatedAttribute(s.channels, attr("translateX", ZelElementType::kDouble),
                                &s.translateX));
    keep(w.addAnimatedAttribute(s.channels, attr("rotateY", ZelElementType::kFloat), &s.rotateY));
    keep(w.addStaticAttribute(s.channels, attr("scaleX", ZelElementType::kDouble),
                              std::vector<double>{2.0}));
    keep(w.addLocator("|seed|rig|target", &s.locator));
    keep(w.addAnimatedAttribute(s.locator, attr("weight", ZelElementType::kDouble), &s.weight));
    keep(w.setStaticBounds(s.locator, std::vector<double>{-1, -1, -1, 1, 1, 1}));
    keep(w.addCoordSystem("|seed|ground", &s.ground));
    keep(w.addStaticAttribute(s.ground, attr("displayShape", ZelElementType::kInt32),
                              std::vector<int>{3}));
    keep(w.addStaticAttribute(s.ground, attr("parentRig", ZelElementType::kString),
                              std::vector<std::string>{"|seed|rig"}));
    return s;
}

// n points whose coordinates move with `t`.
std::vector<float> points(int n, float t) {
    std::vector<float> p(static_cast<size_t>(3 * n));
    for (size_t i = 0; i < p.size(); ++i) {
        p[i] = std::sin(0.7f * float(i) + t);
    }
    return p;
}

void frame(ZelWriter& w, const Scene& s, Keep& keep, float t) {
    keep(w.beginFrame(t));
    keep(w.setPositions(s.mesh, points(9, t)));
    keep(w.setNormals(s.mesh, points(9, -t)));
    keep(w.setPositions(s.curve, points(6, t)));
    keep(w.setPositions(s.surface, points(9, t)));
    std::vector<double> m{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, t, 0.5 * t, 0, 1};
    keep(w.setMatrix(s.matrix, m));
    keep(w.setMatrix(s.channels, std::vector<float>(m.begin(), m.end())));
    keep(w.setAttribute(s.channels, s.translateX, std::vector<double>{t}));
    keep(w.setAttribute(s.channels, s.rotateY, std::vector<float>{10 * t}));
    keep(w.setAttribute(s.locator, s.weight, std::vector<double>{0.25 * t}));
    keep(w.endFrame());
}

// Writes `frames` frames at `times` (or 1, 2, ... when empty) to `path`; `declared` frames are
// announced up front (0: none).
bool write(const std::string& path, int frames, const std::vector<float>& times, int declared) {
    ZelWriterOptions options;
    options.application = "zel_fuzz_seeds";
    options.dateStamp = 0;
    options.frameCount = declared;
    if (!times.empty()) {
        options.rate = 0.0f;
    }
    ZelWriter w;
    Keep keep;
    keep(w.create(path, options));
    const Scene s = declare(w, keep);
    for (int f = 0; f < frames && keep.first.ok(); ++f) {
        frame(w, s, keep, times.empty() ? float(f + 1) : times[static_cast<size_t>(f)]);
    }
    keep(w.close());
    if (!keep.first.ok()) {
        std::fprintf(stderr, "%s\n", keep.first.message().c_str());
    }
    return keep.first.ok();
}

// Appends two frames in place, into the reserve the file kept.
bool appendTwo(const std::string& path) {
    ZelWriter w;
    Keep keep;
    keep(w.append(path, 0));
    Scene s;
    s.mesh = 0, s.curve = 1, s.surface = 2, s.matrix = 3, s.channels = 4, s.locator = 5;
    s.translateX = 0, s.rotateY = 1, s.weight = 0;
    for (int f = 0; f < 2 && keep.first.ok(); ++f) {
        frame(w, s, keep, w.nextTime());
    }
    keep(w.close());
    return keep.first.ok();
}

// Copies `from` to `to` with the payload length of the first chunk tagged `tag` (or, with
// `value`, the first 8 bytes of its payload) replaced by `n`: a header that claims far more, or
// less, than the file holds.
bool patch(const std::string& from, const std::string& to, const char* tag, int64 n,
           bool value = false) {
    std::FILE* in = std::fopen(from.c_str(), "rb");
    std::vector<char> bytes(std::filesystem::file_size(from));
    const bool read =
        in != nullptr && std::fread(bytes.data(), 1, bytes.size(), in) == bytes.size();
    if (in != nullptr) {
        std::fclose(in);
    }
    const std::string needle(tag, 4);
    const auto at = std::string(bytes.begin(), bytes.end()).find(needle);
    if (!read || at == std::string::npos || at + 24 > bytes.size()) {
        return false;
    }
    std::memcpy(&bytes[at + (value ? 16 : 8)], &n, sizeof(n));
    std::FILE* out = std::fopen(to.c_str(), "wb");
    const bool written =
        out != nullptr && std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
    return out != nullptr && std::fclose(out) == 0 && written;
}

// Files whose headers claim impossible sizes and counts: each reader must refuse them, or fail
// the query that meets them, without allocating what they claim.
bool craft(const std::string& dir) {
    const std::string base = dir + "/uniform.zel";
    const int64 huge = int64(1) << 40;
    const int64 huger = int64(1) << 62;
    return patch(base, dir + "/crafted-meta-2e40.zel", "META", huge) &&
           patch(base, dir + "/crafted-meta-negative.zel", "META", -1) &&
           patch(base, dir + "/crafted-jsam-2e62.zel", "JSAM", huger) &&
           patch(base, dir + "/crafted-nsam-2e40.zel", "NSAM", huge, true) &&
           patch(base, dir + "/crafted-nobj-2e62.zel", "NOBJ", huger, true) &&
           patch(base, dir + "/crafted-sobj-2e40.zel", "SOBJ", huge) &&
           patch(base, dir + "/crafted-posi-negative.zel", "POSI", -(int64(1) << 40)) &&
           patch(base, dir + "/crafted-jobj-2e62.zel", "JOBJ", huger);
}

bool cut(const std::string& from, const std::string& to, double fraction) {
    const auto size = std::filesystem::file_size(from);
    std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::resize_file(to, static_cast<uintmax_t>(double(size) * fraction));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: zel_fuzz_seeds DIRECTORY\n");
        return 2;
    }
    const std::string dir = argv[1];
    std::filesystem::create_directories(dir);
    const bool ok = write(dir + "/uniform.zel", 4, {}, 4) &&
                    write(dir + "/nonuniform.zel", 4, {1.0f, 1.5f, 3.0f, 3.25f}, 4) &&
                    write(dir + "/two-sections.zel", 103, {}, 0) &&
                    write(dir + "/reserve.zel", 3, {}, 3) && appendTwo(dir + "/reserve.zel") &&
                    cut(dir + "/uniform.zel", dir + "/truncated.zel", 0.7) && craft(dir) &&
                    zeltest((dir + "/zeltest.zel").c_str()) == 0;
    return ok ? 0 : 1;
}

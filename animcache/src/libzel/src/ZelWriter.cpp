#include "ZelWriter.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>
#include <type_traits>
#include <utility>

#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelWriterImpl.h"

namespace Zel {

namespace {

uint8 typeCode(ZelElementType type) {
    switch (type) {
        case ZelElementType::kInt32:
            return kTypeInt32;
        case ZelElementType::kFloat:
            return kTypeFloat;
        case ZelElementType::kInt64:
            return kTypeInt64;
        case ZelElementType::kDouble:
            return kTypeDouble;
        case ZelElementType::kString:
            break;
    }
    return kTypeCstr;
}

const char* formName(ZelNurbsForm form) {
    switch (form) {
        case ZelNurbsForm::kClosed:
            return "kClosed";
        case ZelNurbsForm::kPeriodic:
            return "kPeriodic";
        case ZelNurbsForm::kOpen:
            break;
    }
    return "kOpen";
}

std::string text(double v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

std::string quoted(const std::string& name) {
    return "'" + name + "'";
}

// Replaces `out` with `values` converted to To, as raw bytes. A frame usually has as many values
// as the last one, so `out` keeps its size and nothing is filled before the copy.
template <class To, class From>
void storeAs(ZelView<From> values, std::vector<char>& out) {
    out.resize(values.size() * sizeof(To));
    char* p = out.data();
    if constexpr (std::is_same<To, From>::value) {
        if (!values.empty()) {
            std::memcpy(p, values.data(), values.size() * sizeof(To));
        }
    } else {
        for (const From& v : values) {
            const To x = static_cast<To>(v);
            std::memcpy(p, &x, sizeof(To));
            p += sizeof(To);
        }
    }
}

// Replaces `out` with `values` in element type `code`; false when numbers cannot go there.
template <class T>
bool encode(ZelView<T> values, uint8 code, std::vector<char>& out) {
    switch (code) {
        case kTypeInt32:
            storeAs<int>(values, out);
            return true;
        case kTypeFloat:
            storeAs<float>(values, out);
            return true;
        case kTypeInt64:
            storeAs<int64>(values, out);
            return true;
        case kTypeDouble:
            storeAs<double>(values, out);
            return true;
        default:
            return false;
    }
}

bool encode(const std::vector<std::string>& values, uint8 code, std::vector<char>& out) {
    out.clear();
    if (code != kTypeCstr) {
        return false;
    }
    for (const std::string& s : values) {
        out.insert(out.end(), s.c_str(), s.c_str() + s.size() + 1);
    }
    return true;
}

// Fills the value leaf of a static attribute, of element type `code`, with `values`.
template <class T>
void fillLeaf(ZelChunk* chunk, uint8 code, ZelView<T> values) {
    auto fill = [&](auto* leaf) {
        leaf->values().assign(values.begin(), values.end());
        leaf->updateLength();
    };
    switch (code) {
        case kTypeInt32:
            return fill(static_cast<ZelLeafChunk<int>*>(chunk));
        case kTypeFloat:
            return fill(static_cast<ZelLeafChunk<float>*>(chunk));
        case kTypeInt64:
            return fill(static_cast<ZelLeafChunk<int64>*>(chunk));
        default:
            return fill(static_cast<ZelLeafChunk<double>*>(chunk));
    }
}

void fillLeaf(ZelChunk* chunk, uint8, const std::vector<std::string>& values) {
    auto* strings = static_cast<ZelLeafChunk<std::string>*>(chunk);
    strings->values() = values;
    strings->updateLength();
}

ZelWriterChannel channel(uint32 tag, uint8 type, ZelCompound compound, ZelDimension dimension,
                         int64 count) {
    ZelWriterChannel c;
    c.tag = tag;
    c.type = type;
    c.compound = static_cast<uint8>(compound);
    c.dimension = static_cast<uint8>(dimension);
    c.count = count;
    return c;
}

template <class T>
ZelLeafChunk<T>* leaf(uint32 tag, std::vector<T> values) {
    return new ZelLeafChunk<T>(tag, std::move(values));
}

const char* channelName(uint32 tag) {
    switch (tag) {
        case kTagPOSI:
            return "positions";
        case kTagVPNO:
            return "normals";
        case kTagVELO:
            return "velocities";
        case kTagMTRX:
            return "matrix";
        default:
            return "values";
    }
}

}  // namespace

// ---- Impl helpers ----

int64 ZelWriterObject::frameLength() const {
    int64 length = 0;
    for (const ZelWriterChannel& c : channels) {
        length += kHeaderSize + static_cast<int64>(c.bytes.size());
    }
    if (!attrs.empty()) {
        length += kHeaderSize;
        for (const ZelWriterChannel& c : attrs) {
            length += kHeaderSize + static_cast<int64>(c.bytes.size());
        }
    }
    return length;
}

ZelStatus ZelWriter::Impl::invalid(const std::string& what) const {
    return ZelStatus(ZelStatusCode::kInvalidArgument, path + ": " + what);
}

ZelStatus ZelWriter::Impl::unsupported(const std::string& what) const {
    return ZelStatus(ZelStatusCode::kUnsupported, path + ": " + what);
}

ZelStatus ZelWriter::Impl::ioFailure(const std::string& what) {
    const int err = errno != 0 ? errno : EIO;
    return fail(ZelStatus::fromErrno(err, path + ": " + what));
}

ZelStatus ZelWriter::Impl::fail(ZelStatus s) {
    if (state != State::kFailed) {
        failure = std::move(s);
        state = State::kFailed;
    }
    return failure;
}

ZelStatus ZelWriter::Impl::canDeclare() const {
    switch (state) {
        case State::kDeclaring:
            return ZelStatus();
        case State::kIdle:
        case State::kClosed:
            return ZelStatus(ZelStatusCode::kInvalidArgument,
                             "ZelWriter: no cache open (call create() first)");
        case State::kFailed:
            return failure;
        case State::kWriting:
            break;
    }
    return invalid(appending ? "objects of an appended cache come from the file"
                             : "objects are declared before the first frame");
}

ZelWriterObject* ZelWriter::Impl::findObject(int object, ZelStatus& status) {
    if (object < 0 || static_cast<size_t>(object) >= objects.size()) {
        status = invalid("no object " + std::to_string(object) + " (the cache has " +
                         std::to_string(objects.size()) + ")");
        return nullptr;
    }
    return &objects[static_cast<size_t>(object)];
}

// ---- Lifetime ----

ZelWriter::Impl::~Impl() {
    if (state != State::kClosed && state != State::kIdle) {
        abandon();
    }
}

ZelWriter::ZelWriter() : impl_(new Impl) {}

ZelWriter::~ZelWriter() = default;

namespace {

// Why `options` cannot describe a cache; empty when they can.
std::string optionsProblem(const ZelWriterOptions& o) {
    if (!std::isfinite(o.firstTime) || !std::isfinite(o.rate) || o.rate < 0) {
        return "the first time and rate must be finite and the rate not negative";
    }
    for (size_t i = 0; i < o.times.size(); ++i) {
        if (!std::isfinite(o.times[i]) || (i > 0 && !(o.times[i] > o.times[i - 1]))) {
            return "explicit times must be finite and increasing (time " + std::to_string(i) +
                   " is " + text(o.times[i]) + ")";
        }
    }
    if (o.frameCount < 0 || o.reservedSamples < 0) {
        return "the frame count and reserved samples must not be negative";
    }
    if (!o.times.empty() && o.frameCount != 0 && o.frameCount != int64(o.times.size())) {
        return "frameCount " + std::to_string(o.frameCount) + " disagrees with the " +
               std::to_string(o.times.size()) + " explicit times";
    }
    return std::string();
}

}  // namespace

ZelStatus ZelWriter::Impl::begin(const std::string& target, const ZelWriterOptions& options) {
    path = target;
    const std::string problem = optionsProblem(options);
    if (target.empty() || !problem.empty()) {
        return invalid(target.empty() ? "no path given" : problem);
    }
    declaredTimes = options.times;
    declaredCount = options.times.empty() ? options.frameCount : int64(options.times.size());
    if (!options.times.empty()) {
        firstTime = options.times[0];
        uniform = uniformRate(options.times.data(), options.times.size(), rate);
    } else {
        firstTime = options.firstTime;
        rate = options.rate;
        uniform = options.rate > 0;
    }
    reservedSamples = options.reservedSamples;
    dateStamp = options.dateStamp;
    if (!replace.begin(target.c_str(), file)) {
        const int err = errno;
        return ZelStatus::fromErrno(err, target + ": cannot write a new file beside it");
    }
    state = State::kDeclaring;
    return ZelStatus();
}

ZelStatus ZelWriter::create(const std::string& path, const ZelWriterOptions& options) {
    if (impl_->state != Impl::State::kIdle && impl_->state != Impl::State::kClosed) {
        return impl_->invalid("the writer already has a cache open");
    }
    impl_.reset(new Impl);
    Impl& w = *impl_;
    w.meta.application = options.application;
    w.meta.sourceFile = options.sourceFile;
    w.meta.space = options.worldSpace ? 0 : 1;
    return w.begin(path, options);
}

ZelStatus ZelWriter::append(const std::string& path, int64 dateStamp) {
    if (impl_->state != Impl::State::kIdle && impl_->state != Impl::State::kClosed) {
        return impl_->invalid("the writer already has a cache open");
    }
    impl_.reset(new Impl);
    Impl& w = *impl_;
    w.path = path;
    w.dateStamp = dateStamp;
    w.appending = true;
    const ZelStatus opened = w.openForAppend();
    if (!opened.ok()) {
        impl_.reset(new Impl);
    }
    return opened;
}

// ---- Declarations ----

namespace {

// Why a mesh's topology cannot be stored; empty when it can. `points` becomes the point count.
std::string meshProblem(const ZelMeshDesc& mesh, int& points) {
    int64 corners = 0;
    for (int n : mesh.faceCounts) {
        if (n < 1) {
            return "a face needs at least one vertex";
        }
        corners += n;
    }
    if (corners != int64(mesh.faceIndices.size())) {
        return "the face counts add up to " + std::to_string(corners) + " vertices but " +
               std::to_string(mesh.faceIndices.size()) + " indices are given";
    }
    int largest = -1;
    for (int i : mesh.faceIndices) {
        if (i < 0) {
            return "a face index is negative";
        }
        largest = std::max(largest, i);
    }
    points = mesh.pointCount != 0 ? mesh.pointCount : largest + 1;
    if (points < 1 || largest >= points) {
        return "the point count " + std::to_string(points) + " does not cover index " +
               std::to_string(largest);
    }
    return std::string();
}

ZelWriterChannel pointChannel(uint32 tag, ZelCompound compound, int64 points) {
    return channel(tag, kTypeFloat, compound, ZelDimension::k3d, 3 * points);
}

}  // namespace

ZelWriterObject& ZelWriter::Impl::addObject(const std::string& name, ZelObjectKind kind,
                                            ZelChunk* definition, int* index) {
    meta.addDOBJ(name.c_str())->addChild(definition);
    byName[name] = static_cast<int>(objects.size());
    if (index != nullptr) {
        *index = static_cast<int>(objects.size());
    }
    objects.emplace_back();
    objects.back().name = name;
    objects.back().kind = kind;
    return objects.back();
}

ZelStatus ZelWriter::Impl::checkNewObject(const std::string& name, const char* what,
                                          const std::string& problem) const {
    const ZelStatus s = canDeclare();
    if (!s.ok()) {
        return s;
    }
    std::string why = problem;
    if (why.empty() && name.empty()) {
        why = "an object needs a name";
    } else if (why.empty() && byName.count(name) != 0) {
        why = "an object of that name is declared already";
    }
    return why.empty() ? ZelStatus() : invalid(std::string(what) + " " + quoted(name) + ": " + why);
}

ZelStatus ZelWriter::Impl::addMarker(const std::string& name, ZelObjectKind kind, uint32 tag,
                                     int* index) {
    const ZelStatus s = checkNewObject(name, kindName(kind), "");
    if (s.ok()) {
        addObject(name, kind, leaf(tag, std::vector<int>{1}), index);
    }
    return s;
}

ZelStatus ZelWriter::addMesh(const std::string& name, const ZelMeshDesc& mesh, int* index) {
    Impl& w = *impl_;
    int points = 0;
    const ZelStatus s = w.checkNewObject(name, "mesh", meshProblem(mesh, points));
    if (!s.ok()) {
        return s;
    }
    auto* group = new ZelGroupChunk(kTagMESH);
    group->addChild(
        leaf(kTagPCNT, std::vector<int>(mesh.faceCounts.begin(), mesh.faceCounts.end())));
    group->addChild(
        leaf(kTagPIDS, std::vector<int>(mesh.faceIndices.begin(), mesh.faceIndices.end())));
    // The shape type: 0 marks a subdivision surface, 1 polygons.
    group->addChild(leaf(kTagMSPT, std::vector<int>{mesh.subdivision ? 0 : 1}));
    ZelWriterObject& o = w.addObject(name, ZelObjectKind::kMesh, group, index);
    o.channels.push_back(pointChannel(kTagPOSI, ZelCompound::kPoint, points));
    if (mesh.normals) {
        o.channels.push_back(pointChannel(kTagVPNO, ZelCompound::kNormal, points));
    }
    if (mesh.velocities) {
        o.channels.push_back(pointChannel(kTagVELO, ZelCompound::kVector, points));
    }
    return s;
}

ZelStatus ZelWriter::addNurbsCurve(const std::string& name, const ZelCurveDesc& curve, int* index) {
    Impl& w = *impl_;
    const bool complete = curve.degree >= 1 && !curve.knots.empty() && curve.pointCount >= 1;
    const ZelStatus s = w.checkNewObject(
        name, "curve",
        complete ? "" : "a curve needs a degree of 1 or more, knots and control points");
    if (!s.ok()) {
        return s;
    }
    auto* group = new ZelGroupChunk(kTagNRBC);
    group->addChild(leaf(kTagDEGR, std::vector<int>{curve.degree}));
    group->addChild(leaf(kTagFORM, std::vector<std::string>{formName(curve.form)}));
    group->addChild(leaf(kTagKNTU, std::vector<float>(curve.knots.begin(), curve.knots.end())));
    ZelWriterObject& o = w.addObject(name, ZelObjectKind::kNurbsCurve, group, index);
    o.channels.push_back(pointChannel(kTagPOSI, ZelCompound::kPoint, curve.pointCount));
    return s;
}

ZelStatus ZelWriter::addNurbsSurface(const std::string& name, const ZelSurfaceDesc& surface,
                                     int* index) {
    Impl& w = *impl_;
    const bool complete = surface.degreeU >= 1 && surface.degreeV >= 1 && !surface.knotsU.empty() &&
                          !surface.knotsV.empty() && surface.pointCountU >= 1 &&
                          surface.pointCountV >= 1;
    const ZelStatus s = w.checkNewObject(
        name, "surface",
        complete ? ""
                 : "a surface needs degrees of 1 or more, knots and control points in u and v");
    if (!s.ok()) {
        return s;
    }
    auto* group = new ZelGroupChunk(kTagNRBS);
    group->addChild(leaf(kTagDEGR, std::vector<int>{surface.degreeU, surface.degreeV}));
    group->addChild(
        leaf(kTagFORM, std::vector<std::string>{formName(surface.formU), formName(surface.formV)}));
    group->addChild(
        leaf(kTagKNTU, std::vector<float>(surface.knotsU.begin(), surface.knotsU.end())));
    group->addChild(
        leaf(kTagKNTV, std::vector<float>(surface.knotsV.begin(), surface.knotsV.end())));
    ZelWriterObject& o = w.addObject(name, ZelObjectKind::kNurbsSurface, group, index);
    const int64 points = int64(surface.pointCountU) * surface.pointCountV;
    o.channels.push_back(pointChannel(kTagPOSI, ZelCompound::kPoint, points));
    return s;
}

ZelStatus ZelWriter::addTransform(const std::string& name, const ZelTransformDesc& transform,
                                  int* index) {
    Impl& w = *impl_;
    const ZelStatus s = w.checkNewObject(name, "transform", "");
    if (!s.ok()) {
        return s;
    }
    ZelWriterObject& o =
        w.addObject(name, ZelObjectKind::kTransform, leaf(kTagXFRM, std::vector<int>{1}), index);
    if (!transform.inheritsTransform) {
        w.meta.getDOBJ(w.meta.getNumObjects() - 1)->addChild(leaf(kTagINHT, std::vector<int>{0}));
    }
    o.channels.push_back(channel(kTagMTRX, transform.doublePrecision ? kTypeDouble : kTypeFloat,
                                 ZelCompound::kTransform, ZelDimension::k4x4, 16));
    return s;
}

ZelStatus ZelWriter::addLocator(const std::string& name, int* index) {
    return impl_->addMarker(name, ZelObjectKind::kLocator, kTagELOC, index);
}

ZelStatus ZelWriter::addCoordSystem(const std::string& name, int* index) {
    return impl_->addMarker(name, ZelObjectKind::kCoordSystem, kTagLXCS, index);
}

ZelStatus ZelWriter::setStaticBounds(int object, ZelView<double> minMax) {
    Impl& w = *impl_;
    ZelStatus s = w.canDeclare();
    ZelWriterObject* o = s.ok() ? w.findObject(object, s) : nullptr;
    if (o == nullptr) {
        return s;
    }
    const bool ordered = minMax.size() == 6 && minMax[0] <= minMax[3] && minMax[1] <= minMax[4] &&
                         minMax[2] <= minMax[5];
    ZelDOBJChunk* dobj = w.meta.getDOBJ(object);
    if (!ordered || dobj->findChild(kTagBBOX) < dobj->numChildren()) {
        return w.invalid(quoted(o->name) +
                         ": bounds are six values, the minimum point before the "
                         "maximum, given once");
    }
    // A double box stores the minimum point, then the maximum point.
    dobj->addChild(leaf(kTagBBOX, std::vector<double>(minMax.begin(), minMax.end())));
    return s;
}

// ---- Attributes ----

namespace {

// Declares attribute `desc` on `dobj`; its index, or -1 with `problem` set.
int declareAttr(ZelDOBJChunk* dobj, const ZelAttrDesc& desc, bool animated, std::string& problem) {
    if (desc.name.empty()) {
        problem = "an attribute needs a name";
        return -1;
    }
    if (dobj->findAttr(desc.name) >= 0) {
        problem = "attribute " + quoted(desc.name) + " is declared already";
        return -1;
    }
    const std::string type = desc.typeName.empty() ? elementTypeName(desc.type) : desc.typeName;
    const int i =
        dobj->addAttr(animated, desc.name, type, typeCode(desc.type),
                      static_cast<uint8>(desc.compound), static_cast<uint8>(desc.dimension));
    if (i < 0) {
        problem = "attribute " + quoted(desc.name) + " cannot hold that type";
    }
    return i;
}

}  // namespace

ZelStatus ZelWriter::addAnimatedAttribute(int object, const ZelAttrDesc& desc, int* attr) {
    Impl& w = *impl_;
    ZelStatus s = w.canDeclare();
    ZelWriterObject* o = s.ok() ? w.findObject(object, s) : nullptr;
    if (o == nullptr) {
        return s;
    }
    std::string problem;
    const int i = declareAttr(w.meta.getDOBJ(object), desc, true, problem);
    if (i < 0) {
        return w.invalid(quoted(o->name) + ": " + problem);
    }
    o->attrs.push_back(channel(kTagATTR, typeCode(desc.type), desc.compound, desc.dimension, -1));
    if (attr != nullptr) {
        *attr = i;
    }
    return ZelStatus();
}

namespace {

template <class Values>
ZelStatus addStatic(ZelWriter::Impl& w, int object, const ZelAttrDesc& desc, const Values& values) {
    ZelStatus s = w.canDeclare();
    ZelWriterObject* o = s.ok() ? w.findObject(object, s) : nullptr;
    if (o == nullptr) {
        return s;
    }
    ZelDOBJChunk* dobj = w.meta.getDOBJ(object);
    const uint8 code = typeCode(desc.type);
    // Numbers convert to any numeric type; strings go only where strings are declared.
    const bool strings = std::is_same<Values, std::vector<std::string>>::value;
    std::string problem;
    if (strings != (code == kTypeCstr)) {
        problem = std::string("attribute ") + quoted(desc.name) + " is declared " +
                  elementTypeName(desc.type) + " but given other values";
    }
    const int i = problem.empty() ? declareAttr(dobj, desc, false, problem) : -1;
    if (i < 0) {
        return w.invalid(quoted(o->name) + ": " + problem);
    }
    fillLeaf(dobj->getDATR()->getStaticData(i), code, values);
    return ZelStatus();
}

}  // namespace

ZelStatus ZelWriter::addStaticAttribute(int object, const ZelAttrDesc& desc, ZelView<int> values) {
    return addStatic(*impl_, object, desc, values);
}
ZelStatus ZelWriter::addStaticAttribute(int object, const ZelAttrDesc& desc,
                                        ZelView<float> values) {
    return addStatic(*impl_, object, desc, values);
}
ZelStatus ZelWriter::addStaticAttribute(int object, const ZelAttrDesc& desc,
                                        ZelView<int64> values) {
    return addStatic(*impl_, object, desc, values);
}
ZelStatus ZelWriter::addStaticAttribute(int object, const ZelAttrDesc& desc,
                                        ZelView<double> values) {
    return addStatic(*impl_, object, desc, values);
}
ZelStatus ZelWriter::addStaticAttribute(int object, const ZelAttrDesc& desc,
                                        const std::vector<std::string>& values) {
    return addStatic(*impl_, object, desc, values);
}

// ---- Frames ----

ZelStatus ZelWriter::Impl::checkFrameTime(float time) const {
    const int64 i = frames();
    if (i < int64(declaredTimes.size()) || uniform) {
        const float expected = i < int64(declaredTimes.size())
                                   ? declaredTimes[size_t(i)]
                                   : static_cast<float>(i) / rate + firstTime;
        if (time != expected) {
            return invalid("frame " + std::to_string(i) + " must lie at time " + text(expected) +
                           (uniform ? " (uniform sampling)" : " (declared times)") + ", not " +
                           text(time));
        }
    } else if (!std::isfinite(time) || (i > 0 && !(time > lastTime))) {
        return invalid("frame time " + text(time) + " is not after the previous frame's " +
                       text(lastTime));
    }
    return ZelStatus();
}

ZelStatus ZelWriter::beginFrame(float time) {
    Impl& w = *impl_;
    if (w.state == Impl::State::kDeclaring) {
        if (w.objects.empty()) {
            return w.invalid("a cache needs at least one object before its first frame");
        }
        const ZelStatus started = w.startNewFile();
        if (!started.ok()) {
            return started;
        }
    }
    if (w.state != Impl::State::kWriting) {
        return w.state == Impl::State::kFailed ? w.failure : w.canDeclare();
    }
    if (w.inFrame) {
        return w.invalid("beginFrame(" + text(time) + ") while the frame at " + text(w.frameTime) +
                         " is open");
    }
    const ZelStatus timely = w.checkFrameTime(time);
    if (!timely.ok()) {
        return timely;
    }
    for (ZelWriterObject& o : w.objects) {
        for (ZelWriterChannel& c : o.channels) {
            c.set = false;
        }
        for (ZelWriterChannel& c : o.attrs) {
            c.set = false;
        }
    }
    w.inFrame = true;
    w.frameTime = time;
    return ZelStatus();
}

namespace {

// Stores this frame's `values` in channel `tag` of `object`.
template <class Values>
ZelStatus setChannel(ZelWriter::Impl& w, int object, uint32 tag, const Values& values) {
    if (!w.inFrame) {
        return w.state == ZelWriter::Impl::State::kFailed
                   ? w.failure
                   : w.invalid(std::string("no frame open for ") + channelName(tag));
    }
    ZelStatus s;
    ZelWriterObject* o = w.findObject(object, s);
    if (o == nullptr) {
        return s;
    }
    for (ZelWriterChannel& c : o->channels) {
        if (c.tag != tag) {
            continue;
        }
        if (c.count >= 0 && int64(values.size()) != c.count) {
            const bool points = c.dimension == static_cast<uint8>(ZelDimension::k3d);
            return w.invalid(
                quoted(o->name) + " has " + std::to_string(points ? c.count / 3 : c.count) +
                (points ? " points" : " values") + "; this frame gives " +
                (points ? text(double(values.size()) / 3) : std::to_string(values.size())));
        }
        encode(values, c.type, c.bytes);
        c.set = true;
        return ZelStatus();
    }
    return w.invalid(quoted(o->name) + " (" + kindName(o->kind) + ") stores no " +
                     channelName(tag) + " per frame");
}

template <class Values>
ZelStatus setAttr(ZelWriter::Impl& w, int object, int attr, const Values& values) {
    if (!w.inFrame) {
        return w.state == ZelWriter::Impl::State::kFailed
                   ? w.failure
                   : w.invalid("no frame open for attribute values");
    }
    ZelStatus s;
    ZelWriterObject* o = w.findObject(object, s);
    if (o == nullptr) {
        return s;
    }
    if (attr < 0 || size_t(attr) >= o->attrs.size()) {
        return w.invalid(quoted(o->name) + " has no animated attribute " + std::to_string(attr));
    }
    ZelWriterChannel& c = o->attrs[size_t(attr)];
    if (!encode(values, c.type, c.bytes)) {
        return w.invalid(quoted(o->name) + ": animated attribute " + std::to_string(attr) +
                         (c.type == kTypeCstr ? " holds strings" : " holds numbers"));
    }
    c.set = true;
    return ZelStatus();
}

}  // namespace

ZelStatus ZelWriter::setPositions(int object, ZelView<float> xyz) {
    return setChannel(*impl_, object, kTagPOSI, xyz);
}
ZelStatus ZelWriter::setNormals(int object, ZelView<float> xyz) {
    return setChannel(*impl_, object, kTagVPNO, xyz);
}
ZelStatus ZelWriter::setVelocities(int object, ZelView<float> xyz) {
    return setChannel(*impl_, object, kTagVELO, xyz);
}
ZelStatus ZelWriter::setMatrix(int object, ZelView<double> matrix) {
    return setChannel(*impl_, object, kTagMTRX, matrix);
}
ZelStatus ZelWriter::setMatrix(int object, ZelView<float> matrix) {
    return setChannel(*impl_, object, kTagMTRX, matrix);
}
ZelStatus ZelWriter::setAttribute(int object, int attr, ZelView<int> values) {
    return setAttr(*impl_, object, attr, values);
}
ZelStatus ZelWriter::setAttribute(int object, int attr, ZelView<float> values) {
    return setAttr(*impl_, object, attr, values);
}
ZelStatus ZelWriter::setAttribute(int object, int attr, ZelView<int64> values) {
    return setAttr(*impl_, object, attr, values);
}
ZelStatus ZelWriter::setAttribute(int object, int attr, ZelView<double> values) {
    return setAttr(*impl_, object, attr, values);
}
ZelStatus ZelWriter::setAttribute(int object, int attr, const std::vector<std::string>& values) {
    return setAttr(*impl_, object, attr, values);
}

ZelStatus ZelWriter::endFrame() {
    Impl& w = *impl_;
    if (!w.inFrame) {
        return w.state == Impl::State::kFailed ? w.failure
                                               : w.invalid("endFrame() without a frame");
    }
    for (const ZelWriterObject& o : w.objects) {
        for (const ZelWriterChannel& c : o.channels) {
            if (!c.set) {
                return w.invalid("frame at " + text(w.frameTime) + ": " + quoted(o.name) +
                                 " has no " + channelName(c.tag));
            }
        }
        for (size_t a = 0; a < o.attrs.size(); ++a) {
            if (!o.attrs[a].set) {
                return w.invalid("frame at " + text(w.frameTime) + ": " + quoted(o.name) +
                                 " has no value for animated attribute " + std::to_string(a));
            }
        }
    }
    w.inFrame = false;
    return w.writeFrame();
}

ZelStatus ZelWriter::Impl::close() {
    switch (state) {
        case State::kIdle:
        case State::kClosed:
            return ZelStatus();
        case State::kFailed: {
            const ZelStatus failed = failure;
            abandon();
            state = State::kClosed;
            return failed;
        }
        default:
            break;
    }
    // A frame begun but never ended is not part of the cache.
    inFrame = false;
    const ZelStatus s = appending ? finishAppend() : finishNewFile();
    if (!s.ok()) {
        abandon();
    }
    state = State::kClosed;
    return s;
}

ZelStatus ZelWriter::close() {
    return impl_->close();
}

// ---- Questions ----

int ZelWriter::numObjects() const {
    return static_cast<int>(impl_->objects.size());
}

const std::string& ZelWriter::objectName(int object) const {
    static const std::string none;
    return object >= 0 && size_t(object) < impl_->objects.size()
               ? impl_->objects[size_t(object)].name
               : none;
}

ZelObjectKind ZelWriter::objectKind(int object) const {
    return object >= 0 && size_t(object) < impl_->objects.size()
               ? impl_->objects[size_t(object)].kind
               : ZelObjectKind::kOther;
}

int ZelWriter::findObject(const std::string& name) const {
    const auto it = impl_->byName.find(name);
    return it != impl_->byName.end() ? it->second : -1;
}

int ZelWriter::findAnimatedAttribute(int object, const std::string& name) const {
    if (object < 0 || object >= impl_->meta.getNumObjects()) {
        return -1;
    }
    const int i = impl_->meta.getDOBJ(object)->findAttr(name);
    return i >= 0 && size_t(i) < impl_->objects[size_t(object)].attrs.size() ? i : -1;
}

int64 ZelWriter::frameCount() const {
    return impl_->frames();
}

float ZelWriter::nextTime() const {
    const Impl& w = *impl_;
    const int64 i = w.frames();
    if (i < int64(w.declaredTimes.size())) {
        return w.declaredTimes[size_t(i)];
    }
    return w.uniform ? static_cast<float>(i) / w.rate + w.firstTime
                     : std::numeric_limits<float>::quiet_NaN();
}

const std::string& ZelWriter::path() const {
    return impl_->path;
}

}  // namespace Zel

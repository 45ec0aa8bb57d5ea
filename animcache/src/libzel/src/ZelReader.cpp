#include "ZelReader.h"

#include <cstring>
#include <type_traits>

#include "ZelReaderImpl.h"

namespace Zel {

// ---- ZelDataView ----

template <class T>
T ZelDataView::value(int64 i) const {
    const unsigned char* p = data;
    switch (type) {
        case ZelElementType::kInt32: {
            int v;
            std::memcpy(&v, p + 4 * i, 4);
            return static_cast<T>(v);
        }
        case ZelElementType::kFloat: {
            float v;
            std::memcpy(&v, p + 4 * i, 4);
            return static_cast<T>(v);
        }
        case ZelElementType::kInt64: {
            int64 v;
            std::memcpy(&v, p + 8 * i, 8);
            return static_cast<T>(v);
        }
        case ZelElementType::kDouble: {
            double v;
            std::memcpy(&v, p + 8 * i, 8);
            return static_cast<T>(v);
        }
        case ZelElementType::kString:
            break;
    }
    return T(0);
}

namespace {

// Converts the `count` values of type V at `p` (any byte offset) into out[0 .. count).
template <class V, class T>
void convertValues(const unsigned char* p, int64 count, T* out) {
    if (count <= 0) {
        return;
    }
    // A copy of the same type is the bytes themselves: one memcpy instead of a loop of them.
    if (std::is_same<V, T>::value) {
        std::memcpy(out, p, static_cast<size_t>(count) * sizeof(T));
        return;
    }
    for (int64 i = 0; i < count; ++i) {
        V v;
        std::memcpy(&v, p + sizeof(V) * static_cast<size_t>(i), sizeof(V));
        out[i] = static_cast<T>(v);
    }
}

}  // namespace

template <class T>
bool ZelDataView::copyTo(T* out) const {
    switch (type) {
        case ZelElementType::kInt32:
            convertValues<int>(data, count, out);
            return true;
        case ZelElementType::kFloat:
            convertValues<float>(data, count, out);
            return true;
        case ZelElementType::kInt64:
            convertValues<int64>(data, count, out);
            return true;
        case ZelElementType::kDouble:
            convertValues<double>(data, count, out);
            return true;
        case ZelElementType::kString:
            return false;
    }
    // A type outside the enumeration converts as value() does: to zeros.
    for (int64 i = 0; i < count; ++i) {
        out[i] = T(0);
    }
    return true;
}

#define ZEL_VIEW_INSTANTIATE(T)                              \
    template ZEL_API T ZelDataView::value<T>(int64 i) const; \
    template ZEL_API bool ZelDataView::copyTo<T>(T * out) const;
ZEL_VIEW_INSTANTIATE(int)
ZEL_VIEW_INSTANTIATE(float)
ZEL_VIEW_INSTANTIATE(int64)
ZEL_VIEW_INSTANTIATE(double)
#undef ZEL_VIEW_INSTANTIATE

// ---- Opening ----

ZelSampleClock ZelReader::Impl::clock() const {
    ZelSampleClock c;
    c.numSamples = static_cast<int>(jumps.size());
    c.firstTime = firstTime;
    c.lastTime = lastTime;
    c.rate = rate;
    c.times = times.data();
    c.timeCount = times.size();
    return c;
}

ZelStatus ZelReader::Impl::fail(ZelStatusCode code, const std::string& reason) const {
    return ZelStatus(code, path + ": " + reason);
}

ZelReader::ZelReader() = default;
ZelReader::~ZelReader() = default;
ZelReader::ZelReader(ZelReader&& other) noexcept = default;
ZelReader& ZelReader::operator=(ZelReader&& other) noexcept = default;

ZelStatus ZelReader::open(const std::string& path) {
    close();
    auto impl = std::make_unique<Impl>();
    impl->path = path;
    ZelStatus status = impl->map.open(path);
    if (status.ok()) {
        status = impl->load();
    }
    if (status.ok()) {
        impl_ = std::move(impl);
    }
    return status;
}

void ZelReader::close() {
    impl_.reset();
}

bool ZelReader::isOpen() const {
    return impl_ != nullptr;
}

const std::string& ZelReader::path() const {
    static const std::string none;
    return impl_ != nullptr ? impl_->path : none;
}

// ---- The file ----

int64 ZelReader::version() const {
    return impl_ != nullptr ? impl_->version : 0;
}

std::string_view ZelReader::application() const {
    return impl_ != nullptr ? impl_->application : std::string_view();
}

std::string_view ZelReader::sourceFile() const {
    return impl_ != nullptr ? impl_->sourceFile : std::string_view();
}

int64 ZelReader::dateStamp() const {
    return impl_ != nullptr ? impl_->dateStamp : 0;
}

bool ZelReader::worldSpace() const {
    return impl_ != nullptr && impl_->space == 0;
}

// ---- Samples and times ----

int ZelReader::sampleCount() const {
    return impl_ != nullptr ? static_cast<int>(impl_->jumps.size()) : 0;
}

float ZelReader::firstTime() const {
    return impl_ != nullptr ? impl_->firstTime : noTime();
}

float ZelReader::lastTime() const {
    return impl_ != nullptr ? impl_->lastTime : noTime();
}

float ZelReader::rate() const {
    return impl_ != nullptr ? impl_->rate : noTime();
}

float ZelReader::sampleTime(int sample) const {
    return impl_ != nullptr ? impl_->clock().sampleTime(sample) : noTime();
}

std::vector<float> ZelReader::times() const {
    std::vector<float> all(static_cast<size_t>(sampleCount()));
    for (size_t i = 0; i < all.size(); ++i) {
        all[i] = sampleTime(static_cast<int>(i));
    }
    return all;
}

int ZelReader::sampleAt(float time) const {
    return impl_ != nullptr ? impl_->clock().sampleIndex(time) : -1;
}

int ZelReader::sampleAtOrBefore(float time) const {
    return impl_ != nullptr ? impl_->clock().maxIndexNotGreaterThan(time) : -1;
}

int ZelReader::sampleAtOrAfter(float time) const {
    return impl_ != nullptr ? impl_->clock().minIndexNotLessThan(time) : -1;
}

// ---- Objects ----

int ZelReader::objectCount() const {
    return impl_ != nullptr ? static_cast<int>(impl_->objects.size()) : 0;
}

std::string_view ZelReader::objectName(int object) const {
    if (object < 0 || object >= objectCount()) {
        return {};
    }
    return impl_->objects[static_cast<size_t>(object)].name;
}

ZelObjectKind ZelReader::objectKind(int object) const {
    if (object < 0 || object >= objectCount()) {
        return ZelObjectKind::kOther;
    }
    return impl_->objectKind(object);
}

ZelObjectKind ZelReader::Impl::objectKind(int object) const {
    // The first of these tags the object has decides, in its definition or in the sample at the
    // first time, as the helper object factory decides.
    static const std::pair<uint32, ZelObjectKind> kinds[] = {
        {kTagXFRM, ZelObjectKind::kTransform},    {kTagMESH, ZelObjectKind::kMesh},
        {kTagNRBS, ZelObjectKind::kNurbsSurface}, {kTagNRBC, ZelObjectKind::kNurbsCurve},
        {kTagELOC, ZelObjectKind::kLocator},      {kTagLXCS, ZelObjectKind::kCoordSystem}};
    unsigned found = 0;
    const auto note = [&found](int64, const ZelHeader& h, int) {
        for (unsigned k = 0; k < 6; ++k) {
            found |= h.tag == kinds[k].first ? 1u << k : 0u;
        }
        return WalkStep::kDescend;
    };
    const Object& def = objects[static_cast<size_t>(object)];
    walkChunks(bytes(), def.def.payload(), def.def.end(),
               [&](int64 at, const ZelHeader& h, int depth) {
                   // The definition's name and attribute definition hold no kind.
                   if (depth == 0 && ((h.tag == kTagNAME && h.type == kTypeCstr) ||
                                      (h.tag == kTagDATR && h.type == kTypeGroup))) {
                       return WalkStep::kSkip;
                   }
                   return note(at, h, depth);
               });
    // Only a transform's tag outranks whatever the sample might add.
    ZelChunkRef sobj;
    if ((found & 1u) == 0 && objectSample(object, clock().sampleIndex(firstTime), sobj).ok()) {
        walkChunks(bytes(), sobj.payload(), sobj.end(), note);
    }
    for (unsigned k = 0; k < 6; ++k) {
        if ((found & (1u << k)) != 0) {
            return kinds[k].second;
        }
    }
    return ZelObjectKind::kOther;
}

namespace {

std::string_view shortName(std::string_view name) {
    const size_t bar = name.rfind('|');
    return bar == std::string_view::npos ? name : name.substr(bar + 1);
}

}  // namespace

int ZelReader::findObject(std::string_view name) const {
    if (impl_ == nullptr || name.empty()) {
        return -1;
    }
    const auto exact = impl_->byName.find(name);
    if (exact != impl_->byName.end()) {
        return exact->second;
    }
    const std::string_view wanted = shortName(name);
    for (size_t i = 0; i < impl_->objects.size(); ++i) {
        if (shortName(impl_->objects[i].name) == wanted) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

// ---- Attributes ----

int ZelReader::attributeCount(int object) const {
    if (impl_ == nullptr) {
        return 0;
    }
    const Impl::Attributes a = impl_->attributesOf(object);
    return a.animated + a.statics;
}

ZelAttrInfo ZelReader::attribute(int object, int attr) const {
    ZelAttrInfo info;
    if (impl_ == nullptr) {
        return info;
    }
    const Impl::Attributes a = impl_->attributesOf(object);
    if (attr < 0 || attr >= a.animated + a.statics) {
        return info;
    }
    info.animated = attr < a.animated;
    const int k = info.animated ? attr : attr - a.animated;
    info.name = impl_->stringAt(info.animated ? a.animatedNames : a.staticNames, k);
    info.typeName = impl_->stringAt(info.animated ? a.animatedTypes : a.staticTypes, k);
    return info;
}

int ZelReader::findAttribute(int object, std::string_view name) const {
    const int n = attributeCount(object);
    for (int i = 0; i < n; ++i) {
        if (attribute(object, i).name == name) {
            return i;
        }
    }
    return -1;
}

ZelStatus ZelReader::attributeView(int object, int attr, int sample, ZelDataView& view) const {
    view = ZelDataView();
    if (impl_ == nullptr) {
        return ZelStatus(ZelStatusCode::kInvalidArgument, "no cache is open");
    }
    ZelChunkRef chunk;
    bool animated = false;
    ZelStatus status = impl_->attributeData(object, attr, sample, chunk, &animated);
    return status.ok() ? impl_->viewOf(chunk, animated, view) : status;
}

// ---- Stored data ----

ZelStatus ZelReader::view(int object, int sample, std::string_view tag, ZelDataView& view) const {
    view = ZelDataView();
    if (impl_ == nullptr) {
        return ZelStatus(ZelStatusCode::kInvalidArgument, "no cache is open");
    }
    if (tag.size() != 4) {
        return impl_->fail(ZelStatusCode::kInvalidArgument,
                           "a tag has four characters, not \"" + std::string(tag) + "\"");
    }
    ZelChunkRef chunk;
    bool animated = false;
    const char name[5] = {tag[0], tag[1], tag[2], tag[3], '\0'};
    ZelStatus status = impl_->findData(object, sample, makeTag(name), chunk, animated);
    return status.ok() ? impl_->viewOf(chunk, animated, view) : status;
}

int64 ZelReader::pointCount(int object, int sample) const {
    ZelDataView points;
    if (!view(object, sample, "POSI", points).ok() ||
        (points.type != ZelElementType::kFloat && points.type != ZelElementType::kDouble)) {
        return 0;
    }
    return points.count / (points.dimension == 4 ? 4 : 3);
}

}  // namespace Zel

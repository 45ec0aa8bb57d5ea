#include "ZelHelperObj.h"

#include <cassert>
#include <cmath>
#include <cstddef>
#include <iostream>
#include <limits>

#include "ZelDefinitionChunks.h"
#include "ZelFormat.h"
#include "ZelHeader.h"
#include "ZelHelperObjInternal.h"
#include "ZelInterpolation.h"
#include "ZelKernelTrace.h"
#include "ZelRoMemCache.h"
#include "ZelSampleClock.h"
#include "ZelTrace.h"

namespace Zel {

namespace {

const std::string emptyName;

// The definition of `object`, or null when the cache has no such object.
const ZelDOBJChunk* objectDefinition(const ZelRoMemCache* cache, int object) {
    if (cache == nullptr || object < 0 || object >= cache->getNumObjects()) {
        return nullptr;
    }
    return cache->getObjDef(object);
}

template <class T>
bool leafValues(const ZelChunk* chunk, const std::vector<T>*& data) {
    data = nullptr;
    // The header's type code is checked first so that a chunk of another type never reaches the
    // run-time class test.
    if (chunk == nullptr || chunk->getType() != ZelTypeCode<T>::value) {
        return false;
    }
    const auto* leaf = dynamic_cast<const ZelLeafChunk<T>*>(chunk);
    if (leaf == nullptr) {
        return false;
    }
    data = &leaf->values();
    return true;
}

template <class Out>
bool copyReals(const ZelChunk* chunk, std::vector<Out>& values) {
    const std::vector<float>* floats = nullptr;
    if (leafValues(chunk, floats)) {
        values.assign(floats->begin(), floats->end());
        return true;
    }
    const std::vector<double>* doubles = nullptr;
    if (leafValues(chunk, doubles)) {
        values.assign(doubles->begin(), doubles->end());
        return true;
    }
    return false;
}

// The hints' name for traces: the order's name, then the mode's when the mode is 1 or more.
// Values without a table entry print as numbers.
void describeHints(std::ostream& os, const ZelInterpolationHints& hints) {
    if (hints.order >= 0 && static_cast<std::size_t>(hints.order) < hints.orderNames.size()) {
        os << hints.orderNames[hints.order];
    } else {
        os << hints.order;
    }
    if (hints.mode >= 1) {
        os << " ";
        if (static_cast<std::size_t>(hints.mode) < hints.modeNames.size()) {
            os << hints.modeNames[hints.mode];
        } else {
            os << hints.mode;
        }
    }
}

template <class T>
void traceList(const char* label, const std::vector<T>& values) {
    std::cerr << label;
    for (std::size_t i = 0; i < values.size(); ++i) {
        std::cerr << (i == 0 ? " " : ", ") << values[i];
    }
    std::cerr << "\n";
}

}  // namespace

ZelHelperObj::ZelHelperObj(ZelRoMemCache* cache, int objectIndex)
    : cache_(cache), objectIndex_(objectIndex) {
    addCategory(zelCategoryHelperObj);
}

ZelHelperObj::ZelHelperObj(const ZelHelperObj& other) = default;

ZelHelperObj& ZelHelperObj::operator=(const ZelHelperObj& other) {
    if (this != &other) {
        cache_ = other.cache_;
        objectIndex_ = other.objectIndex_;
        categories_ = other.categories_;
    }
    return *this;
}

ZelHelperObj::~ZelHelperObj() = default;

void ZelHelperObj::destroy() {
    // Optimisers assume `this` is never null and would drop a plain test; reading it through a
    // volatile keeps the test, so freeing through a null pointer stays harmless.
    ZelHelperObj* volatile self = this;
    if (self == nullptr) {
        return;
    }
    delete self;
}

bool ZelHelperObj::isA(const std::string& category) const {
    return categories_.count(category) != 0;
}

void ZelHelperObj::addCategory(const std::string& category) {
    categories_.insert(category);
}

const std::string& ZelHelperObj::getName() const {
    const ZelDOBJChunk* def = objectDefinition(cache_, objectIndex_);
    return def != nullptr ? def->getName() : emptyName;
}

std::string ZelHelperObj::getLeafName() const {
    const std::string& name = getName();
    const std::size_t bar = name.rfind('|');
    return bar == std::string::npos ? name : name.substr(bar + 1);
}

int ZelHelperObj::getNumAttrs() const {
    const ZelDOBJChunk* def = objectDefinition(cache_, objectIndex_);
    const ZelDATRChunk* datr = def != nullptr ? def->getDATR() : nullptr;
    if (datr == nullptr) {
        return 0;
    }
    return static_cast<int>(datr->getAATR().names().size() + datr->getSATR().names().size());
}

int ZelHelperObj::findAttr(const std::string& name) const {
    const ZelDOBJChunk* def = objectDefinition(cache_, objectIndex_);
    const ZelDATRChunk* datr = def != nullptr ? def->getDATR() : nullptr;
    return datr != nullptr ? datr->findAttr(name) : -1;
}

std::string ZelHelperObj::getAttrName(int attrIndex) const {
    const ZelDOBJChunk* def = objectDefinition(cache_, objectIndex_);
    return def != nullptr ? def->getAttrName(attrIndex) : std::string();
}

std::string ZelHelperObj::getAttrType(int attrIndex) const {
    const ZelDOBJChunk* def = objectDefinition(cache_, objectIndex_);
    return def != nullptr ? def->getAttrType(attrIndex) : std::string();
}

ZelHelperObj::AnimationState ZelHelperObj::isAttrAnimated(int attrIndex) const {
    const ZelDOBJChunk* def = objectDefinition(cache_, objectIndex_);
    const ZelDATRChunk* datr = def != nullptr ? def->getDATR() : nullptr;
    if (datr == nullptr) {
        return kStatic;
    }
    return datr->isAnimated(attrIndex) ? kAnimated : kStatic;
}

ZelHelperObj::AnimationState ZelHelperObj::isAnimated() const {
    return isAnimated(kTagFREE);
}

ZelHelperObj::AnimationState ZelHelperObj::isAnimated(unsigned int tag) const {
    if (cache_ == nullptr) {
        return kStatic;
    }
    return cache_->isObjectAnimated(objectIndex_, tag) ? kAnimated : kStatic;
}

bool ZelHelperObj::objectHas(unsigned int tag) const {
    return cache_ != nullptr && cache_->objectHas(objectIndex_, tag);
}

ZelHelperObj::AnimationState ZelHelperObj::findChunk(int sampleIndex, unsigned int tag,
                                                     const ZelChunk*& chunk) const {
    chunk = nullptr;
    if (cache_ == nullptr) {
        return kStatic;
    }
    bool animated = false;
    chunk = cache_->getObjectData(sampleIndex, objectIndex_, tag, &animated);
    return chunk != nullptr && animated ? kAnimated : kStatic;
}

const ZelChunk* ZelHelperObj::searchChunk(const ZelGroupChunk* group, unsigned int tag) {
    assert(group != nullptr);
    const uint64 i = group->findChild(tag);
    return i < group->numChildren() ? group->getChild(i) : nullptr;
}

int ZelHelperObj::getDimension(const ZelChunk* chunk) {
    if (chunk == nullptr) {
        return 0;
    }
    switch (chunk->getDimension()) {
        case 1:
        case 2:
        case 3:
        case 4:
        case 9:
        case 16:
            return chunk->getDimension();
        default:
            return 0;
    }
}

std::string ZelHelperObj::getObjectType(unsigned int tag) const {
    const ZelChunk* chunk = nullptr;
    findChunk(0, tag, chunk);
    return chunk != nullptr ? chunk->getHeader().typeStr() : std::string(zelTypeNames[kTypeUndef]);
}

bool ZelHelperObj::getZelLeafData(const ZelChunk* chunk, const std::vector<int>*& data) {
    return leafValues(chunk, data);
}

bool ZelHelperObj::getZelLeafData(const ZelChunk* chunk, const std::vector<float>*& data) {
    return leafValues(chunk, data);
}

bool ZelHelperObj::getZelLeafData(const ZelChunk* chunk, const std::vector<double>*& data) {
    return leafValues(chunk, data);
}

bool ZelHelperObj::getZelLeafData(const ZelChunk* chunk, const std::vector<int64>*& data) {
    return leafValues(chunk, data);
}

bool ZelHelperObj::getZelLeafData(const ZelChunk* chunk, const std::vector<std::string>*& data) {
    return leafValues(chunk, data);
}

namespace {

template <class T>
bool leafAt(const ZelHelperObj& obj, int sampleIndex, unsigned int tag, const std::vector<T>*& data,
            ZelHelperObj::AnimationState& state) {
    data = nullptr;
    state = ZelHelperObj::kStatic;
    const ZelChunk* chunk = nullptr;
    const ZelHelperObj::AnimationState origin = obj.findChunk(sampleIndex, tag, chunk);
    if (!leafValues(chunk, data)) {
        return false;
    }
    state = origin;
    return true;
}

}  // namespace

bool ZelHelperObj::getLeafData(int sampleIndex, unsigned int tag, const std::vector<int>*& data,
                               AnimationState& state) const {
    return leafAt(*this, sampleIndex, tag, data, state);
}

bool ZelHelperObj::getLeafData(int sampleIndex, unsigned int tag, const std::vector<float>*& data,
                               AnimationState& state) const {
    return leafAt(*this, sampleIndex, tag, data, state);
}

bool ZelHelperObj::getLeafData(int sampleIndex, unsigned int tag, const std::vector<double>*& data,
                               AnimationState& state) const {
    return leafAt(*this, sampleIndex, tag, data, state);
}

bool ZelHelperObj::getLeafData(int sampleIndex, unsigned int tag, const std::vector<int64>*& data,
                               AnimationState& state) const {
    return leafAt(*this, sampleIndex, tag, data, state);
}

bool ZelHelperObj::getLeafData(int sampleIndex, unsigned int tag,
                               const std::vector<std::string>*& data, AnimationState& state) const {
    return leafAt(*this, sampleIndex, tag, data, state);
}

bool ZelHelperObj::copyRealData(const ZelChunk* chunk, std::vector<float>& values) {
    return copyReals(chunk, values);
}

bool ZelHelperObj::copyRealData(const ZelChunk* chunk, std::vector<double>& values) {
    return copyReals(chunk, values);
}

const ZelChunk* ZelHelperObj::getAttrDataChunk(int sampleIndex, int attrIndex) const {
    if (cache_ == nullptr) {
        return nullptr;
    }
    return cache_->getAttrData(sampleIndex, objectIndex_, attrIndex);
}

const ZelDOBJChunk* ZelHelperObj::getObjDef() const {
    return objectDefinition(cache_, objectIndex_);
}

int ZelHelperObj::getFirstSampleIndex() const {
    return cache_ != nullptr ? cache_->getSampleIndex(cache_->getFirstTime()) : -1;
}

namespace {

template <class T>
bool attrData(const ZelChunk* chunk, const std::vector<T>*& data, int& dimension) {
    data = nullptr;
    if (chunk == nullptr) {
        return false;
    }
    dimension = ZelHelperObj::getDimension(chunk);
    return leafValues(chunk, data);
}

}  // namespace

bool ZelHelperObj::getAttrData(int sampleIndex, int attrIndex, const std::vector<int>*& data,
                               int& dimension) const {
    return attrData(getAttrDataChunk(sampleIndex, attrIndex), data, dimension);
}

bool ZelHelperObj::getAttrData(int sampleIndex, int attrIndex, const std::vector<float>*& data,
                               int& dimension) const {
    return attrData(getAttrDataChunk(sampleIndex, attrIndex), data, dimension);
}

bool ZelHelperObj::getAttrData(int sampleIndex, int attrIndex, const std::vector<double>*& data,
                               int& dimension) const {
    return attrData(getAttrDataChunk(sampleIndex, attrIndex), data, dimension);
}

bool ZelHelperObj::getAttrData(int sampleIndex, int attrIndex, const std::vector<int64>*& data,
                               int& dimension) const {
    return attrData(getAttrDataChunk(sampleIndex, attrIndex), data, dimension);
}

bool ZelHelperObj::getAttrData(int sampleIndex, int attrIndex,
                               const std::vector<std::string>*& data) const {
    data = nullptr;
    return leafValues(getAttrDataChunk(sampleIndex, attrIndex), data);
}

namespace {

template <class T>
bool copyAttr(const std::vector<T>* data, std::vector<T>& values) {
    if (data == nullptr) {
        return false;
    }
    values.assign(data->begin(), data->end());
    return true;
}

}  // namespace

bool ZelHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<int>& values,
                           int& dimension) const {
    const std::vector<int>* data = nullptr;
    getAttrData(sampleIndex, attrIndex, data, dimension);
    return copyAttr(data, values);
}

bool ZelHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<float>& values,
                           int& dimension) const {
    const std::vector<float>* data = nullptr;
    getAttrData(sampleIndex, attrIndex, data, dimension);
    return copyAttr(data, values);
}

bool ZelHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<double>& values,
                           int& dimension) const {
    const std::vector<double>* data = nullptr;
    getAttrData(sampleIndex, attrIndex, data, dimension);
    return copyAttr(data, values);
}

bool ZelHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<int64>& values,
                           int& dimension) const {
    const std::vector<int64>* data = nullptr;
    getAttrData(sampleIndex, attrIndex, data, dimension);
    return copyAttr(data, values);
}

bool ZelHelperObj::getAttr(int sampleIndex, int attrIndex, std::vector<std::string>& values) const {
    const std::vector<std::string>* data = nullptr;
    getAttrData(sampleIndex, attrIndex, data);
    return copyAttr(data, values);
}

std::string ZelHelperObj::getAttrDataType(int sampleIndex, int attrIndex) const {
    const ZelChunk* chunk = getAttrDataChunk(sampleIndex, attrIndex);
    // A missing chunk is the caller's mistake, but a damaged file can cause it too: answer
    // "undef" rather than fail.
    return chunk != nullptr ? chunk->getHeader().typeStr() : std::string(zelTypeNames[kTypeUndef]);
}

float ZelHelperObj::getFirstTime() const {
    return cache_ != nullptr ? cache_->getFirstTime() : std::numeric_limits<float>::quiet_NaN();
}

float ZelHelperObj::getTimeFraction(float time) const {
    float whole = 0.0f;
    if (cache_ == nullptr || cache_->getRate() == 0.0f) {
        return std::modf(time, &whole);
    }
    const float steps = (time - cache_->getFirstTime()) * cache_->getRate();
    return std::modf(steps, &whole);
}

bool ZelHelperObj::getEvalTimeAndSampleIndices(float time, ZelInterpolationHints& hints,
                                               std::vector<int>& samples,
                                               std::vector<float>& times) const {
    const ZelSampleClock clock = cache_ != nullptr ? cache_->sampleClock() : ZelSampleClock();
    const int n = clock.numSamples;
    const bool good = clock.chooseRun(time, hints.order, samples, times);
    if (debugLevel >= 1) {
        std::cerr << "\nZelHelperObj::getEvalTimeAndSampleIndices for ";
        describeHints(std::cerr, hints);
        std::cerr << ", numSamples: " << n << ", evaluate at time: " << time << "\n";
        traceList(" samples:", samples);
        traceList("   times:", times);
        std::cerr << " samples are " << (good ? "good" : "bad") << "\n ...\n";
    }
    return good;
}

bool ZelHelperObj::getAttrAtTime(float time, int attrIndex, ZelInterpolationHints& hints,
                                 std::vector<double>& values, int& dimension) const {
    dimension = 0;
    values.clear();
    std::vector<int> samples;
    std::vector<float> times;
    const bool blend = getEvalTimeAndSampleIndices(time, hints, samples, times);
    const int order = hints.order;
    if (!blend || order < 1 || order > 3) {
        return getAttr(samples[0], attrIndex, values, dimension);
    }
    const std::vector<double>* arrays[4] = {nullptr, nullptr, nullptr, nullptr};
    std::vector<double> held[4];
    const auto read = [&](int sample, const std::vector<double>*& data) {
        return getAttrData(sample, attrIndex, data, dimension);
    };
    if (!readBlendRun(cache_, samples, order, read, arrays, held)) {
        return false;
    }
    const float t = blendParameter(order, time, times);
    blendSamples<double, double>(order, t, arrays, values);
    if (debugLevel >= 1) {
        traceBlend(order, t, values);
    }
    return true;
}

namespace {

// Output position i of the two layouts, read from a stored default-layout box and from a stored
// point-layout box.
constexpr int pointFromDefault[6] = {0, 2, 4, 1, 3, 5};
constexpr int defaultFromPoint[6] = {0, 3, 1, 4, 2, 5};

// Writes out[i] = stored[order[i]] (or stored[i] without an order) where the stored box has
// that value; a short box leaves the rest unwritten.
template <class T>
void copyBox(const std::vector<T>& stored, const int* order, float (&out)[6]) {
    for (int i = 0; i < 6; ++i) {
        const std::size_t from = static_cast<std::size_t>(order != nullptr ? order[i] : i);
        if (from < stored.size()) {
            out[i] = static_cast<float>(stored[from]);
        }
    }
}

// Bounds of the points (stride `stride`, x y z first) in `p`; false when there is no point.
template <class T>
bool pointBounds(const std::vector<T>& p, std::size_t stride, float (&out)[6]) {
    if (p.size() < 3) {
        return false;
    }
    T lo[3] = {p[0], p[1], p[2]};
    T hi[3] = {p[0], p[1], p[2]};
    for (std::size_t i = stride; i + 2 < p.size(); i += stride) {
        for (std::size_t c = 0; c < 3; ++c) {
            const T v = p[i + c];
            if (v < lo[c]) {
                lo[c] = v;
            } else if (v > hi[c]) {
                hi[c] = v;
            }
        }
    }
    for (int c = 0; c < 3; ++c) {
        out[2 * c] = static_cast<float>(lo[c]);
        out[2 * c + 1] = static_cast<float>(hi[c]);
    }
    return true;
}

}  // namespace

bool ZelHelperObj::getBounds(int sampleIndex, float (&bounds)[6], AnimationState& state,
                             bool pointOrder) const {
    state = kStatic;
    const ZelChunk* chunk = nullptr;
    AnimationState origin = findChunk(sampleIndex, kTagBBOX, chunk);
    bool ok = false;
    if (chunk != nullptr) {
        if (debugLevel >= 2) {
            std::cerr << (pointOrder ? "BBOX pointOrder " : "BBOX default    ");
        }
        const std::vector<float>* floats = nullptr;
        const std::vector<double>* doubles = nullptr;
        // A float box is stored in the default layout, a double box in the point layout.
        if (getZelLeafData(chunk, floats)) {
            copyBox(*floats, pointOrder ? pointFromDefault : nullptr, bounds);
            ok = true;
        } else if (getZelLeafData(chunk, doubles)) {
            copyBox(*doubles, pointOrder ? nullptr : defaultFromPoint, bounds);
            ok = true;
        }
    } else {
        origin = findChunk(sampleIndex, kTagPOSI, chunk);
        const auto stride = static_cast<std::size_t>(pointDimension(chunk));
        const std::vector<float>* floats = nullptr;
        const std::vector<double>* doubles = nullptr;
        float box[6];
        bool computed = false;
        if (getZelLeafData(chunk, floats)) {
            computed = pointBounds(*floats, stride, box);
            ok = true;
        } else if (getZelLeafData(chunk, doubles)) {
            computed = pointBounds(*doubles, stride, box);
            ok = true;
        }
        if (computed) {
            for (int i = 0; i < 6; ++i) {
                bounds[i] = box[pointOrder ? pointFromDefault[i] : i];
            }
        }
    }
    if (!ok) {
        return false;
    }
    state = origin;
    if (debugLevel >= 2) {
        std::cerr << "bounds: ";
        for (int i = 0; i < 6; ++i) {
            std::cerr << (i == 0 ? "" : ", ") << bounds[i];
        }
        std::cerr << " animState " << static_cast<int>(state) << std::endl;
    }
    return true;
}

bool ZelHelperObj::getBounds(int sampleIndex, std::vector<float>& bounds, AnimationState& state,
                             bool pointOrder) const {
    float box[6] = {0, 0, 0, 0, 0, 0};
    bounds.resize(6);
    const bool ok = getBounds(sampleIndex, box, state, pointOrder);
    bounds.assign(box, box + 6);
    return ok;
}

}  // namespace Zel

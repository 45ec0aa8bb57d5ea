#include "ZelRoMemCache.h"

#include <algorithm>
#include <cassert>
#include <iostream>

#include "ZelDefinitionChunks.h"
#include "ZelFormat.h"
#include "ZelTrace.h"

namespace Zel {

ZelRoMemCache::ZelRoMemCache() = default;

ZelRoMemCache::ZelRoMemCache(const char* filename, bool keepOpen, bool* ok)
    : ZelCache(filename, keepOpen, ok) {}

ZelRoMemCache::ZelRoMemCache(const char* filename, bool keepOpen, int maxSamples, bool* ok)
    : ZelCache(filename, keepOpen, ok) {
    maxSamples_ = maxSamples;
}

ZelRoMemCache::~ZelRoMemCache() {
    deleteAllSamples();
}

void ZelRoMemCache::reset() {
    deleteAllSamples();
    recency_.clear();
    recencyPos_.clear();
    maxSamples_ = 0;
    ZelCache::reset();
}

bool ZelRoMemCache::load(const char* filename, bool keepOpen) {
    // The base's load starts with the virtual reset, which clears the limit; it outlives loading.
    const int limit = maxSamples_;
    const bool loaded = ZelCache::load(filename, keepOpen);
    maxSamples_ = limit;
    if (getNumSamples() != 0) {
        samples_.resize(static_cast<size_t>(getNumSamples()));
    }
    if (debugLevel >= 1) {
        // A null name would put the error stream in a failed state and silence later messages.
        std::cerr << "ZelRoMemCache::load " << (filename != nullptr ? filename : "") << ' '
                  << loaded << '\n';
    }
    return loaded;
}

bool ZelRoMemCache::load(const char* filename, bool keepOpen, int maxSamples) {
    maxSamples_ = maxSamples;
    return load(filename, keepOpen);
}

// ---- Sample table and recency ----

std::unique_ptr<ZelGroupChunk>& ZelRoMemCache::sampleSlot(int sample, int object) {
    assert(sample >= 0 && object >= 0);
    const auto s = static_cast<size_t>(sample);
    const auto o = static_cast<size_t>(object);
    if (samples_.size() <= s) {
        samples_.resize(s + 1);
    }
    std::unique_ptr<ObjectGroups>& groups = samples_[s];
    if (groups == nullptr) {
        groups = std::make_unique<ObjectGroups>();
    }
    if (groups->size() <= o) {
        groups->resize(o + 1);
    }
    return (*groups)[o];
}

void ZelRoMemCache::evictOldest() {
    const int oldest = recency_.back();
    const auto s = static_cast<size_t>(oldest);
    if (s < samples_.size() && samples_[s] != nullptr) {
        ObjectGroups& groups = *samples_[s];
        if (spares_.size() < groups.size()) {
            spares_.resize(groups.size());
        }
        for (size_t o = 0; o < groups.size(); ++o) {
            if (spares_[o] == nullptr) {
                spares_[o] = std::move(groups[o]);
            }
        }
    }
    deleteSample(oldest);
    recencyPos_[static_cast<size_t>(oldest)] = recency_.end();
    recency_.pop_back();
}

void ZelRoMemCache::touchSample(int sample) {
    // The most recent sample asked for again: nothing moves.
    if (!recency_.empty() && recency_.front() == sample) {
        return;
    }
    const auto s = static_cast<size_t>(sample);
    if (recencyPos_.size() <= s) {
        recencyPos_.resize(s + 1, recency_.end());
    }
    auto& pos = recencyPos_[s];
    if (pos != recency_.end()) {
        // Listed already: move it to the front, then evict from the back until the others fit
        // in the limit beside it. The sample itself is never evicted by its own request.
        recency_.splice(recency_.begin(), recency_, pos);
        while (recency_.size() > 1 && static_cast<int64>(recency_.size()) - 1 >= maxSamples_) {
            evictOldest();
        }
        return;
    }
    while (!recency_.empty() && static_cast<int64>(recency_.size()) >= maxSamples_) {
        evictOldest();
    }
    recency_.push_front(sample);
    pos = recency_.begin();
}

void ZelRoMemCache::setMaxSamples(int maxSamples) {
    if (getUpdate()) {
        return;
    }
    const int limit = std::max(maxSamples, 0);
    if (limit < maxSamples_) {
        while (static_cast<int64>(recency_.size()) > limit) {
            evictOldest();
        }
    }
    // Without a limit nothing is evicted again, so nothing would take the spares' place.
    if (limit == 0) {
        spares_.clear();
    }
    maxSamples_ = limit;
}

void ZelRoMemCache::deleteSample(int sample) {
    assert(sample >= 0);
    if (sample < 0 || static_cast<size_t>(sample) >= samples_.size() ||
        samples_[static_cast<size_t>(sample)] == nullptr) {
        return;
    }
    samples_[static_cast<size_t>(sample)].reset();
    if (static_cast<size_t>(sample) + 1 == samples_.size()) {
        size_t end = samples_.size();
        while (end > 0 && samples_[end - 1] == nullptr) {
            --end;
        }
        samples_.resize(end);
    }
}

void ZelRoMemCache::deleteAllSamples() {
    // Last to first, as the groups were most likely read first to last.
    while (!samples_.empty()) {
        if (ObjectGroups* groups = samples_.back().get()) {
            while (!groups->empty()) {
                groups->pop_back();
            }
        }
        samples_.pop_back();
    }
    spares_.clear();
}

bool ZelRoMemCache::loadMissing(int sample, int object) {
    std::unique_ptr<ObjectGroups>& groups = samples_[static_cast<size_t>(sample)];
    if (groups == nullptr) {
        groups = std::make_unique<ObjectGroups>();
    }
    const auto o = static_cast<size_t>(object);
    if (o < groups->size() && (*groups)[o] != nullptr) {
        return true;
    }
    // The array grows only for a group actually read: a damaged file whose samples lack most
    // of its objects must not cost a slot per sample and object.
    std::unique_ptr<ZelGroupChunk> group(loadObjectSample(sample, object));
    if (group == nullptr) {
        return false;
    }
    if (groups->size() <= o) {
        groups->resize(o + 1);
    }
    (*groups)[o] = std::move(group);
    return true;
}

bool ZelRoMemCache::loadAllSamples() {
    const int numSamples = getNumSamples();
    const int numObjects = getNumObjects();
    samples_.resize(static_cast<size_t>(std::max(numSamples, 0)));
    for (int s = 0; s < numSamples; ++s) {
        for (int o = 0; o < numObjects; ++o) {
            loadMissing(s, o);
        }
    }
    return true;
}

bool ZelRoMemCache::loadSamplesNotGreaterThan(int last) {
    const int m = std::min(getNumSamples() - 1, last);
    if (m < 0) {
        return true;
    }
    if (m == getNumSamples() - 1) {
        return loadAllSamples();
    }
    if (samples_.size() < static_cast<size_t>(m) + 1) {
        samples_.resize(static_cast<size_t>(m) + 1);
    }
    const int numObjects = getNumObjects();
    for (int s = 0; s <= m; ++s) {
        for (int o = 0; o < numObjects; ++o) {
            if (!loadMissing(s, o)) {
                return false;
            }
        }
    }
    return true;
}

// ---- Reads ----

const ZelGroupChunk* ZelRoMemCache::getSample(int sample, int object) {
    const int n = getNumObjects();
    assert(object >= 0);
    if (n < 1 || object < 0 || object >= n || sample < 0 || sample >= getNumSamples()) {
        return nullptr;
    }
    if (!getUpdate() && maxSamples_ != 0) {
        touchSample(sample);
    }
    std::unique_ptr<ZelGroupChunk>& slot = sampleSlot(sample, object);
    if (slot == nullptr) {
        // A failed read stores nothing, so the next request reads again.
        slot = readGroup(sample, object);
    }
    return slot.get();
}

std::unique_ptr<ZelGroupChunk> ZelRoMemCache::readGroup(int sample, int object) {
    const auto o = static_cast<size_t>(object);
    std::unique_ptr<ZelGroupChunk> group = o < spares_.size() ? std::move(spares_[o]) : nullptr;
    if (group == nullptr) {
        group = std::make_unique<ZelGroupChunk>(kTagSOBJ);
    }
    if (!loadObjectSample(sample, object, *group)) {
        group.reset();
    }
    return group;
}

const ZelChunk* ZelRoMemCache::getSample(int sample, int object, unsigned tag, int* index) {
    const ZelGroupChunk* group = getSample(sample, object);
    if (group == nullptr) {
        return nullptr;
    }
    const uint64 start = index != nullptr && *index > 0 ? static_cast<uint64>(*index) : 0;
    const uint64 found = group->findChild(tag, start);
    if (index != nullptr) {
        *index = static_cast<int>(found);
    }
    return found < group->numChildren() ? group->getChild(found) : nullptr;
}

const ZelChunk* ZelRoMemCache::getObjectData(int sample, int object, unsigned tag, bool* animated) {
    if (animated != nullptr) {
        *animated = false;
    }
    if (object < 0 || object >= getNumObjects()) {
        return nullptr;
    }
    // What the definition holds is static and wins over any sample.
    if (const ZelChunk* found = findChunk(getObjDef(object), tag)) {
        return found;
    }
    const ZelGroupChunk* group = getSample(sample, object);
    if (group == nullptr) {
        return nullptr;
    }
    const ZelChunk* found = findChunk(group, tag);
    if (found != nullptr && animated != nullptr) {
        *animated = true;
    }
    return found;
}

ZelChunk* ZelRoMemCache::getAttrData(int sample, int object, int attr) {
    if (object < 0 || object >= getNumObjects()) {
        return nullptr;
    }
    const ZelDATRChunk* datr = getObjDef(object)->getDATR();
    if (datr == nullptr) {
        return nullptr;
    }
    const int count = getNumAttrs(object);
    if (count == 0) {
        return nullptr;
    }
    if (attr < 0 || attr >= count) {
        std::cerr << "DATR index out of range " << attr << std::endl;
        return nullptr;
    }
    if (!datr->isAnimated(attr)) {
        return datr->getStaticData(attr);
    }
    const ZelChunk* chunk = getSample(sample, object, kTagATRS, nullptr);
    const auto* atrs = dynamic_cast<const ZelGroupChunk*>(chunk);
    if (atrs == nullptr || atrs->getType() != kTypeGroup) {
        std::cerr << "ATRS GROUP chunk missing for object at " << object << std::endl;
        return nullptr;
    }
    const int k = datr->getAnimatedDataIndex(attr);
    if (k < 0) {
        std::cerr << "Animated Data missing for object at " << object << std::endl;
        return nullptr;
    }
    // The position comes from the definition, the group from the file: they may disagree.
    if (static_cast<uint64>(k) >= atrs->numChildren()) {
        return nullptr;
    }
    // The cache owns the group; callers may edit the value in place.
    return const_cast<ZelChunk*>(atrs->getChild(static_cast<uint64>(k)));
}

int ZelRoMemCache::getNumVertices(int sample, int object) {
    if (object < 0 || object >= getNumObjects()) {
        return 0;
    }
    const ZelChunk* posi = findChunk(getObjDef(object), kTagPOSI);
    if (posi == nullptr && sample >= 0) {
        posi = findChunk(getSample(sample, object), kTagPOSI);
    }
    if (posi == nullptr) {
        return 0;
    }
    const int64 dimension = posi->getDimension() == 0 ? 3 : posi->getDimension();
    // Every type but double is counted as 4 bytes wide, int64 included.
    const int64 width = posi->getType() == kTypeDouble ? sizeof(double) : sizeof(float);
    return static_cast<int>(posi->getLength() / (dimension * width));
}

template <class T>
const std::vector<T>* ZelRoMemCache::getSampleDataAtTime(float time, int object, unsigned tag,
                                                         int* index) {
    if (getNumObjects() < 1) {
        return nullptr;
    }
    const int s = getSampleIndex(time);
    if (s < 0) {
        return nullptr;
    }
    const auto* leaf = dynamic_cast<const ZelLeafChunk<T>*>(getSample(s, object, tag, index));
    return leaf == nullptr ? nullptr : &leaf->values();
}

template ZEL_API const std::vector<char>* ZelRoMemCache::getSampleDataAtTime<char>(float, int,
                                                                                   unsigned, int*);
template ZEL_API const std::vector<int>* ZelRoMemCache::getSampleDataAtTime<int>(float, int,
                                                                                 unsigned, int*);
template ZEL_API const std::vector<float>* ZelRoMemCache::getSampleDataAtTime<float>(float, int,
                                                                                     unsigned,
                                                                                     int*);
template ZEL_API const std::vector<double>* ZelRoMemCache::getSampleDataAtTime<double>(float, int,
                                                                                       unsigned,
                                                                                       int*);
template ZEL_API const std::vector<int64>* ZelRoMemCache::getSampleDataAtTime<int64>(float, int,
                                                                                     unsigned,
                                                                                     int*);
template ZEL_API const std::vector<std::string>* ZelRoMemCache::getSampleDataAtTime<std::string>(
    float, int, unsigned, int*);

}  // namespace Zel

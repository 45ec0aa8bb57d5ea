#include "ZelRwMemCache.h"

#include <unistd.h>
#include <algorithm>
#include <cassert>
#include <cstdio>
#include <iostream>

#include "ZelFormat.h"
#include "ZelReplace.h"
#include "ZelSAMSChunk.h"
#include "ZelTrace.h"

namespace Zel {

namespace {

// The exact number of bytes `chunk` writes, measured by writing it to the null device: the
// metadata's own length is an estimate, and rewriting it in place needs the real size.
int64 writtenSize(const ZelChunk& chunk) {
    ZelFile sink;
    if (!sink.open("/dev/null", "w") || !chunk.write(sink)) {
        return -1;
    }
    return sink.tell();
}

}  // namespace

// ---- Construction ----

ZelRwMemCache::ZelRwMemCache() {
    setUpdate(true);
}

ZelRwMemCache::ZelRwMemCache(const char* filename, bool keepOpen, bool* ok)
    : ZelRoMemCache(filename, keepOpen, ok) {
    setUpdate(true);
}

ZelRwMemCache::~ZelRwMemCache() = default;

// ---- Allocation ----

std::unique_ptr<ZelRoMemCache::ObjectGroups> ZelRwMemCache::newSampleGroups(int object,
                                                                            ZelGroupChunk*& group) {
    auto groups = std::make_unique<ObjectGroups>(static_cast<size_t>(object) + 1);
    std::unique_ptr<ZelGroupChunk>& slot = (*groups)[static_cast<size_t>(object)];
    slot = std::make_unique<ZelGroupChunk>(kTagSOBJ);
    group = slot.get();
    return groups;
}

void ZelRwMemCache::extendObjects(int object) {
    while (object >= getNumObjects()) {
        dirty_ = true;
        meta_.addDOBJ("");
    }
}

ZelGroupChunk* ZelRwMemCache::allocSample(float time, int object) {
    assert(object >= 0);
    if (object < 0) {
        return nullptr;
    }
    extendObjects(object);
    dirty_ = true;
    if (getNumSamples() == 0) {
        return allocFirstSample(time, object);
    }
    if (time > meta_.lastTime) {
        return allocSampleAfterLast(time, object);
    }
    // Any allocation at or before the last time, even filling another object into a sample just
    // appended, makes the next save rewrite the whole file.
    appendedOnly_ = false;
    const int i = getMinSampleIndexNotLessThan(time);
    // Only a NaN time (or float error at the very end of a uniform range) finds no sample.
    if (i < 0) {
        return nullptr;
    }
    if (getSampleTime(i) == time) {
        std::unique_ptr<ZelGroupChunk>& slot = sampleSlot(i, object);
        if (slot == nullptr) {
            slot = std::make_unique<ZelGroupChunk>(kTagSOBJ);
        }
        return slot.get();
    }
    return insertSample(i, time, object);
}

ZelGroupChunk* ZelRwMemCache::allocFirstSample(float time, int object) {
    ZelGroupChunk* group = nullptr;
    meta_.firstTime = time;
    meta_.lastTime = time;
    meta_.numSamples = 1;
    meta_.rate = 1.0f;
    samples_.resize(1);
    samples_[0] = newSampleGroups(object, group);
    return group;
}

ZelGroupChunk* ZelRwMemCache::allocSampleAfterLast(float time, int object) {
    ZelGroupChunk* group = nullptr;
    const int n = getNumSamples();
    const auto un = static_cast<size_t>(n);
    appendedOnly_ = true;
    const float step = 1.0f / (time - meta_.lastTime);
    if (n == 1) {
        meta_.rate = step;
    } else if (meta_.rate != 0.0f && step != meta_.rate) {
        convertToNonUniformSampling();
    }
    samples_.resize(un + 1);
    samples_[un] = newSampleGroups(object, group);
    if (meta_.rate == 0.0f) {
        times_.resize(un + 1);
        times_[un] = time;
    }
    meta_.numSamples = n + 1;
    meta_.lastTime = time;
    return group;
}

ZelGroupChunk* ZelRwMemCache::insertSample(int i, float time, int object) {
    ZelGroupChunk* group = nullptr;
    // Every sample must be in memory before the indices behind the new one move up.
    loadAllSamples();
    if (time > meta_.firstTime) {
        convertToNonUniformSampling();
    } else if (meta_.rate != 0.0f &&
               1.0 / (static_cast<double>(meta_.firstTime) - static_cast<double>(time)) !=
                   static_cast<double>(meta_.rate)) {
        convertToNonUniformSampling();
    }
    const auto ui = static_cast<size_t>(i);
    samples_.insert(samples_.begin() + static_cast<std::ptrdiff_t>(ui),
                    newSampleGroups(object, group));
    if (times_.size() < ui) {
        times_.resize(ui);
    }
    times_.insert(times_.begin() + static_cast<std::ptrdiff_t>(ui), time);
    // The file offsets move with their samples: the new sample has none, so an object it lacks
    // is never read from another sample's place in the file.
    if (ui < jumpTable_.size()) {
        jumpTable_.insert(jumpTable_.begin() + static_cast<std::ptrdiff_t>(ui), 0);
    }
    currentSample_ = -1;
    meta_.numSamples = getNumSamples() + 1;
    if (i == 0) {
        meta_.firstTime = time;
    }
    return group;
}

// ---- Sampling ----

void ZelRwMemCache::convertToNonUniformSampling() {
    if (meta_.rate == 0.0f) {
        return;
    }
    const auto n = static_cast<size_t>(std::max(getNumSamples(), 0));
    times_.resize(n);
    for (size_t i = 0; i < n; ++i) {
        times_[i] = static_cast<float>(i) / meta_.rate + meta_.firstTime;
    }
    meta_.rate = 0.0f;
}

bool ZelRwMemCache::convertToUniformSampling() {
    if (meta_.rate != 0.0f) {
        return true;
    }
    const auto n = static_cast<size_t>(std::max(getNumSamples(), 0));
    float rate = 1.0f;
    if ((n > 1 && times_.size() < n) || !uniformRate(times_.data(), n, rate)) {
        return false;
    }
    meta_.rate = rate;
    times_.clear();
    return true;
}

void ZelRwMemCache::shiftFirstTimeTo(float time) {
    const float delta = time - meta_.firstTime;
    if (delta == 0.0f) {
        return;
    }
    if (meta_.rate == 0.0f) {
        for (float& t : times_) {
            t += delta;
        }
        if (!times_.empty()) {
            dirty_ = true;
        }
        return;
    }
    meta_.firstTime = time;
    meta_.lastTime = meta_.lastTime + delta;
    dirty_ = true;
}

void ZelRwMemCache::truncate(float time) {
    if (!(time < meta_.lastTime)) {
        return;
    }
    if (meta_.firstTime > time) {
        deleteCache();
        return;
    }
    const int i = getMinSampleIndexNotLessThan(time);
    if (i < 0) {
        deleteCache();
        return;
    }
    dirty_ = true;
    close();
    meta_.lastTime = getSampleTime(i);
    meta_.numSamples = i + 1;
    const auto keep = static_cast<size_t>(i) + 1;
    if (samples_.size() > keep) {
        samples_.resize(keep);
    }
    // The file's samples past the cut are no longer the cache's: samples appended later must not
    // be read from their places, and appending to the file must not take them as already written.
    if (jumpTable_.size() > keep) {
        jumpTable_.resize(keep);
    }
    currentSample_ = -1;
}

void ZelRwMemCache::deleteCache() {
    const std::string filename = filename_;
    const bool keepOpen = keepOpen_;
    reset();
    filename_ = filename;
    keepOpen_ = keepOpen;
}

// ---- Names and metadata ----

void ZelRwMemCache::setReservedSamples(int count) {
    reservedSamples_ = count;
}

void ZelRwMemCache::setName(int object, const char* name) {
    assert(object >= 0);
    if (object < 0) {
        return;
    }
    extendObjects(object);
    const char* newName = name != nullptr ? name : "";
    ZelDOBJChunk* dobj = meta_.getDOBJ(object);
    if (dobj->getName() != newName) {
        dirty_ = true;
        dobj->setName(newName);
    }
}

bool ZelRwMemCache::setAttrName(int object, int attr, const std::string& name) {
    if (object < 0 || object >= getNumObjects()) {
        return false;
    }
    dirty_ = true;
    ZelDATRChunk* datr = meta_.getDOBJ(object)->getDATR();
    return datr != nullptr && datr->setAttrName(attr, name);
}

bool ZelRwMemCache::setAttrType(int object, int attr, const std::string& type) {
    if (object < 0 || object >= getNumObjects()) {
        return false;
    }
    dirty_ = true;
    ZelDATRChunk* datr = meta_.getDOBJ(object)->getDATR();
    return datr != nullptr && datr->setAttrType(attr, type);
}

void ZelRwMemCache::setApplication(const std::string& application) {
    meta_.application = application;
}

void ZelRwMemCache::setSourceFile(const std::string& sourceFile) {
    meta_.sourceFile = sourceFile;
}

void ZelRwMemCache::setSpace(int space) {
    meta_.space = space;
}

// ---- Saving ----

int64 ZelRwMemCache::reserveCount() const {
    return reserveRule(reservedSamples_, getNumSamples());
}

bool ZelRwMemCache::writeSamples(ZelSAMSChunk& sams, int first, bool nonUniform) {
    const int n = getNumSamples();
    const int numObjects = getNumObjects();
    if (first < 0 || samples_.size() < static_cast<size_t>(n) ||
        (nonUniform && times_.size() < static_cast<size_t>(n))) {
        return false;
    }
    jumpTable_.resize(static_cast<size_t>(n));
    for (int s = first; s < n; ++s) {
        const auto us = static_cast<size_t>(s);
        const ObjectGroups* groups = samples_[us].get();
        if (groups == nullptr) {
            return false;
        }
        bool ok = false;
        jumpTable_[us] = file_.tell(&ok);
        if (!ok) {
            return false;
        }
        if (!sams.writeStartSAMPChunk(file_, numObjects, nonUniform ? &times_[us] : nullptr)) {
            return false;
        }
        for (int o = 0; o < numObjects; ++o) {
            const auto uo = static_cast<size_t>(o);
            const ZelGroupChunk* group = uo < groups->size() ? (*groups)[uo].get() : nullptr;
            const bool written =
                group != nullptr ? sams.writeSOBJChunk(file_, group)
                                 : sams.writeStartSOBJChunk(file_) && sams.writeEndSOBJChunk(file_);
            if (!written) {
                return false;
            }
        }
        if (!sams.writeEndSAMPChunk(file_)) {
            return false;
        }
    }
    return true;
}

bool ZelRwMemCache::save(bool* saved, bool* deleted) {
    if (dirty_) {
        // saveAs adopts the name it is given, so it must not alias the member it assigns.
        const std::string filename = filename_;
        return saveAs(filename.c_str(), saved, deleted);
    }
    if (saved != nullptr) {
        *saved = false;
    }
    if (deleted != nullptr) {
        *deleted = false;
    }
    return true;
}

bool ZelRwMemCache::saveAs(const char* filename, bool* saved, bool* deleted) {
    if (saved != nullptr) {
        *saved = false;
    }
    if (deleted != nullptr) {
        *deleted = false;
    }
    if (filename == nullptr) {
        return false;
    }
    const std::string target(filename);
    if (getNumObjects() == 0) {
        close();
        if (!ZelFile::exists(target.c_str())) {
            return true;
        }
        const bool removed = unlink(target.c_str()) == 0;
        if (deleted != nullptr) {
            *deleted = removed;
        }
        jumpTable_.clear();
        times_.clear();
        return true;
    }
    if (target == filename_ && append()) {
        if (saved != nullptr) {
            *saved = true;
        }
        return true;
    }
    if (!rewrite(target.c_str())) {
        // A half-written file must not serve later reads through a write-only handle.
        close();
        return false;
    }
    if (saved != nullptr) {
        *saved = true;
    }
    return true;
}

bool ZelRwMemCache::rewrite(const char* filename) {
    if (!loadAllSamples()) {
        return false;
    }
    const bool nonUniform = !convertToUniformSampling();
    meta_.date = dateStampNow();
    // Every sample is in memory now, so the old handle, perhaps on the very file about to be
    // replaced, is done with.
    file_.close();
    ZelReplace replace;
    if (!replace.begin(filename, file_) || !writeWhole(nonUniform)) {
        replace.abandon(file_);
        return false;
    }
    if (!replace.commit(file_)) {
        return false;
    }
    filename_ = filename;
    currentSample_ = -1;
    dirty_ = false;
    return true;
}

bool ZelRwMemCache::writeWhole(bool nonUniform) {
    if (!dzel_.write(file_) || !meta_.write(file_)) {
        return false;
    }
    const int n = getNumSamples();
    if (n < 1) {
        return true;
    }
    if (samples_.size() != static_cast<size_t>(n)) {
        return false;
    }
    ZelSAMSChunk sams;
    return sams.writeStart(file_, n, reserveCount(), nonUniform) &&
           writeSamples(sams, 0, nonUniform) && sams.writeEnd(file_);
}

// What append learns from the file before it writes anything.
struct ZelRwMemCache::AppendPlan : FileLayout {};

// The file's layout, when its metadata has the length the cache's metadata would have now.
bool ZelRwMemCache::planAppend(AppendPlan& plan) {
    return scanFileLayout(file_, plan, debugLevel >= 1 ? &std::cerr : nullptr, meta_.getLength());
}

bool ZelRwMemCache::append() {
    if (!ZelFile::isWritable(filename_.c_str()) || getNumObjects() == 0) {
        return false;
    }
    if (getNumSamples() == 0) {
        return writeHeadOnly();
    }
    if (!appendedOnly_) {
        return false;
    }
    if (debugLevel >= 1) {
        std::cerr << " APPEND " << file_.tell() << '\n';
    }
    if (!file_.isOpen() && !file_.open(filename_.c_str(), "r+")) {
        return false;
    }
    AppendPlan plan;
    bool uniform = false;
    if (!planAppend(plan) || !matchesFile(plan, uniform)) {
        return false;
    }
    const int n = getNumSamples();
    const auto f = static_cast<int64>(plan.jumps.size());
    if (debugLevel >= 1) {
        std::cerr << " file size " << plan.fileSize << " Samples cached " << samples_.size()
                  << " file jumps " << f << " cache jumps " << jumpTable_.size() << " numFREE "
                  << plan.tables.spareJumps << '\n'
                  << " times cached " << times_.size() << " file " << plan.times.size()
                  << " LastTime cached " << meta_.lastTime << '\n'
                  << " numSamplesToAppend " << n - f << " sampleToStartAppend " << f
                  << " numSamples " << n << '\n';
    }
    // Until the commit the file's own bytes stay as they are: the new samples go past its end, and
    // the metadata and table updates that would make them visible wait in memory.
    file_.holdWritesBelow(plan.fileSize);
    if (!writeAppended(plan, uniform) || !file_.commitHeldWrites()) {
        file_.discardHeldWrites();
        file_.close();
        return false;
    }
    if (!file_.close()) {
        return false;
    }
    currentSample_ = -1;
    dirty_ = false;
    return true;
}

bool ZelRwMemCache::writeHeadOnly() {
    file_.close();
    ZelReplace replace;
    if (!replace.begin(filename_.c_str(), file_)) {
        return false;
    }
    meta_.date = dateStampNow();
    if (!dzel_.write(file_) || !meta_.write(file_) || !replace.commit(file_)) {
        replace.abandon(file_);
        return false;
    }
    dirty_ = false;
    return true;
}

bool ZelRwMemCache::matchesFile(const AppendPlan& plan, bool& uniform) {
    const auto f = static_cast<int64>(plan.jumps.size());
    if (getNumSamples() - f < 1) {
        return false;
    }
    // The file's samples must be the ones this cache read or wrote there: a truncated, reset or
    // otherwise changed cache has a different jump table and is rewritten instead.
    if (static_cast<int64>(jumpTable_.size()) < f ||
        !std::equal(plan.jumps.begin(), plan.jumps.end(), jumpTable_.begin())) {
        return false;
    }
    jumpTable_.resize(static_cast<size_t>(getNumSamples()));
    const SectionTables& t = plan.tables;
    if (t.spareTimes != 0 && t.spareTimes != t.spareJumps) {
        return false;
    }
    uniform = convertToUniformSampling();
    if (uniform ? t.timeCount != 0 : t.timeCount == 0) {
        return false;
    }
    return uniform ||
           (static_cast<int64>(plan.times.size()) == f && times_.size() >= plan.times.size() &&
            std::equal(plan.times.begin(), plan.times.end(), times_.begin()));
}

bool ZelRwMemCache::writeAppended(const AppendPlan& plan, bool uniform) {
    const auto f = static_cast<int64>(plan.jumps.size());
    const int64 k = getNumSamples() - f;
    // The metadata goes back where it stands only when it fills exactly its old place.
    meta_.date = dateStampNow();
    if (writtenSize(meta_) != kHeaderSize + plan.metaLength ||
        !file_.seek(plan.metaOffset, SEEK_SET, true) || !meta_.write(file_) ||
        file_.tell() != plan.metaOffset + kHeaderSize + plan.metaLength) {
        return false;
    }
    ZelSAMSChunk sams;
    const bool inPlace = plan.tables.spareJumps >= k && (uniform || plan.tables.spareTimes >= k) &&
                         plan.samsEnd == plan.fileSize;
    if (inPlace) {
        if (!file_.seek(plan.samsOffset, SEEK_SET, true) || !sams.appendStart(file_, k)) {
            return false;
        }
    } else if (!file_.seek(0, SEEK_END, true) ||
               !sams.writeStart(file_, k, reserveCount(), !uniform)) {
        return false;
    }
    return writeSamples(sams, static_cast<int>(f), !uniform) && sams.writeEnd(file_);
}

}  // namespace Zel

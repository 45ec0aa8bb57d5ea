#include "ZelCache.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <iostream>
#include <memory>
#include <string_view>

#include "ZelFormat.h"
#include "ZelSampleClock.h"
#include "ZelTrace.h"

namespace Zel {

namespace {

// Load failures name this source by its path in the source tree, whatever the build's path.
const char* const kSourcePath = "animcache/src/libzel/src/ZelCache.cpp";

// The part of `name` after its last "|".
std::string_view shortView(const std::string& name) {
    const std::string::size_type bar = name.rfind('|');
    std::string_view view(name);
    return bar == std::string::npos ? view : view.substr(bar + 1);
}

}  // namespace

ZelCache::ZelCache() = default;

ZelCache::ZelCache(const char* filename, bool keepOpen, bool* ok) {
    // A derived class is not constructed yet, so this is this class's own load in any case.
    const bool loaded = ZelCache::load(filename, keepOpen);
    if (ok != nullptr) {
        *ok = loaded;
    }
}

ZelCache::~ZelCache() {
    ZelCache::reset();
}

void ZelCache::reset() {
    filename_.clear();
    file_.close();
    keepOpen_ = true;
    dzel_.reset();
    meta_.reset();
    times_.clear();
    jumpTable_.clear();
    objectOffsets_.clear();
    currentSample_ = -1;
}

void ZelCache::reportLoad(int line, const char* message) {
    std::cout << kSourcePath << ':' << std::to_string(line) << ' ' << message << std::endl;
}

void ZelCache::failLoad(int line, const char* message) {
    reportLoad(line, message);
    throw false;
}

bool ZelCache::load(const char* filename, bool keepOpen) {
    reset();
    if (!ZelFile::isZelFile(filename)) {
        reportLoad(__LINE__, "error opening file, Not a Zel file");
        return false;
    }
    const char* mode = update_ && ZelFile::isWritable(filename) ? "r+" : "r";
    if (!file_.open(filename, mode)) {
        reportLoad(__LINE__, "error opening file");
        return false;
    }
    keepOpen_ = keepOpen;
    filename_ = filename;
    try {
        ZelHeader h;
        if (!file_.readHeader(h)) {
            failLoad(__LINE__, "error reading header");
        }
        if (!dzel_.read(h, file_)) {
            failLoad(__LINE__, "error reading DZEL chunk");
        }
        for (;;) {
            if (!file_.readHeader(h)) {
                failLoad(__LINE__, "missing META chunk");
            }
            if (h.tag == kTagMETA) {
                break;
            }
            if (!file_.skipData(h)) {
                failLoad(__LINE__, "error skipping chunk");
            }
        }
        if (!meta_.read(h, file_)) {
            failLoad(__LINE__, "error reading META chunk");
        }
        if (meta_.numSamples != 0) {
            readSamplesSections();
            checkTimes();
        }
    } catch (bool) {
        reset();
        return false;
    }
    if (!keepOpen) {
        file_.close();
    }
    return true;
}

// Reads the time and jump tables of one samples section after another until the jump table
// covers every sample. The samples themselves are not visited.
void ZelCache::readSamplesSections() {
    for (;;) {
        const int64 sectionEnd = findNextSection();
        SectionTables tables;
        switch (readSectionTables(file_, times_, jumpTable_, tables,
                                  debugLevel >= 1 ? &std::cerr : nullptr)) {
            case SectionTablesError::kTimes:
                failLoad(__LINE__, "error reading TIMS chunk");
                break;
            case SectionTablesError::kJumps:
                failLoad(__LINE__, "error reading JSAM chunk");
                break;
            case SectionTablesError::kReserve:
                failLoad(__LINE__, "error skipping FREE chunk");
                break;
            case SectionTablesError::kNone:
                break;
        }
        checkSectionTables(tables.hasTimes, tables.hasJumps);
        if (static_cast<int64>(jumpTable_.size()) >= meta_.numSamples) {
            return;
        }
        // The next section lies behind everything scanned so far; a section end before the scan's
        // position would revisit bytes already read (and could do so without end).
        if (!file_.isOpen() || sectionEnd < file_.tell() ||
            !file_.seek(sectionEnd, SEEK_SET, true)) {
            failLoad(__LINE__, "error seeking file");
        }
    }
}

// Reads up to and including the next "SAMS" header, skipping every other chunk, and returns the
// position where that section ends.
int64 ZelCache::findNextSection() {
    ZelHeader h;
    for (;;) {
        if (!file_.readHeader(h)) {
            failLoad(__LINE__, "missing next SAMS chunk for sample ");
        }
        if (h.tag == kTagSAMS) {
            break;
        }
        if (!file_.skipData(h)) {
            failLoad(__LINE__, "error skipping chunk");
        }
    }
    if (!file_.isOpen()) {
        failLoad(__LINE__, "error telling file");
    }
    return payloadEnd(file_.tell(), h);
}

// Checks the tables of one section against the metadata, with every section's tables so far.
void ZelCache::checkSectionTables(bool sawTimes, bool sawJumps) {
    if (!sawJumps) {
        failLoad(__LINE__, "missing JSAM chunk");
    }
    if (jumpTable_.empty()) {
        failLoad(__LINE__, "no entries in jump table");
    }
    if (meta_.rate == 0.0f) {
        if (!sawTimes) {
            failLoad(__LINE__, "missing TIMS chunk");
        }
        if (times_.size() != jumpTable_.size()) {
            failLoad(__LINE__, "jump table and time table size mismatch");
        }
    } else if (sawTimes) {
        failLoad(__LINE__, "unexpected TIMS chunk");
    }
}

// Checks the jump table against the number of samples, then the time range against the tables.
void ZelCache::checkTimes() {
    if (static_cast<int64>(jumpTable_.size()) != meta_.numSamples) {
        failLoad(__LINE__, "number of samples is wrong");
    }
    if (times_.empty()) {
        const float x = (meta_.lastTime - meta_.firstTime) * meta_.rate;
        const double xd = x;
        // Rounded half away from zero; a NaN or out-of-range count never matches a table.
        if (!(xd > -2147483648.0 && xd < 2147483647.0)) {
            failLoad(__LINE__, "number of samples is wrong");
        }
        const int n = xd > 0.0 ? static_cast<int>(xd + 0.5) : -static_cast<int>(0.5 - xd);
        if (static_cast<float>(jumpTable_.size()) != static_cast<float>(n) + 1.0f) {
            failLoad(__LINE__, "number of samples is wrong");
        }
    } else {
        if (meta_.firstTime != times_.front()) {
            failLoad(__LINE__, "first time is wrong");
        }
        if (meta_.lastTime != times_.back()) {
            failLoad(__LINE__, "last time is wrong");
        }
    }
}

bool ZelCache::close() {
    return file_.close();
}

bool ZelCache::setKeepOpen(bool keepOpen) {
    keepOpen_ = keepOpen;
    return keepOpen ? true : file_.close();
}

bool ZelCache::getKeepOpen() const {
    return keepOpen_;
}

const std::string& ZelCache::getFilename() const {
    return filename_;
}

int ZelCache::getVersion() const {
    return static_cast<int>(dzel_.getVersion());
}

const std::string& ZelCache::getApplication() const {
    return meta_.application;
}

const std::string& ZelCache::getSourceFile() const {
    return meta_.sourceFile;
}

const int64& ZelCache::getDateStamp() const {
    return meta_.date;
}

float ZelCache::getFirstTime() const {
    return meta_.firstTime;
}

float ZelCache::getLastTime() const {
    return meta_.lastTime;
}

float ZelCache::getRate() const {
    return meta_.rate;
}

int ZelCache::getSpace() const {
    return static_cast<int>(meta_.space);
}

int ZelCache::getNumSamples() const {
    return static_cast<int>(meta_.numSamples);
}

int ZelCache::getNumObjects() const {
    return static_cast<int>(meta_.getNumObjects());
}

bool ZelCache::isAnimated() const {
    if (meta_.numSamples == 0) {
        return false;
    }
    const float span = meta_.lastTime - meta_.firstTime;
    return span > 0.0f;
}

bool ZelCache::isNonUniform() const {
    return meta_.rate == 0.0f;
}

const ZelDZELChunk& ZelCache::getDZELChunk() const {
    return dzel_;
}

ZelMETAChunk& ZelCache::getMETAChunk() {
    return meta_;
}

// ---- Sample times and indices ----

ZelSampleClock ZelCache::sampleClock() const {
    ZelSampleClock clock;
    clock.numSamples = getNumSamples();
    clock.firstTime = meta_.firstTime;
    clock.lastTime = meta_.lastTime;
    clock.rate = meta_.rate;
    clock.times = times_.data();
    clock.timeCount = times_.size();
    return clock;
}

int ZelCache::getSampleIndex(float time) const {
    return sampleClock().sampleIndex(time);
}

int ZelCache::getMaxSampleIndexNotGreaterThan(float time) const {
    return sampleClock().maxIndexNotGreaterThan(time);
}

int ZelCache::getMinSampleIndexNotLessThan(float time) const {
    return sampleClock().minIndexNotLessThan(time);
}

float ZelCache::getSampleTime(int index) const {
    return sampleClock().sampleTime(index);
}

// ---- Object lookup ----

std::string ZelCache::shortName(const std::string& name) {
    return std::string(shortView(name));
}

bool ZelCache::compareNames(const std::string& a, const std::string& b) const {
    if (a == b) {
        if (debugLevel >= 3) {
            std::cerr << "long name match 1st in 2nd string\n" << a << '\n' << b << '\n';
        }
        return true;
    }
    if (shortView(b) == shortView(a)) {
        if (debugLevel >= 3) {
            std::cerr << "short name match \n" << a << '\n' << b << '\n';
        }
        return true;
    }
    return false;
}

int ZelCache::findObjectIndex(const std::string& name, int start) const {
    const int n = getNumObjects();
    if (n == 0 || name.empty()) {
        return -1;
    }
    if (start < 0 || start >= n) {
        start = 0;
    }
    for (int64 k = 0; k < n; ++k) {
        const int i = static_cast<int>((start + k) % n);
        if (compareNames(getName(i), name)) {
            return i;
        }
    }
    return -1;
}

const ZelDOBJChunk* ZelCache::objDef(int object) const {
    assert(object >= 0 && object < getNumObjects());
    return meta_.getDOBJ(object);
}

const std::string& ZelCache::getName(int object) const {
    return objDef(object)->getName();
}

const ZelDOBJChunk* ZelCache::getObjDef(int object) const {
    return objDef(object);
}

int ZelCache::getNumAttrs(int object) const {
    const ZelDATRChunk* datr = objDef(object)->getDATR();
    if (datr == nullptr) {
        return 0;
    }
    return static_cast<int>(datr->getAATR().names().size() + datr->getSATR().names().size());
}

int ZelCache::findAttr(int object, const std::string& name) const {
    const ZelDATRChunk* datr = objDef(object)->getDATR();
    return datr == nullptr ? -1 : datr->findAttr(name);
}

std::string ZelCache::getAttrName(int object, int attr) const {
    return objDef(object)->getAttrName(attr);
}

std::string ZelCache::getAttrType(int object, int attr) const {
    return objDef(object)->getAttrType(attr);
}

bool ZelCache::isAttrAnimated(int object, int attr) const {
    const ZelDATRChunk* datr = objDef(object)->getDATR();
    return datr != nullptr && datr->isAnimated(attr);
}

const ZelChunk* ZelCache::findChunk(const ZelChunk* root, unsigned tag) {
    if (root == nullptr) {
        return nullptr;
    }
    if (root->getTag() == tag) {
        return root;
    }
    if (root->getType() != kTypeGroup) {
        return nullptr;
    }
    const auto* group = dynamic_cast<const ZelGroupChunk*>(root);
    if (group == nullptr) {
        return nullptr;
    }
    for (uint64 i = 0; i < group->numChildren(); ++i) {
        if (const ZelChunk* found = findChunk(group->getChild(i), tag)) {
            return found;
        }
    }
    return nullptr;
}

ZelChunk* ZelCache::findChunk(ZelChunk* root, unsigned tag) {
    return const_cast<ZelChunk*>(findChunk(static_cast<const ZelChunk*>(root), tag));
}

bool ZelCache::objectHas(int object, unsigned tag) {
    if (object < 0 || object >= getNumObjects()) {
        return false;
    }
    if (findChunk(getObjDef(object), tag) != nullptr) {
        return true;
    }
    if (tag == kTagDATR && getNumAttrs(object) > 0) {
        return true;
    }
    if (getNumSamples() < 1) {
        return false;
    }
    const int s = getSampleIndex(getFirstTime());
    if (s < 0) {
        return false;
    }
    const std::unique_ptr<ZelGroupChunk> sample(loadObjectSample(s, object));
    return sample != nullptr && findChunk(sample.get(), tag) != nullptr;
}

bool ZelCache::isObjectAnimated(int object, unsigned tag) {
    if (getNumSamples() < 1 || object < 0 || object >= getNumObjects()) {
        return false;
    }
    // Data held in the definition is static, whatever the samples hold.
    if (findChunk(getObjDef(object), tag) != nullptr) {
        return false;
    }
    const int s = getSampleIndex(getFirstTime());
    if (s < 0) {
        return false;
    }
    const std::unique_ptr<ZelGroupChunk> sample(loadObjectSample(s, object));
    return sample != nullptr && findChunk(sample.get(), tag) != nullptr;
}

// ---- On-demand sample reads ----

bool ZelCache::seekObjectSample(ZelHeader& header, int sample, int object) {
    if (!file_.isOpen() && !file_.open(filename_.c_str(), update_ ? "r+" : "r")) {
        return false;
    }
    if (getNumSamples() == 0) {
        return false;
    }
    if (sample != currentSample_) {
        // Forget the old table first, so that a failure below leaves no stale one.
        currentSample_ = -1;
        if (!file_.isOpen()) {
            return false;
        }
        // A sample the file has no jump entry for (one only in memory) cannot be read.
        if (sample < 0 || static_cast<size_t>(sample) >= jumpTable_.size()) {
            return false;
        }
        const int64 offset = jumpTable_[static_cast<size_t>(sample)];
        if (offset < 0 || !file_.seek(offset, SEEK_SET, true)) {
            return false;
        }
        ZelHeader h;
        if (!file_.readHeader(h) || h.tag != kTagSAMP || h.type != kTypeGroup || h.length == 0) {
            return false;
        }
        if (!file_.readHeader(h)) {
            return false;
        }
        while (h.tag != kTagJOBJ) {
            if (h.tag == kTagSOBJ || !file_.skipData(h) || !file_.readHeader(h)) {
                return false;
            }
        }
        if (h.length < 0 || h.length % static_cast<int64>(sizeof(int64)) != 0 ||
            h.length > file_.bytesLeft()) {
            return false;
        }
        objectOffsets_.resize(static_cast<size_t>(h.length) / sizeof(int64));
        if (!file_.readData(h, objectOffsets_.data())) {
            return false;
        }
        currentSample_ = sample;
    }
    if (object < 0 || static_cast<size_t>(object) >= objectOffsets_.size() || !file_.isOpen()) {
        return false;
    }
    const int64 offset = objectOffsets_[static_cast<size_t>(object)];
    if (offset < 0 || !file_.seek(offset, SEEK_SET, true)) {
        return false;
    }
    return file_.readHeader(header) && header.tag == kTagSOBJ && header.type == kTypeGroup;
}

bool ZelCache::seekChannelSample(ZelHeader& header, int sample, int object, unsigned tag,
                                 int* index) {
    if (!seekObjectSample(header, sample, object) || header.length == 0) {
        return false;
    }
    const uint64 level = file_.getLevel();
    for (int p = 0;; ++p) {
        if (!file_.readHeader(header)) {
            return false;
        }
        if (header.tag == tag) {
            if (index == nullptr) {
                return true;
            }
            if (p >= *index) {
                *index = p;
                return true;
            }
        }
        // A skip that changes the depth has left the object's group: the chunk is not there.
        if (!file_.skipData(header) || file_.getLevel() != level) {
            return false;
        }
    }
}

ZelGroupChunk* ZelCache::loadObjectSample(int sample, int object) {
    auto group = std::make_unique<ZelGroupChunk>(kTagSOBJ);
    return loadObjectSample(sample, object, *group) ? group.release() : nullptr;
}

bool ZelCache::loadObjectSample(int sample, int object, ZelGroupChunk& group) {
    ZelHeader header;
    const bool ok = seekObjectSample(header, sample, object) && group.read(header, file_);
    if (!keepOpen_) {
        file_.close();
    }
    return ok;
}

}  // namespace Zel

#include "ZelDefinitionChunks.h"

#include <algorithm>
#include <iostream>
#include <memory>

#include "ZelChunksInternal.h"
#include "ZelDump.h"
#include "ZelFormat.h"
#include "ZelTrace.h"

namespace Zel {

namespace {

const std::string kNoString;

// Appends one attribute's name and type string. A list of types read from a file may be shorter
// or longer than its names; it is brought to the names' length first (as it would be written), so
// that the new type string lands at the new attribute's position.
void appendNameAndType(ZelAttrNamesChunk& list, const std::string& name, const std::string& type) {
    list.types().resize(list.names().size());
    list.names().push_back(name);
    list.types().push_back(type);
}

void removeRange(std::vector<std::string>& v, uint64 first, uint64 last) {
    last = std::min<uint64>(last, v.size());
    if (first < last) {
        v.erase(v.begin() + static_cast<std::ptrdiff_t>(first),
                v.begin() + static_cast<std::ptrdiff_t>(last));
    }
}

// One line of a name list's print: the marks, `label`, then every entry followed by a blank.
void printList(std::ostream& os, int indent, const char* label,
               const std::vector<std::string>& list) {
    if (list.empty()) {
        return;
    }
    writeIndent(os, indent) << label;
    for (const std::string& s : list) {
        os << s << ' ';
    }
    os << '\n';
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// ZelAttrNamesChunk, ZelSATRChunk and ZelAATRChunk

ZelAttrNamesChunk::ZelAttrNamesChunk(uint32 tag) : ZelGroupChunk(tag) {}

ZelAttrNamesChunk::~ZelAttrNamesChunk() = default;

void ZelAttrNamesChunk::reset() {
    names_.clear();
    types_.clear();
    ZelGroupChunk::reset();
}

int64 ZelAttrNamesChunk::getLength() const {
    if (names_.empty()) {
        return 0;
    }
    return 2 * kHeaderSize + byteSize(names_) + byteSize(types_);
}

void ZelAttrNamesChunk::remove(uint64 first, uint64 last) {
    removeRange(names_, first, last);
    removeRange(types_, first, last);
}

bool ZelAttrNamesChunk::readChild(const ZelHeader& h, ZelFile& f, bool& handled) {
    handled = h.type == kTypeCstr && (h.tag == kTagNAME || h.tag == kTagTYPE);
    if (!handled) {
        return false;
    }
    return f.readData(h, h.tag == kTagNAME ? names_ : types_);
}

bool ZelAttrNamesChunk::writeChildren(ZelFile& f) const {
    if (!names_.empty() && !f.writeChunk(kTagNAME, names_)) {
        return false;
    }
    if (types_.empty()) {
        return true;
    }
    if (types_.size() == names_.size()) {
        return f.writeChunk(kTagTYPE, types_);
    }
    // On disk the two lists always have equal length.
    std::vector<std::string> sized(types_);
    sized.resize(names_.size());
    return f.writeChunk(kTagTYPE, sized);
}

std::ostream& ZelAttrNamesChunk::printChildren(std::ostream& os, int indent) const {
    printList(os, indent, "names = ", names_);
    printList(os, indent, "types = ", types_);
    return os;
}

ZelSATRChunk::ZelSATRChunk() : ZelAttrNamesChunk(kTagSATR) {}

ZelSATRChunk::~ZelSATRChunk() = default;

ZelAATRChunk::ZelAATRChunk() : ZelAttrNamesChunk(kTagAATR) {}

ZelAATRChunk::~ZelAATRChunk() = default;

ZelATRSChunk::ZelATRSChunk() : ZelGroupChunk(kTagATRS) {}

ZelATRSChunk::~ZelATRSChunk() = default;

// ---------------------------------------------------------------------------------------------
// ZelDATRChunk

ZelDATRChunk::ZelDATRChunk() : ZelGroupChunk(kTagDATR) {}

ZelDATRChunk::~ZelDATRChunk() = default;

void ZelDATRChunk::reset() {
    satr_.reset();
    aatr_.reset();
    atrs_.reset();
    ZelGroupChunk::reset();
}

int64 ZelDATRChunk::getLength() const {
    int64 n = 0;
    const int64 animated = aatr_.getLength();
    if (animated != 0) {
        n += kHeaderSize + animated;
    }
    const int64 statics = satr_.getLength();
    if (statics != 0) {
        n += kHeaderSize + statics + kHeaderSize + atrs_.getLength();
    }
    return n;
}

int ZelDATRChunk::getNumAttrs() const {
    return getNumAnimatedAttrs() + getNumStaticAttrs();
}

int ZelDATRChunk::getNumAnimatedAttrs() const {
    return static_cast<int>(aatr_.names().size());
}

int ZelDATRChunk::getNumStaticAttrs() const {
    return static_cast<int>(satr_.names().size());
}

int ZelDATRChunk::addAttr(const bool& animated, const std::string& name, const std::string& type,
                          uint8 dataType, uint8 compound, uint8 dimension) {
    if (dataType == kTypeGroup) {
        return -1;
    }
    if (animated) {
        addAnimatedAttribute(name, type);
        return getNumAnimatedAttrs() - 1;
    }
    if (dataType < kTypeCstr || dataType > kTypeDouble) {
        return -1;
    }
    ZelChunk* value = ZelChunk::create(kTagATTR, dataType);
    if (value == nullptr) {
        return -1;
    }
    value->setHeader(ZelHeader(kTagATTR, dataType, 0, compound, dimension));
    appendNameAndType(satr_, name, type);
    atrs_.addChild(value);
    return getNumAttrs() - 1;
}

void ZelDATRChunk::addAnimatedAttribute(const std::string& name, const std::string& type) {
    appendNameAndType(aatr_, name, type);
}

int ZelDATRChunk::findAttr(const std::string& name) const {
    const std::vector<std::string>& animated = aatr_.names();
    for (size_t i = 0; i < animated.size(); ++i) {
        if (animated[i] == name) {
            return static_cast<int>(i);
        }
    }
    const std::vector<std::string>& statics = satr_.names();
    for (size_t i = 0; i < statics.size(); ++i) {
        if (statics[i] == name) {
            return getNumAnimatedAttrs() + static_cast<int>(i);
        }
    }
    return -1;
}

bool ZelDATRChunk::isAnimated(int i) const {
    checkAttrIndex(i, getNumAttrs());
    return i < getNumAnimatedAttrs();
}

int ZelDATRChunk::getAnimatedDataIndex(int i) const {
    checkAttrIndex(i, getNumAttrs());
    return i < getNumAnimatedAttrs() ? i : -1;
}

ZelChunk* ZelDATRChunk::getStaticData(int i) const {
    checkAttrIndex(i, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    if (i < numAnimated) {
        return nullptr;
    }
    // A file may hold fewer values than static names.
    const uint64 k = static_cast<uint64>(i - numAnimated);
    if (k >= atrs_.numChildren()) {
        return nullptr;
    }
    return const_cast<ZelChunk*>(atrs_.getChild(k));
}

const std::string& ZelDATRChunk::getAttrName(int i) const {
    checkAttrIndex(i, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    if (i < numAnimated) {
        return aatr_.names()[static_cast<size_t>(i)];
    }
    return satr_.names()[static_cast<size_t>(i - numAnimated)];
}

const std::string& ZelDATRChunk::getAttrType(int i) const {
    checkAttrIndex(i, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    const std::vector<std::string>& types = i < numAnimated ? aatr_.types() : satr_.types();
    const size_t k = static_cast<size_t>(i < numAnimated ? i : i - numAnimated);
    // A file may list fewer types than names.
    return k < types.size() ? types[k] : kNoString;
}

bool ZelDATRChunk::setAttrName(int i, const std::string& s) {
    checkAttrIndex(i, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    if (i < numAnimated) {
        aatr_.names()[static_cast<size_t>(i)] = s;
    } else {
        satr_.names()[static_cast<size_t>(i - numAnimated)] = s;
    }
    return true;
}

bool ZelDATRChunk::setAttrType(int i, const std::string& s) {
    checkAttrIndex(i, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    std::vector<std::string>& types = i < numAnimated ? aatr_.types() : satr_.types();
    const size_t count = i < numAnimated ? aatr_.names().size() : satr_.names().size();
    const size_t k = static_cast<size_t>(i < numAnimated ? i : i - numAnimated);
    if (types.size() < count) {
        types.resize(count);
    }
    types[k] = s;
    return true;
}

bool ZelDATRChunk::removeStaticAttrs(int first, int count) {
    checkAttrIndex(first, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    if (first < numAnimated || count < 0 ||
        static_cast<int64>(first - numAnimated) + count > getNumStaticAttrs()) {
        return false;
    }
    const uint64 k = static_cast<uint64>(first - numAnimated);
    const uint64 end = k + static_cast<uint64>(count);
    satr_.remove(k, end);
    // The values may be fewer than the names when the file said so.
    atrs_.removeChildren(std::min(k, atrs_.numChildren()), std::min(end, atrs_.numChildren()));
    return true;
}

int ZelDATRChunk::removeAnimatedAttrs(int first, int count) {
    checkAttrIndex(first, getNumAttrs());
    if (first >= getNumAnimatedAttrs()) {
        return -1;
    }
    // One entry fewer than the count is removed, as the format's writers have always done.
    const int64 last =
        std::min<int64>(static_cast<int64>(first) + count - 1, getNumAnimatedAttrs());
    if (last > first) {
        aatr_.remove(static_cast<uint64>(first), static_cast<uint64>(last));
    }
    return first;
}

void ZelDATRChunk::mergeStaticAttributes(const ZelDATRChunk* from) {
    if (from == nullptr) {
        return;
    }
    // Attributes added by this merge are not compared against.
    const int known = getNumAttrs();
    const int count = from->getNumAttrs();
    for (int i = 0; i < count; ++i) {
        // A copy: when merging a definition into itself the name list may grow below it.
        const std::string name = from->getAttrName(i);
        if (debugLevel >= 3) {
            std::cerr << "fromDATR " << name << '\n';
        }
        if (from->isAnimated(i)) {
            continue;
        }
        // findAttr meets the earliest attribute of that name, and those added here come last.
        const int at = findAttr(name);
        if (at >= 0 && at < known) {
            if (debugLevel >= 3) {
                std::cerr << " SKIP, SATR FOUND:" << name << '\n';
            }
            continue;
        }
        if (debugLevel >= 3) {
            std::cerr << " ADD, SATR= " << name << '\n';
        }
        ZelChunk* value = copyLeafAs(from->getStaticData(i), kTagATTR);
        if (value == nullptr) {
            std::cerr << "mergeStaticAttributes NOT Merged, unknown type fof: " << name << '\n';
            continue;
        }
        appendNameAndType(satr_, name, from->getAttrType(i));
        atrs_.addChild(value);
    }
}

bool ZelDATRChunk::readChild(const ZelHeader& h, ZelFile& f, bool& handled) {
    handled = h.type == kTypeGroup;
    if (handled && h.tag == kTagSATR) {
        return satr_.read(h, f);
    }
    if (handled && h.tag == kTagAATR) {
        return aatr_.read(h, f);
    }
    if (handled && h.tag == kTagATRS) {
        return atrs_.read(h, f);
    }
    handled = false;
    return false;
}

bool ZelDATRChunk::writeChildren(ZelFile& f) const {
    if (satr_.names().size() == atrs_.numChildren()) {
        if (!satr_.names().empty() && !satr_.write(f)) {
            return false;
        }
        if (atrs_.numChildren() > 0 && !atrs_.write(f)) {
            return false;
        }
    } else {
        std::cout << "WARNING: SATR and ATRS write skipped, counts do not match" << std::endl;
    }
    return aatr_.names().empty() || aatr_.write(f);
}

std::ostream& ZelDATRChunk::printChildren(std::ostream& os, int indent) const {
    if (!satr_.names().empty()) {
        satr_.print(os, indent);
    }
    if (!aatr_.names().empty()) {
        aatr_.print(os, indent);
    }
    if (atrs_.numChildren() > 0) {
        atrs_.print(os, indent);
    }
    return os;
}

// ---------------------------------------------------------------------------------------------
// ZelDOBJChunk

ZelDOBJChunk::ZelDOBJChunk() : ZelGroupChunk(kTagDOBJ) {}

ZelDOBJChunk::ZelDOBJChunk(const char* name)
    : ZelGroupChunk(kTagDOBJ), name_(name != nullptr ? name : "") {}

ZelDOBJChunk::~ZelDOBJChunk() = default;

void ZelDOBJChunk::reset() {
    name_.clear();
    removeAllChildren();
}

int64 ZelDOBJChunk::getLength() const {
    // The name's chunk is counted even when the name is empty and not written.
    int64 n = ZelGroupChunk::getLength() + kHeaderSize + static_cast<int64>(name_.size()) + 1;
    if (datr_ != nullptr) {
        n += kHeaderSize + datr_->getLength();
    }
    return n;
}

void ZelDOBJChunk::removeAllChildren() {
    removeDATR();
    ZelGroupChunk::removeAllChildren();
}

ZelDATRChunk* ZelDOBJChunk::addDATR() {
    if (datr_ == nullptr) {
        datr_ = std::make_unique<ZelDATRChunk>();
    }
    return datr_.get();
}

void ZelDOBJChunk::removeDATR() {
    datr_.reset();
}

int ZelDOBJChunk::addAttr(const bool& animated, const std::string& name, const std::string& type,
                          uint8 dataType, uint8 compound, uint8 dimension) {
    return addDATR()->addAttr(animated, name, type, dataType, compound, dimension);
}

int ZelDOBJChunk::findAttr(const std::string& name) const {
    return datr_ != nullptr ? datr_->findAttr(name) : -1;
}

int ZelDOBJChunk::getNumAttrs() const {
    return datr_ != nullptr ? datr_->getNumAttrs() : 0;
}

// Without an attribute definition there are no attributes, so every index fails the check.
bool ZelDOBJChunk::isAttrAnimated(int i) const {
    checkAttrIndex(i, getNumAttrs());
    return datr_->isAnimated(i);
}

std::string ZelDOBJChunk::getAttrName(int i) const {
    checkAttrIndex(i, getNumAttrs());
    return datr_->getAttrName(i);
}

std::string ZelDOBJChunk::getAttrType(int i) const {
    checkAttrIndex(i, getNumAttrs());
    return datr_->getAttrType(i);
}

bool ZelDOBJChunk::setAttrName(int i, const std::string& s) {
    checkAttrIndex(i, getNumAttrs());
    return datr_->setAttrName(i, s);
}

bool ZelDOBJChunk::setAttrType(int i, const std::string& s) {
    checkAttrIndex(i, getNumAttrs());
    return datr_->setAttrType(i, s);
}

bool ZelDOBJChunk::readChild(const ZelHeader& h, ZelFile& f, bool& handled) {
    if (h.tag == kTagNAME && h.type == kTypeCstr) {
        handled = true;
        return f.readData(h, name_);
    }
    if (h.tag == kTagDATR && h.type == kTypeGroup) {
        handled = true;
        auto datr = std::make_unique<ZelDATRChunk>();
        if (!datr->read(h, f)) {
            return false;
        }
        datr_ = std::move(datr);
        return true;
    }
    handled = false;
    return false;
}

bool ZelDOBJChunk::writeChildren(ZelFile& f) const {
    if (!name_.empty() && !f.writeChunk(kTagNAME, name_)) {
        return false;
    }
    return datr_ == nullptr || datr_->write(f);
}

std::ostream& ZelDOBJChunk::printChildren(std::ostream& os, int indent) const {
    if (!name_.empty()) {
        writeIndent(os, indent);
        os << "name = " << name_ << '\n';
    }
    if (datr_ != nullptr) {
        datr_->print(os, indent);
    }
    return os;
}

}  // namespace Zel

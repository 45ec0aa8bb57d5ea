#include "ZelChunks.h"

#include <algorithm>
#include <cassert>
#include <iostream>
#include <memory>
#include <new>

#include "ZelDefinitionChunks.h"
#include "ZelTrace.h"

namespace Zel {

static_assert(sizeof(int) == 4 && sizeof(float) == 4 && sizeof(double) == 8,
              "leaf elements are stored with their in-memory width");

namespace {

// Groups nest only a few levels deep in a cache; a reader refuses anything far deeper so that a
// file of thousands of nested groups cannot exhaust the stack.
constexpr uint64 kMaxGroupDepth = 256;

template <class T>
int64 byteSize(const std::vector<T>& values) {
    return static_cast<int64>(values.size() * sizeof(T));
}

int64 byteSize(const std::vector<std::string>& values) {
    int64 n = 0;
    for (const std::string& s : values) {
        n += static_cast<int64>(s.size()) + 1;
    }
    return n;
}

template <class T>
bool readValues(const ZelHeader& h, ZelFile& f, std::vector<T>& values) {
    constexpr int64 width = static_cast<int64>(sizeof(T));
    if (h.length % width != 0) {
        return false;
    }
    // Checked before sizing the vector, so a hostile length cannot allocate past the file.
    if (h.length < 0 || h.length > f.bytesLeft()) {
        return false;
    }
    values.resize(static_cast<size_t>(h.length / width));
    return f.readData(h, values.empty() ? nullptr : static_cast<void*>(values.data()));
}

bool readValues(const ZelHeader& h, ZelFile& f, std::vector<std::string>& values) {
    if (h.length < 0 || h.length > f.bytesLeft()) {
        return false;
    }
    return f.readData(h, values);
}

// A copy of leaf `c` (which must be a ZelLeafChunk<T>) carrying `tag`; null when `c` is another
// kind of node.
template <class T>
ZelChunk* copyLeaf(const ZelChunk* c, uint32 tag) {
    const ZelLeafChunk<T>* leaf = dynamic_cast<const ZelLeafChunk<T>*>(c);
    if (leaf == nullptr) {
        return nullptr;
    }
    return new (std::nothrow)
        ZelLeafChunk<T>(tag, leaf->getCompound(), leaf->getDimension(), leaf->values());
}

ZelChunk* copyLeafAs(const ZelChunk* c, uint32 tag) {
    if (c == nullptr) {
        return nullptr;
    }
    switch (c->getType()) {
        case kTypeCstr:
            return copyLeaf<std::string>(c, tag);
        case kTypeInt32:
            return copyLeaf<int>(c, tag);
        case kTypeFloat:
            return copyLeaf<float>(c, tag);
        case kTypeInt64:
            return copyLeaf<int64>(c, tag);
        case kTypeDouble:
            return copyLeaf<double>(c, tag);
        default:
            return nullptr;
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// ZelChunk

ZelChunk::ZelChunk() = default;

ZelChunk::ZelChunk(const ZelHeader& h) : header_(h) {}

ZelChunk::~ZelChunk() = default;

void ZelChunk::reset() {}

int64 ZelChunk::getLength() const {
    return header_.length;
}

bool ZelChunk::read(const ZelHeader& h, ZelFile& f) {
    if (h.tag != header_.tag || h.type != header_.type) {
        return false;
    }
    return f.skipData(h);
}

bool ZelChunk::write(ZelFile& f) const {
    return f.writeChunk(header_, nullptr, -1);
}

std::ostream& ZelChunk::print(std::ostream& os, int indent) const {
    for (int i = 0; i < indent; ++i) {
        os << ". ";
    }
    header_.print(os);
    return os << " : ";
}

void ZelChunk::free() {
    header_.tag = makeTag("FREE");
}

ZelChunk* ZelChunk::create(uint32 tag, uint8 type) {
    switch (type) {
        case kTypeUndef:
            return new (std::nothrow) ZelLeafChunk<char>(tag);
        case kTypeGroup:
            return new (std::nothrow) ZelGroupChunk(tag);
        case kTypeCstr:
            return new (std::nothrow) ZelLeafChunk<std::string>(tag);
        case kTypeInt32:
            return new (std::nothrow) ZelLeafChunk<int>(tag);
        case kTypeFloat:
            return new (std::nothrow) ZelLeafChunk<float>(tag);
        case kTypeInt64:
            return new (std::nothrow) ZelLeafChunk<int64>(tag);
        case kTypeDouble:
            return new (std::nothrow) ZelLeafChunk<double>(tag);
        default:
            return new (std::nothrow) ZelChunk(ZelHeader(tag, type, 0, 0, 0));
    }
}

ZelChunk* ZelChunk::copy(const ZelChunk* c) {
    if (c == nullptr || c->getTag() == makeTag("FREE")) {
        return nullptr;
    }
    if (c->getType() != kTypeGroup) {
        return copyLeafAs(c, c->getTag());
    }
    ZelGroupChunk* g = new (std::nothrow) ZelGroupChunk(c->getTag());
    const ZelGroupChunk* from = dynamic_cast<const ZelGroupChunk*>(c);
    if (g == nullptr || from == nullptr) {
        return g;
    }
    for (uint64 i = 0; i < from->numChildren(); ++i) {
        ZelChunk* child = copy(from->getChild(i));
        if (child != nullptr) {
            g->addChild(child);
        }
    }
    return g;
}

// ---------------------------------------------------------------------------------------------
// ZelLeafChunk<T>

template <class T>
ZelLeafChunk<T>::ZelLeafChunk() : ZelLeafChunk(makeTag("FREE")) {}

template <class T>
ZelLeafChunk<T>::ZelLeafChunk(uint32 tag)
    : ZelChunk(ZelHeader(tag, ZelTypeCode<T>::value, 0, 0, 0)) {}

template <class T>
ZelLeafChunk<T>::ZelLeafChunk(uint32 tag, const std::vector<T>& values)
    : ZelChunk(ZelHeader(tag, ZelTypeCode<T>::value, byteSize(values), 0, 0)), values_(values) {}

template <class T>
ZelLeafChunk<T>::ZelLeafChunk(uint32 tag, uint8 compound, uint8 dimension)
    : ZelChunk(ZelHeader(tag, ZelTypeCode<T>::value, 0, compound, dimension)) {}

template <class T>
ZelLeafChunk<T>::ZelLeafChunk(uint32 tag, uint8 compound, uint8 dimension,
                              const std::vector<T>& values)
    : ZelChunk(ZelHeader(tag, ZelTypeCode<T>::value, byteSize(values), compound, dimension)),
      values_(values) {}

template <class T>
ZelLeafChunk<T>::~ZelLeafChunk() = default;

template <class T>
void ZelLeafChunk<T>::reset() {
    values_.clear();
}

template <class T>
bool ZelLeafChunk<T>::read(const ZelHeader& h, ZelFile& f) {
    if (h.tag != header_.tag || h.type != header_.type) {
        return false;
    }
    header_ = h;
    return readValues(h, f, values_);
}

template <class T>
bool ZelLeafChunk<T>::write(ZelFile& f) const {
    return f.writeChunk(header_.tag, values_, -1, header_.compound, header_.dimension);
}

template <class T>
std::ostream& ZelLeafChunk<T>::print(std::ostream& os, int indent) const {
    ZelChunk::print(os, indent);
    if (header_.type == kTypeFloat) {
        os.precision(8);
    } else if (header_.type == kTypeDouble) {
        os.precision(16);
    }
    for (const T& v : values_) {
        os << v << ' ';
    }
    return os;
}

template <class T>
void ZelLeafChunk<T>::updateLength() {
    header_.length = byteSize(values_);
}

template class ZelLeafChunk<char>;
template class ZelLeafChunk<std::string>;
template class ZelLeafChunk<int>;
template class ZelLeafChunk<float>;
template class ZelLeafChunk<int64>;
template class ZelLeafChunk<double>;

// ---------------------------------------------------------------------------------------------
// ZelGroupChunk

ZelGroupChunk::ZelGroupChunk() : ZelGroupChunk(makeTag("FREE")) {}

ZelGroupChunk::ZelGroupChunk(uint32 tag) : ZelChunk(ZelHeader(tag, kTypeGroup, 0, 0, 0)) {}

ZelGroupChunk::~ZelGroupChunk() {
    deleteChildren();
}

void ZelGroupChunk::deleteChildren() {
    for (ZelChunk* c : children_) {
        delete c;
    }
    children_.clear();
}

void ZelGroupChunk::reset() {
    removeAllChildren();
}

void ZelGroupChunk::removeAllChildren() {
    deleteChildren();
}

int64 ZelGroupChunk::getLength() const {
    int64 n = 0;
    for (const ZelChunk* c : children_) {
        if (c != nullptr) {
            n += 16 + c->getLength();
        }
    }
    return n;
}

bool ZelGroupChunk::read(const ZelHeader& h, ZelFile& f) {
    if (h.tag != header_.tag || h.type != header_.type) {
        return false;
    }
    header_ = h;
    // Children of an earlier read would otherwise be orphaned; a file that repeats a member
    // group must not leak.
    deleteChildren();
    if (h.length == 0) {
        return true;
    }
    // A negative length announces no payload: the chunks that follow are not this group's.
    if (h.length < 0) {
        return false;
    }
    // Every non-empty group on the way down pushed one level, so the level bounds the recursion.
    const uint64 level = f.getLevel();
    if (level > kMaxGroupDepth) {
        return false;
    }
    do {
        ZelHeader ch;
        if (!f.readHeader(ch)) {
            return false;
        }
        bool handled = false;
        const bool ok = readChild(ch, f, handled);
        if (handled) {
            if (!ok) {
                return false;
            }
        } else {
            ZelChunk* c = ZelChunk::create(ch.tag, ch.type);
            if (c == nullptr) {
                return false;
            }
            if (!c->read(ch, f)) {
                delete c;
                return false;
            }
            children_.push_back(c);
        }
    } while (f.getLevel() == level);
    return true;
}

bool ZelGroupChunk::write(ZelFile& f) const {
    if (!f.startGroup(header_)) {
        return false;
    }
    if (!writeChildren(f)) {
        f.endGroup();
        return false;
    }
    for (const ZelChunk* c : children_) {
        if (c != nullptr && !c->write(f)) {
            f.endGroup();
            return false;
        }
    }
    return f.endGroup();
}

std::ostream& ZelGroupChunk::print(std::ostream& os, int indent) const {
    ZelChunk::print(os, indent) << '\n';
    printChildren(os, indent + 1);
    for (const ZelChunk* c : children_) {
        if (c != nullptr) {
            c->print(os, indent + 1) << '\n';
        }
    }
    return os;
}

void ZelGroupChunk::addChild(ZelChunk* c) {
    children_.push_back(c);
}

ZelChunk* ZelGroupChunk::getChild(uint64 i) {
    assert(i < children_.size());
    return children_[i];
}

const ZelChunk* ZelGroupChunk::getChild(uint64 i) const {
    assert(i < children_.size());
    return children_[i];
}

uint64 ZelGroupChunk::findChild(uint32 tag, uint64 start) const {
    for (uint64 i = start; i < children_.size(); ++i) {
        if (children_[i] != nullptr && children_[i]->getTag() == tag) {
            return i;
        }
    }
    return children_.size();
}

void ZelGroupChunk::removeChild(uint64 i) {
    assert(i < children_.size());
    delete children_[i];
    children_.erase(children_.begin() + static_cast<std::ptrdiff_t>(i));
}

void ZelGroupChunk::removeChildren(uint64 first, uint64 last) {
    // An empty range removes nothing, also from a group without generic children, where it would
    // otherwise cover "every child" and take a derived group's own members with it.
    if (first >= last) {
        return;
    }
    assert(last <= children_.size());
    if (last - first == children_.size()) {
        removeAllChildren();
        return;
    }
    for (uint64 i = first; i < last; ++i) {
        delete children_[i];
    }
    children_.erase(children_.begin() + static_cast<std::ptrdiff_t>(first),
                    children_.begin() + static_cast<std::ptrdiff_t>(last));
}

bool ZelGroupChunk::readChild(const ZelHeader& h, ZelFile& f, bool& handled) {
    if (debugLevel >= 5) {
        std::cerr << "ZelGroupChunk::readChild " << (f.isOpen() ? 1 : 0) << ' ';
        h.print(std::cerr) << '\n';
    }
    handled = false;
    return false;
}

bool ZelGroupChunk::writeChildren(ZelFile& f) const {
    if (debugLevel >= 5) {
        std::cerr << "ZelGroupChunk::writeChildren " << (f.isOpen() ? 1 : 0) << '\n';
    }
    return true;
}

std::ostream& ZelGroupChunk::printChildren(std::ostream& os, int indent) const {
    if (debugLevel >= 5) {
        std::cerr << "ZelGroupChunk::printChildren " << indent << '\n';
    }
    return os;
}

// ---------------------------------------------------------------------------------------------
// Attribute definitions

namespace {

const std::string kNoString;

// The one check behind every index-taking operation of the attribute definitions.
void checkAttrIndex(int i, int numAttrs) {
    if (i < 0 || i >= numAttrs) {
        std::cout << "animcache/src/libzel/src/ZelChunks.cpp:" << std::to_string(__LINE__)
                  << " DATR attribute index out of bounds" << std::endl;
        throw false;
    }
}

void writeIndent(std::ostream& os, int indent) {
    for (int i = 0; i < indent; ++i) {
        os << ". ";
    }
}

// "SATR" and "AATR" share their layout: a "NAME" list and a "TYPE" list of strings.
bool readNameList(const ZelHeader& h, ZelFile& f, bool& handled, std::vector<std::string>& names,
                  std::vector<std::string>& types) {
    if (h.type != kTypeCstr || (h.tag != makeTag("NAME") && h.tag != makeTag("TYPE"))) {
        handled = false;
        return false;
    }
    handled = true;
    return f.readData(h, h.tag == makeTag("NAME") ? names : types);
}

bool writeNameList(ZelFile& f, const std::vector<std::string>& names,
                   const std::vector<std::string>& types) {
    if (!names.empty() && !f.writeChunk(makeTag("NAME"), names)) {
        return false;
    }
    if (types.empty()) {
        return true;
    }
    if (types.size() == names.size()) {
        return f.writeChunk(makeTag("TYPE"), types);
    }
    // On disk the two lists always have equal length.
    std::vector<std::string> sized(types);
    sized.resize(names.size());
    return f.writeChunk(makeTag("TYPE"), sized);
}

int64 nameListLength(const std::vector<std::string>& names, const std::vector<std::string>& types) {
    if (names.empty()) {
        return 0;
    }
    return 32 + byteSize(names) + byteSize(types);
}

void printNameList(std::ostream& os, int indent, const std::vector<std::string>& names,
                   const std::vector<std::string>& types) {
    if (!names.empty()) {
        writeIndent(os, indent);
        os << "names = ";
        for (const std::string& s : names) {
            os << s << ' ';
        }
        os << '\n';
    }
    if (!types.empty()) {
        writeIndent(os, indent);
        os << "types = ";
        for (const std::string& s : types) {
            os << s << ' ';
        }
        os << '\n';
    }
}

// Appends one attribute's name and type string. A list of types read from a file may be shorter
// or longer than its names; it is brought to the names' length first (as it would be written), so
// that the new type string lands at the new attribute's position.
void appendNameAndType(std::vector<std::string>& names, std::vector<std::string>& types,
                       const std::string& name, const std::string& type) {
    types.resize(names.size());
    names.push_back(name);
    types.push_back(type);
}

void removeRange(std::vector<std::string>& v, uint64 first, uint64 last) {
    last = std::min<uint64>(last, v.size());
    if (first < last) {
        v.erase(v.begin() + static_cast<std::ptrdiff_t>(first),
                v.begin() + static_cast<std::ptrdiff_t>(last));
    }
}

}  // namespace

ZelSATRChunk::ZelSATRChunk() : ZelGroupChunk(makeTag("SATR")) {}

ZelSATRChunk::~ZelSATRChunk() = default;

void ZelSATRChunk::reset() {
    names_.clear();
    types_.clear();
    ZelGroupChunk::reset();
}

int64 ZelSATRChunk::getLength() const {
    return nameListLength(names_, types_);
}

void ZelSATRChunk::remove(uint64 first, uint64 last) {
    removeRange(names_, first, last);
    removeRange(types_, first, last);
}

bool ZelSATRChunk::readChild(const ZelHeader& h, ZelFile& f, bool& handled) {
    return readNameList(h, f, handled, names_, types_);
}

bool ZelSATRChunk::writeChildren(ZelFile& f) const {
    return writeNameList(f, names_, types_);
}

std::ostream& ZelSATRChunk::printChildren(std::ostream& os, int indent) const {
    printNameList(os, indent, names_, types_);
    return os;
}

ZelAATRChunk::ZelAATRChunk() : ZelGroupChunk(makeTag("AATR")) {}

ZelAATRChunk::~ZelAATRChunk() = default;

void ZelAATRChunk::reset() {
    names_.clear();
    types_.clear();
    ZelGroupChunk::reset();
}

int64 ZelAATRChunk::getLength() const {
    return nameListLength(names_, types_);
}

void ZelAATRChunk::remove(uint64 first, uint64 last) {
    removeRange(names_, first, last);
    removeRange(types_, first, last);
}

bool ZelAATRChunk::readChild(const ZelHeader& h, ZelFile& f, bool& handled) {
    return readNameList(h, f, handled, names_, types_);
}

bool ZelAATRChunk::writeChildren(ZelFile& f) const {
    return writeNameList(f, names_, types_);
}

std::ostream& ZelAATRChunk::printChildren(std::ostream& os, int indent) const {
    printNameList(os, indent, names_, types_);
    return os;
}

ZelATRSChunk::ZelATRSChunk() : ZelGroupChunk(makeTag("ATRS")) {}

ZelATRSChunk::~ZelATRSChunk() = default;

// ---------------------------------------------------------------------------------------------
// ZelDATRChunk

ZelDATRChunk::ZelDATRChunk() : ZelGroupChunk(makeTag("DATR")) {}

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
        n += 16 + animated;
    }
    const int64 statics = satr_.getLength();
    if (statics != 0) {
        n += statics + atrs_.getLength() + 32;
    }
    return n;
}

int ZelDATRChunk::getNumAttrs() const {
    return getNumAnimatedAttrs() + getNumStaticAttrs();
}

int ZelDATRChunk::getNumAnimatedAttrs() const {
    return static_cast<int>(aatr_.names_.size());
}

int ZelDATRChunk::getNumStaticAttrs() const {
    return static_cast<int>(satr_.names_.size());
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
    ZelChunk* value = ZelChunk::create(makeTag("ATTR"), dataType);
    if (value == nullptr) {
        return -1;
    }
    value->setHeader(ZelHeader(makeTag("ATTR"), dataType, 0, compound, dimension));
    appendNameAndType(satr_.names_, satr_.types_, name, type);
    atrs_.addChild(value);
    return getNumAttrs() - 1;
}

void ZelDATRChunk::addAnimatedAttribute(const std::string& name, const std::string& type) {
    appendNameAndType(aatr_.names_, aatr_.types_, name, type);
}

int ZelDATRChunk::findAttr(const std::string& name) const {
    const std::vector<std::string>& animated = aatr_.names_;
    for (size_t i = 0; i < animated.size(); ++i) {
        if (animated[i] == name) {
            return static_cast<int>(i);
        }
    }
    const std::vector<std::string>& statics = satr_.names_;
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
        return aatr_.names_[static_cast<size_t>(i)];
    }
    return satr_.names_[static_cast<size_t>(i - numAnimated)];
}

const std::string& ZelDATRChunk::getAttrType(int i) const {
    checkAttrIndex(i, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    const std::vector<std::string>& types = i < numAnimated ? aatr_.types_ : satr_.types_;
    const size_t k = static_cast<size_t>(i < numAnimated ? i : i - numAnimated);
    // A file may list fewer types than names.
    return k < types.size() ? types[k] : kNoString;
}

bool ZelDATRChunk::setAttrName(int i, const std::string& s) {
    checkAttrIndex(i, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    if (i < numAnimated) {
        aatr_.names_[static_cast<size_t>(i)] = s;
    } else {
        satr_.names_[static_cast<size_t>(i - numAnimated)] = s;
    }
    return true;
}

bool ZelDATRChunk::setAttrType(int i, const std::string& s) {
    checkAttrIndex(i, getNumAttrs());
    const int numAnimated = getNumAnimatedAttrs();
    std::vector<std::string>& types = i < numAnimated ? aatr_.types_ : satr_.types_;
    const size_t count = i < numAnimated ? aatr_.names_.size() : satr_.names_.size();
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
        bool found = false;
        for (int j = 0; j < known && !found; ++j) {
            found = getAttrName(j) == name;
        }
        if (found) {
            if (debugLevel >= 3) {
                std::cerr << " SKIP, SATR FOUND:" << name << '\n';
            }
            continue;
        }
        if (debugLevel >= 3) {
            std::cerr << " ADD, SATR= " << name << '\n';
        }
        ZelChunk* value = copyLeafAs(from->getStaticData(i), makeTag("ATTR"));
        if (value == nullptr) {
            std::cerr << "mergeStaticAttributes NOT Merged, unknown type fof: " << name << '\n';
            continue;
        }
        appendNameAndType(satr_.names_, satr_.types_, name, from->getAttrType(i));
        atrs_.addChild(value);
    }
}

bool ZelDATRChunk::readChild(const ZelHeader& h, ZelFile& f, bool& handled) {
    handled = h.type == kTypeGroup;
    if (handled && h.tag == makeTag("SATR")) {
        return satr_.read(h, f);
    }
    if (handled && h.tag == makeTag("AATR")) {
        return aatr_.read(h, f);
    }
    if (handled && h.tag == makeTag("ATRS")) {
        return atrs_.read(h, f);
    }
    handled = false;
    return false;
}

bool ZelDATRChunk::writeChildren(ZelFile& f) const {
    if (satr_.names_.size() == atrs_.numChildren()) {
        if (!satr_.names_.empty() && !satr_.write(f)) {
            return false;
        }
        if (atrs_.numChildren() > 0 && !atrs_.write(f)) {
            return false;
        }
    } else {
        std::cout << "WARNING: SATR and ATRS write skipped, counts do not match" << std::endl;
    }
    return aatr_.names_.empty() || aatr_.write(f);
}

std::ostream& ZelDATRChunk::printChildren(std::ostream& os, int indent) const {
    if (!satr_.names_.empty()) {
        satr_.print(os, indent);
    }
    if (!aatr_.names_.empty()) {
        aatr_.print(os, indent);
    }
    if (atrs_.numChildren() > 0) {
        atrs_.print(os, indent);
    }
    return os;
}

// ---------------------------------------------------------------------------------------------
// ZelDOBJChunk

ZelDOBJChunk::ZelDOBJChunk() : ZelGroupChunk(makeTag("DOBJ")) {}

ZelDOBJChunk::ZelDOBJChunk(const char* name)
    : ZelGroupChunk(makeTag("DOBJ")), name_(name != nullptr ? name : "") {}

ZelDOBJChunk::~ZelDOBJChunk() = default;

void ZelDOBJChunk::reset() {
    name_.clear();
    removeAllChildren();
}

int64 ZelDOBJChunk::getLength() const {
    int64 n = ZelGroupChunk::getLength() + static_cast<int64>(name_.size()) + 17;
    if (datr_ != nullptr) {
        n += 16 + datr_->getLength();
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
    if (h.tag == makeTag("NAME") && h.type == kTypeCstr) {
        handled = true;
        return f.readData(h, name_);
    }
    if (h.tag == makeTag("DATR") && h.type == kTypeGroup) {
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
    if (!name_.empty() && !f.writeChunk(makeTag("NAME"), name_)) {
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

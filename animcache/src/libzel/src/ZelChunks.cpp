#include "ZelChunks.h"

#include <cassert>
#include <iostream>
#include <new>
#include <typeinfo>
#include <utility>

#include "ZelChunksInternal.h"
#include "ZelDump.h"
#include "ZelFormat.h"
#include "ZelTrace.h"

namespace Zel {

static_assert(sizeof(int) == 4 && sizeof(float) == 4 && sizeof(double) == 8,
              "leaf elements are stored with their in-memory width");

namespace {

template <class T>
int64 byteSize(const std::vector<T>& values) {
    return static_cast<int64>(values.size() * sizeof(T));
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
    const auto count = static_cast<size_t>(h.length / width);
    // The read overwrites every value, so storage of an earlier read is reused as it stands: an
    // array of the right size costs neither an allocation nor a zero-fill. One too small is
    // dropped before it is replaced, as growing it would copy the old values over first.
    if (count > values.capacity()) {
        values = std::vector<T>();
    }
    values.resize(count);
    return f.readData(h, values.empty() ? nullptr : static_cast<void*>(values.data()));
}

bool readValues(const ZelHeader& h, ZelFile& f, std::vector<std::string>& values) {
    if (h.length < 0 || h.length > f.bytesLeft()) {
        return false;
    }
    return f.readData(h, values);
}

// Whether `c`, read from chunk `h`, ends up as the node that ZelChunk::create makes for `h` would:
// a leaf or group of exactly that class, tag and type, whose read replaces its whole header and
// content. A plain node keeps its header when read, so it never qualifies.
bool readsInPlace(const ZelChunk* c, const ZelHeader& h) {
    if (c == nullptr || c->getTag() != h.tag || c->getType() != h.type) {
        return false;
    }
    const std::type_info& t = typeid(*c);
    switch (h.type) {
        case kTypeUndef:
            return t == typeid(ZelLeafChunk<char>);
        case kTypeGroup:
            return t == typeid(ZelGroupChunk);
        case kTypeCstr:
            return t == typeid(ZelLeafChunk<std::string>);
        case kTypeInt32:
            return t == typeid(ZelLeafChunk<int>);
        case kTypeFloat:
            return t == typeid(ZelLeafChunk<float>);
        case kTypeInt64:
            return t == typeid(ZelLeafChunk<int64>);
        case kTypeDouble:
            return t == typeid(ZelLeafChunk<double>);
        default:
            return false;
    }
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

}  // namespace

void checkAttrIndex(int i, int numAttrs) {
    if (i < 0 || i >= numAttrs) {
        std::cout << "animcache/src/libzel/src/ZelChunks.cpp:" << std::to_string(__LINE__)
                  << " DATR attribute index out of bounds" << std::endl;
        throw false;
    }
}

int64 byteSize(const std::vector<std::string>& values) {
    int64 n = 0;
    for (const std::string& s : values) {
        n += static_cast<int64>(s.size()) + 1;
    }
    return n;
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
    writeIndent(os, indent);
    header_.print(os);
    return os << " : ";
}

void ZelChunk::free() {
    header_.tag = kTagFREE;
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
    if (c == nullptr || c->getTag() == kTagFREE) {
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
ZelLeafChunk<T>::ZelLeafChunk() : ZelLeafChunk(kTagFREE) {}

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

// The byte size is measured before the move empties `values`.
template <class T>
ZelLeafChunk<T>::ZelLeafChunk(uint32 tag, std::vector<T>&& values)
    : ZelChunk(ZelHeader(tag, ZelTypeCode<T>::value, byteSize(values), 0, 0)),
      values_(std::move(values)) {
    values.clear();
}

template <class T>
ZelLeafChunk<T>::ZelLeafChunk(uint32 tag, uint8 compound, uint8 dimension, std::vector<T>&& values)
    : ZelChunk(ZelHeader(tag, ZelTypeCode<T>::value, byteSize(values), compound, dimension)),
      values_(std::move(values)) {
    values.clear();
}

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

ZelGroupChunk::ZelGroupChunk() : ZelGroupChunk(kTagFREE) {}

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
            n += kHeaderSize + c->getLength();
        }
    }
    return n;
}

bool ZelGroupChunk::read(const ZelHeader& h, ZelFile& f) {
    if (h.tag != header_.tag || h.type != header_.type) {
        return false;
    }
    header_ = h;
    size_t count = 0;
    const bool ok = readChildren(h, f, count);
    // Children of an earlier read that were not read into again go, also after a failure: a file
    // that repeats a member group must not leak, and a failed read keeps only what it read.
    for (size_t i = count; i < children_.size(); ++i) {
        delete children_[i];
    }
    children_.resize(count);
    return ok;
}

bool ZelGroupChunk::readChildren(const ZelHeader& h, ZelFile& f, size_t& count) {
    if (h.length == 0) {
        return true;
    }
    // A negative length announces no payload: the chunks that follow are not this group's.
    if (h.length < 0) {
        return false;
    }
    // Every non-empty group on the way down pushed one level, so the level bounds the recursion.
    const uint64 level = f.getLevel();
    if (level > static_cast<uint64>(kMaxGroupLevels)) {
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
            continue;
        }
        // The child an earlier read left at this position reads the chunk in place when it is
        // the same kind of chunk: an object's next sample then reuses the storage of the last.
        ZelChunk*& c = count < children_.size() ? children_[count] : children_.emplace_back();
        if (!readsInPlace(c, ch)) {
            delete c;
            c = ZelChunk::create(ch.tag, ch.type);
        }
        // A child whose read failed stands at `count`, where the caller deletes it.
        if (c == nullptr || !c->read(ch, f)) {
            return false;
        }
        ++count;
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

}  // namespace Zel

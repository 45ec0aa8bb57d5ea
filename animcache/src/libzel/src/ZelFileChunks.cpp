#include "ZelFileChunks.h"

#include <cassert>
#include <limits>
#include <memory>

#include "ZelDump.h"
#include "ZelFormat.h"

namespace Zel {

namespace {

constexpr int64 kDefaultVersion = 2;

// The payload length of a chunk holding one value of type V.
template <class V>
constexpr int64 widthOf = static_cast<int64>(sizeof(V));

// The length estimate of a META counts every optional child as present: "NSAM", "SPAC", "NOBJ"
// and "DATE" with an int64 each, "WAPP" and "SFIL" with a NUL each (their characters are added
// apart) and, with samples, "FTIM", "LTIM" and "RATE" with a float each.
constexpr int64 kInt64Child = kHeaderSize + widthOf<int64>;
constexpr int64 kFloatChild = kHeaderSize + widthOf<float>;
constexpr int64 kEmptyStringChild = kHeaderSize + 1;
constexpr int64 kMetaEstimate = 4 * kInt64Child + 2 * kEmptyStringChild;
constexpr int64 kMetaEstimateWithSamples = kMetaEstimate + 3 * kFloatChild;

// One chunk holding the single value `v`, with the element type of V.
template <class V>
bool writeScalar(ZelFile& f, uint32 tag, const V& v) {
    return f.writeChunk(ZelHeader(tag, ZelTypeCode<V>::value, widthOf<V>), &v, -1);
}

// A fixed-size child of "META" that is read straight into `value`: taken only when its header
// carries this tag, type and length.
struct ScalarChild {
    uint32 tag;
    uint8 type;
    int64 length;
    void* value;
};

template <class V>
ScalarChild scalarChild(uint32 tag, V& value) {
    return {tag, ZelTypeCode<V>::value, widthOf<V>, &value};
}

void setDefaults(ZelMETAChunk& m) {
    m.application.clear();
    m.sourceFile.clear();
    m.date = 0;
    m.numSamples = 0;
    m.firstTime = std::numeric_limits<float>::infinity();
    m.lastTime = -std::numeric_limits<float>::infinity();
    m.rate = 1.0f;
    m.space = 1;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// ZelDZELChunk

ZelDZELChunk::ZelDZELChunk() : ZelDZELChunk(kDefaultVersion) {}

ZelDZELChunk::ZelDZELChunk(int64 v)
    : ZelChunk(ZelHeader(kTagDZEL, kTypeInt64, widthOf<int64>)), version(v) {}

ZelDZELChunk::~ZelDZELChunk() = default;

void ZelDZELChunk::reset() {
    version = kDefaultVersion;
}

bool ZelDZELChunk::read(const ZelHeader& h, ZelFile& f) {
    if (h.tag != kTagDZEL || h.type != kTypeInt64 || h.length != widthOf<int64>) {
        return false;
    }
    header_ = h;
    return f.readData(h, &version);
}

bool ZelDZELChunk::write(ZelFile& f) const {
    return writeScalar(f, kTagDZEL, version);
}

std::ostream& ZelDZELChunk::print(std::ostream& os, int indent) const {
    ZelChunk::print(os, indent);
    return os << "version = " << version;
}

// ---------------------------------------------------------------------------------------------
// ZelMETAChunk

ZelMETAChunk::ZelMETAChunk() : ZelGroupChunk(kTagMETA) {
    setDefaults(*this);
}

ZelMETAChunk::~ZelMETAChunk() = default;

void ZelMETAChunk::reset() {
    setDefaults(*this);
    removeAllChildren();
}

int64 ZelMETAChunk::getLength() const {
    int64 n = numSamples == 0 ? kMetaEstimate : kMetaEstimateWithSamples;
    n += static_cast<int64>(sourceFile.size() + application.size());
    for (const auto& d : dobjs_) {
        n += kHeaderSize + d->getLength();
    }
    return n;
}

void ZelMETAChunk::removeAllChildren() {
    removeAllDOBJs();
    ZelGroupChunk::removeAllChildren();
}

ZelDOBJChunk* ZelMETAChunk::addDOBJ(const char* name) {
    dobjs_.push_back(std::make_unique<ZelDOBJChunk>(name));
    return dobjs_.back().get();
}

ZelDOBJChunk* ZelMETAChunk::getDOBJ(int64 i) {
    assert(i >= 0 && i < getNumObjects());
    return dobjs_[static_cast<size_t>(i)].get();
}

const ZelDOBJChunk* ZelMETAChunk::getDOBJ(int64 i) const {
    assert(i >= 0 && i < getNumObjects());
    return dobjs_[static_cast<size_t>(i)].get();
}

void ZelMETAChunk::removeAllDOBJs() {
    dobjs_.clear();
}

bool ZelMETAChunk::readChild(const ZelHeader& h, ZelFile& f, bool& handled) {
    // The object count is the number of definitions actually met, so the stored one is dropped.
    int64 storedObjectCount = 0;
    const ScalarChild scalars[] = {scalarChild(kTagNSAM, numSamples),
                                   scalarChild(kTagFTIM, firstTime),
                                   scalarChild(kTagLTIM, lastTime),
                                   scalarChild(kTagRATE, rate),
                                   scalarChild(kTagSPAC, space),
                                   scalarChild(kTagDATE, date),
                                   scalarChild(kTagNOBJ, storedObjectCount)};
    handled = true;
    for (const ScalarChild& c : scalars) {
        if (h.tag == c.tag && h.type == c.type && h.length == c.length) {
            return f.readData(h, c.value);
        }
    }
    if (h.type == kTypeCstr && (h.tag == kTagSFIL || h.tag == kTagWAPP)) {
        return f.readData(h, h.tag == kTagSFIL ? sourceFile : application);
    }
    if (h.type == kTypeGroup && h.tag == kTagDOBJ) {
        auto d = std::make_unique<ZelDOBJChunk>();
        if (!d->read(h, f)) {
            return false;
        }
        dobjs_.push_back(std::move(d));
        return true;
    }
    // A known tag with another type or length is left to the group as a generic child.
    handled = false;
    return false;
}

bool ZelMETAChunk::writeChildren(ZelFile& f) const {
    if (!application.empty() && !f.writeChunk(kTagWAPP, application)) {
        return false;
    }
    if (!sourceFile.empty() && !f.writeChunk(kTagSFIL, sourceFile)) {
        return false;
    }
    if (date != 0 && !writeScalar(f, kTagDATE, date)) {
        return false;
    }
    if (!writeScalar(f, kTagNSAM, numSamples)) {
        return false;
    }
    if (numSamples > 0 &&
        (!writeScalar(f, kTagFTIM, firstTime) || !writeScalar(f, kTagLTIM, lastTime) ||
         !writeScalar(f, kTagRATE, rate))) {
        return false;
    }
    if (!writeScalar(f, kTagSPAC, space)) {
        return false;
    }
    if (!writeScalar(f, kTagNOBJ, getNumObjects())) {
        return false;
    }
    for (const auto& d : dobjs_) {
        if (!d->write(f)) {
            return false;
        }
    }
    return true;
}

std::ostream& ZelMETAChunk::printChildren(std::ostream& os, int indent) const {
    if (!application.empty()) {
        writeIndent(os, indent) << "application = " << application << '\n';
    }
    if (!sourceFile.empty()) {
        writeIndent(os, indent) << "sourceFile = " << sourceFile << '\n';
    }
    if (date != 0) {
        // The date's line ends in its own newline, so a blank line follows.
        writeDate(writeIndent(os, indent) << "date stamp = ", date) << '\n';
    }
    writeIndent(os, indent) << "numObjects = " << getNumObjects() << '\n';
    writeIndent(os, indent) << "numSamples = " << numSamples << '\n';
    writeIndent(os, indent) << "firstTime = frame " << firstTime << '\n';
    writeIndent(os, indent) << "lastTime = " << lastTime << '\n';
    writeIndent(os, indent) << "rate = ";
    if (rate == 0.0f) {
        os << "nonuniform\n";
    } else {
        os << rate << " samples per frame\n";
    }
    writeIndent(os, indent) << "space = ";
    if (space == 0) {
        os << "world\n";
    } else if (space == 1) {
        os << "object\n";
    } else {
        os << space << '\n';
    }
    for (const auto& d : dobjs_) {
        d->print(os, indent);
    }
    return os;
}

}  // namespace Zel

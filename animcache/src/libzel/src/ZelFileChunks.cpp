#include "ZelFileChunks.h"

#include <cassert>
#include <ctime>
#include <limits>
#include <memory>

namespace Zel {

namespace {

constexpr int64 kDefaultVersion = 2;

void writeIndent(std::ostream& os, int indent) {
    for (int i = 0; i < indent; ++i) {
        os << ". ";
    }
}

// One fixed-size scalar child: its header must carry exactly this type and the value's width.
template <class V>
bool isScalar(const ZelHeader& h, uint8 type) {
    return h.type == type && h.length == static_cast<int64>(sizeof(V));
}

template <class V>
bool writeScalar(ZelFile& f, const char (&tag)[5], uint8 type, const V& v) {
    return f.writeChunk(ZelHeader(makeTag(tag), type, static_cast<int64>(sizeof(V))), &v, -1);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// ZelDZELChunk

ZelDZELChunk::ZelDZELChunk() : ZelDZELChunk(kDefaultVersion) {}

ZelDZELChunk::ZelDZELChunk(int64 v)
    : ZelChunk(ZelHeader(makeTag("DZEL"), kTypeInt64, 8, 0, 0)), version(v) {}

ZelDZELChunk::~ZelDZELChunk() = default;

void ZelDZELChunk::reset() {
    version = kDefaultVersion;
}

bool ZelDZELChunk::read(const ZelHeader& h, ZelFile& f) {
    if (h.tag != makeTag("DZEL") || h.type != kTypeInt64 || h.length != 8) {
        return false;
    }
    header_ = h;
    return f.readData(h, &version);
}

bool ZelDZELChunk::write(ZelFile& f) const {
    return writeScalar(f, "DZEL", kTypeInt64, version);
}

std::ostream& ZelDZELChunk::print(std::ostream& os, int indent) const {
    ZelChunk::print(os, indent);
    return os << "version = " << version;
}

// ---------------------------------------------------------------------------------------------
// ZelMETAChunk

ZelMETAChunk::ZelMETAChunk() : ZelGroupChunk(makeTag("META")) {
    date = 0;
    numSamples = 0;
    firstTime = std::numeric_limits<float>::infinity();
    lastTime = -std::numeric_limits<float>::infinity();
    rate = 1.0f;
    space = 1;
}

ZelMETAChunk::~ZelMETAChunk() = default;

void ZelMETAChunk::reset() {
    application.clear();
    sourceFile.clear();
    date = 0;
    numSamples = 0;
    firstTime = std::numeric_limits<float>::infinity();
    lastTime = -std::numeric_limits<float>::infinity();
    rate = 1.0f;
    space = 1;
    removeAllChildren();
}

int64 ZelMETAChunk::getLength() const {
    // Counts every optional child as present, so it may exceed the size actually written.
    int64 n = numSamples == 0 ? 130 : 190;
    n += static_cast<int64>(sourceFile.size() + application.size());
    for (const auto& d : dobjs_) {
        n += 16 + d->getLength();
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
    handled = true;
    switch (h.tag) {
        case makeTag("SFIL"):
            if (h.type == kTypeCstr) {
                return f.readData(h, sourceFile);
            }
            break;
        case makeTag("WAPP"):
            if (h.type == kTypeCstr) {
                return f.readData(h, application);
            }
            break;
        case makeTag("NSAM"):
            if (isScalar<int64>(h, kTypeInt64)) {
                return f.readData(h, &numSamples);
            }
            break;
        case makeTag("FTIM"):
            if (isScalar<float>(h, kTypeFloat)) {
                return f.readData(h, &firstTime);
            }
            break;
        case makeTag("LTIM"):
            if (isScalar<float>(h, kTypeFloat)) {
                return f.readData(h, &lastTime);
            }
            break;
        case makeTag("RATE"):
            if (isScalar<float>(h, kTypeFloat)) {
                return f.readData(h, &rate);
            }
            break;
        case makeTag("SPAC"):
            if (isScalar<int64>(h, kTypeInt64)) {
                return f.readData(h, &space);
            }
            break;
        case makeTag("DATE"):
            if (isScalar<int64>(h, kTypeInt64)) {
                return f.readData(h, &date);
            }
            break;
        case makeTag("NOBJ"):
            // The object count is the number of definitions actually met.
            if (isScalar<int64>(h, kTypeInt64)) {
                int64 ignored = 0;
                return f.readData(h, &ignored);
            }
            break;
        case makeTag("DOBJ"):
            if (h.type == kTypeGroup) {
                auto d = std::make_unique<ZelDOBJChunk>();
                if (!d->read(h, f)) {
                    return false;
                }
                dobjs_.push_back(std::move(d));
                return true;
            }
            break;
        default:
            break;
    }
    handled = false;
    return false;
}

bool ZelMETAChunk::writeChildren(ZelFile& f) const {
    if (!application.empty() && !f.writeChunk(makeTag("WAPP"), application)) {
        return false;
    }
    if (!sourceFile.empty() && !f.writeChunk(makeTag("SFIL"), sourceFile)) {
        return false;
    }
    if (date != 0 && !writeScalar(f, "DATE", kTypeInt64, date)) {
        return false;
    }
    if (!writeScalar(f, "NSAM", kTypeInt64, numSamples)) {
        return false;
    }
    if (numSamples > 0 && (!writeScalar(f, "FTIM", kTypeFloat, firstTime) ||
                           !writeScalar(f, "LTIM", kTypeFloat, lastTime) ||
                           !writeScalar(f, "RATE", kTypeFloat, rate))) {
        return false;
    }
    if (!writeScalar(f, "SPAC", kTypeInt64, space)) {
        return false;
    }
    if (!writeScalar(f, "NOBJ", kTypeInt64, getNumObjects())) {
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
        writeIndent(os, indent);
        os << "application = " << application << '\n';
    }
    if (!sourceFile.empty()) {
        writeIndent(os, indent);
        os << "sourceFile = " << sourceFile << '\n';
    }
    if (date != 0) {
        writeIndent(os, indent);
        os << "date stamp = ";
        // asctime's text ends in its own newline, which leaves a blank line after this one.
        const std::time_t t = static_cast<std::time_t>(date);
        std::tm tm{};
        char text[64];
        if (localtime_r(&t, &tm) != nullptr && asctime_r(&tm, text) != nullptr) {
            os << text << '\n';
        } else {
            // A date beyond the calendar's range is shown as its raw number of seconds.
            os << date << "\n\n";
        }
    }
    writeIndent(os, indent);
    os << "numObjects = " << getNumObjects() << '\n';
    writeIndent(os, indent);
    os << "numSamples = " << numSamples << '\n';
    writeIndent(os, indent);
    os << "firstTime = frame " << firstTime << '\n';
    writeIndent(os, indent);
    os << "lastTime = " << lastTime << '\n';
    writeIndent(os, indent);
    os << "rate = ";
    if (rate == 0.0f) {
        os << "nonuniform";
    } else {
        os << rate << " samples per frame";
    }
    os << '\n';
    writeIndent(os, indent);
    os << "space = ";
    if (space == 0) {
        os << "world";
    } else if (space == 1) {
        os << "object";
    } else {
        os << space;
    }
    os << '\n';
    for (const auto& d : dobjs_) {
        d->print(os, indent);
    }
    return os;
}

}  // namespace Zel

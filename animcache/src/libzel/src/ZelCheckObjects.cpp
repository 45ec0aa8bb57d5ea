// checkCache's objects: what each definition holds, and each object's group in a sample against
// its definition and its first sample. No value is copied or allocated for.
#include <algorithm>
#include <cstring>

#include "ZelCheckImpl.h"

namespace Zel {

namespace {

using std::to_string;

constexpr uint32 kFloatExponent = 0x7f800000u;
constexpr uint64 kDoubleExponent = 0x7ff0000000000000ull;

// How many of the `n` reals of width W at `p` (any alignment) are NaN or infinite: every bit of
// their exponent set. Whole blocks of fixed size, so that the compiler vectorizes the count.
template <class Bits, Bits kExponent>
int64 countNonFinite(const unsigned char* p, int64 n) {
    constexpr int64 kBlock = 64;
    int64 bad = 0;
    int64 i = 0;
    for (; i + kBlock <= n; i += kBlock) {
        Bits block[kBlock];
        std::memcpy(block, p + sizeof(Bits) * static_cast<size_t>(i), sizeof(block));
        int inBlock = 0;
        for (int64 j = 0; j < kBlock; ++j) {
            inBlock += (block[j] & kExponent) == kExponent;
        }
        bad += inBlock;
    }
    for (; i < n; ++i) {
        Bits v;
        std::memcpy(&v, p + sizeof(Bits) * static_cast<size_t>(i), sizeof(v));
        bad += (v & kExponent) == kExponent;
    }
    return bad;
}

// The smallest and largest of the `n` int32 values at `p`.
void indexRange(const unsigned char* p, int64 n, int64& lowest, int64& highest) {
    int low = 0, high = -1;
    for (int64 i = 0; i < n; ++i) {
        int v;
        std::memcpy(&v, p + 4 * static_cast<size_t>(i), 4);
        low = i == 0 || v < low ? v : low;
        high = i == 0 || v > high ? v : high;
    }
    lowest = low;
    highest = high;
}

// The sum of the `n` int32 values at `p`.
int64 sumOf(const unsigned char* p, int64 n) {
    int64 sum = 0;
    for (int64 i = 0; i < n; ++i) {
        int v;
        std::memcpy(&v, p + 4 * static_cast<size_t>(i), 4);
        sum += v;
    }
    return sum;
}

bool isReal(uint8 type) {
    return type == kTypeFloat || type == kTypeDouble;
}

// What a "POSI" chunk of reals at `at` holds: values, points (of 4 values when its dimension
// says so, else of 3, as readers count them) and how many values are not finite.
struct Positions {
    int64 values = 0, points = 0, nonFinite = 0;
    int perPoint = 3;
    bool whole = true;  // a declared point size divides the values
};

Positions positionsAt(const unsigned char* bytes, int64 at, const ZelHeader& h) {
    Positions p;
    const unsigned char* values = bytes + at + kHeaderSize;
    if (h.type == kTypeFloat) {
        p.values = h.length / 4;
        p.nonFinite = countNonFinite<uint32, kFloatExponent>(values, p.values);
    } else {
        p.values = h.length / 8;
        p.nonFinite = countNonFinite<uint64, kDoubleExponent>(values, p.values);
    }
    p.perPoint = h.dimension == 4 ? 4 : 3;
    p.points = p.values / p.perPoint;
    p.whole = (h.dimension != 3 && h.dimension != 4) || p.values % p.perPoint == 0;
    return p;
}

// "float 3d point": how a chunk's values are stored.
std::string layoutOf(uint8 type, uint8 compound, uint8 dimension) {
    std::string s = type < 7 ? zelTypeNames[type] : "type " + to_string(type);
    if (dimension != 0) {
        s += " " + (dimension < 17 && zelDimensionNames[dimension][0] != '\0'
                        ? std::string(zelDimensionNames[dimension])
                        : "dimension " + to_string(dimension));
    }
    if (compound != 0) {
        s += " " + (compound < 7 ? std::string(zelCompoundNames[compound])
                                 : "compound " + to_string(compound));
    }
    return s;
}

}  // namespace

void ZelChecker::Faces::note(const ZelHeader& h, const unsigned char* values) {
    if (h.tag == kTagPIDS && !seenIndices) {
        seenIndices = true;
        hasIndices = h.type == kTypeInt32;
        indexCount = hasIndices ? h.length / 4 : 0;
        indexRange(values, indexCount, minIndex, maxIndex);
    } else if (h.tag == kTagPCNT && !seenCounts) {
        seenCounts = true;
        hasCounts = h.type == kTypeInt32;
        countSum = hasCounts ? sumOf(values, h.length / 4) : 0;
    }
}

std::string ZelChecker::objectIn(int o, int64 k) const {
    return "object " + to_string(o) + " in sample " + to_string(k);
}

// ---- Definitions ----

void ZelChecker::readDefinitions() {
    objects_.resize(file_.objects.size());
    for (size_t o = 0; o < objects_.size(); ++o) {
        readDefinition(static_cast<int>(o));
    }
}

// What a reader takes from the definition: the first "POSI", "PIDS" and "PCNT" outside the
// name and attribute definition, which hide those of the samples.
void ZelChecker::readDefinition(int o) {
    Object& d = objects_[static_cast<size_t>(o)];
    const ZelChunkRef& def = file_.objects[static_cast<size_t>(o)].def;
    d.offset = def.offset;
    d.animatedAttrs = file_.attributesOf(o).animated;
    walkChunks(bytes_, def.payload(), def.end(), [&](int64 at, const ZelHeader& h, int depth) {
        if (depth == 0 && ((h.tag == kTagNAME && h.type == kTypeCstr) ||
                           (h.tag == kTagDATR && h.type == kTypeGroup))) {
            return WalkStep::kSkip;
        }
        const unsigned char* values = bytes_ + at + kHeaderSize;
        if (h.tag == kTagPOSI && !d.pointsInDefinition) {
            d.pointsInDefinition = true;
            if (isReal(h.type)) {
                const Positions p = positionsAt(bytes_, at, h);
                d.staticPoints = p.points;
                if (p.nonFinite > 0) {
                    warning(at, o, -1, [&] {
                        return "the definition of object " + to_string(o) + " has " +
                               to_string(p.nonFinite) +
                               (p.nonFinite == 1 ? " non-finite position value"
                                                 : " non-finite position values") +
                               " (NaN or infinity) of " + to_string(p.values);
                    });
                }
            }
        } else {
            d.faces.note(h, values);
        }
        return WalkStep::kDescend;
    });
    if (d.faces.hasCounts && d.faces.hasIndices && d.faces.countSum != d.faces.indexCount) {
        error(d.offset, o, -1, [&] {
            return "the faces (\"PCNT\") of object " + to_string(o) + " use " +
                   to_string(d.faces.countSum) + " point indices, its \"PIDS\" holds " +
                   to_string(d.faces.indexCount);
        });
    }
    if (d.faces.hasIndices && d.staticPoints >= 0) {
        checkIndices(d.offset, o, -1, d.faces.minIndex, d.faces.maxIndex, d.staticPoints);
    }
}

// ---- Objects in samples ----

void ZelChecker::objectChunk(int64 at, const ZelHeader& h, int depth) {
    if (current_.object < 0) {
        return;
    }
    // Depth 0 is the object's group's own children.
    const int d = depth - 1;
    noteShape(h, d);
    if (d == 0) {
        // The animated attribute values are the first "ATRS" directly in the group.
        current_.inAtrs = h.tag == kTagATRS && !current_.atrsSeen && h.type == kTypeGroup;
        current_.atrsSeen = current_.atrsSeen || h.tag == kTagATRS;
    } else if (d == 1 && current_.inAtrs) {
        ++current_.atrsValues;
    }
    const unsigned char* values = bytes_ + at + kHeaderSize;
    if (h.tag == kTagPOSI && isReal(h.type)) {
        notePositions(at, h);
    } else {
        current_.faces.note(h, values);
    }
}

// Records the chunk in the object's first sample; in a later one, notes the first way in which
// its chunks differ from the first sample's.
void ZelChecker::noteShape(const ZelHeader& h, int depth) {
    const Shape here{h.tag, h.type, h.compound, h.dimension, depth};
    const size_t i = current_.chunks++;
    if (current_.recording) {
        shapes_.push_back(here);
        return;
    }
    const Object& def = objects_[static_cast<size_t>(current_.object)];
    if (!current_.shapeChange.empty()) {
        return;
    }
    const std::string first = "sample " + std::to_string(def.firstSample);
    if (i >= def.shapeCount) {
        current_.shapeChange = "holds " + checkQuoted(h.tag) + ", which " + first + " does not";
        return;
    }
    const Shape& was = shapes_[def.shapeBegin + i];
    if (was.tag != here.tag || was.depth != here.depth) {
        current_.shapeChange =
            "holds " + checkQuoted(here.tag) + " where " + first + " holds " + checkQuoted(was.tag);
    } else if (was.type != here.type || was.compound != here.compound ||
               was.dimension != here.dimension) {
        current_.shapeChange = "stores " + checkQuoted(here.tag) + " as " +
                               layoutOf(here.type, here.compound, here.dimension) + ", " + first +
                               " as " + layoutOf(was.type, was.compound, was.dimension);
    }
}

void ZelChecker::notePositions(int64 at, const ZelHeader& h) {
    const Positions p = positionsAt(bytes_, at, h);
    current_.positionValues += p.values;
    current_.nonFinite += p.nonFinite;
    // The first "POSI" is the one readers use.
    if (current_.positionsAt < 0) {
        current_.positionsAt = at;
        current_.points = p.points;
        current_.values = p.values;
        current_.perPoint = p.perPoint;
        current_.wholePoints = p.whole;
    }
}

// The checks an object's group in a sample allows once walked: `whole` when its walk ended
// within its group.
void ZelChecker::finishObject(int64 k, bool whole) {
    const int o = current_.object;
    if (o < 0) {
        current_ = InSample();
        return;
    }
    Object& def = objects_[static_cast<size_t>(o)];
    if (current_.nonFinite > 0) {
        warning(current_.positionsAt, o, k, [&] {
            return objectIn(o, k) + " has " + to_string(current_.nonFinite) +
                   (current_.nonFinite == 1 ? " non-finite position value"
                                            : " non-finite position values") +
                   " (NaN or infinity) of " + to_string(current_.positionValues);
        });
    }
    if (!whole) {
        // A cut first sample is no shape to compare later ones with.
        if (current_.recording) {
            shapes_.resize(current_.shapeBegin);
        }
        current_ = InSample();
        return;
    }
    if (current_.recording) {
        def.firstSample = k;
        def.shapeBegin = current_.shapeBegin;
        def.shapeCount = current_.chunks;
    } else if (current_.shapeChange.empty() && current_.chunks < def.shapeCount) {
        current_.shapeChange = "lacks " +
                               checkQuoted(shapes_[def.shapeBegin + current_.chunks].tag) +
                               ", which sample " + to_string(def.firstSample) + " holds";
    }
    const int values = current_.atrsValues;
    if (values != def.animatedAttrs) {
        error(current_.offset, o, k, [&] {
            return objectIn(o, k) + " holds " + to_string(values) +
                   " animated attribute values (\"ATRS\"), its definition declares " +
                   to_string(def.animatedAttrs);
        });
    } else if (!current_.shapeChange.empty()) {
        // A value missing from "ATRS" also changes the chunks: said once, above.
        error(current_.offset, o, k, [&] { return objectIn(o, k) + " " + current_.shapeChange; });
    }
    checkObjectCounts(k, def);
    current_ = InSample();
}

// Positions, points and point indices of the object in sample `k`, each taken from the
// definition when it holds them, as readers take them.
void ZelChecker::checkObjectCounts(int64 k, Object& def) {
    const int o = current_.object;
    if (!def.pointsInDefinition && !current_.wholePoints) {
        error(current_.positionsAt, o, k, [&] {
            return objectIn(o, k) + ": \"POSI\" holds " + to_string(current_.values) +
                   " values, not a whole number of " + to_string(current_.perPoint) + "d points";
        });
    }
    const bool samplePoints = !def.pointsInDefinition && current_.positionsAt >= 0;
    const int64 points = def.pointsInDefinition ? def.staticPoints : current_.points;
    if (samplePoints && (def.faces.seenIndices || def.faces.seenCounts)) {
        if (def.firstPointsSample < 0) {
            def.firstPoints = points;
            def.firstPointsSample = k;
        } else if (points != def.firstPoints) {
            error(current_.positionsAt, o, k, [&] {
                return objectIn(o, k) + " has " + to_string(points) + " points, " +
                       to_string(def.firstPoints) + " in sample " +
                       to_string(def.firstPointsSample) +
                       ", while its topology (\"PCNT\"/\"PIDS\") does not change";
            });
        }
    }
    const bool sampleIndices = !def.faces.seenIndices && current_.faces.hasIndices;
    if (sampleIndices) {
        checkIndices(current_.offset, o, k, current_.faces.minIndex, current_.faces.maxIndex,
                     points);
    } else if (def.faces.hasIndices && samplePoints && points != def.indicesCheckedFor) {
        // The same indices against the same count give the same answer: said once.
        def.indicesCheckedFor = points;
        checkIndices(current_.offset, o, k, def.faces.minIndex, def.faces.maxIndex, points);
    }
    const bool sampleCounts = !def.faces.seenCounts && current_.faces.hasCounts;
    const bool counts = sampleCounts || def.faces.hasCounts;
    const bool indices = sampleIndices || def.faces.hasIndices;
    if ((sampleCounts || sampleIndices) && counts && indices) {
        const int64 sum = sampleCounts ? current_.faces.countSum : def.faces.countSum;
        const int64 n = sampleIndices ? current_.faces.indexCount : def.faces.indexCount;
        if (sum != n) {
            error(current_.offset, o, k, [&] {
                return objectIn(o, k) + ": its faces (\"PCNT\") use " + to_string(sum) +
                       " point indices, its \"PIDS\" holds " + to_string(n);
            });
        }
    }
}

void ZelChecker::checkIndices(int64 offset, int o, int64 k, int64 minIndex, int64 maxIndex,
                              int64 points) {
    if (points < 0 || maxIndex < minIndex) {
        return;
    }
    const std::string who = k >= 0 ? objectIn(o, k) : "the definition of object " + to_string(o);
    if (minIndex < 0) {
        error(offset, o, k,
              [&] { return who + ": point index " + to_string(minIndex) + " is negative"; });
    } else if (maxIndex >= points) {
        error(offset, o, k, [&] {
            return who + ": point index " + to_string(maxIndex) + " is beyond its " +
                   to_string(points) + " points";
        });
    }
}

}  // namespace Zel

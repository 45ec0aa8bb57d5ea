// What a ZelReader holds once open, and the byte-level lookups its queries share. Internal to the
// library.
#ifndef ZEL_READER_IMPL_H
#define ZEL_READER_IMPL_H

#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "ZelFormat.h"
#include "ZelMapping.h"
#include "ZelReader.h"
#include "ZelSampleClock.h"

namespace Zel {

// A chunk found in the file: where its header lies and what it says.
struct ZelChunkRef {
    int64 offset = -1;
    ZelHeader header;
    bool found() const { return offset >= 0; }
    int64 payload() const { return offset + kHeaderSize; }
    int64 end() const { return payload() + header.length; }
};

struct ZelReader::Impl {
    // One object definition ("DOBJ"), located at open but decoded only by the queries.
    struct Object {
        ZelChunkRef def;         // the "DOBJ" group
        std::string_view name;   // its "NAME" (the last one, as a loader keeps it)
        ZelChunkRef attributes;  // its "DATR" group (the last one), or none
    };

    std::string path;
    ZelMapping map;
    int64 version = 2;
    std::string_view application;
    std::string_view sourceFile;
    int64 dateStamp = 0;
    int64 space = 1;
    int64 numSamples = 0;
    // A cache without samples keeps the empty range a loader starts from.
    float firstTime = std::numeric_limits<float>::infinity();
    float lastTime = -std::numeric_limits<float>::infinity();
    float rate = 1.0f;
    std::vector<TimeEntry> times;
    std::vector<JumpEntry> jumps;
    ZelChunkRef metadata;  // the "META" chunk
    std::vector<Object> objects;
    // The first object of each name.
    std::unordered_map<std::string_view, int> byName;

    const unsigned char* bytes() const { return map.data(); }
    int64 size() const { return static_cast<int64>(map.size()); }
    // For a chunk read through once: maps the pages of the chunk at `offset` ahead of the read
    // (`need`), or lets go of them after it, so that few stay mapped (see ZelMapping).
    void adviseChunk(int64 offset, bool need) const {
        ZelHeader h;
        if (offset >= 0 && decodeHeader(bytes(), map.size(), uint64(offset), h) && h.length >= 0) {
            const uint64 length = uint64(kHeaderSize) + uint64(h.length);
            need ? map.prefetch(uint64(offset), length) : map.release(uint64(offset), length);
        }
    }
    ZelSampleClock clock() const;
    // "<path>: <reason>" with `code`.
    ZelStatus fail(ZelStatusCode code, const std::string& reason) const;

    // ---- Open (ZelReaderOpen.cpp) ----
    // Reads and checks the mapped file. With `readerChecks` false only what ZelCache::load checks
    // (ok exactly when the loader accepts the file); with it, also that every samples section and
    // reserve lies in the file and every sample's group is whole, as the queries rely on.
    ZelStatus load(bool readerChecks = true);
    // The identification and the metadata alone, checked as load() checks them.
    ZelStatus loadHead();
    // load(false): the identification and metadata read by the chunk classes, as the loader reads
    // them (it takes some a walk refuses), then the sections' tables as load() reads them.
    ZelStatus loadAsLoader();
    ZelStatus readMetadata(const ZelChunkRef& meta);
    ZelStatus readSections(int64 from, bool readerChecks);
    ZelStatus checkSamples(bool readerChecks) const;

    // What object `object` (an index in range) is, decided as the helper object factory decides.
    ZelObjectKind objectKind(int object) const;

    // ---- Lookups (ZelReaderData.cpp); every one checks what it reads against the file ----
    // The chunk tagged `tag` where the helper objects look: the object's definition (outside its
    // name and attribute definition), else the object's group in `sample`, depth first.
    ZelStatus findData(int object, int sample, uint32 tag, ZelChunkRef& chunk,
                       bool& animated) const;
    // The object's "SOBJ" group in `sample`, its whole tree checked.
    ZelStatus objectSample(int object, int sample, ZelChunkRef& sobj) const;
    // The value chunk of attribute `attr` (static, or animated in `sample`).
    // `*animated` (when given) says whether the attribute has a value in every sample.
    ZelStatus attributeData(int object, int attr, int sample, ZelChunkRef& value,
                            bool* animated = nullptr) const;
    // Animated and static attribute counts and the chunks holding their names, types and
    // static values.
    struct Attributes {
        ZelChunkRef animatedNames, animatedTypes, staticNames, staticTypes, staticValues;
        int animated = 0;
        int statics = 0;
    };
    Attributes attributesOf(int object) const;
    // A view of a leaf chunk's values; kUnsupported for groups and raw bytes.
    ZelStatus viewOf(const ZelChunkRef& chunk, bool animated, ZelDataView& view) const;
    // The strings of a "cstr" chunk (none for a chunk not found).
    std::string_view stringAt(const ZelChunkRef& chunk, int index) const;
    int stringCount(const ZelChunkRef& chunk) const;
};

// The samples a time query blends and their times (ZelSampleClock::chooseRun), and the blend
// parameter; `blend` is false when samples[0] alone answers or `order` has no blend of its own.
struct ZelRun {
    std::vector<int> samples;
    std::vector<float> times;
    bool chosen = false;  // what chooseRun said: samples[0] alone answers when false
    bool blend = false;
    float t = 0.0f;
};
ZelRun chooseRun(const ZelReader::Impl& r, float time, int order);

// The failures every query shares: no open cache, a negative interpolation order.
ZelStatus readerClosed();
ZelStatus badOrder(const ZelReader::Impl& r, int order);

// The data tagged `tag` of `object` in `sample` as a view (definition first, as findData looks),
// required to hold `type` when that is given.
ZelStatus dataAt(const ZelReader::Impl& r, int object, int sample, uint32 tag, ZelDataView& view,
                 const ZelElementType* type = nullptr);

// The `index`-th string of the NUL-separated list in the `length` bytes at `data` (the list a
// loader reads: a final run without NUL still counts); empty when there are fewer.
std::string_view stringAt(const unsigned char* data, int64 length, int index);
// How many strings that list holds.
int stringCount(const unsigned char* data, int64 length);

}  // namespace Zel

#endif

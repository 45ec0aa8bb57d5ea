// ZelReader's lookups inside the mapped file: an object's definition, its group in a sample, its
// attributes. Each checks the bytes it reads against the file before using them.
#include <cstring>

#include "ZelReaderImpl.h"

namespace Zel {

namespace {

// The first chunk tagged `tag` in [begin, end), depth first, entering groups except where `skip`
// says; a malformed tree gives `ok` false.
template <class Skip>
ZelChunkRef findInTree(const unsigned char* bytes, int64 begin, int64 end, uint32 tag, Skip skip,
                       bool& ok) {
    ZelChunkRef found;
    ok = walkChunks(bytes, begin, end, [&](int64 at, const ZelHeader& h, int depth) {
        if (h.tag == tag) {
            found = ZelChunkRef{at, h};
            return WalkStep::kStop;
        }
        return skip(h, depth) ? WalkStep::kSkip : WalkStep::kDescend;
    });
    return found;
}

// Child `index` of the group `group`, or none.
ZelChunkRef childAt(const unsigned char* bytes, const ZelChunkRef& group, int index) {
    ZelChunkRef found;
    int k = 0;
    walkChunks(bytes, group.payload(), group.end(), [&](int64 at, const ZelHeader& h, int) {
        if (k++ == index) {
            found = ZelChunkRef{at, h};
            return WalkStep::kStop;
        }
        return WalkStep::kSkip;
    });
    return found;
}

bool decodeRef(const unsigned char* bytes, int64 size, int64 at, ZelChunkRef& chunk) {
    if (at < 0 ||
        !decodeHeader(bytes, static_cast<uint64>(size), static_cast<uint64>(at), chunk.header) ||
        !payloadFits(chunk.header, static_cast<uint64>(at + kHeaderSize),
                     static_cast<uint64>(size))) {
        return false;
    }
    chunk.offset = at;
    return true;
}

// The element type of leaf type code `type`; false for groups and raw bytes.
bool elementTypeOf(uint8 type, ZelElementType& out, int64& width) {
    switch (type) {
        case kTypeInt32:
            out = ZelElementType::kInt32, width = 4;
            return true;
        case kTypeFloat:
            out = ZelElementType::kFloat, width = 4;
            return true;
        case kTypeInt64:
            out = ZelElementType::kInt64, width = 8;
            return true;
        case kTypeDouble:
            out = ZelElementType::kDouble, width = 8;
            return true;
        case kTypeCstr:
            out = ZelElementType::kString, width = 1;
            return true;
        default:
            return false;
    }
}

}  // namespace

std::string_view stringAt(const unsigned char* data, int64 length, int index) {
    const char* p = reinterpret_cast<const char*>(data);
    const char* end = p + length;
    for (int k = 0; p < end; ++k) {
        const void* nul = std::memchr(p, '\0', static_cast<size_t>(end - p));
        const char* stop = nul != nullptr ? static_cast<const char*>(nul) : end;
        if (k == index) {
            return std::string_view(p, static_cast<size_t>(stop - p));
        }
        p = stop + 1;
    }
    return {};
}

std::vector<std::string_view> ZelDataView::strings() const {
    std::vector<std::string_view> out;
    if (type != ZelElementType::kString) {
        return out;
    }
    const char* p = reinterpret_cast<const char*>(data);
    const char* end = p + count;
    while (p < end) {
        const void* nul = std::memchr(p, '\0', static_cast<size_t>(end - p));
        const char* stop = nul != nullptr ? static_cast<const char*>(nul) : end;
        out.emplace_back(p, static_cast<size_t>(stop - p));
        p = stop + 1;
    }
    return out;
}

int stringCount(const unsigned char* data, int64 length) {
    const char* p = reinterpret_cast<const char*>(data);
    const char* end = p + length;
    int count = 0;
    while (p < end) {
        const void* nul = std::memchr(p, '\0', static_cast<size_t>(end - p));
        p = nul != nullptr ? static_cast<const char*>(nul) + 1 : end;
        ++count;
    }
    return count;
}

std::string_view ZelReader::Impl::stringAt(const ZelChunkRef& chunk, int index) const {
    return chunk.found() ? Zel::stringAt(bytes() + chunk.payload(), chunk.header.length, index)
                         : std::string_view();
}

int ZelReader::Impl::stringCount(const ZelChunkRef& chunk) const {
    return chunk.found() ? Zel::stringCount(bytes() + chunk.payload(), chunk.header.length) : 0;
}

ZelStatus ZelReader::Impl::objectSample(int object, int sample, ZelChunkRef& sobj) const {
    if (sample < 0 || sample >= static_cast<int>(jumps.size())) {
        return fail(ZelStatusCode::kInvalidArgument,
                    "sample " + std::to_string(sample) + " is not in the cache");
    }
    // The message is built only on failure: every successful lookup of a sample's data passes here.
    const auto corrupt = [&](const char* what) {
        return fail(ZelStatusCode::kCorrupt, "object " + std::to_string(object) + " in sample " +
                                                 std::to_string(sample) + ": " + what);
    };
    // Open checked that the sample's "SAMP" group lies in the file; its offset table comes first.
    ZelChunkRef samp;
    decodeRef(bytes(), size(), jumps[static_cast<size_t>(sample)], samp);
    ZelChunkRef table;
    int64 at = samp.payload();
    while (at < samp.end()) {
        if (!decodeRef(bytes(), samp.end(), at, table) || table.header.tag == kTagSOBJ) {
            return corrupt("the sample has no object offset table");
        }
        if (table.header.tag == kTagJOBJ) {
            break;
        }
        at = table.end();
    }
    if (table.header.tag != kTagJOBJ || table.header.length % kJumpEntrySize != 0) {
        return corrupt("the sample has no object offset table");
    }
    if (object >= table.header.length / kJumpEntrySize) {
        return corrupt("the sample's offset table has no entry for the object");
    }
    JumpEntry entry;
    std::memcpy(&entry, bytes() + table.payload() + kJumpEntrySize * object, sizeof(entry));
    if (!decodeRef(bytes(), size(), entry, sobj) || sobj.header.tag != kTagSOBJ ||
        sobj.header.type != kTypeGroup) {
        return corrupt("no object group where the offset table points");
    }
    if (!walkChunks(bytes(), sobj.payload(), sobj.end(),
                    [](int64, const ZelHeader&, int) { return WalkStep::kDescend; })) {
        return corrupt("its group is malformed");
    }
    return ZelStatus();
}

ZelStatus ZelReader::Impl::findData(int object, int sample, uint32 tag, ZelChunkRef& chunk,
                                    bool& animated) const {
    animated = false;
    chunk = ZelChunkRef();
    if (object < 0 || object >= static_cast<int>(objects.size())) {
        return fail(ZelStatusCode::kInvalidArgument,
                    "object " + std::to_string(object) + " is not in the cache");
    }
    // The definition's own name and attribute definition are not data.
    const auto definitionMember = [](const ZelHeader& h, int depth) {
        return depth == 0 && ((h.tag == kTagNAME && h.type == kTypeCstr) ||
                              (h.tag == kTagDATR && h.type == kTypeGroup));
    };
    const ZelChunkRef& def = objects[static_cast<size_t>(object)].def;
    bool ok = true;
    chunk = findInTree(bytes(), def.payload(), def.end(), tag, definitionMember, ok);
    if (chunk.found()) {
        return ZelStatus();
    }
    ZelChunkRef sobj;
    ZelStatus status = objectSample(object, sample, sobj);
    if (!status.ok()) {
        return status;
    }
    chunk = findInTree(
        bytes(), sobj.payload(), sobj.end(), tag, [](const ZelHeader&, int) { return false; }, ok);
    animated = chunk.found();
    if (!animated) {
        char name[5] = {};
        std::memcpy(name, &tag, 4);
        return fail(ZelStatusCode::kNotFound, "object " + std::to_string(object) + " has no \"" +
                                                  name + "\" data in sample " +
                                                  std::to_string(sample));
    }
    return ZelStatus();
}

ZelReader::Impl::Attributes ZelReader::Impl::attributesOf(int object) const {
    Attributes a;
    if (object < 0 || object >= static_cast<int>(objects.size())) {
        return a;
    }
    const ZelChunkRef& datr = objects[static_cast<size_t>(object)].attributes;
    if (!datr.found()) {
        return a;
    }
    ZelChunkRef parent;
    walkChunks(bytes(), datr.payload(), datr.end(), [&](int64 at, const ZelHeader& h, int depth) {
        const ZelChunkRef chunk{at, h};
        const bool group = h.type == kTypeGroup;
        if (depth == 0) {
            parent = chunk;
            if (group && h.tag == kTagATRS) {
                a.staticValues = chunk;
            }
            return group && (h.tag == kTagSATR || h.tag == kTagAATR) ? WalkStep::kDescend
                                                                     : WalkStep::kSkip;
        }
        if (depth == 1 && h.type == kTypeCstr && (h.tag == kTagNAME || h.tag == kTagTYPE)) {
            const bool animated = parent.header.tag == kTagAATR;
            ZelChunkRef& slot = h.tag == kTagNAME ? (animated ? a.animatedNames : a.staticNames)
                                                  : (animated ? a.animatedTypes : a.staticTypes);
            slot = chunk;
        }
        return WalkStep::kSkip;
    });
    a.animated = stringCount(a.animatedNames);
    a.statics = stringCount(a.staticNames);
    return a;
}

ZelStatus ZelReader::Impl::attributeData(int object, int attr, int sample, ZelChunkRef& value,
                                         bool* animated) const {
    const Attributes a = attributesOf(object);
    if (animated != nullptr) {
        *animated = attr < a.animated;
    }
    if (attr < 0 || attr >= a.animated + a.statics) {
        return fail(
            ZelStatusCode::kInvalidArgument,
            "object " + std::to_string(object) + " has no attribute " + std::to_string(attr));
    }
    // Named only when something fails: the reads of transform channels pass here often.
    const auto what = [&] {
        return "attribute " + std::to_string(attr) + " of object " + std::to_string(object);
    };
    if (attr >= a.animated) {
        value = a.staticValues.found() ? childAt(bytes(), a.staticValues, attr - a.animated)
                                       : ZelChunkRef();
        return value.found() ? ZelStatus()
                             : fail(ZelStatusCode::kCorrupt, what() + " has no static value");
    }
    ZelChunkRef sobj;
    ZelStatus status = objectSample(object, sample, sobj);
    if (!status.ok()) {
        return status;
    }
    // The sample's attribute values are the first "ATRS" group directly in the object's group.
    ZelChunkRef values;
    walkChunks(bytes(), sobj.payload(), sobj.end(), [&](int64 at, const ZelHeader& h, int) {
        if (h.tag != kTagATRS) {
            return WalkStep::kSkip;
        }
        values = ZelChunkRef{at, h};
        return WalkStep::kStop;
    });
    value = values.found() && values.header.type == kTypeGroup ? childAt(bytes(), values, attr)
                                                               : ZelChunkRef();
    return value.found() ? ZelStatus()
                         : fail(ZelStatusCode::kCorrupt,
                                what() + " has no value in sample " + std::to_string(sample));
}

ZelStatus ZelReader::Impl::viewOf(const ZelChunkRef& chunk, bool animated,
                                  ZelDataView& view) const {
    view = ZelDataView();
    int64 width = 1;
    if (!elementTypeOf(chunk.header.type, view.type, width)) {
        return fail(ZelStatusCode::kUnsupported, "the chunk holds no typed values");
    }
    view.data = bytes() + chunk.payload();
    view.count = chunk.header.length / width;
    const int d = chunk.header.dimension;
    view.dimension = d == 1 || d == 2 || d == 3 || d == 4 || d == 9 || d == 16 ? d : 0;
    view.compound = chunk.header.compound <= static_cast<uint8>(ZelCompound::kCompound)
                        ? static_cast<ZelCompound>(chunk.header.compound)
                        : ZelCompound::kNone;
    view.animated = animated;
    return ZelStatus();
}

}  // namespace Zel

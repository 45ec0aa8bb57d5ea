// Opening a cache for ZelReader: what is checked once, so that the queries can rely on it.
#include <climits>
#include <cstring>

#include "ZelFileChunks.h"
#include "ZelReaderImpl.h"

namespace Zel {

namespace {

template <class T>
T readScalar(const unsigned char* bytes, int64 offset) {
    T v;
    std::memcpy(&v, bytes + offset, sizeof(T));
    return v;
}

// The payload of a "cstr" chunk read as one string: the bytes up to the first NUL.
std::string_view firstString(const unsigned char* bytes, const ZelChunkRef& chunk) {
    const char* p = reinterpret_cast<const char*>(bytes + chunk.payload());
    const auto n = static_cast<size_t>(chunk.header.length);
    const void* nul = n > 0 ? std::memchr(p, '\0', n) : nullptr;
    return std::string_view(p, nul != nullptr ? static_cast<const char*>(nul) - p : n);
}

bool is(const ZelHeader& h, uint32 tag, uint8 type, int64 length = -1) {
    return h.tag == tag && h.type == type && (length < 0 || h.length == length);
}

}  // namespace

ZelStatus probeCacheFile(const std::string& path) {
    ZelMapping map;
    ZelStatus status = map.open(path);
    if (status.ok() && !startsAsCache(map.data(), map.size())) {
        status =
            ZelStatus(ZelStatusCode::kNotACache, notACacheMessage(path, map.data(), map.size()));
    }
    return status;
}

ZelStatus ZelReader::Impl::load(bool readerChecks) {
    if (!readerChecks) {
        return loadAsLoader();
    }
    ZelStatus status = loadHead();
    if (!status.ok() || numSamples == 0) {
        return status;
    }
    status = readSections(metadata.end(), true);
    return status.ok() ? checkSamples(true) : status;
}

ZelStatus ZelReader::Impl::loadHead() {
    ZelByteStream s(bytes(), map.size());
    ZelHeader h;
    if (!startsAsCache(bytes(), map.size())) {
        return ZelStatus(ZelStatusCode::kNotACache, notACacheMessage(path, bytes(), map.size()));
    }
    if (!s.readHeader(h) || !is(h, kTagDZEL, kTypeInt64, 8) || s.bytesLeft() < 8) {
        return fail(ZelStatusCode::kCorrupt, "error reading DZEL chunk");
    }
    version = readScalar<int64>(bytes(), s.tell());
    s.skipData(h);
    for (;;) {
        if (!s.readHeader(h)) {
            return fail(ZelStatusCode::kCorrupt, "missing META chunk");
        }
        if (h.tag == kTagMETA) {
            break;
        }
        if (!s.skipData(h)) {
            return fail(ZelStatusCode::kCorrupt, "error skipping chunk");
        }
    }
    metadata = ZelChunkRef{s.tell() - kHeaderSize, h};
    return readMetadata(metadata);
}

// The identification and the first metadata chunk are read through the chunk classes over a
// stream, as the loader reads them: the stream's group bookkeeping, not the lengths alone, decides
// where the metadata ends (a last leaf whose header ends its group is read past the group's end).
ZelStatus ZelReader::Impl::loadAsLoader() {
    const ZelStatus refused =
        fail(ZelStatusCode::kCorrupt, "the loader cannot read its identification or metadata");
    ZelFile f;
    ZelHeader h;
    ZelDZELChunk dzel;
    if (!f.open(path.c_str(), "r") || !f.readHeader(h) || !dzel.read(h, f)) {
        return refused;
    }
    do {
        if (!f.readHeader(h)) {
            return refused;
        }
    } while (h.tag != kTagMETA && f.skipData(h));
    ZelMETAChunk meta;
    bool ok = false;
    if (h.tag != kTagMETA || !meta.read(h, f)) {
        return refused;
    }
    const int64 metaEnd = f.tell(&ok);
    numSamples = meta.numSamples;
    firstTime = meta.firstTime;
    lastTime = meta.lastTime;
    rate = meta.rate;
    if (!ok || numSamples == 0) {
        return ok ? ZelStatus() : refused;
    }
    const ZelStatus status = readSections(metaEnd, false);
    return status.ok() ? checkSamples(false) : status;
}

ZelStatus ZelReader::Impl::readMetadata(const ZelChunkRef& meta) {
    const ZelStatus corrupt = fail(ZelStatusCode::kCorrupt, "error reading META chunk");
    if (meta.header.type != kTypeGroup || meta.header.length < 0 ||
        meta.header.length > size() - meta.payload()) {
        return corrupt;
    }
    // Typed children are read wherever they stand, the last of a kind winning, as a loader
    // reads them; everything is walked so that a malformed chunk anywhere refuses the file, and
    // so does a group nested deeper than a loader follows (the metadata chunk is level 1).
    ZelChunkRef top;
    const unsigned char* b = bytes();
    bool tooDeep = false;
    const bool wellFormed =
        walkChunks(b, meta.payload(), meta.end(), [&](int64 at, const ZelHeader& c, int depth) {
            const ZelChunkRef chunk{at, c};
            if (c.type == kTypeGroup && c.length > 0 && depth + 2 > kMaxGroupLevels) {
                tooDeep = true;
                return WalkStep::kStop;
            }
            if (depth == 0) {
                top = chunk;
                if (is(c, kTagWAPP, kTypeCstr))
                    application = firstString(b, chunk);
                if (is(c, kTagSFIL, kTypeCstr))
                    sourceFile = firstString(b, chunk);
                if (is(c, kTagNSAM, kTypeInt64, 8))
                    numSamples = readScalar<int64>(b, chunk.payload());
                if (is(c, kTagSPAC, kTypeInt64, 8))
                    space = readScalar<int64>(b, chunk.payload());
                if (is(c, kTagDATE, kTypeInt64, 8))
                    dateStamp = readScalar<int64>(b, chunk.payload());
                if (is(c, kTagFTIM, kTypeFloat, 4))
                    firstTime = readScalar<float>(b, chunk.payload());
                if (is(c, kTagLTIM, kTypeFloat, 4))
                    lastTime = readScalar<float>(b, chunk.payload());
                if (is(c, kTagRATE, kTypeFloat, 4))
                    rate = readScalar<float>(b, chunk.payload());
                if (is(c, kTagDOBJ, kTypeGroup))
                    objects.push_back(Object{chunk, {}, {}});
            } else if (depth == 1 && is(top.header, kTagDOBJ, kTypeGroup)) {
                if (is(c, kTagNAME, kTypeCstr))
                    objects.back().name = firstString(b, chunk);
                if (is(c, kTagDATR, kTypeGroup))
                    objects.back().attributes = chunk;
            }
            return WalkStep::kDescend;
        });
    if (!wellFormed || tooDeep) {
        return corrupt;
    }
    byName.reserve(objects.size());
    for (size_t i = 0; i < objects.size(); ++i) {
        byName.emplace(objects[i].name, static_cast<int>(i));
    }
    return ZelStatus();
}

ZelStatus ZelReader::Impl::readSections(int64 from, bool readerChecks) {
    const auto corrupt = [this](const std::string& reason) {
        return fail(ZelStatusCode::kCorrupt, reason);
    };
    ZelByteStream s(bytes(), map.size(), from);
    for (;;) {
        ZelHeader h;
        do {
            if (!s.readHeader(h)) {
                return corrupt("missing next SAMS chunk for sample " +
                               std::to_string(jumps.size()));
            }
        } while (h.tag != kTagSAMS && s.skipData(h));
        if (h.tag != kTagSAMS) {
            return corrupt("error skipping chunk");
        }
        // The writers patch a section's length once its samples are on disk: it fits the file.
        if (readerChecks && !payloadFits(h, static_cast<uint64>(s.tell()), map.size())) {
            return corrupt("the samples section for sample " + std::to_string(jumps.size()) +
                           " runs past the end of the file");
        }
        const int64 sectionEnd = payloadEnd(s.tell(), h);
        SectionTables t;
        const SectionTablesError error = readSectionTables(s, times, jumps, t, nullptr);
        if (error == SectionTablesError::kTimes) {
            return corrupt("error reading TIMS chunk");
        }
        if (error == SectionTablesError::kJumps) {
            return corrupt("error reading JSAM chunk");
        }
        // A reserve past the end of the file is refused, as a file's seek there may be (the
        // loader's seek is allowed there).
        if (error == SectionTablesError::kReserve || (readerChecks && s.tell() > size())) {
            return corrupt("error skipping FREE chunk");
        }
        if (!t.hasJumps) {
            return corrupt("missing JSAM chunk");
        }
        if (jumps.empty()) {
            return corrupt("no entries in jump table");
        }
        if (rate == 0.0f && !t.hasTimes) {
            return corrupt("missing TIMS chunk");
        }
        if (rate == 0.0f && times.size() != jumps.size()) {
            return corrupt("jump table and time table size mismatch");
        }
        if (rate != 0.0f && t.hasTimes) {
            return corrupt("unexpected TIMS chunk");
        }
        if (static_cast<int64>(jumps.size()) >= numSamples) {
            return ZelStatus();
        }
        // Every section lies behind the one before: going back could loop for ever.
        if (sectionEnd < s.tell()) {
            return corrupt("error seeking file");
        }
        s.seek(sectionEnd);
    }
}

ZelStatus ZelReader::Impl::checkSamples(bool readerChecks) const {
    const auto corrupt = [this](const std::string& reason) {
        return fail(ZelStatusCode::kCorrupt, reason);
    };
    const auto count = static_cast<int64>(jumps.size());
    if (count != numSamples || (readerChecks && numSamples > INT_MAX)) {
        return corrupt("number of samples is wrong");
    }
    if (times.empty()) {
        if (!uniformCountMatches(uniformSampleCount(firstTime, lastTime, rate), count)) {
            return corrupt("number of samples is wrong");
        }
    } else if (firstTime != times.front()) {
        return corrupt("first time is wrong");
    } else if (lastTime != times.back()) {
        return corrupt("last time is wrong");
    }
    for (size_t i = 0; readerChecks && i < jumps.size(); ++i) {
        const int64 at = jumps[i];
        const std::string sample = "sample " + std::to_string(i);
        ZelHeader h;
        if (at < 0 || !decodeHeader(bytes(), map.size(), static_cast<uint64>(at), h)) {
            return corrupt(sample + " lies outside the file (offset " + std::to_string(at) + ")");
        }
        if (!is(h, kTagSAMP, kTypeGroup) || h.length == 0) {
            return corrupt("no " + sample + " at offset " + std::to_string(at));
        }
        if (!payloadFits(h, static_cast<uint64>(at + kHeaderSize), map.size())) {
            return corrupt(sample + " runs past the end of the file (truncated?)");
        }
    }
    return ZelStatus();
}

}  // namespace Zel

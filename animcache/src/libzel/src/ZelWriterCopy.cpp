// ZelWriter with frames copied whole from other caches: the metadata chunk of one cache and the
// sample groups of any, laid out as ZelWriter lays out its own frames.
#include <cerrno>
#include <cstring>

#include "ZelWriterImpl.h"

namespace Zel {

const char* sampleGroupProblem(const unsigned char* bytes, int64 size, int64 offset,
                               int64 objects) {
    ZelHeader h;
    if (offset < 0 || !decodeHeader(bytes, uint64(size), uint64(offset), h)) {
        return "lies outside the file";
    }
    if (h.tag != kTagSAMP || h.type != kTypeGroup) {
        return "is not a sample group";
    }
    const int64 payload = offset + kHeaderSize;
    if (!payloadFits(h, uint64(payload), uint64(size))) {
        return "runs past the end of the file";
    }
    // Chunks directly in the group: the object table, then the object groups it points at.
    int64 seen = 0;
    int64 table = -1;
    bool ordered = true;
    const bool wellFormed = walkChunks(
        bytes, payload, payload + h.length, [&](int64 at, const ZelHeader& c, int depth) {
            if (depth > 0) {
                return WalkStep::kDescend;
            }
            if (seen++ == 0) {
                table = c.tag == kTagJOBJ && c.type == kTypeInt64 &&
                                c.length == objects * kJumpEntrySize
                            ? at + kHeaderSize
                            : -1;
                return WalkStep::kSkip;
            }
            JumpEntry entry = -1;
            if (table >= 0 && seen - 2 < objects) {
                std::memcpy(&entry, bytes + table + (seen - 2) * kJumpEntrySize, sizeof(entry));
            }
            ordered = ordered && c.tag == kTagSOBJ && c.type == kTypeGroup && entry == at;
            return WalkStep::kDescend;
        });
    if (!wellFormed) {
        return "holds a damaged chunk";
    }
    if (table < 0) {
        return "has no object table with one entry per object";
    }
    return ordered && seen == objects + 1 ? nullptr : "has object groups its table does not list";
}

ZelStatus ZelWriter::Impl::createCopy(const std::string& target, const ZelWriterOptions& options,
                                      const std::string& source, int64 metaOffset) {
    path = target;
    ZelFile in;
    if (!in.open(source.c_str(), "r")) {
        return ZelStatus::fromErrno(errno != 0 ? errno : EIO, source);
    }
    ZelHeader h;
    if (!in.seek(metaOffset, SEEK_SET, true) || !in.readHeader(h) || !meta.read(h, in)) {
        return ZelStatus(ZelStatusCode::kCorrupt, source + ": error reading META chunk");
    }
    return begin(target, options);
}

ZelStatus ZelWriter::Impl::writeCopiedFrame(float time, const unsigned char* bytes, int64 size,
                                            int64 offset) {
    if (state == State::kDeclaring) {
        const ZelStatus started = startNewFile();
        if (!started.ok()) {
            return started;
        }
    }
    if (state != State::kWriting) {
        return state == State::kFailed ? failure : invalid("no cache open for copied frames");
    }
    const ZelStatus timely = checkFrameTime(time);
    if (!timely.ok()) {
        return timely;
    }
    const int64 n = meta.getNumObjects();
    if (const char* problem = sampleGroupProblem(bytes, size, offset, n)) {
        return ZelStatus(ZelStatusCode::kCorrupt, path + ": the sample to copy to frame " +
                                                      std::to_string(frames()) + " " + problem);
    }
    int64 start = 0;
    if (!openFrame(&start)) {
        return ioFailure("starting a samples section");
    }
    frameTime = time;
    ZelHeader samp, table;
    decodeHeader(bytes, uint64(size), uint64(offset), samp);
    decodeHeader(bytes, uint64(size), uint64(offset + kHeaderSize), table);
    objectOffsets.resize(static_cast<size_t>(n));
    const int64 tableEnd = offset + 2 * kHeaderSize + table.length;
    if (n > 0) {
        std::memcpy(objectOffsets.data(), bytes + tableEnd - table.length,
                    static_cast<size_t>(table.length));
    }
    // Every object group keeps its place inside the sample: the table moves with the sample.
    for (JumpEntry& e : objectOffsets) {
        e += start - offset;
    }
    bool ok = file.startGroup(samp) && file.writeChunk(table, objectOffsets.data());
    // The object groups go out as they lie, each in one piece.
    const int64 end = offset + kHeaderSize + samp.length;
    for (int64 at = tableEnd; ok && at < end;) {
        ZelHeader c;
        decodeHeader(bytes, uint64(size), uint64(at), c);
        ok = file.writeChunk(c, bytes + at + kHeaderSize);
        at += kHeaderSize + c.length;
    }
    return closeFrame(start, ok && file.endGroup() && file.tell() == start + end - offset);
}

}  // namespace Zel

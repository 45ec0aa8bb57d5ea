// ZelWriter's layout on disk: the head of a new file, samples sections with their tables and
// reserve, frames, and the commit that makes a new file or an append visible.
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelWriterImpl.h"

namespace Zel {

int64 ZelWriter::Impl::stamp() const {
    return dateStamp >= 0 ? dateStamp : dateStampNow();
}

bool ZelWriter::Impl::writeMeta() {
    return file.seek(metaOffset, SEEK_SET, true) && meta.write(file) && file.tell() == metaEnd &&
           file.seek(0, SEEK_END, true);
}

// The identification and metadata chunks, with the sample count and times still to come: the
// metadata is written again by close() at the same size.
ZelStatus ZelWriter::Impl::startNewFile() {
    meta.numSamples = std::max<int64>(declaredCount, 1);
    meta.firstTime = firstTime;
    meta.lastTime = firstTime;
    meta.rate = uniform ? rate : 0.0f;
    meta.date = stamp();
    if (!ZelDZELChunk().write(file)) {
        return ioFailure("writing the metadata");
    }
    metaOffset = file.tell();
    if (!meta.write(file)) {
        return ioFailure("writing the metadata");
    }
    metaEnd = file.tell();
    state = State::kWriting;
    return ZelStatus();
}

bool ZelWriter::Impl::sectionHasRoom() const {
    if (!hasSection) {
        return false;
    }
    const int64 used = frames() - section.first;
    return used < section.jumpCapacity && (uniform || used < section.timeCapacity);
}

// Opens a samples section at the end of the file for the next frame, with its tables' room
// skipped: they are written when the section is finished. The first section of a new file holds
// the declared frames, every later one a single frame, each with the reserve rule's spare room,
// exactly as saving and then appending frame by frame lays them out.
bool ZelWriter::Impl::startSection() {
    const int64 count = frames() == 0 && declaredCount > 0 ? declaredCount : 1;
    const int64 capacity = count + reserveRule(reservedSamples, frames() + count);
    section = Section();
    section.first = frames();
    section.timeCapacity = capacity;
    section.jumpCapacity = capacity;
    if (!file.seek(0, SEEK_END, true)) {
        return false;
    }
    section.offset = file.tell();
    if (!file.writeChunk(ZelHeader(kTagSAMS, kTypeGroup, 0), nullptr)) {
        return false;
    }
    const int64 tablesStart = file.tell();
    const int64 timesRoom = uniform ? 0 : 2 * kHeaderSize + capacity * kTimeEntrySize;
    section.timesOffset = uniform ? -1 : tablesStart;
    section.jumpsOffset = tablesStart + timesRoom;
    hasSection = true;
    return file.seek(timesRoom + 2 * kHeaderSize + capacity * kJumpEntrySize, SEEK_CUR, true);
}

// Writes the section's tables, each followed by its remaining reserve, and its length.
bool ZelWriter::Impl::finishSection() {
    const int64 n = frames() - section.first;
    const auto first = static_cast<size_t>(section.first);
    if (!file.seek(0, SEEK_END, true)) {
        return false;
    }
    const int64 end = file.tell();
    if (section.timesOffset >= 0) {
        const int64 at = section.timesOffset;
        const int64 spare = (section.timeCapacity - n) * kTimeEntrySize;
        if (!file.writeChunk(ZelHeader(kTagTIMS, kTypeFloat, n * kTimeEntrySize), &times[first],
                             at) ||
            !file.writeChunk(ZelHeader(kTagFREE, kTypeUndef, spare), nullptr,
                             at + kHeaderSize + n * kTimeEntrySize)) {
            return false;
        }
    }
    const int64 at = section.jumpsOffset;
    const int64 spare = (section.jumpCapacity - n) * kJumpEntrySize;
    return file.writeChunk(ZelHeader(kTagJSAM, kTypeInt64, n * kJumpEntrySize), &jumps[first],
                           at) &&
           file.writeChunk(ZelHeader(kTagFREE, kTypeUndef, spare), nullptr,
                           at + kHeaderSize + n * kJumpEntrySize) &&
           file.writeChunk(ZelHeader(kTagSAMS, kTypeGroup, end - section.offset - kHeaderSize),
                           nullptr, section.offset) &&
           file.seek(end, SEEK_SET, true);
}

// One "SAMP" group: the object jump table, then every object's "SOBJ" with its channels and
// animated attribute values. Every length is known up front, so nothing is patched afterwards.
bool ZelWriter::Impl::openFrame(int64* start) {
    if (!sectionHasRoom() && ((hasSection && !finishSection()) || !startSection())) {
        return false;
    }
    *start = file.tell();
    return true;
}

ZelStatus ZelWriter::Impl::closeFrame(int64 start, bool ok) {
    // The frame reaches the system now, in one write: a process that dies later keeps it.
    if (!ok || !file.flush()) {
        return ioFailure("writing the frame at " + std::to_string(frameTime));
    }
    if (!appending) {
        replace.writeBack(file.tell());
    }
    jumps.push_back(start);
    if (!uniform) {
        times.push_back(frameTime);
    }
    lastTime = frameTime;
    return ZelStatus();
}

ZelStatus ZelWriter::Impl::writeFrame() {
    int64 start = 0;
    if (!openFrame(&start)) {
        return ioFailure("starting a samples section");
    }
    const auto numObjects = static_cast<int64>(objects.size());
    int64 pos = start + 2 * kHeaderSize + numObjects * kJumpEntrySize;
    objectOffsets.resize(objects.size());
    for (size_t o = 0; o < objects.size(); ++o) {
        objectOffsets[o] = pos;
        pos += kHeaderSize + objects[o].frameLength();
    }
    bool ok = file.startGroup(ZelHeader(kTagSAMP, kTypeGroup, pos - start - kHeaderSize)) &&
              file.writeChunk(kTagJOBJ, objectOffsets);
    for (size_t o = 0; ok && o < objects.size(); ++o) {
        const ZelWriterObject& obj = objects[o];
        ok = file.startGroup(ZelHeader(kTagSOBJ, kTypeGroup, obj.frameLength()));
        for (size_t c = 0; ok && c < obj.channels.size(); ++c) {
            const ZelWriterChannel& ch = obj.channels[c];
            ok = file.writeChunk(
                ZelHeader(ch.tag, ch.type, int64(ch.bytes.size()), ch.compound, ch.dimension),
                ch.bytes.data());
        }
        if (ok && !obj.attrs.empty()) {
            ok = file.startGroup(ZelHeader(kTagATRS, kTypeGroup, 0));
            for (size_t a = 0; ok && a < obj.attrs.size(); ++a) {
                const ZelWriterChannel& ch = obj.attrs[a];
                ok = file.writeChunk(
                    ZelHeader(ch.tag, ch.type, int64(ch.bytes.size()), ch.compound, ch.dimension),
                    ch.bytes.data());
            }
            ok = ok && file.endGroup();
        }
        ok = ok && file.endGroup();
    }
    return closeFrame(start, ok && file.endGroup() && file.tell() == pos);
}

ZelStatus ZelWriter::Impl::finishNewFile() {
    if (frames() == 0) {
        // No frame: the identification and metadata chunks alone, as saving such a cache writes
        // them; a head written for a frame that never ended is dropped with its file.
        if (state == State::kWriting) {
            replace.abandon(file);
            if (!replace.begin(path.c_str(), file)) {
                return ioFailure("cannot write a new file beside it");
            }
        }
        meta.numSamples = 0;
        meta.date = stamp();
        if (!ZelDZELChunk().write(file) || !meta.write(file)) {
            return ioFailure("writing the metadata");
        }
    } else {
        meta.numSamples = frames();
        meta.lastTime = lastTime;
        meta.firstTime = uniform ? firstTime : times.front();
        if (!finishSection() || !writeMeta()) {
            return ioFailure("writing the tables");
        }
    }
    if (!replace.commit(file)) {
        return ioFailure("moving the new file into place");
    }
    return ZelStatus();
}

ZelStatus ZelWriter::Impl::finishAppend() {
    if (frames() > framesAtOpen) {
        meta.numSamples = frames();
        meta.lastTime = lastTime;
        if (meta.date != 0) {
            meta.date = stamp();
        }
        if (!finishSection() || !writeMeta()) {
            return ioFailure("writing the tables");
        }
    }
    if (!file.commitHeldWrites()) {
        return ioFailure("committing the appended frames");
    }
    if (!file.close()) {
        return ioFailure("closing");
    }
    return ZelStatus();
}

ZelObjectKind kindOf(const ZelDOBJChunk& dobj) {
    const std::pair<uint32, ZelObjectKind> kinds[] = {
        {kTagXFRM, ZelObjectKind::kTransform},    {kTagMESH, ZelObjectKind::kMesh},
        {kTagNRBS, ZelObjectKind::kNurbsSurface}, {kTagNRBC, ZelObjectKind::kNurbsCurve},
        {kTagELOC, ZelObjectKind::kLocator},      {kTagLXCS, ZelObjectKind::kCoordSystem}};
    for (const auto& k : kinds) {
        if (dobj.findChild(k.first) < dobj.numChildren()) {
            return k.second;
        }
    }
    return ZelObjectKind::kOther;
}

namespace {

bool isFrameChannel(uint32 tag) {
    return tag == kTagPOSI || tag == kTagVPNO || tag == kTagVELO || tag == kTagMTRX;
}

// A channel shaped like the leaf whose header is `h`, expecting as many values every frame.
ZelWriterChannel channelLike(const ZelHeader& h, bool fixedCount) {
    ZelWriterChannel c;
    c.tag = h.tag;
    c.type = h.type;
    c.compound = h.compound;
    c.dimension = h.dimension;
    const int64 size = h.type == kTypeInt32 || h.type == kTypeFloat ? 4 : 8;
    c.count = fixedCount ? h.length / size : -1;
    return c;
}

}  // namespace

// Learns what every object stores per frame from the headers of the file's last sample, so that
// appended frames repeat its layout. Only headers are read; every offset is checked first.
ZelStatus ZelWriter::Impl::readFrameLayout(const FileLayout& layout) {
    const int64 size = layout.fileSize;
    const auto n = static_cast<size_t>(meta.getNumObjects());
    const ZelStatus corrupt(ZelStatusCode::kCorrupt, path + ": its last sample does not read");
    ZelHeader h;
    if (!file.seek(layout.jumps.back(), SEEK_SET, true) || !file.readHeader(h) ||
        h.tag != kTagSAMP || !file.readHeader(h) || h.tag != kTagJOBJ ||
        h.length != int64(n) * kJumpEntrySize || !file.readData(h, nullptr)) {
        return corrupt;
    }
    objects.resize(n);
    for (size_t o = 0; o < n; ++o) {
        ZelWriterObject& obj = objects[o];
        obj.name = meta.getDOBJ(int64(o))->getName();
        byName.emplace(obj.name, static_cast<int>(o));
        obj.kind = kindOf(*meta.getDOBJ(int64(o)));
        if (!file.readHeader(h) || h.tag != kTagSOBJ || h.length < 0 ||
            h.length > size - file.tell()) {
            return corrupt;
        }
        const int64 end = file.tell() + h.length;
        while (file.tell() < end) {
            ZelHeader c;
            if (!file.readHeader(c) || end - file.tell() < std::max<int64>(c.length, 0)) {
                return corrupt;
            }
            if (c.tag == kTagATRS && c.type == kTypeGroup) {
                continue;  // its leaves follow: each one an animated attribute's value
            }
            const bool inAttrs = c.tag == kTagATTR;
            if (c.type == kTypeGroup || c.type == kTypeUndef ||
                (!inAttrs && !isFrameChannel(c.tag))) {
                return unsupported("object '" + obj.name +
                                   "' stores a chunk in every frame that "
                                   "ZelWriter cannot repeat");
            }
            (inAttrs ? obj.attrs : obj.channels).push_back(channelLike(c, !inAttrs));
            if (!file.skipData(c)) {
                return corrupt;
            }
        }
    }
    return ZelStatus();
}

// Opens the cache for an in-place append: scans its layout, reads its metadata and the last
// sample's layout, and from then on holds every write below the old end of the file.
ZelStatus ZelWriter::Impl::openForAppend() {
    if (!file.open(path.c_str(), "r+")) {
        return ZelStatus::fromErrno(errno, path + ": cannot open it for appending");
    }
    ZelHeader h;
    if (!file.readHeader(h) || h.tag != kTagDZEL) {
        return ZelStatus(ZelStatusCode::kNotACache, path + ": not a cache");
    }
    FileLayout layout;
    const bool scanned = scanFileLayout(file, layout);
    if (layout.metaOffset < 0 || !file.seek(layout.metaOffset, SEEK_SET, true) ||
        !file.readHeader(h) || !meta.read(h, file)) {
        return ZelStatus(ZelStatusCode::kCorrupt, path + ": its metadata does not read");
    }
    if (meta.numSamples == 0) {
        return unsupported(
            "it holds no frames yet, so its metadata cannot grow in place; write "
            "it anew with create()");
    }
    uniform = meta.rate != 0.0f;
    if (!scanned || int64(layout.jumps.size()) != meta.numSamples ||
        (uniform ? !layout.times.empty() : layout.times.size() != layout.jumps.size()) ||
        (!uniform && layout.tables.timeCount != layout.tables.jumpCount)) {
        return ZelStatus(ZelStatusCode::kCorrupt,
                         path + ": its samples sections disagree with its metadata");
    }
    const ZelStatus frameLayout = readFrameLayout(layout);
    if (!frameLayout.ok()) {
        return frameLayout;
    }
    firstTime = meta.firstTime;
    rate = meta.rate;
    lastTime = meta.lastTime;
    times = layout.times;
    jumps = layout.jumps;
    framesAtOpen = frames();
    metaOffset = layout.metaOffset;
    metaEnd = layout.metaOffset + kHeaderSize + layout.metaLength;
    const SectionTables& t = layout.tables;
    // Frames go into the last section's reserve when it ends the file; else a new section.
    if (layout.samsEnd == layout.fileSize) {
        hasSection = true;
        section.offset = layout.samsOffset;
        section.timesOffset = uniform ? -1 : t.timesOffset;
        section.jumpsOffset = t.jumpsOffset;
        section.first = frames() - t.jumpCount;
        section.timeCapacity = t.timeCount + t.spareTimes;
        section.jumpCapacity = t.jumpCount + t.spareJumps;
    }
    file.holdWritesBelow(layout.fileSize);
    if (!file.seek(0, SEEK_END, true)) {
        return ZelStatus::fromErrno(errno, path + ": seeking");
    }
    state = State::kWriting;
    return ZelStatus();
}

void ZelWriter::Impl::abandon() {
    if (appending) {
        file.discardHeldWrites();
        file.close();
    } else {
        replace.abandon(file);
    }
}

}  // namespace Zel

// checkCache's samples: every sample the jump tables lead to, its object offset table, and the
// object groups the table leads to, each walked once, in file order. What the groups hold is
// ZelCheckObjects.cpp's.
#include <algorithm>
#include <cstring>

#include "ZelCheckImpl.h"
#include "ZelProgressTicker.h"

namespace Zel {

namespace {

using std::to_string;

}  // namespace

void ZelChecker::checkSamples() {
    const ZelProgressTicker ticker(options_.progress, static_cast<int64>(jumps_.size()));
    int64 done = 0;
    for (const Section& s : sections_) {
        for (size_t i = 0; i < s.jumpCount; ++i) {
            checkSample(static_cast<int64>(s.firstJump + i), s);
            ticker.done(++done);
        }
    }
    ticker.finish();
}

void ZelChecker::checkSample(int64 k, const Section& s) {
    const int64 at = jumps_[static_cast<size_t>(k)];
    ZelHeader h;
    if (!sampleHeader(k, s, at, h)) {
        ++unreadSamples_;
        return;
    }
    const int64 end = payloadEnd(at + kHeaderSize, h);
    previousEnd_ = end;
    previousSample_ = k;
    referencedEnd_ = std::max(referencedEnd_, std::min(end, size_));
    if (end > size_) {
        error(at, -1, k, [&] {
            return "sample " + to_string(k) +
                   " runs past the end of the file (its group ends at byte " + to_string(end) +
                   ", the file has " + to_string(size_) + ")";
        });
        ++unreadSamples_;
        return;
    }
    if (end > s.end) {
        error(at, -1, k, [&] {
            return "sample " + to_string(k) +
                   " runs past the end of its samples section (its group ends at byte " +
                   to_string(end) + ", the section at byte " + to_string(s.end) + ")";
        });
    }
    // A sample is read through once: its pages are let go of after, so that a check of a large
    // cache keeps few mapped (mapping them ahead in one call made no difference).
    walkSample(k, at, h);
    file_.adviseChunk(at, false);
    ++report_.samplesChecked;
}

// Whether the jump table's entry for sample `k` leads to a whole "SAMP" header at `at`, behind
// the samples before it (so that no byte is checked twice); `h` receives the header.
bool ZelChecker::sampleHeader(int64 k, const Section& s, int64 at, ZelHeader& h) {
    const int64 entry = entryOffset(s, static_cast<size_t>(k) - s.firstJump);
    const auto sends = [k, at] {
        return "the jump table sends sample " + to_string(k) + " to byte " + to_string(at);
    };
    if (at == 0) {
        error(entry, -1, k, [&] {
            return "the jump table holds no offset for sample " + to_string(k) +
                   " (0: the sample was never written)";
        });
        return false;
    }
    if (at < 0 || at >= size_) {
        error(entry, -1, k, [&] {
            return sends() + ", outside the file (it has " + to_string(size_) + " bytes)";
        });
        return false;
    }
    if (at < previousEnd_) {
        error(entry, -1, k, [&] {
            return sends() + ", inside sample " + to_string(previousSample_) +
                   " (which ends at byte " + to_string(previousEnd_) + ")";
        });
        return false;
    }
    if (at < s.offset + kHeaderSize || at >= s.end) {
        error(entry, -1, k, [&] {
            return sends() + ", outside its samples section (bytes " + to_string(s.offset) +
                   " to " + to_string(s.end) + ")";
        });
    }
    if (!decodeHeader(bytes_, static_cast<uint64>(size_), static_cast<uint64>(at), h)) {
        error(at, -1, k, [&] {
            return "the file ends inside the header of sample " + to_string(k) + " at byte " +
                   to_string(at) + " (it has " + to_string(size_) + " bytes)";
        });
        return false;
    }
    if (h.tag != kTagSAMP || h.type != kTypeGroup) {
        error(entry, -1, k,
              [&] { return sends() + ", which holds " + checkChunkName(h) + ", not a sample"; });
        return false;
    }
    if (h.length <= 0) {
        error(at, -1, k, [&] {
            return "sample " + to_string(k) + " at byte " + to_string(at) +
                   (h.length == 0 ? " is an empty group"
                                  : " has a negative length (" + to_string(h.length) + ")");
        });
        return false;
    }
    return true;
}

// Walks the sample's chunks once: its object offset table first, then each object group the
// table leads to, depth first.
void ZelChecker::walkSample(int64 k, int64 at, const ZelHeader& h) {
    tableAt_ = -1;
    entries_.clear();
    nextEntry_ = 0;
    current_ = InSample();
    const int64 begin = at + kHeaderSize, end = begin + h.length;
    bool stopped = false;
    const bool wellFormed =
        walkChunks(bytes_, begin, end, [&](int64 pos, const ZelHeader& c, int depth) {
            if (depth > 0) {
                objectChunk(pos, c, depth);
                return WalkStep::kDescend;
            }
            finishObject(k, true);
            if (tableAt_ < 0) {
                // Readers pass over other chunks to the table; an object group before it stops
                // them.
                stopped = c.tag == kTagSOBJ || (c.tag == kTagJOBJ && !readObjectTable(k, pos, c));
                if (c.tag == kTagSOBJ) {
                    error(pos, -1, k, [&] {
                        return "sample " + to_string(k) +
                               " has an object group before its object offset table (\"JOBJ\")";
                    });
                }
                return stopped ? WalkStep::kStop : WalkStep::kSkip;
            }
            reportUnmatchedEntries(k, pos, begin, end);
            if (nextEntry_ < entries_.size() && entries_[nextEntry_].first == pos) {
                startObject(k, pos, c);
            }
            return current_.walked ? WalkStep::kDescend : WalkStep::kSkip;
        });
    if (stopped) {
        return;
    }
    if (!wellFormed) {
        const int o = current_.object;
        finishObject(k, false);
        describeMalformed(begin, end, o, k,
                          o >= 0 ? "the group of " + objectIn(o, k) : "sample " + to_string(k));
        return;
    }
    finishObject(k, true);
    if (tableAt_ < 0) {
        error(at, -1, k,
              [&] { return "sample " + to_string(k) + " has no object offset table (\"JOBJ\")"; });
        return;
    }
    reportUnmatchedEntries(k, INT64_MAX, begin, end);
}

// Takes the object offsets of the sample's "JOBJ" in offset order; false when they do not read.
bool ZelChecker::readObjectTable(int64 k, int64 at, const ZelHeader& h) {
    tableAt_ = at;
    if (h.length % kJumpEntrySize != 0) {
        error(at, -1, k, [&] {
            return "the object offset table (\"JOBJ\") of sample " + to_string(k) + " holds " +
                   to_string(h.length) + " bytes, not a whole number of offsets";
        });
        return false;
    }
    const int64 n = h.length / kJumpEntrySize;
    if (metaRead_ && n != static_cast<int64>(objects_.size())) {
        error(at, -1, k, [&] {
            return "the object offset table (\"JOBJ\") of sample " + to_string(k) + " holds " +
                   to_string(n) + " offsets for " + to_string(objects_.size()) + " objects";
        });
    }
    entries_.resize(static_cast<size_t>(n));
    bool sorted = true;
    for (int64 o = 0; o < n; ++o) {
        JumpEntry e;
        std::memcpy(&e, bytes_ + at + kHeaderSize + kJumpEntrySize * o, sizeof(e));
        entries_[static_cast<size_t>(o)] = {e, static_cast<int>(o)};
        sorted = sorted && (o == 0 || e > entries_[static_cast<size_t>(o) - 1].first);
    }
    // Writers put the objects in order; any other order is read as well.
    if (!sorted) {
        std::sort(entries_.begin(), entries_.end());
    }
    return true;
}

// The offsets below `below` that met no object group: they point between or into chunks, or
// outside the sample.
void ZelChecker::reportUnmatchedEntries(int64 k, int64 below, int64 sampleBegin, int64 sampleEnd) {
    for (; nextEntry_ < entries_.size() && entries_[nextEntry_].first < below; ++nextEntry_) {
        const int64 to = entries_[nextEntry_].first;
        const int o = entries_[nextEntry_].second;
        error(tableAt_ + kHeaderSize + kJumpEntrySize * o, o, k, [&] {
            return "the object offset table of sample " + to_string(k) + " sends object " +
                   to_string(o) + " to byte " + to_string(to) +
                   (to < sampleBegin || to >= sampleEnd
                        ? ", outside the sample (bytes " + to_string(sampleBegin - kHeaderSize) +
                              " to " + to_string(sampleEnd) + ")"
                        : ", where no object group of the sample starts");
        });
    }
}

void ZelChecker::startObject(int64 k, int64 at, const ZelHeader& h) {
    const int o = entries_[nextEntry_++].second;
    const auto entryOf = [&](int object) {
        return tableAt_ + kHeaderSize + kJumpEntrySize * object;
    };
    for (; nextEntry_ < entries_.size() && entries_[nextEntry_].first == at; ++nextEntry_) {
        const int other = entries_[nextEntry_].second;
        error(entryOf(other), other, k, [&] {
            return "the object offset table of sample " + to_string(k) + " sends objects " +
                   to_string(o) + " and " + to_string(other) + " to the same group at byte " +
                   to_string(at);
        });
    }
    if (h.tag != kTagSOBJ || h.type != kTypeGroup) {
        error(entryOf(o), o, k, [&] {
            return "the object offset table of sample " + to_string(k) + " sends object " +
                   to_string(o) + " to byte " + to_string(at) + ", which holds " +
                   checkChunkName(h) + ", not an object group";
        });
        return;
    }
    current_.walked = true;
    current_.offset = at;
    // An object the metadata does not define has nothing to be compared with.
    if (o >= static_cast<int>(objects_.size())) {
        return;
    }
    current_.object = o;
    const Object& def = objects_[static_cast<size_t>(o)];
    current_.recording = def.firstSample < 0;
    current_.shapeBegin = current_.recording ? shapes_.size() : def.shapeBegin;
}

}  // namespace Zel

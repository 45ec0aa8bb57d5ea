// The file format in one place: every chunk tag, the header size, the layout of a samples
// section's tables, and bounds-checked decoding of headers and tables from bytes or a stream.
// Internal to the library (not installed): every reader and writer of a cache includes it, so
// they all agree on the bytes.
#ifndef ZEL_FORMAT_H
#define ZEL_FORMAT_H

#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "ZelFile.h"
#include "ZelHeader.h"
#include "ZelTypes.h"

namespace Zel {

// ---------------------------------------------------------------------------------------------
// Chunk header: tag (4 bytes), type, compound, dimension, reserved (1 byte each), payload length
// (8 bytes, signed), little-endian.

inline constexpr int64 kHeaderSize = 16;
// Where the payload length sits inside a header; a group's length is back-patched there.
inline constexpr int64 kHeaderLengthOffset = 8;
static_assert(sizeof(ZelHeader) == kHeaderSize, "a chunk header is 16 bytes on disk");

// ---------------------------------------------------------------------------------------------
// A file is three top-level chunks in this order.

inline constexpr uint32 kTagDZEL = makeTag("DZEL");  // int64 leaf: the format version
inline constexpr uint32 kTagMETA = makeTag("META");  // group: what the file holds
inline constexpr uint32 kTagSAMS = makeTag("SAMS");  // group: a samples section (maybe several)

// Children of "META".
inline constexpr uint32 kTagWAPP = makeTag("WAPP");  // cstr: the writing application
inline constexpr uint32 kTagSFIL = makeTag("SFIL");  // cstr: the source scene
inline constexpr uint32 kTagDATE = makeTag("DATE");  // int64: date stamp, seconds since 1970
inline constexpr uint32 kTagNSAM = makeTag("NSAM");  // int64: number of samples
inline constexpr uint32 kTagFTIM = makeTag("FTIM");  // float: time of the first sample
inline constexpr uint32 kTagLTIM = makeTag("LTIM");  // float: time of the last sample
inline constexpr uint32 kTagRATE = makeTag("RATE");  // float: samples per frame, 0 non-uniform
inline constexpr uint32 kTagSPAC = makeTag("SPAC");  // int64: 0 world space, 1 object space
inline constexpr uint32 kTagNOBJ = makeTag("NOBJ");  // int64: number of object definitions
inline constexpr uint32 kTagDOBJ = makeTag("DOBJ");  // group: one object definition

// Children of an object definition "DOBJ" and of its attribute definition "DATR".
inline constexpr uint32 kTagNAME = makeTag("NAME");  // cstr: a name, or a list of names
inline constexpr uint32 kTagDATR = makeTag("DATR");  // group: the attribute definition
inline constexpr uint32 kTagSATR = makeTag("SATR");  // group: static attribute names and types
inline constexpr uint32 kTagAATR = makeTag("AATR");  // group: animated attribute names and types
inline constexpr uint32 kTagTYPE = makeTag("TYPE");  // cstr list: attribute type strings
inline constexpr uint32 kTagATRS = makeTag("ATRS");  // group: attribute values, in order
inline constexpr uint32 kTagATTR = makeTag("ATTR");  // leaf: one attribute value

// Children of a samples section "SAMS", and of each sample "SAMP" in it.
inline constexpr uint32 kTagTIMS = makeTag("TIMS");  // float table: sample times (non-uniform)
inline constexpr uint32 kTagJSAM = makeTag("JSAM");  // int64 table: offsets of "SAMP" headers
inline constexpr uint32 kTagFREE = makeTag("FREE");  // reserved bytes; also a default header
inline constexpr uint32 kTagSAMP = makeTag("SAMP");  // group: one sample
inline constexpr uint32 kTagJOBJ = makeTag("JOBJ");  // int64 table: offsets of "SOBJ" headers
inline constexpr uint32 kTagSOBJ = makeTag("SOBJ");  // group: one object's data in one sample

// ---------------------------------------------------------------------------------------------
// What objects carry, in their definition (static) or in their "SOBJ" of a sample (animated).
// The first of these kind tags that an object has decides its helper object.

inline constexpr uint32 kTagXFRM = makeTag("XFRM");  // a transform
inline constexpr uint32 kTagMESH = makeTag("MESH");  // group: a polygon or subdivision mesh
inline constexpr uint32 kTagNRBS = makeTag("NRBS");  // group: a NURBS surface
inline constexpr uint32 kTagNRBC = makeTag("NRBC");  // group: a NURBS curve
inline constexpr uint32 kTagELOC = makeTag("ELOC");  // a locator
inline constexpr uint32 kTagLXCS = makeTag("LXCS");  // a coordinate system

inline constexpr uint32 kTagPOSI = makeTag("POSI");  // points (3 reals each)
inline constexpr uint32 kTagVELO = makeTag("VELO");  // per-point velocities
inline constexpr uint32 kTagVPNO = makeTag("VPNO");  // normals
inline constexpr uint32 kTagPONO = makeTag("PONO");  // face normals
inline constexpr uint32 kTagPCNT = makeTag("PCNT");  // int32: vertex count per face
inline constexpr uint32 kTagPIDS = makeTag("PIDS");  // int32: the faces' point indices
inline constexpr uint32 kTagNCNT = makeTag("NCNT");  // int32: normal index count per face
inline constexpr uint32 kTagNIDS = makeTag("NIDS");  // int32: normal indices
inline constexpr uint32 kTagMSPT = makeTag("MSPT");  // int32: mesh shape, 0 subdivision
inline constexpr uint32 kTagDEGR = makeTag("DEGR");  // int32: NURBS degree(s)
inline constexpr uint32 kTagFORM = makeTag("FORM");  // cstr: NURBS form(s), "kPeriodic" and so on
inline constexpr uint32 kTagKNTU = makeTag("KNTU");  // reals: knots in u (a curve's knots)
inline constexpr uint32 kTagKNTV = makeTag("KNTV");  // reals: knots in v
inline constexpr uint32 kTagMTRX = makeTag("MTRX");  // reals: a 4x4 matrix, row-major
inline constexpr uint32 kTagMTRO = makeTag("MTRO");  // int32: rotate order of a transform
inline constexpr uint32 kTagINHT = makeTag("INHT");  // int32: inherits its parent's transform
inline constexpr uint32 kTagBBOX = makeTag("BBOX");  // reals: xmin, xmax, ymin, ymax, zmin, zmax

// The generic string list that the test cache writer puts into its metadata.
inline constexpr uint32 kTagABCD = makeTag("ABCD");

// ---------------------------------------------------------------------------------------------
// Samples section tables. A section starts with "TIMS" (non-uniform caches only) and "JSAM",
// each optionally followed by a "FREE" whose payload is room for that many more entries, so a
// later append can grow the table in place.

using TimeEntry = float;  // one "TIMS" entry: a sample's time in frames
using JumpEntry = int64;  // one "JSAM" or "JOBJ" entry: an absolute offset from the file's start
inline constexpr int64 kTimeEntrySize = sizeof(TimeEntry);
inline constexpr int64 kJumpEntrySize = sizeof(JumpEntry);

// ---------------------------------------------------------------------------------------------
// Decoding from bytes in memory (a mapped file or a buffer). Every read is checked against
// `size`, the number of bytes at `bytes`; nothing outside them is touched.

// The header at `offset` into `h`. False, `h` untouched, when fewer than kHeaderSize bytes lie
// there.
bool decodeHeader(const void* bytes, uint64 size, uint64 offset, ZelHeader& h);

// Whether the payload that `h` announces, starting at `payloadOffset`, lies within `size` bytes.
// A negative length never fits.
bool payloadFits(const ZelHeader& h, uint64 payloadOffset, uint64 size);

// Appends the entries of table `h`, whose payload starts at `payloadOffset`, to `entries`. False,
// `entries` untouched, when the payload does not fit or is not a whole number of entries. Entries
// are copied, so a table at any alignment decodes.
template <class T>
bool decodeTable(const void* bytes, uint64 size, uint64 payloadOffset, const ZelHeader& h,
                 std::vector<T>& entries) {
    if (!payloadFits(h, payloadOffset, size) || h.length % static_cast<int64>(sizeof(T)) != 0) {
        return false;
    }
    const size_t old = entries.size();
    entries.resize(old + static_cast<size_t>(h.length) / sizeof(T));
    if (h.length != 0) {
        std::memcpy(entries.data() + old, static_cast<const unsigned char*>(bytes) + payloadOffset,
                    static_cast<size_t>(h.length));
    }
    return true;
}

// The deepest nesting of non-empty groups that a chunk tree reader follows, counting the
// top-level group as 1: a file of thousands of nested groups cannot exhaust the stack.
inline constexpr int kMaxGroupLevels = 256;

// What a walk over a chunk tree does after visiting a chunk.
enum class WalkStep { kDescend, kSkip, kStop };

// Whether a leaf of type `type` may hold `length` payload bytes: numeric leaves hold whole values.
inline bool leafLengthFits(uint8 type, int64 length) {
    switch (type) {
        case kTypeInt32:
        case kTypeFloat:
            return length % 4 == 0;
        case kTypeInt64:
        case kTypeDouble:
            return length % 8 == 0;
        default:
            return true;
    }
}

// Where each group a walk has entered ends: on the call stack unless the tree nests unusually
// deep.
class GroupEnds {
  public:
    void push_back(int64 e) {
        if (n_ < kInline) {
            inline_[n_] = e;
        } else {
            deep_.push_back(e);
        }
        ++n_;
    }
    void pop_back() {
        if (n_-- > kInline) {
            deep_.pop_back();
        }
    }
    int64 back() const { return n_ > kInline ? deep_.back() : inline_[n_ - 1]; }
    bool empty() const { return n_ == 0; }
    size_t size() const { return n_; }

  private:
    static constexpr size_t kInline = 16;
    int64 inline_[kInline];
    std::vector<int64> deep_;
    size_t n_ = 0;
};

// Walks the chunks in [begin, end) of `bytes` depth first in file order, calling
// visit(offset, header, depth) for each (depth 0 for the chunks directly in the range); the visit
// says whether to enter a group, pass over it or stop. False when the walk meets a malformed chunk
// before it stops: a header or payload not inside its group, a negative length, a numeric leaf
// that is not a whole number of values. Every step moves forward, so the walk is linear in the
// number of chunks and never leaves the range.
template <class Visit>
bool walkChunks(const unsigned char* bytes, int64 begin, int64 end, Visit visit) {
    GroupEnds ends;
    ends.push_back(end);
    int64 pos = begin;
    for (;;) {
        while (!ends.empty() && pos == ends.back()) {
            ends.pop_back();
        }
        if (ends.empty()) {
            return true;
        }
        const int64 limit = ends.back();
        ZelHeader h;
        if (limit - pos < kHeaderSize) {
            return false;
        }
        std::memcpy(static_cast<void*>(&h), bytes + pos, static_cast<size_t>(kHeaderSize));
        const int64 payload = pos + kHeaderSize;
        if (h.length < 0 || h.length > limit - payload ||
            (h.type != kTypeGroup && !leafLengthFits(h.type, h.length))) {
            return false;
        }
        const WalkStep step = visit(pos, h, static_cast<int>(ends.size()) - 1);
        if (step == WalkStep::kStop) {
            return true;
        }
        pos = payload + h.length;
        if (step == WalkStep::kDescend && h.type == kTypeGroup && h.length > 0) {
            ends.push_back(pos);
            pos = payload;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Reading from a stream: a ZelFile, or a ZelByteStream over bytes in memory.

// The position where the payload of `h` ends when it starts at `payloadStart`; INT64_MAX when the
// sum would not fit (a damaged length), so a reader never wraps around to an earlier position.
inline int64 payloadEnd(int64 payloadStart, const ZelHeader& h) {
    constexpr int64 kMax = INT64_MAX;
    return h.length > kMax - payloadStart ? kMax : payloadStart + h.length;
}

// The reading operations of ZelFile over `size` bytes in memory, without the level stack, so that
// the table readers below run over a mapped file as they do over a stream. Positions past the
// end are allowed (a skip may go there); reads there fail.
class ZelByteStream {
  public:
    ZelByteStream(const unsigned char* bytes, uint64 size, int64 pos = 0)
        : bytes_(bytes), size_(static_cast<int64>(size)), pos_(pos) {}

    // The next header; false when fewer than 16 bytes are left.
    bool readHeader(ZelHeader& h) {
        if (pos_ < 0 || pos_ > size_ ||
            !decodeHeader(bytes_, static_cast<uint64>(size_), static_cast<uint64>(pos_), h)) {
            return false;
        }
        pos_ += kHeaderSize;
        return true;
    }
    // Copies the payload `h` announces into `buf`; false on a negative or too long length.
    bool readData(const ZelHeader& h, void* buf) {
        if (h.length < 0 || h.length > bytesLeft()) {
            return false;
        }
        if (h.length > 0) {
            std::memcpy(buf, bytes_ + pos_, static_cast<size_t>(h.length));
        }
        pos_ += h.length;
        return true;
    }
    // Moves forward over the payload `h` announces; never backwards, past the end allowed. False
    // on a negative length or one that passes the largest position, as for a ZelFile.
    bool skipData(const ZelHeader& h) {
        if (h.length < 0 || h.length > INT64_MAX - (pos_ > 0 ? pos_ : 0)) {
            return false;
        }
        pos_ += h.length;
        return true;
    }
    int64 tell() const { return pos_; }
    void seek(int64 pos) { pos_ = pos; }
    int64 bytesLeft() const { return size_ - pos_; }

  private:
    const unsigned char* bytes_;
    int64 size_;
    int64 pos_;
};

// Appends the entries of table `h`, whose header was just read from `f`, to `entries` and
// consumes the payload. False when the length is negative, not a whole number of entries or
// longer than the rest of the file (all checked before anything is allocated), or the read fails.
template <class T, class Stream>
bool readTable(Stream& f, const ZelHeader& h, std::vector<T>& entries) {
    if (h.length < 0 || h.length % static_cast<int64>(sizeof(T)) != 0 || h.length > f.bytesLeft()) {
        return false;
    }
    const size_t old = entries.size();
    entries.resize(old + static_cast<size_t>(h.length) / sizeof(T));
    return entries.size() == old ? f.skipData(h) : f.readData(h, entries.data() + old);
}

// What readSectionTables found at the head of one samples section. Counts are in entries.
struct SectionTables {
    bool hasTimes = false;  // a "TIMS" was met
    bool hasJumps = false;  // a "JSAM" was met
    int64 timeCount = 0;    // entries of the last "TIMS"
    int64 spareTimes = 0;   // room in the "FREE" right after the last "TIMS"
    int64 spareJumps = 0;   // room in the "FREE" right after the last "JSAM"
    // Where the last "JSAM" payload ends, and where the payload of the "FREE" after it starts
    // and how long it is (0 without one).
    int64 jumpsEnd = -1;
    int64 jumpReserveStart = -1;
    int64 jumpReserveLength = 0;
    // Where the headers of the last "TIMS" and "JSAM" lie (-1 without one).
    int64 timesOffset = -1;
    int64 jumpsOffset = -1;
    // How many entries the last "JSAM" holds.
    int64 jumpCount = 0;
};

// Which table of a section could not be read.
enum class SectionTablesError { kNone, kTimes, kJumps, kReserve };

// Reads the tables at the head of a samples section, from the position of `f` just behind the
// "SAMS" header, header by header until the section's first "SAMP" header, a failed header read,
// or the position `end`. Each "TIMS" is appended to `times` and each "JSAM" to `jumps`; each
// "FREE" is skipped; any other header is only consumed, so the walk goes on inside its payload.
// When `trace` is given, each header read goes there with the position after it. The first table
// that cannot be read ends the walk and is named by the result.
// Instantiated for ZelFile and ZelByteStream.
template <class Stream>
SectionTablesError readSectionTables(Stream& f, std::vector<TimeEntry>& times,
                                     std::vector<JumpEntry>& jumps, SectionTables& tables,
                                     std::ostream* trace, int64 end = INT64_MAX);

// Every samples section keeps room for at least this many further samples in its tables.
inline constexpr int64 kMinReservedSamples = 100;

// The room a new samples section keeps for further samples: `reserved` when it is not 0, else
// twice the `samples` of the cache, and at least kMinReservedSamples.
inline int64 reserveRule(int64 reserved, int64 samples) {
    const int64 wanted = reserved != 0 ? reserved : 2 * samples;
    return wanted > kMinReservedSamples ? wanted : kMinReservedSamples;
}

// Whether `n` sample times are evenly spaced (every difference, in single precision, equal to
// the first and positive), so that the cache samples uniformly; `rate` then receives 1 / spacing
// (1 for fewer than two times).
bool uniformRate(const float* times, size_t n, float& rate);

// The number of samples that a uniformly sampled cache's first and last time and rate make, as
// the loader counts them: (last - first) * rate in single precision, rounded half away from zero,
// plus 1. -1 when that is no count (NaN, infinite or out of range).
inline int64 uniformSampleCount(float first, float last, float rate) {
    const double x = (last - first) * rate;
    if (!(x > -2147483648.0 && x < 2147483647.0)) {
        return -1;
    }
    const int n = x > 0.0 ? static_cast<int>(x + 0.5) : -static_cast<int>(0.5 - x);
    return static_cast<int64>(n) + 1;
}

// Whether a table of `count` samples fits the `made` samples of uniformSampleCount, compared in
// single precision as the loader compares them.
inline bool uniformCountMatches(int64 made, int64 count) {
    return made >= 0 && static_cast<float>(count) == static_cast<float>(made - 1) + 1.0f;
}

// The date stamp of a save made now: seconds since 1970.
int64 dateStampNow();

// Whether `size` bytes at `bytes` begin with the tag of a cache's identification chunk.
inline bool startsAsCache(const unsigned char* bytes, uint64 size) {
    return size >= 4 && std::memcmp(bytes, "DZEL", 4) == 0;
}

// Why the file at `path`, whose first `size` bytes are `bytes`, is not a cache, in words for
// people: "'x.txt' is not a cache file (it starts with "hell")", or "(it is empty)"; bytes that
// do not print are shown as \xNN.
std::string notACacheMessage(const std::string& path, const unsigned char* bytes, uint64 size);

// What an in-place append builds on: where the metadata and the last samples section lie, and
// the entries of every section's tables in file order.
struct FileLayout {
    int64 fileSize = 0;
    int64 metaOffset = -1;
    int64 metaLength = 0;
    // The last samples section: its header's offset and its end.
    int64 samsOffset = -1;
    int64 samsEnd = -1;
    std::vector<TimeEntry> times;
    std::vector<JumpEntry> jumps;
    // The last section's tables: entry counts, offsets and the spare room after them.
    SectionTables tables;
};

// Scans the top-level chunks of the file open in `f` and the tables of every samples section
// into `layout`. False for anything an append cannot build on: a missing identification,
// metadata or section, a table that does not read, a reserve reaching into a section's first
// sample, a metadata chunk whose length is not `metaLength` (when that is 0 or more). Every
// length and offset is checked before use and every step moves forward. With `trace`, the offset
// of each section found goes there.
bool scanFileLayout(ZelFile& f, FileLayout& layout, std::ostream* trace = nullptr,
                    int64 metaLength = -1);

}  // namespace Zel

#endif

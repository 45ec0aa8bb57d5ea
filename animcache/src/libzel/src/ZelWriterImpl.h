// The inside of ZelWriter, shared by its sources: the frames and declarations (ZelWriter.cpp),
// the file's layout, sections and commit (ZelWriterFile.cpp), and frames copied whole from other
// caches (ZelWriterCopy.cpp), through which the library rewrites and joins caches.
#ifndef ZEL_WRITER_IMPL_H
#define ZEL_WRITER_IMPL_H

#include <string>
#include <unordered_map>
#include <vector>

#include "ZelFile.h"
#include "ZelFileChunks.h"
#include "ZelFormat.h"
#include "ZelReplace.h"
#include "ZelWriter.h"

namespace Zel {

// One chunk an object stores in every frame, and this frame's payload of it.
struct ZelWriterChannel {
    uint32 tag = 0;
    uint8 type = kTypeFloat;
    uint8 compound = 0;
    uint8 dimension = 0;
    int64 count = -1;         // values per frame; -1: any number
    std::vector<char> bytes;  // this frame's payload, in the element type
    bool set = false;         // given in this frame
};

// An object as the writer knows it: what it stores per frame, in file order.
struct ZelWriterObject {
    std::string name;
    ZelObjectKind kind = ZelObjectKind::kOther;
    std::vector<ZelWriterChannel> channels;  // leaves of its "SOBJ"
    std::vector<ZelWriterChannel> attrs;     // animated attribute values, in its "ATRS" group
    // This frame's "SOBJ" payload length.
    int64 frameLength() const;
};

struct ZelWriter::Impl {
    // Where a samples section lies and how many entries its tables (with their reserve) hold.
    struct Section {
        int64 offset = -1;       // the "SAMS" header
        int64 timesOffset = -1;  // the "TIMS" header; -1 under uniform sampling
        int64 jumpsOffset = -1;  // the "JSAM" header
        int64 first = 0;         // index of the section's first sample
        int64 timeCapacity = 0;
        int64 jumpCapacity = 0;
    };
    enum class State { kIdle, kDeclaring, kWriting, kFailed, kClosed };

    State state = State::kIdle;
    ZelStatus failure;
    std::string path;
    bool appending = false;
    ZelFile file;
    ZelReplace replace;
    ZelMETAChunk meta;
    std::vector<ZelWriterObject> objects;
    std::unordered_map<std::string, int> byName;  // object indices

    // Sampling: uniform frames lie at firstTime + i / rate; declared times come first.
    bool uniform = true;
    float firstTime = 1.0f;
    float rate = 1.0f;
    std::vector<float> declaredTimes;
    int64 declaredCount = 0;
    int reservedSamples = 0;
    int64 dateStamp = -1;

    // Every sample's time (non-uniform sampling) and "SAMP" offset, written so far.
    std::vector<TimeEntry> times;
    std::vector<JumpEntry> jumps;
    int64 framesAtOpen = 0;  // samples the file held before an append
    float lastTime = 0.0f;
    bool inFrame = false;
    float frameTime = 0.0f;

    int64 metaOffset = -1;
    int64 metaEnd = -1;
    bool hasSection = false;
    Section section;
    std::vector<JumpEntry> objectOffsets;  // this frame's "JOBJ" entries

    // Abandons whatever was written and not closed, as a writer destroyed without close() must.
    ~Impl();

    int64 frames() const { return static_cast<int64>(jumps.size()); }
    // "<path>: <what>" as a failure of the caller's request; the writer stays usable.
    ZelStatus invalid(const std::string& what) const;
    ZelStatus unsupported(const std::string& what) const;
    // A failure of the system (errno) while doing `what`; the writer refuses everything after.
    ZelStatus ioFailure(const std::string& what);
    // Moves to the failed state keeping `s`, which it returns.
    ZelStatus fail(ZelStatus s);
    // kOk when the writer takes declarations now.
    ZelStatus canDeclare() const;
    // kOk when an object called `name` may be declared now and `problem` (why the description of
    // the `what` cannot be stored) is empty.
    ZelStatus checkNewObject(const std::string& name, const char* what,
                             const std::string& problem) const;
    // Adds an object of `kind` to the metadata and the object list; `definition` (owned by the
    // metadata from then on) is the chunk that tells its kind.
    ZelWriterObject& addObject(const std::string& name, ZelObjectKind kind, ZelChunk* definition,
                               int* index);
    // Declares an object of `kind` whose definition is the single-value leaf `tag`.
    ZelStatus addMarker(const std::string& name, ZelObjectKind kind, uint32 tag, int* index);
    // The object at `object`, or null with `status` set.
    ZelWriterObject* findObject(int object, ZelStatus& status);
    // Takes the sampling, reserve and date stamp of `options` and opens a new file beside
    // `target`, which close() replaces; kInvalidArgument when `options` describe no cache.
    ZelStatus begin(const std::string& target, const ZelWriterOptions& options);
    // kOk when the next frame may lie at `time`: on the uniform grid, the declared time, or after
    // the previous frame's time.
    ZelStatus checkFrameTime(float time) const;
    // Writes the tables and the metadata and makes the cache visible (ZelWriter::close()).
    ZelStatus close();

    // ---- Frames copied from other caches (ZelWriterCopy.cpp) ----
    // Starts a new cache at `target` as create() does, sampled as `options` say (their labels are
    // not used), whose metadata is the "META" chunk at `metaOffset` of the cache at `source`:
    // labels, definitions and static attributes as they are; counts and times are set as frames
    // come. kCorrupt when that chunk does not read.
    ZelStatus createCopy(const std::string& target, const ZelWriterOptions& options,
                         const std::string& source, int64 metaOffset);
    // Writes the sample group at `offset` of the `size` bytes at `bytes` as the next frame, at
    // `time`: its bytes as they are, its object table pointing where the object groups now lie.
    // The group must be one that sampleGroupProblem() accepts for the cache's objects; one that
    // does not even fit its bytes is refused (kCorrupt).
    ZelStatus writeCopiedFrame(float time, const unsigned char* bytes, int64 size, int64 offset);

    // ZelWriterFile.cpp: layout on disk.
    ZelStatus startNewFile();
    ZelStatus openForAppend();
    ZelStatus writeFrame();
    ZelStatus finishNewFile();
    ZelStatus finishAppend();
    bool startSection();
    bool finishSection();
    // Positions the file for the next frame at the end of a section with room for it; false on a
    // failure of the system. `*start` receives where the frame's "SAMP" header goes.
    bool openFrame(int64* start);
    // Hands the frame written at `start` to the system and records it; `ok` false (a write that
    // failed) or a failing flush fails the writer.
    ZelStatus closeFrame(int64 start, bool ok);
    bool sectionHasRoom() const;
    // The date stamp to write: the one asked for, else now.
    int64 stamp() const;
    bool writeMeta();
    ZelStatus readFrameLayout(const FileLayout& layout);
    void abandon();
};

// Why the "SAMP" group at `offset` of the `size` bytes at `bytes` is not a whole sample of a cache
// with `objects` objects; null when it is: a group inside the bytes whose chunks are well formed,
// a "JOBJ" table first and then one "SOBJ" group per object, each at the offset the table gives.
const char* sampleGroupProblem(const unsigned char* bytes, int64 size, int64 offset, int64 objects);

// The kind an object definition tells, in the order the helper object factory asks.
ZelObjectKind kindOf(const ZelDOBJChunk& dobj);

}  // namespace Zel

#endif

// ZelCache: the file-backed cache. It keeps a file's identification, metadata and the time and
// jump tables in memory and reads single object samples from the file on demand.
#ifndef ZEL_CACHE_H
#define ZEL_CACHE_H

#include <string>
#include <vector>

#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelFile.h"
#include "ZelFileChunks.h"
#include "ZelHeader.h"
#include "ZelTypes.h"

namespace Zel {

struct ZelSampleClock;

// Opens a cache file, validates the layout of its samples sections against its metadata and
// answers questions about its objects, attributes and sample times. Samples stay on disk: the
// jump tables let a read go straight to one object of one sample. Failures are results (false,
// -1, null, NaN); a failed load prints one line on standard output and leaves the cache empty.
// The memory caches derive from this class and use its protected reads.
class ZEL_API ZelCache {
  public:
    // An empty cache; the keep-open flag is true.
    ZelCache();
    // An empty cache that then runs this class's own load(filename, keepOpen); `*ok` (when
    // given) receives its result. A failed load leaves a valid, empty cache.
    explicit ZelCache(const char* filename, bool keepOpen = true, bool* ok = nullptr);
    ZelCache(const ZelCache&) = delete;
    ZelCache& operator=(const ZelCache&) = delete;
    // Resets (closing the file) and frees the tables.
    virtual ~ZelCache();

    // Forgets the file: empty name, file closed, keep-open true, identification and metadata at
    // their defaults, tables empty, no current sample. The update flag is kept.
    virtual void reset();
    // Reads the identification, the metadata and the samples sections' time and jump tables of
    // `filename` and checks them against each other. On failure prints one line
    // "animcache/src/libzel/src/ZelCache.cpp:<line> <message>" on standard output, resets the
    // cache and returns false. With `keepOpen` false the file is closed when load returns.
    virtual bool load(const char* filename, bool keepOpen = true);

    // Closes the file, keeping metadata and tables; later reads reopen it. The close's result.
    bool close();
    // Stores the flag; false closes the file and returns the close's result, true returns true.
    bool setKeepOpen(bool keepOpen);
    bool getKeepOpen() const;

    // The path of the last successful open, empty when none.
    const std::string& getFilename() const;
    int getVersion() const;
    const std::string& getApplication() const;
    const std::string& getSourceFile() const;
    const int64& getDateStamp() const;
    float getFirstTime() const;
    float getLastTime() const;
    // Samples per time unit; 0 means the sample times come from the time table.
    float getRate() const;
    int getSpace() const;
    int getNumSamples() const;
    int getNumObjects() const;
    // False without samples; else whether last time minus first time is positive.
    bool isAnimated() const;
    // Whether the rate is exactly 0.
    bool isNonUniform() const;
    const ZelDZELChunk& getDZELChunk() const;
    // The metadata, modifiable: the read-write cache edits through it.
    ZelMETAChunk& getMETAChunk();

    // The sample that lies exactly at `time` (no tolerance), or -1.
    int getSampleIndex(float time) const;
    // The sample to use at or before `time` (clamped to the last time), or -1. A uniform cache
    // gives the earlier of two neighbours; a non-uniform one the first not earlier than `time`.
    int getMaxSampleIndexNotGreaterThan(float time) const;
    // The first sample at or after `time` (clamped to the first time), or -1.
    int getMinSampleIndexNotLessThan(float time) const;
    // The time of sample `index`, or NaN when there is none.
    float getSampleTime(int index) const;
    // The sampling behind the four operations above, for the library's own time queries (the
    // type is internal to the library).
    ZelSampleClock sampleClock() const;

    // The characters after the last "|" of `name` (the whole name when it holds none).
    static std::string shortName(const std::string& name);
    // The first object from `start` on, wrapping around, whose name matches `name` in full or
    // by short name; -1 when none does or `name` is empty. A `start` out of range means 0.
    int findObjectIndex(const std::string& name, int start) const;

    // Definition queries; `object` must be below getNumObjects().
    const std::string& getName(int object) const;
    const ZelDOBJChunk* getObjDef(int object) const;
    // Animated plus static attributes; 0 without an attribute definition.
    int getNumAttrs(int object) const;
    // The attribute index of `name`, or -1.
    int findAttr(int object, const std::string& name) const;
    // Name and type string of attribute `attr`; an index out of range reports the definition's
    // index error (a line on standard output) and throws false.
    std::string getAttrName(int object, int attr) const;
    std::string getAttrType(int object, int attr) const;
    // False without an attribute definition; else whether `attr` is animated (throws false when
    // `attr` is out of range).
    bool isAttrAnimated(int object, int attr) const;

    // Whether the object's definition, its attribute list or its first sample holds a chunk
    // tagged `tag`. False for an object out of range or a failed read.
    bool objectHas(int object, unsigned tag);
    // Whether `tag` is stored in the object's first sample and not in its definition. False
    // without samples, for an object out of range or a failed read.
    bool isObjectAnimated(int object, unsigned tag);

  protected:
    // Whether stored name `a` matches asked name `b`: equal, or equal short names.
    bool compareNames(const std::string& a, const std::string& b) const;
    // The first chunk tagged `tag` in a depth-first, pre-order walk of the generic children
    // from `root` (`root` itself first), or null.
    static ZelChunk* findChunk(ZelChunk* root, unsigned tag);
    static const ZelChunk* findChunk(const ZelChunk* root, unsigned tag);

    // Positions the file just behind the "SOBJ" header of `object` in `sample` and puts that
    // header in `header`. Opens a closed file ("r+" with the update flag, else "r") and leaves it
    // open. Keeps the sample's object offset table for the next call. False on any failure,
    // also for a sample without a jump entry (one that exists only in a memory cache).
    bool seekObjectSample(ZelHeader& header, int sample, int object);
    // Positions the file just behind the header of the first chunk tagged `tag` directly in the
    // object's "SOBJ" at child position *index or later (any position when `index` is null);
    // stores that position in *index. False when there is none or a read fails.
    bool seekChannelSample(ZelHeader& header, int sample, int object, unsigned tag,
                           int* index = nullptr);
    // A new "SOBJ" group (owned by the caller) holding the object's chunks for `sample`, or
    // null. Closes the file afterwards unless the keep-open flag is set.
    ZelGroupChunk* loadObjectSample(int sample, int object);
    // The same read into `group` (tag "SOBJ", type group), which ends up as the new group would;
    // the storage of the children it holds is reused where the layout matches. False on failure,
    // `group` then holding what was read.
    bool loadObjectSample(int sample, int object, ZelGroupChunk& group);

    // The read-write cache sets this: files then open for update where writable.
    void setUpdate(bool update) { update_ = update; }
    bool getUpdate() const { return update_; }

    std::string filename_;
    bool keepOpen_ = true;
    bool update_ = false;
    ZelDZELChunk dzel_;
    ZelMETAChunk meta_;
    // Sample times; filled only when the rate is 0.
    std::vector<float> times_;
    // Per sample, the file offset of its "SAMP" header.
    std::vector<int64> jumpTable_;
    ZelFile file_;
    // The sample whose "JOBJ" table objectOffsets_ holds, -1 for none.
    int currentSample_ = -1;
    // Per object, the file offset of its "SOBJ" header in currentSample_.
    std::vector<int64> objectOffsets_;

  private:
    // Prints the load failure line for source line `line` and abandons the load.
    [[noreturn]] static void failLoad(int line, const char* message);
    // Prints the load failure line for source line `line`.
    static void reportLoad(int line, const char* message);
    // Load steps after "META": the samples sections' tables, then their agreement with it.
    void readSamplesSections();
    void checkTimes();
    // Reads up to the next "SAMS" header and returns where that section ends.
    int64 findNextSection();
    // Checks one section's tables (whether it had a "TIMS" and a "JSAM") against the metadata
    // and the tables of every section so far.
    void checkSectionTables(bool sawTimes, bool sawJumps);
    // The definition of `object`, which must be below getNumObjects().
    const ZelDOBJChunk* objDef(int object) const;
};

}  // namespace Zel

#endif

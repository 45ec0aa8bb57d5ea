// ZelRwMemCache: the read-write memory cache. A cache built or edited in memory, sample by sample
// in time order, and written back to its file in full or by appending the new samples in place.
#ifndef ZEL_RW_MEM_CACHE_H
#define ZEL_RW_MEM_CACHE_H

#include <memory>
#include <string>

#include "ZelChunks.h"
#include "ZelRoMemCache.h"
#include "ZelTypes.h"

namespace Zel {

class ZelSAMSChunk;

// A memory cache that a writer fills: allocSample hands out one empty "SOBJ" group per (time,
// object), which the writer fills with chunks; save writes the file. Samples stay in time order;
// the cache stays uniformly sampled while every new sample lies one rate step after the last (or
// before the first) and turns non-uniform otherwise. The update flag is set, so the sample limit
// of the read-only cache never applies and files open for update where writable.
//
// Saving appends in place when the file is the cache's own and only samples were added at the
// end since it was written; otherwise the whole file is rewritten. Failures are false or null
// results; nothing is printed except the trace lines of `append` at trace level 1 or more.
class ZEL_API ZelRwMemCache : public ZelRoMemCache {
  public:
    // An empty, clean cache.
    ZelRwMemCache();
    // Loads `filename` with the file-backed cache's own load, before the update flag is set, so
    // the file is opened read-only; `*ok` (when given) receives the result. Later reads of a
    // closed file reopen it for update without a write-access test.
    explicit ZelRwMemCache(const char* filename, bool keepOpen = true, bool* ok = nullptr);
    ~ZelRwMemCache() override;

    // The group of `object` (>= 0) in the sample at `time`, owned by the cache. Missing object
    // definitions up to `object` are added with empty names. A time after the last sample appends
    // a sample; the time of an existing sample returns its group, a new empty one when there is
    // none in memory; any other time inserts a sample after reading every sample into memory.
    // Null when no sample index can be found for `time` (a NaN time).
    ZelGroupChunk* allocSample(float time, int object);
    // The number of samples saving keeps spare room for (0: twice the samples); at least 100.
    void setReservedSamples(int count);
    // Renames `object`, adding missing definitions up to it first; dirty only when it changes.
    void setName(int object, const char* name);
    // Replace the name or type string of attribute `attr`. False for an object out of range or
    // without attribute definition (the cache is marked dirty all the same once the object
    // exists); an `attr` out of range reports the definition's index error and throws false.
    bool setAttrName(int object, int attr, const std::string& name);
    bool setAttrType(int object, int attr, const std::string& type);
    // Metadata strings and space code; these do not mark the cache dirty.
    void setApplication(const std::string& application);
    void setSourceFile(const std::string& sourceFile);
    void setSpace(int space);
    // Moves the first sample to `time`. A uniform cache moves first and last time; a non-uniform
    // one moves its time table only and keeps the metadata's first and last time.
    void shiftFirstTimeTo(float time);
    // Keeps the samples up to the first one at or after `time`; the whole cache goes when `time`
    // lies before the first sample. Nothing happens when `time` is not before the last sample.
    void truncate(float time);
    // Drops every sample, object and table (see reset), keeping the file name and keep-open flag.
    void deleteCache();
    // Whether the cache changed since it was created, loaded or last saved.
    bool isDirty() const { return dirty_; }

    // When dirty, saveAs(the cache's file name); otherwise true with *saved and *deleted false.
    bool save(bool* saved = nullptr, bool* deleted = nullptr);
    // Writes the cache to `filename`: appended in place when it is the cache's own file and
    // append() succeeds, else rewritten in full, after which the cache adopts `filename`, is clean
    // and has its file closed; a failed rewrite leaves `filename` as it was. A cache without
    // objects instead deletes an existing `filename` (*deleted tells whether that worked) and
    // answers true. *saved: whether a file was written.
    bool saveAs(const char* filename, bool* saved = nullptr, bool* deleted = nullptr);
    // Adds the samples past the file's last one to the cache's own file: the metadata is
    // rewritten where it stands (its length must not change) and the samples go into the spare
    // room of the last samples section or into a new section at the end; the update becomes
    // visible only once the new samples are on disk. False whenever that is not possible, the
    // file then left as it was; saveAs then rewrites the file.
    bool append();

  protected:
    // Uniform sampling when the time table is evenly spaced (exact float differences): the rate
    // becomes 1 / spacing and the table is emptied. True when the cache is (now) uniform.
    bool convertToUniformSampling();
    // Fills the time table from the rate (i / rate + first time) and sets the rate to 0.
    void convertToNonUniformSampling();

  private:
    // A new per-sample array of `object` + 1 entries holding a new empty "SOBJ" group at
    // `object`, which `group` receives.
    static std::unique_ptr<ObjectGroups> newSampleGroups(int object, ZelGroupChunk*& group);
    // The three ways allocSample makes a sample: the first of the cache, one after the last, and
    // one inserted at index `i` (every sample read into memory first). Each returns the new
    // sample's group of `object`.
    ZelGroupChunk* allocFirstSample(float time, int object);
    ZelGroupChunk* allocSampleAfterLast(float time, int object);
    ZelGroupChunk* insertSample(int i, float time, int object);
    // Adds empty-named object definitions until `object` has one.
    void extendObjects(int object);
    // The spare room a new samples section gets.
    int64 reserveCount() const;
    // Writes samples `first` to the last through `sams`, recording their jump table entries.
    bool writeSamples(ZelSAMSChunk& sams, int first, bool nonUniform);
    // The full rewrite of saveAs: into a temporary file that replaces `filename` only once it is
    // complete and on disk, so a failure leaves `filename` as it was.
    bool rewrite(const char* filename);
    // Writes the identification and metadata chunks and every sample to the open file.
    bool writeWhole(bool nonUniform);
    // What append learns from the file: its size, where its metadata and last samples section
    // stand, and every section's tables.
    struct AppendPlan;
    // Scans the cache's open file into `plan`; false for a file an append cannot build on.
    bool planAppend(AppendPlan& plan);
    // Whether the file's samples are the cache's first ones and its tables can take the rest;
    // `uniform` receives whether the cache (now) samples uniformly.
    bool matchesFile(const AppendPlan& plan, bool& uniform);
    // Writes the metadata in place and the samples past the file's last one, leaving the file
    // open for the caller to commit or discard the writes held below its old end.
    bool writeAppended(const AppendPlan& plan, bool uniform);
    // The append of a cache without samples: the identification and metadata chunks alone,
    // replacing the file as a whole.
    bool writeHeadOnly();

    bool dirty_ = false;
    // Whether the last allocation appended a sample after the last one.
    bool appendedOnly_ = false;
    int reservedSamples_ = 0;
};

}  // namespace Zel

#endif

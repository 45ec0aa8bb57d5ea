// ZelRoMemCache: the read-only memory cache. It keeps the per-object sample groups of a cache
// file in memory as they are asked for, optionally under a limit on the number of samples held.
#ifndef ZEL_RO_MEM_CACHE_H
#define ZEL_RO_MEM_CACHE_H

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "ZelCache.h"
#include "ZelChunks.h"
#include "ZelTypes.h"

namespace Zel {

// Reads each (sample, object) "SOBJ" group from the file once, on first request, and hands it out
// by pointer. With a sample limit in force, whole samples are evicted least recently used first;
// a pointer stays valid until its sample is evicted or deleted or the cache is reset. An evicted
// group is kept for its object's next read, which reuses its storage: streaming under a limit
// allocates nothing once warm. A cache with the update flag set (the read-write cache) never
// evicts. Failures are null, 0 or false results; only getAttrData writes messages (standard
// error).
class ZEL_API ZelRoMemCache : public ZelCache {
  public:
    // An empty cache without a limit.
    ZelRoMemCache();
    // Loads `filename` with the file-backed cache's own load (no sample is read); `*ok` (when
    // given) receives its result. No limit.
    explicit ZelRoMemCache(const char* filename, bool keepOpen = true, bool* ok = nullptr);
    // As above, then the limit becomes `maxSamples` as given (not clamped).
    ZelRoMemCache(const char* filename, bool keepOpen, int maxSamples, bool* ok = nullptr);
    // Deletes every loaded group.
    ~ZelRoMemCache() override;

    // Deletes every loaded group, empties the recency list, sets the limit to 0 (none), then
    // resets the file-backed part.
    void reset() override;
    // Loads `filename` (see ZelCache::load); the limit survives the reset that loading starts
    // with. A loaded cache has one empty sample entry per sample; no sample is read here.
    bool load(const char* filename, bool keepOpen = true) override;
    // Sets the limit to `maxSamples`, then loads as above.
    virtual bool load(const char* filename, bool keepOpen, int maxSamples);
    // The first child tagged `tag` of the object's group in `sample`, searching from child
    // position *index (0 when `index` is null). *index receives the position found, or the
    // group's child count when there is none; it is untouched when the group itself is missing.
    virtual const ZelChunk* getSample(int sample, int object, unsigned tag, int* index = nullptr);
    // The object's "SOBJ" group in `sample`, read from the file on first request; null for a
    // sample or object out of range or a failed read (tried again on the next request). Under a
    // limit the sample moves to the front of the recency list first, evicting as needed.
    virtual const ZelGroupChunk* getSample(int sample, int object);
    // The first chunk tagged `tag` in the object's definition (static, *animated false) or else in
    // its group in `sample` (*animated true); null when neither holds one.
    virtual const ZelChunk* getObjectData(int sample, int object, unsigned tag,
                                          bool* animated = nullptr);
    // The vertex count of the object's "POSI" chunk (definition first, then `sample` when it is
    // not negative): payload bytes / (dimension, 3 when 0, times 8 for doubles, else 4). 0 when
    // there is none.
    virtual int getNumVertices(int sample, int object);
    // The value chunk of attribute `attr`: a static one from the definition, an animated one from
    // the "ATRS" group of `sample`. Null when missing; an index out of range, a missing "ATRS"
    // group or a missing animated index also write one line on standard error.
    virtual ZelChunk* getAttrData(int sample, int object, int attr);

    // The sample limit; 0 means none.
    int getMaxSamples() const { return maxSamples_; }
    // Sets the limit (a negative value counts as 0), first evicting the least recently used
    // samples beyond the new value when it is lower. Ignored when the update flag is set.
    void setMaxSamples(int maxSamples);

    // The values of the chunk tagged `tag` (from child position *index on, as getSample) of the
    // object in the sample that lies exactly at `time`; null when no sample lies there, the
    // chunk is missing or holds other than T. T is char, int, float, double, int64 or
    // std::string.
    template <class T>
    const std::vector<T>* getSampleDataAtTime(float time, int object, unsigned tag,
                                              int* index = nullptr);

  protected:
    // Deletes every loaded group of `sample` and its per-sample array; a table that then ends in
    // empty entries is shortened. Nothing happens for a sample without an array. The recency list
    // is not touched.
    void deleteSample(int sample);
    // Deletes every loaded group and empties the sample table; the recency list stays as it is.
    void deleteAllSamples();
    // Reads every object of every sample not yet loaded; failed reads leave their entries empty.
    // Ignores the limit and the recency list. Always true.
    bool loadAllSamples();
    // Reads every object not yet loaded of samples 0 to `last` (all samples when `last` is the
    // final one or beyond). False at the first failed read.
    bool loadSamplesNotGreaterThan(int last);
    // The slot of (`sample`, `object`) in the sample table, growing the table and creating or
    // growing the per-sample array as needed. Both indices must not be negative.
    std::unique_ptr<ZelGroupChunk>& sampleSlot(int sample, int object);

    // The groups of one sample, indexed by object; a null entry is an object not loaded.
    using ObjectGroups = std::vector<std::unique_ptr<ZelGroupChunk>>;
    // Indexed by sample: that sample's groups, null when none of its objects is loaded. An index
    // past the end also means not loaded. The cache owns every group.
    std::vector<std::unique_ptr<ObjectGroups>> samples_;
    // The most samples held at once; 0 means no limit.
    int maxSamples_ = 0;

  private:
    // Reads (`sample`, `object`) into the sample table unless it is loaded; `sample` must be
    // below the table's size. False when the read fails.
    bool loadMissing(int sample, int object);
    // Moves `sample` to the front of the recency list, evicting from the back while more than
    // the limit would be held.
    void touchSample(int sample);
    // Deletes the least recently used sample and drops it from the list; its groups become the
    // spares of their objects where those have none.
    void evictOldest();
    // Reads (`sample`, `object`) into the object's spare group when it has one, else into a new
    // group; null when the read fails.
    std::unique_ptr<ZelGroupChunk> readGroup(int sample, int object);

    // Sample indices held under a limit, most recently used first.
    std::list<int> recency_;
    // Indexed by sample: its position in recency_, or recency_.end() when it is not listed.
    std::vector<std::list<int>::iterator> recencyPos_;
    // Indexed by object: a group of an evicted sample, kept so that the object's next read reuses
    // its storage instead of allocating afresh; null when there is none. One per object at most,
    // so a limit of k samples holds k + 1 samples' groups at most.
    ObjectGroups spares_;
};

extern template ZEL_API const std::vector<char>* ZelRoMemCache::getSampleDataAtTime<char>(float,
                                                                                          int,
                                                                                          unsigned,
                                                                                          int*);
extern template ZEL_API const std::vector<int>* ZelRoMemCache::getSampleDataAtTime<int>(float, int,
                                                                                        unsigned,
                                                                                        int*);
extern template ZEL_API const std::vector<float>* ZelRoMemCache::getSampleDataAtTime<float>(
    float, int, unsigned, int*);
extern template ZEL_API const std::vector<double>* ZelRoMemCache::getSampleDataAtTime<double>(
    float, int, unsigned, int*);
extern template ZEL_API const std::vector<int64>* ZelRoMemCache::getSampleDataAtTime<int64>(
    float, int, unsigned, int*);
extern template ZEL_API const std::vector<std::string>*
ZelRoMemCache::getSampleDataAtTime<std::string>(float, int, unsigned, int*);

}  // namespace Zel

#endif

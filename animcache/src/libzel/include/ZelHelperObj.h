// ZelHelperObj: a light, typed view of one object of a read-only memory cache, and the
// interpolation settings that its time queries take.
//
// A helper object holds no data of its own: it asks its cache for the object's chunks (static ones
// from the object's definition, animated ones from a sample) and hands back their values, by
// pointer into the cache's storage or copied into a caller's vector. Helper objects are built by
// ZelHelperObjFactory and freed with destroy().
#ifndef ZEL_HELPER_OBJ_H
#define ZEL_HELPER_OBJ_H

#include <set>
#include <string>
#include <vector>

#include "ZelChunks.h"
#include "ZelTypes.h"

namespace Zel {

class ZelRoMemCache;
class ZelHelperObjFactory;
class ZelDOBJChunk;

// The category names that the helper classes record about themselves (see ZelHelperObj::isA).
constexpr const char* zelCategoryHelperObj = "helperObj";
constexpr const char* zelCategoryGeometry = "geometry";
constexpr const char* zelCategoryMesh = "mesh";
constexpr const char* zelCategoryNurbsCurve = "nurbscurve";
constexpr const char* zelCategoryNurbsSurface = "nurbssurface";
constexpr const char* zelCategoryTransform = "transform";
constexpr const char* zelCategoryLocator = "locator";
constexpr const char* zelCategoryLxCoordSystem = "lxcoordsystem";

// The caller's interpolation settings; the library only reads them. `order` 0 takes the sample
// at or before the time, 1 is linear, 2 quadratic, 3 cubic. The name tables are used only by the
// traces, indexed by `order` and `mode`.
struct ZEL_API ZelInterpolationHints {
    int order = 1;
    std::vector<std::string> orderNames{"none", "linear", "quadratic", "cubic"};
    int mode = 0;
    std::vector<std::string> modeNames{"default"};
};

// Base of every helper object: naming, attributes, chunk lookup with the origin of what was
// found, typed extraction of leaf values, sample choice for time queries and bounds.
// Failures are results (false, null, -1, 0, "undef", kStatic); nothing here throws on its own
// account, but an attribute index outside the object's list meets the attribute definition's
// index check, which prints a line and throws false.
class ZEL_API ZelHelperObj {
  public:
    // Where returned data came from: the object's definition (or nowhere), or a sample.
    enum AnimationState { kStatic = 0, kAnimated = 1 };

    ZelHelperObj(const ZelHelperObj& other);
    ZelHelperObj& operator=(const ZelHelperObj& other);
    virtual ~ZelHelperObj();

    // Deletes the object through its virtual destructor. Called through a null pointer it does
    // nothing, so callers may free whatever the factory gave them without testing it.
    void destroy();

    // The cache the object reads from (not owned).
    const ZelRoMemCache* getParentCache() const { return cache_; }
    // The object's index in its cache.
    int getObjectIndex() const { return objectIndex_; }
    // The category names of the object's class chain, in lexicographic order.
    const std::set<std::string>& categories() const { return categories_; }
    // Whether `category` is one of the object's categories.
    bool isA(const std::string& category) const;

    // The object's full name as its definition stores it (empty for an index outside the cache).
    const std::string& getName() const;
    // The part of the name after the last "|"; the whole name when it has none.
    std::string getLeafName() const;
    // Animated plus static user attributes; 0 without an attribute definition.
    int getNumAttrs() const;
    // The attribute index of `name` (animated attributes first), or -1.
    int findAttr(const std::string& name) const;
    // Name and declared type string of attribute `attrIndex` (below getNumAttrs()).
    std::string getAttrName(int attrIndex) const;
    std::string getAttrType(int attrIndex) const;
    // kAnimated for an animated attribute; kStatic for a static one or without attributes.
    AnimationState isAttrAnimated(int attrIndex) const;

    // Whether the object's first sample holds a "FREE" chunk that its definition lacks.
    AnimationState isAnimated() const;
    // kAnimated when `tag` is absent from the definition and present in the object's sample at
    // the cache's first time; kStatic otherwise (also without samples).
    AnimationState isAnimated(unsigned int tag) const;
    // True exactly when `state` is not 0.
    static bool isAnimated(AnimationState state) { return state != kStatic; }
    // Whether the definition, the attribute list (for "DATR") or the first sample has `tag`.
    bool objectHas(unsigned int tag) const;

    // Sets `chunk` to the object's chunk tagged `tag`, searched depth-first in the definition and
    // then in the sample `sampleIndex`; null when neither has it. kAnimated exactly when it came
    // from the sample, so a tag present in both is reported static.
    AnimationState findChunk(int sampleIndex, unsigned int tag, const ZelChunk*& chunk) const;
    // The first direct child of `group` (not null) tagged `tag`, or null; sub-groups are not
    // entered.
    static const ZelChunk* searchChunk(const ZelGroupChunk* group, unsigned int tag);
    // Components per element from the chunk's dimension code: 1, 2, 3, 4, 9 or 16; 0 for any
    // other code and for a null chunk.
    static int getDimension(const ZelChunk* chunk);
    // The element type name ("undef", "group", "cstr", "int32", "float", "int64", "double") of
    // the chunk tagged `tag` at sample 0, or "undef" when there is none.
    std::string getObjectType(unsigned int tag) const;

    // Attribute values at a sample: `data` points at the value chunk's own vector (valid while the
    // cache keeps the sample), `dimension` is its component count. False, with `data` null, when
    // there is no value chunk or it does not hold exactly T (no conversion between float and
    // double); `dimension` may be set even then.
    bool getAttrData(int sampleIndex, int attrIndex, const std::vector<int>*& data,
                     int& dimension) const;
    bool getAttrData(int sampleIndex, int attrIndex, const std::vector<float>*& data,
                     int& dimension) const;
    bool getAttrData(int sampleIndex, int attrIndex, const std::vector<double>*& data,
                     int& dimension) const;
    bool getAttrData(int sampleIndex, int attrIndex, const std::vector<int64>*& data,
                     int& dimension) const;
    bool getAttrData(int sampleIndex, int attrIndex, const std::vector<std::string>*& data) const;

    // As getAttrData, but copies the values into `values` (resized to their count). On failure
    // `values` is left as it was.
    bool getAttr(int sampleIndex, int attrIndex, std::vector<int>& values, int& dimension) const;
    bool getAttr(int sampleIndex, int attrIndex, std::vector<float>& values, int& dimension) const;
    bool getAttr(int sampleIndex, int attrIndex, std::vector<double>& values, int& dimension) const;
    bool getAttr(int sampleIndex, int attrIndex, std::vector<int64>& values, int& dimension) const;
    bool getAttr(int sampleIndex, int attrIndex, std::vector<std::string>& values) const;

    // The element type name of the attribute's value chunk at the sample; "undef" when the chunk
    // is missing.
    std::string getAttrDataType(int sampleIndex, int attrIndex) const;

    // The attribute's values (stored as double) at any time, blended between the samples around
    // it with the order of `hints`. A time on a sample (within 0.001), outside the samples or an
    // order other than 1 to 3 gives the plain values of the chosen sample. False when a sample
    // read fails or a later sample holds fewer values than the first; `values` is then empty.
    bool getAttrAtTime(float time, int attrIndex, ZelInterpolationHints& hints,
                       std::vector<double>& values, int& dimension) const;

    // The cache's first sample time.
    float getFirstTime() const;
    // The fractional part (sign kept) of `time` in sample steps: of `time` itself for a
    // non-uniform cache, of (time - first time) x rate otherwise.
    float getTimeFraction(float time) const;

    // The axis-aligned box at the sample, from "BBOX" when the object has one, else computed from
    // "POSI". Without `pointOrder` the layout is (min x, max x, min y, max y, min z, max z), with
    // it (min x, min y, min z, max x, max y, max z). False when neither chunk is usable.
    bool getBounds(int sampleIndex, float (&bounds)[6], AnimationState& state,
                   bool pointOrder = false) const;
    // As above into a vector resized to 6 (its values are unspecified on failure).
    bool getBounds(int sampleIndex, std::vector<float>& bounds, AnimationState& state,
                   bool pointOrder = false) const;

  protected:
    friend class ZelHelperObjFactory;

    // Holds `cache` (not owned; it must outlive this object) and the object index; the only
    // category is "helperObj".
    ZelHelperObj(ZelRoMemCache* cache, int objectIndex);

    // Adds a category name; a name already held is ignored.
    void addCategory(const std::string& category);

    // Sets `data` to the leaf chunk's own value vector when `chunk` is a leaf holding exactly T
    // (by its header's type code and its class); else `data` is null and the result false.
    static bool getZelLeafData(const ZelChunk* chunk, const std::vector<int>*& data);
    static bool getZelLeafData(const ZelChunk* chunk, const std::vector<float>*& data);
    static bool getZelLeafData(const ZelChunk* chunk, const std::vector<double>*& data);
    static bool getZelLeafData(const ZelChunk* chunk, const std::vector<int64>*& data);
    static bool getZelLeafData(const ZelChunk* chunk, const std::vector<std::string>*& data);

    // The chunk tagged `tag` at the sample (as findChunk) as a leaf of exactly T: `state` is
    // kStatic and `data` null first; on success `data` points at the values and `state` tells
    // where the chunk came from.
    bool getLeafData(int sampleIndex, unsigned int tag, const std::vector<int>*& data,
                     AnimationState& state) const;
    bool getLeafData(int sampleIndex, unsigned int tag, const std::vector<float>*& data,
                     AnimationState& state) const;
    bool getLeafData(int sampleIndex, unsigned int tag, const std::vector<double>*& data,
                     AnimationState& state) const;
    bool getLeafData(int sampleIndex, unsigned int tag, const std::vector<int64>*& data,
                     AnimationState& state) const;
    bool getLeafData(int sampleIndex, unsigned int tag, const std::vector<std::string>*& data,
                     AnimationState& state) const;

    // Copies a float or double leaf into `values` (resized to its count), converting to the
    // output's type. False, `values` untouched, for a null chunk or any other element type.
    static bool copyRealData(const ZelChunk* chunk, std::vector<float>& values);
    static bool copyRealData(const ZelChunk* chunk, std::vector<double>& values);

    // The value chunk of attribute `attrIndex` at the sample (its static value for a static
    // attribute), or null; the cache reports a bad index or missing data on standard error.
    const ZelChunk* getAttrDataChunk(int sampleIndex, int attrIndex) const;

    // The object's definition, or null for an index outside the cache.
    const ZelDOBJChunk* getObjDef() const;
    // The sample index of the cache's first time (-1 without samples).
    int getFirstSampleIndex() const;

    // Chooses the samples around `time` for an interpolation of `hints.order` (0 or more):
    // resizes both vectors to order + 1 and fills them with ascending sample indices and their
    // times. False when one sample (or the time itself) answers: a time within 0.001 of a sample,
    // before the first sample (indices -1) or at or after the last one (indices on the last).
    bool getEvalTimeAndSampleIndices(float time, ZelInterpolationHints& hints,
                                     std::vector<int>& samples, std::vector<float>& times) const;

    ZelRoMemCache* cache_;
    int objectIndex_;
    std::set<std::string> categories_;
};

}  // namespace Zel

#endif

// Describes a small cache for the helper-object tests (object definitions, per-sample object
// groups, user attributes) and writes it through writeCacheFile.
#ifndef ZEL_TEST_CACHE_BUILDER_H
#define ZEL_TEST_CACHE_BUILDER_H

#include <memory>
#include <string>
#include <vector>

#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelFileChunks.h"
#include "ZelRoMemCache.h"

namespace ZelTest {

class CacheBuilder {
  public:
    // `numSamples` samples from `firstTime`, `rate` per time unit.
    CacheBuilder(int numSamples, float firstTime, float rate);
    // Non-uniform samples at `times` (rate 0).
    explicit CacheBuilder(const std::vector<float>& times);

    // Appends an object definition; its index.
    int addObject(const std::string& name);
    Zel::ZelDOBJChunk& definition(int object);
    // The object's "SOBJ" group in `sample`.
    Zel::ZelGroupChunk& sampleGroup(int sample, int object);

    // A leaf tagged `tag` in the object's definition, or in its group of `sample`.
    template <class T>
    void addStatic(int object, const char (&tag)[5], const std::vector<T>& values,
                   Zel::uint8 dimension = 0) {
        definition(object).addChild(
            new Zel::ZelLeafChunk<T>(Zel::makeTag(tag), 0, dimension, values));
    }
    template <class T>
    void addSampled(int sample, int object, const char (&tag)[5], const std::vector<T>& values,
                    Zel::uint8 dimension = 0) {
        sampleGroup(sample, object)
            .addChild(new Zel::ZelLeafChunk<T>(Zel::makeTag(tag), 0, dimension, values));
    }

    // A static user attribute holding `values`; its attribute index at the time of the call
    // (animated attributes added later shift it).
    template <class T>
    int addStaticAttr(int object, const std::string& name, const std::vector<T>& values,
                      Zel::uint8 dimension = 0) {
        Zel::ZelDATRChunk* datr = definition(object).addDATR();
        const int index = datr->addAttr(false, name, "t", Zel::ZelTypeCode<T>::value, 0, dimension);
        dynamic_cast<Zel::ZelLeafChunk<T>*>(datr->getStaticData(index))->values() = values;
        return index;
    }
    // Declares an animated user attribute; its animated data index.
    int addAnimatedAttr(int object, const std::string& name);
    // Appends the next animated attribute's value to the object's "ATRS" group in `sample`.
    template <class T>
    void addAnimatedValue(int sample, int object, const std::vector<T>& values,
                          Zel::uint8 dimension = 0) {
        attrGroup(sample, object)
            .addChild(new Zel::ZelLeafChunk<T>(Zel::makeTag("ATTR"), 0, dimension, values));
    }

    // Writes the file and loads it into `cache`; false when either fails.
    bool writeAndLoad(const std::string& path, Zel::ZelRoMemCache& cache);

  private:
    Zel::ZelGroupChunk& attrGroup(int sample, int object);

    Zel::ZelMETAChunk meta_;
    std::vector<float> times_;
    // Indexed by sample, then object.
    std::vector<std::vector<std::unique_ptr<Zel::ZelGroupChunk>>> groups_;
};

}  // namespace ZelTest

#endif

// Helper-object tests: a small cache described in memory (object definitions, per-sample object
// groups, user attributes), written through writeCacheFile and loaded with a factory, and owning
// handles that free what the factory built with destroy(), as callers are told to.
#ifndef ZEL_TEST_HELPER_FIXTURE_H
#define ZEL_TEST_HELPER_FIXTURE_H

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "ZelDefinitionChunks.h"
#include "ZelFileChunks.h"
#include "ZelHelperObjFactory.h"
#include "ZelRoMemCache.h"
#include "support/TempDir.h"

namespace ZelTest {

using State = Zel::ZelHelperObj::AnimationState;
constexpr State kStatic = Zel::ZelHelperObj::kStatic;
constexpr State kAnimated = Zel::ZelHelperObj::kAnimated;
using Ints = std::vector<int>;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;
using Strings = std::vector<std::string>;
// What the cache prints when object 0 has no "ATRS" group in the sample read.
inline const std::string kMissingAtrs = "ATRS GROUP chunk missing for object at 0\n";

class CacheBuilder {
  public:
    // `numSamples` samples from `firstTime`, `rate` per time unit; or non-uniform at `times`.
    CacheBuilder(int numSamples, float firstTime, float rate);
    explicit CacheBuilder(const std::vector<float>& times);

    // Appends an object definition; its index.
    int addObject(const std::string& name);
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
    // A static user attribute holding `values`; its index at the time of the call (animated
    // attributes added later shift it).
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
    Zel::ZelDOBJChunk& definition(int object) { return *meta_.getDOBJ(object); }
    Zel::ZelGroupChunk& attrGroup(int sample, int object);

    Zel::ZelMETAChunk meta_;
    std::vector<float> times_;
    std::map<std::pair<int, int>, Zel::ZelGroupChunk> groups_;  // by sample and object
};

struct DestroyHelper {
    void operator()(Zel::ZelHelperObj* obj) const { obj->destroy(); }
};

template <class T>
using HelperPtr = std::unique_ptr<T, DestroyHelper>;

// The cache that `b` describes, written and loaded; throwing (a test failure) when either fails.
struct LoadedCache {
    TempDir dir;
    Zel::ZelRoMemCache cache;
    Zel::ZelHelperObjFactory factory{&cache};

    explicit LoadedCache(CacheBuilder& b) {
        if (!b.writeAndLoad(dir.file("c.zel"), cache)) {
            throw std::runtime_error("the described cache was not written or loaded");
        }
    }
    // The factory's object for `object`; throws when it is not a T.
    template <class T>
    HelperPtr<T> get(int object) const {
        HelperPtr<Zel::ZelHelperObj> obj(factory.zelObjBuilder(object));
        if (dynamic_cast<T*>(obj.get()) == nullptr) {
            throw std::runtime_error("object " + std::to_string(object) + " is not a " +
                                     typeid(T).name());
        }
        return HelperPtr<T>(static_cast<T*>(obj.release()));
    }
};

}  // namespace ZelTest

#endif

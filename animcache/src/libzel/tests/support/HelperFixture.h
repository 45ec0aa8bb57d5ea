// Helper objects in tests: a described cache written to a temporary directory and loaded, and
// owning handles that free what the factory built with destroy(), as callers are told to.
#ifndef ZEL_TEST_HELPER_FIXTURE_H
#define ZEL_TEST_HELPER_FIXTURE_H

#include <memory>

#include "ZelHelperObj.h"
#include "ZelHelperObjFactory.h"
#include "ZelRoMemCache.h"
#include "support/CacheBuilder.h"
#include "support/TempDir.h"

namespace ZelTest {

struct DestroyHelper {
    void operator()(Zel::ZelHelperObj* obj) const { obj->destroy(); }
};

template <class T>
using HelperPtr = std::unique_ptr<T, DestroyHelper>;

// The factory's object for `object` when it is a T, else null (the object is then freed).
template <class T>
HelperPtr<T> build(const Zel::ZelHelperObjFactory& factory, int object) {
    Zel::ZelHelperObj* obj = factory.zelObjBuilder(object);
    T* typed = dynamic_cast<T*>(obj);
    if (typed == nullptr) {
        obj->destroy();
    }
    return HelperPtr<T>(typed);
}

// The cache that `b` describes, written and loaded; `loaded` tells whether both worked.
struct LoadedCache {
    TempDir dir;
    Zel::ZelRoMemCache cache;
    Zel::ZelHelperObjFactory factory{&cache};
    bool loaded;

    explicit LoadedCache(CacheBuilder& b) : loaded(b.writeAndLoad(dir.file("c.zel"), cache)) {}
    template <class T>
    HelperPtr<T> get(int object) const {
        return build<T>(factory, object);
    }
};

}  // namespace ZelTest

#endif

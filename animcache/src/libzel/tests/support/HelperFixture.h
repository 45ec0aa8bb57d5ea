// Owning handles for helper objects in tests: freed with destroy(), as callers are told to.
#ifndef ZEL_TEST_HELPER_FIXTURE_H
#define ZEL_TEST_HELPER_FIXTURE_H

#include <memory>

#include "ZelHelperObj.h"
#include "ZelHelperObjFactory.h"

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

}  // namespace ZelTest

#endif

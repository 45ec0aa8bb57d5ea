#include "ZelHelperObjFactory.h"

#include "GeometryZelObj.h"
#include "LocatorZelObj.h"
#include "MeshZelObj.h"
#include "NurbsZelObj.h"
#include "TransformZelObj.h"
#include "ZelFormat.h"
#include "ZelRoMemCache.h"

namespace Zel {

ZelHelperObjFactory::ZelHelperObjFactory(ZelRoMemCache* cache) : cache_(cache) {}

ZelHelperObjFactory::~ZelHelperObjFactory() = default;

ZelHelperObj* ZelHelperObjFactory::zelObjBuilder(int objectIndex) const {
    // The order is fixed: the first tag the object has decides, so a transform that also carries
    // a mesh is built as a transform.
    auto has = [&](uint32 tag) { return cache_ != nullptr && cache_->objectHas(objectIndex, tag); };
    if (has(kTagXFRM)) {
        return new TransformZelObj(cache_, objectIndex);
    }
    if (has(kTagMESH)) {
        return new MeshZelObj(cache_, objectIndex);
    }
    if (has(kTagNRBS)) {
        return new NurbsSurfaceZelObj(cache_, objectIndex);
    }
    if (has(kTagNRBC)) {
        return new NurbsCurveZelObj(cache_, objectIndex);
    }
    if (has(kTagELOC)) {
        return new LocatorZelObj(cache_, objectIndex);
    }
    if (has(kTagLXCS)) {
        return new LxCoordSystemZelObj(cache_, objectIndex);
    }
    if (has(kTagPOSI)) {
        return new GeometryZelObj(cache_, objectIndex);
    }
    return new ZelHelperObj(cache_, objectIndex);
}

bool ZelHelperObjFactory::getObjectNames(std::vector<std::string>& names) const {
    names.clear();
    if (cache_ == nullptr) {
        return false;
    }
    const int n = cache_->getNumObjects();
    for (int i = 0; i < n; ++i) {
        const std::string& name = cache_->getName(i);
        if (name.empty()) {
            return false;
        }
        names.push_back(name);
    }
    return true;
}

}  // namespace Zel

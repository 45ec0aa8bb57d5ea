// ZelHelperObjFactory: builds the helper object of the right class for an object of a cache.
#ifndef ZEL_HELPER_OBJ_FACTORY_H
#define ZEL_HELPER_OBJ_FACTORY_H

#include <string>
#include <vector>

#include "ZelHelperObj.h"

namespace Zel {

class ZelRoMemCache;

// Holds a cache (not owned; it must outlive the factory and everything the factory builds).
class ZEL_API ZelHelperObjFactory {
  public:
    explicit ZelHelperObjFactory(ZelRoMemCache* cache);
    ZelHelperObjFactory(const ZelHelperObjFactory&) = default;
    ZelHelperObjFactory& operator=(const ZelHelperObjFactory&) = default;
    ~ZelHelperObjFactory();

    // A new helper object for `objectIndex`, owned by the caller (free it with destroy()). The
    // first of "XFRM", "MESH", "NRBS", "NRBC", "ELOC", "LXCS" that the object has picks
    // TransformZelObj, MeshZelObj, NurbsSurfaceZelObj, NurbsCurveZelObj, LocatorZelObj or
    // LxCoordSystemZelObj; else "POSI" makes a GeometryZelObj; else a plain ZelHelperObj. An index
    // outside the cache gives a plain ZelHelperObj holding it. Never null.
    ZelHelperObj* zelObjBuilder(int objectIndex) const;

    // Replaces `names` with the names of all objects in index order. False without a cache, or at
    // the first empty name (the names before it stay in `names`).
    bool getObjectNames(std::vector<std::string>& names) const;

  private:
    ZelRoMemCache* cache_;
};

}  // namespace Zel

#endif

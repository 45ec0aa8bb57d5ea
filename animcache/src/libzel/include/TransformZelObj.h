// The helper object of a transform ("XFRM"): the object's 4x4 matrix.
#ifndef ZEL_TRANSFORM_ZEL_OBJ_H
#define ZEL_TRANSFORM_ZEL_OBJ_H

#include "ZelHelperObj.h"

namespace Zel {

// A transform: categories "helperObj" and "transform".
class ZEL_API TransformZelObj : public ZelHelperObj {
  public:
    TransformZelObj(const TransformZelObj& other);
    TransformZelObj& operator=(const TransformZelObj& other);
    ~TransformZelObj() override;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "transform".
    TransformZelObj(ZelRoMemCache* cache, int objectIndex);
};

}  // namespace Zel

#endif

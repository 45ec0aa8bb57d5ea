#include "TransformZelObj.h"

namespace Zel {

TransformZelObj::TransformZelObj(ZelRoMemCache* cache, int objectIndex)
    : ZelHelperObj(cache, objectIndex) {
    addCategory(zelCategoryTransform);
}

TransformZelObj::TransformZelObj(const TransformZelObj& other) = default;

TransformZelObj& TransformZelObj::operator=(const TransformZelObj& other) = default;

TransformZelObj::~TransformZelObj() = default;

}  // namespace Zel

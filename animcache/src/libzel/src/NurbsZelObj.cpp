#include "NurbsZelObj.h"

namespace Zel {

NurbsCurveZelObj::NurbsCurveZelObj(ZelRoMemCache* cache, int objectIndex)
    : GeometryZelObj(cache, objectIndex) {
    addCategory(zelCategoryNurbsCurve);
}

NurbsCurveZelObj::NurbsCurveZelObj(const NurbsCurveZelObj& other) = default;

NurbsCurveZelObj& NurbsCurveZelObj::operator=(const NurbsCurveZelObj& other) = default;

NurbsCurveZelObj::~NurbsCurveZelObj() = default;

NurbsSurfaceZelObj::NurbsSurfaceZelObj(ZelRoMemCache* cache, int objectIndex)
    : GeometryZelObj(cache, objectIndex) {
    addCategory(zelCategoryNurbsSurface);
}

NurbsSurfaceZelObj::NurbsSurfaceZelObj(const NurbsSurfaceZelObj& other) = default;

NurbsSurfaceZelObj& NurbsSurfaceZelObj::operator=(const NurbsSurfaceZelObj& other) = default;

NurbsSurfaceZelObj::~NurbsSurfaceZelObj() = default;

}  // namespace Zel

// The named kinds of objects and of values that the writer and reader speak in.
#ifndef ZEL_KINDS_H
#define ZEL_KINDS_H

#include "ZelTypes.h"

namespace Zel {

// What an object is, told by the chunk its definition carries (transform first, as the helper
// object factory decides).
enum class ZelObjectKind {
    kMesh,          // polygon or subdivision mesh: topology once, points every frame
    kNurbsCurve,    // degree, form and knots once, control points every frame
    kNurbsSurface,  // degrees, forms and knots in u and v once, control points every frame
    kTransform,     // a 4 x 4 matrix every frame
    kLocator,       // a point in space: attributes only
    kCoordSystem,   // a coordinate system: attributes only
    kOther,         // none of the above (written by another application)
};

// The element type of stored values.
enum class ZelElementType { kInt32, kFloat, kInt64, kDouble, kString };

// What values stand for (how a reader should transform them); kNone for plain data.
enum class ZelCompound { kNone = 0, kPoint, kVector, kNormal, kTransform, kColor, kCompound };

// How many components make one value.
enum class ZelDimension {
    kNone = 0,
    kScalar = 1,
    k2d = 2,
    k3d = 3,
    k4d = 4,
    k3x3 = 9,
    k4x4 = 16,
};

// "mesh", "nurbs curve", "nurbs surface", "transform", "locator", "coordinate system", "other".
ZEL_API const char* kindName(ZelObjectKind kind);
// "int32", "float", "int64", "double", "string".
ZEL_API const char* elementTypeName(ZelElementType type);

}  // namespace Zel

#endif

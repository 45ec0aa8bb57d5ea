#include "ZelKinds.h"

namespace Zel {

const char* kindName(ZelObjectKind kind) {
    switch (kind) {
        case ZelObjectKind::kMesh:
            return "mesh";
        case ZelObjectKind::kNurbsCurve:
            return "nurbs curve";
        case ZelObjectKind::kNurbsSurface:
            return "nurbs surface";
        case ZelObjectKind::kTransform:
            return "transform";
        case ZelObjectKind::kLocator:
            return "locator";
        case ZelObjectKind::kCoordSystem:
            return "coordinate system";
        case ZelObjectKind::kOther:
            break;
    }
    return "other";
}

const char* elementTypeName(ZelElementType type) {
    switch (type) {
        case ZelElementType::kInt32:
            return "int32";
        case ZelElementType::kFloat:
            return "float";
        case ZelElementType::kInt64:
            return "int64";
        case ZelElementType::kDouble:
            return "double";
        case ZelElementType::kString:
            break;
    }
    return "string";
}

}  // namespace Zel

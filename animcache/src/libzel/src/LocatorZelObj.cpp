#include "LocatorZelObj.h"

namespace Zel {

LocatorZelObj::LocatorZelObj(ZelRoMemCache* cache, int objectIndex)
    : ZelHelperObj(cache, objectIndex) {
    addCategory(zelCategoryLocator);
}

LocatorZelObj::LocatorZelObj(const LocatorZelObj& other) = default;

LocatorZelObj& LocatorZelObj::operator=(const LocatorZelObj& other) = default;

LocatorZelObj::~LocatorZelObj() = default;

LxCoordSystemZelObj::LxCoordSystemZelObj(ZelRoMemCache* cache, int objectIndex)
    : ZelHelperObj(cache, objectIndex) {
    addCategory(zelCategoryLxCoordSystem);
}

LxCoordSystemZelObj::LxCoordSystemZelObj(const LxCoordSystemZelObj& other) = default;

LxCoordSystemZelObj& LxCoordSystemZelObj::operator=(const LxCoordSystemZelObj& other) = default;

LxCoordSystemZelObj::~LxCoordSystemZelObj() = default;

int LxCoordSystemZelObj::intSetting(const char* name, int fallback) const {
    const int attr = findAttr(name);
    if (attr < 0) {
        return fallback;
    }
    const std::vector<int>* values = nullptr;
    int dimension = 0;
    // Sample 0 always: an animated setting reports its first sample's value.
    if (!getAttrData(0, attr, values, dimension) || values->empty()) {
        return fallback;
    }
    return values->front();
}

bool LxCoordSystemZelObj::scoped() const {
    return intSetting("scoped", 1) != 0;
}

bool LxCoordSystemZelObj::useAsClippingPlane() const {
    return intSetting("useAsClippingPlane", 1) != 0;
}

int LxCoordSystemZelObj::displayShape() const {
    return intSetting("displayShape", 1);
}

std::string LxCoordSystemZelObj::parentRig() const {
    const int attr = findAttr("parentRig");
    if (attr < 0) {
        return std::string();
    }
    const std::vector<std::string>* values = nullptr;
    if (!getAttrData(0, attr, values) || values->empty()) {
        return std::string();
    }
    return values->front();
}

}  // namespace Zel

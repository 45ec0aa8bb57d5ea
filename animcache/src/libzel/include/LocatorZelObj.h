// The helper objects of locators ("ELOC") and coordinate systems ("LXCS").
#ifndef ZEL_LOCATOR_ZEL_OBJ_H
#define ZEL_LOCATOR_ZEL_OBJ_H

#include <string>

#include "ZelHelperObj.h"

namespace Zel {

// A locator: categories "helperObj" and "locator"; the base services are all it needs.
class ZEL_API LocatorZelObj : public ZelHelperObj {
  public:
    LocatorZelObj(const LocatorZelObj& other);
    LocatorZelObj& operator=(const LocatorZelObj& other);
    ~LocatorZelObj() override;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "locator".
    LocatorZelObj(ZelRoMemCache* cache, int objectIndex);
};

// A coordinate system: categories "helperObj" and "lxcoordsystem" (it is not a locator). Its
// settings are user attributes read at sample 0; a missing attribute, or one stored with another
// element type, gives the default.
class ZEL_API LxCoordSystemZelObj : public ZelHelperObj {
  public:
    LxCoordSystemZelObj(const LxCoordSystemZelObj& other);
    LxCoordSystemZelObj& operator=(const LxCoordSystemZelObj& other);
    ~LxCoordSystemZelObj() override;

    // int32 attribute "scoped" is not 0; default true.
    virtual bool scoped() const;
    // int32 attribute "useAsClippingPlane" is not 0; default true.
    virtual bool useAsClippingPlane() const;
    // int32 attribute "displayShape"; default 1.
    virtual int displayShape() const;
    // First string of the cstr attribute "parentRig"; default empty.
    virtual std::string parentRig() const;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "lxcoordsystem".
    LxCoordSystemZelObj(ZelRoMemCache* cache, int objectIndex);

  private:
    // The first value of the int32 attribute `name` at sample 0, or `fallback`.
    int intSetting(const char* name, int fallback) const;
};

}  // namespace Zel

#endif

// The helper objects of NURBS curves ("NRBC") and surfaces ("NRBS"). Their stored positions are
// the distinct control points; GeometryZelObj answers for them.
#ifndef ZEL_NURBS_ZEL_OBJ_H
#define ZEL_NURBS_ZEL_OBJ_H

#include "GeometryZelObj.h"

namespace Zel {

// A NURBS curve: categories "geometry", "helperObj" and "nurbscurve".
class ZEL_API NurbsCurveZelObj : public GeometryZelObj {
  public:
    NurbsCurveZelObj(const NurbsCurveZelObj& other);
    NurbsCurveZelObj& operator=(const NurbsCurveZelObj& other);
    ~NurbsCurveZelObj() override;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "nurbscurve".
    NurbsCurveZelObj(ZelRoMemCache* cache, int objectIndex);
};

// A NURBS surface: categories "geometry", "helperObj" and "nurbssurface".
class ZEL_API NurbsSurfaceZelObj : public GeometryZelObj {
  public:
    NurbsSurfaceZelObj(const NurbsSurfaceZelObj& other);
    NurbsSurfaceZelObj& operator=(const NurbsSurfaceZelObj& other);
    ~NurbsSurfaceZelObj() override;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "nurbssurface".
    NurbsSurfaceZelObj(ZelRoMemCache* cache, int objectIndex);
};

}  // namespace Zel

#endif

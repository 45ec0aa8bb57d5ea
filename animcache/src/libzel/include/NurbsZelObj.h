// The helper objects of NURBS curves ("NRBC") and surfaces ("NRBS"). Their stored positions
// ("POSI", float, three values a point) are the distinct control points; these classes add the
// degrees, forms and knots and expand the stored points into the full homogeneous control-point
// list (x, y, z, w = 1), repeating the points of periodic directions.
//
// With k knots and degree d a direction has n = k - d + 1 control points; a direction whose form
// is "kPeriodic" stores only the first n - d of them (the last d repeat the first d).
#ifndef ZEL_NURBS_ZEL_OBJ_H
#define ZEL_NURBS_ZEL_OBJ_H

#include <string>
#include <vector>

#include "GeometryZelObj.h"

namespace Zel {

// A NURBS curve: categories "geometry", "helperObj" and "nurbscurve".
class ZEL_API NurbsCurveZelObj : public GeometryZelObj {
  public:
    NurbsCurveZelObj(const NurbsCurveZelObj& other);
    NurbsCurveZelObj& operator=(const NurbsCurveZelObj& other);
    ~NurbsCurveZelObj() override;

    // The first value of the int32 chunk "DEGR", `state` from where it was found. False (state
    // kStatic, `degree` untouched) when it is missing, empty or not int32.
    bool getDegree(int sampleIndex, int& degree, AnimationState& state) const;
    // The first string of the cstr chunk "FORM" ("kPeriodic" for a periodic curve). False, as
    // getDegree, when it is missing, empty or not cstr.
    bool getForm(int sampleIndex, std::string& form, AnimationState& state) const;
    // The knots "KNTU", stored as float or double, converted to T. With `padEnds` the first and
    // last knots are repeated once more at either end (k + 2 values). False, `knots` untouched,
    // when the chunk is missing or holds another type.
    bool getKnots(int sampleIndex, std::vector<float>& knots, AnimationState& state,
                  bool padEnds = false) const;
    bool getKnots(int sampleIndex, std::vector<double>& knots, AnimationState& state,
                  bool padEnds = false) const;
    // The n control points as x, y, z, 1 (4n values), periodic points repeated; `state` tells
    // where "POSI" came from. False, outputs untouched, without degree, form or knots, when
    // "POSI" does not hold floats (also for a double output), holds too few points or, for a
    // periodic curve, none (with fewer stored points than its degree they repeat in turn).
    bool getControlPoints(int sampleIndex, std::vector<float>& points, AnimationState& state) const;
    bool getControlPoints(int sampleIndex, std::vector<double>& points,
                          AnimationState& state) const;
    // The control points at any time, blended with the order of `hints` (1 linear, 2 quadratic,
    // 3 Catmull-Rom; weights included): t and the blend weights in single precision, products
    // and sums in T. On a sample, outside the samples or for order 0 they are those of the
    // chosen sample. False, `points` untouched, when a read
    // fails, and for an order above 3.
    bool getControlPointsAtTime(float time, ZelInterpolationHints& hints,
                                std::vector<float>& points, AnimationState& state) const;
    bool getControlPointsAtTime(float time, ZelInterpolationHints& hints,
                                std::vector<double>& points, AnimationState& state) const;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "nurbscurve".
    NurbsCurveZelObj(ZelRoMemCache* cache, int objectIndex);

  private:
    template <class T>
    bool knotsAt(int sampleIndex, std::vector<T>& knots, AnimationState& state, bool padEnds) const;
    template <class T>
    bool controlPointsAt(int sampleIndex, std::vector<T>& points, AnimationState& state) const;
    template <class T>
    bool controlPointsAtTime(float time, ZelInterpolationHints& hints, std::vector<T>& points,
                             AnimationState& state) const;
};

// A NURBS surface: categories "geometry", "helperObj" and "nurbssurface". Stored points are u
// major: point (i, j) lies at i x (distinct v count) + j. Outputs come in that order (v fastest)
// or, with `uFastest`, transposed (u fastest).
class ZEL_API NurbsSurfaceZelObj : public GeometryZelObj {
  public:
    NurbsSurfaceZelObj(const NurbsSurfaceZelObj& other);
    NurbsSurfaceZelObj& operator=(const NurbsSurfaceZelObj& other);
    ~NurbsSurfaceZelObj() override;

    // Degrees in u and v, the first two values of "DEGR". Both are 0 and `state` kStatic first;
    // false unless "DEGR" is an int32 leaf; true with degrees 0 when it holds fewer than two.
    bool getDegree(int sampleIndex, int& degreeU, int& degreeV, AnimationState& state) const;
    // Forms in u and v, the first two strings of "FORM". False unless "FORM" is a cstr leaf;
    // true, forms untouched, when it holds fewer than two.
    bool getForm(int sampleIndex, std::string& formU, std::string& formV,
                 AnimationState& state) const;
    // As the curve's getKnots: "KNTU" into `knotsU` and "KNTV" into `knotsV`, each padded with
    // its own end knots under `padEnds`; `state` is kAnimated when either came from the sample.
    // False, both untouched, when either is missing or neither float nor double.
    bool getKnots(int sampleIndex, std::vector<float>& knotsU, std::vector<float>& knotsV,
                  AnimationState& state, bool padEnds = false) const;
    bool getKnots(int sampleIndex, std::vector<double>& knotsU, std::vector<double>& knotsV,
                  AnimationState& state, bool padEnds = false) const;
    // The nu x nv control points as x, y, z, 1, periodic points repeated, v fastest or (with
    // `uFastest`) u fastest; `state` tells where "POSI" came from. False, outputs untouched,
    // without forms, degrees or knots, for a zero knot count, when "POSI" does not hold floats,
    // holds too few points, or a periodic direction stores fewer points than its degree.
    bool getControlPoints(int sampleIndex, std::vector<float>& points, AnimationState& state,
                          bool uFastest = false) const;
    bool getControlPoints(int sampleIndex, std::vector<double>& points, AnimationState& state,
                          bool uFastest = false) const;
    // As the curve's, except that an order above 3 gives the control points of the first chosen
    // sample instead of failing.
    bool getControlPointsAtTime(float time, ZelInterpolationHints& hints,
                                std::vector<float>& points, AnimationState& state,
                                bool uFastest = false) const;
    bool getControlPointsAtTime(float time, ZelInterpolationHints& hints,
                                std::vector<double>& points, AnimationState& state,
                                bool uFastest = false) const;
    // The rest pose (getPrefData, double first), as stored: its own component count a point, no
    // weight, no periodic repetition; with `uFastest` transposed as getAttr does, using the
    // static degrees and knots. False without a rest pose or, under `uFastest`, without degrees
    // or knots.
    bool getPrefControlPoints(std::vector<float>& points, bool uFastest = false) const;
    bool getPrefControlPoints(std::vector<double>& points, bool uFastest = false) const;

    // Per-control-point attribute values at the sample: read as T, else (a second read, so the
    // cache reports missing data twice) as its companion type (int64 for int, double for float,
    // float for double, int for int64) and converted; strings, one a string, have no companion.
    // Without `uFastest` in stored order; with it, when the values hold nu x nv elements of
    // `dimension` components (a code-0 attribute counts one a value), transposed to u fastest,
    // otherwise in stored order. False, `values` untouched, when the attribute can't be read or,
    // under `uFastest`, without degrees or knots.
    bool getAttr(int sampleIndex, int attrIndex, std::vector<int>& values, int& dimension,
                 bool uFastest = false) const;
    bool getAttr(int sampleIndex, int attrIndex, std::vector<float>& values, int& dimension,
                 bool uFastest = false) const;
    bool getAttr(int sampleIndex, int attrIndex, std::vector<double>& values, int& dimension,
                 bool uFastest = false) const;
    bool getAttr(int sampleIndex, int attrIndex, std::vector<int64>& values, int& dimension,
                 bool uFastest = false) const;
    bool getAttr(int sampleIndex, int attrIndex, std::vector<std::string>& values,
                 bool uFastest = false) const;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "nurbssurface".
    NurbsSurfaceZelObj(ZelRoMemCache* cache, int objectIndex);

    // The number of values of "KNTU" / "KNTV" at the sample when it holds floats or doubles,
    // else (also when it is missing) 0.
    int getNumKnotUData(int sampleIndex) const;
    int getNumKnotVData(int sampleIndex) const;

  private:
    // The value count of the float or double leaf tagged `tag` at the sample, else 0.
    int knotCount(int sampleIndex, unsigned int tag) const;
    // The control-point counts in u and v at the sample: nu = ku - du + 1, nv likewise. False
    // without degrees or for a zero knot count.
    bool controlPointCounts(int sampleIndex, int64& nu, int64& nv) const;
    template <class T>
    bool knotsAt(int sampleIndex, std::vector<T>& knotsU, std::vector<T>& knotsV,
                 AnimationState& state, bool padEnds) const;
    template <class T>
    bool controlPointsAt(int sampleIndex, std::vector<T>& points, AnimationState& state,
                         bool uFastest) const;
    template <class T>
    bool controlPointsAtTime(float time, ZelInterpolationHints& hints, std::vector<T>& points,
                             AnimationState& state, bool uFastest) const;
    template <class T>
    bool prefControlPoints(std::vector<T>& points, bool uFastest) const;
    template <class T, class Companion>
    bool attrPerControlPoint(int sampleIndex, int attrIndex, std::vector<T>& values, int& dimension,
                             bool uFastest) const;
    template <class S, class T>
    bool reorderPerControlPoint(int sampleIndex, const std::vector<S>& stored, int dimension,
                                bool uFastest, std::vector<T>& out) const;
};

}  // namespace Zel

#endif

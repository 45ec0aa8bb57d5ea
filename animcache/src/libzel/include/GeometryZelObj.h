// GeometryZelObj: the helper object of anything that carries point positions ("POSI"): positions
// at a sample or at any time, and the rest pose.
#ifndef ZEL_GEOMETRY_ZEL_OBJ_H
#define ZEL_GEOMETRY_ZEL_OBJ_H

#include <vector>

#include "ZelHelperObj.h"

namespace Zel {

// Positions hold `dimension` components per point: 3, or 4 with a weight. Every operation exists
// for float and double; the ...Data forms point into the cache and need exactly that element
// type, the copies convert between float and double.
class ZEL_API GeometryZelObj : public ZelHelperObj {
  public:
    GeometryZelObj(const GeometryZelObj& other);
    GeometryZelObj& operator=(const GeometryZelObj& other);
    ~GeometryZelObj() override;

    // `data` points at the "POSI" values of the sample when they are stored as exactly T, and
    // `dimension` is 3 or 4 (any other component count reads as 3). False with `data` null and
    // `state` kStatic otherwise.
    virtual bool getPositionData(int sampleIndex, const std::vector<double>*& data,
                                 AnimationState& state, int& dimension) const;
    virtual bool getPositionData(int sampleIndex, const std::vector<float>*& data,
                                 AnimationState& state, int& dimension) const;
    // Copies "POSI" of the sample into `positions`, converting float or double values. False,
    // `positions` untouched, when there is none or it holds another type (`dimension` may be set).
    virtual bool getPosition(int sampleIndex, std::vector<double>& positions, AnimationState& state,
                             int& dimension) const;
    virtual bool getPosition(int sampleIndex, std::vector<float>& positions, AnimationState& state,
                             int& dimension) const;
    // Positions at any time, blended with the order of `hints` from positions stored as float.
    // On a sample (within 0.001), outside the samples or for an order other than 1 to 3 it is the
    // plain copy of the chosen sample (float or double). False, `positions` empty, when a read
    // fails (so positions stored as double can't be blended) or a later sample is shorter.
    virtual bool getPositionAtTime(float time, ZelInterpolationHints& hints,
                                   std::vector<double>& positions, AnimationState& state,
                                   int& dimension) const;
    virtual bool getPositionAtTime(float time, ZelInterpolationHints& hints,
                                   std::vector<float>& positions, AnimationState& state,
                                   int& dimension) const;
    // The rest pose: the first attribute named "rmanP__Pref" or "vorn_Pref", read at the cache's
    // first time, when it holds exactly T. `dimension` is its component count, 3 for code 0.
    virtual bool getPrefData(const std::vector<double>*& data, int& dimension) const;
    virtual bool getPrefData(const std::vector<float>*& data, int& dimension) const;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "geometry".
    GeometryZelObj(ZelRoMemCache* cache, int objectIndex);

    // Copies the chunk tagged `tag` at the sample with conversion; sets `*dimension` (when given)
    // to the point component count (3 or 4, else 3) before the type check and `state` from the
    // origin on success.
    bool copyReals(int sampleIndex, unsigned int tag, std::vector<float>& values,
                   AnimationState& state, int* dimension) const;
    bool copyReals(int sampleIndex, unsigned int tag, std::vector<double>& values,
                   AnimationState& state, int* dimension) const;

  private:
    // The value chunk of the first attribute named "rmanP__Pref" or "vorn_Pref" at the cache's
    // first time, or null.
    const ZelChunk* getPrefChunk() const;
    // Both getPrefData overloads.
    template <class T>
    bool getPrefDataAs(const std::vector<T>*& data, int& dimension) const;
    // Both copyReals overloads.
    template <class T>
    bool copyRealsAs(int sampleIndex, unsigned int tag, std::vector<T>& values,
                     AnimationState& state, int* dimension) const;
};

}  // namespace Zel

#endif

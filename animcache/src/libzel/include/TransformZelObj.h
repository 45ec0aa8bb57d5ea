// The helper object of a transform ("XFRM"): the object's 4x4 matrix at a sample or at any time,
// and whether it combines with its parent's. Matrices are 16 values in row-major order used with
// row vectors (translation in the last row).
#ifndef ZEL_TRANSFORM_ZEL_OBJ_H
#define ZEL_TRANSFORM_ZEL_OBJ_H

#include <vector>

#include "ZelHelperObj.h"

namespace Zel {

class ZelDATRChunk;

// A transform: categories "helperObj" and "transform". Its matrix is either composed from
// channel attributes named as in zelChannelNames ("translateX", "rotateY", ...; angles in
// degrees) or stored whole in the chunk "MTRX".
class ZEL_API TransformZelObj : public ZelHelperObj {
  public:
    TransformZelObj(const TransformZelObj& other);
    TransformZelObj& operator=(const TransformZelObj& other);
    ~TransformZelObj() override;

    // Resizes `matrix` to 16 and fills it with the first 16 values of "MTRX" at the sample,
    // stored as float or double and converted; `state` tells where the chunk came from. False
    // when there is none, it holds another type or fewer than 16 values.
    bool getTransformData(int sampleIndex, std::vector<float>& matrix, AnimationState& state) const;
    bool getTransformData(int sampleIndex, std::vector<double>& matrix,
                          AnimationState& state) const;
    // The matrix at any time: channels blended and composed, or else the "MTRX" matrices blended
    // through scale, rotation and translation; linear for order 1, quadratic for orders 2 and 3.
    // On a sample (within 0.001), outside the samples or for another order it is the stored
    // matrix of the chosen sample. `matrix` is resized to 16; a missing matrix gives false and
    // leaves its values alone.
    bool getTransformAtTime(float time, ZelInterpolationHints& hints, std::vector<float>& matrix,
                            AnimationState& state) const;
    bool getTransformAtTime(float time, ZelInterpolationHints& hints, std::vector<double>& matrix,
                            AnimationState& state) const;
    // False exactly when the int32 chunk "INHT" at the cache's first time holds 0 first.
    bool inheritsTransform() const;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "transform".
    TransformZelObj(ZelRoMemCache* cache, int objectIndex);

    // The transform at parameter t between samples[0] (t = 0) and samples[1] (t = 1), into the
    // 16 values of `matrix`: from the channel attributes when the object has any, else from the
    // stored matrices. `state` is kAnimated when an animated channel or matrix went in. False,
    // `matrix` untouched, when there are no channels and a matrix is missing.
    bool interpolateTransformLinear(const std::vector<int>& samples, float t,
                                    std::vector<float>& matrix, AnimationState& state) const;
    bool interpolateTransformLinear(const std::vector<int>& samples, double t,
                                    std::vector<double>& matrix, AnimationState& state) const;
    // As above through samples[0], samples[1] and samples[2] at t = -1, 0 and 1 (parabolas for
    // values, the quadratic spherical blend for rotations).
    bool interpolateTransformQuadratic(const std::vector<int>& samples, float t,
                                       std::vector<float>& matrix, AnimationState& state) const;
    bool interpolateTransformQuadratic(const std::vector<int>& samples, double t,
                                       std::vector<double>& matrix, AnimationState& state) const;

  private:
    // The value a channel attribute's chunk contributes: its first element when it holds floats
    // or doubles, 0 for any other element type or an empty chunk.
    template <class T>
    static T channelValue(const ZelChunk* chunk);
    // The first 16 values of "MTRX" at the sample into `matrix`, converted; `state` from where it
    // was found. False when it is missing, neither float nor double, or shorter than 16.
    template <class T>
    bool fetchMatrix(int sampleIndex, T* matrix, AnimationState& state) const;
    template <class T>
    bool transformAtTime(float time, ZelInterpolationHints& hints, std::vector<T>& matrix,
                         AnimationState& state) const;
    template <class T>
    bool interpolateTransform(const std::vector<int>& samples, int order, T t,
                              std::vector<T>& matrix, AnimationState& state) const;
    // The value of channel attribute `attr` across the run (order 1 or 2): its first sample's
    // value, blended when it is animated and the later samples hold it (`state` then kAnimated).
    // False when the first sample has none.
    template <class T>
    bool channelAt(const ZelDATRChunk& datr, int attr, const std::vector<int>& samples, int order,
                   T t, T& value, AnimationState& state) const;
    // Blends (order 1 or 2) and composes the channel attributes into `matrix`; false when the
    // object has none.
    template <class T>
    bool gatherChannels(const std::vector<int>& samples, int order, T t, T* matrix,
                        AnimationState& state) const;
};

}  // namespace Zel

#endif

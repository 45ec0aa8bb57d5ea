// MeshZelObj: the helper object of a polygon or subdivision mesh ("MESH"): topology, normals,
// velocities and the rest pose on top of the positions of GeometryZelObj.
#ifndef ZEL_MESH_ZEL_OBJ_H
#define ZEL_MESH_ZEL_OBJ_H

#include <vector>

#include "GeometryZelObj.h"

namespace Zel {

// The pointer forms (...Data, getPcnts and friends) set the pointer to null and `state` to
// kStatic first and succeed only for a leaf of exactly the asked element type, pointing into the
// cache. The copies convert float and double, resize the output and set `state` only on success;
// on failure the output is untouched.
class ZEL_API MeshZelObj : public GeometryZelObj {
  public:
    MeshZelObj(const MeshZelObj& other);
    MeshZelObj& operator=(const MeshZelObj& other);
    ~MeshZelObj() override;

    // Per face, the vertex count ("PCNT"); the faces' point indices ("PIDS"); per face, the
    // normal index count ("NCNT"); the normal indices ("NIDS"). All int32.
    bool getPcnts(int sampleIndex, const std::vector<int>*& data, AnimationState& state) const;
    bool getPids(int sampleIndex, const std::vector<int>*& data, AnimationState& state) const;
    bool getNcnts(int sampleIndex, const std::vector<int>*& data, AnimationState& state) const;
    bool getNids(int sampleIndex, const std::vector<int>*& data, AnimationState& state) const;
    // Copies of the same four lists.
    bool getFaceVertexCnts(int sampleIndex, std::vector<int>& values, AnimationState& state) const;
    bool getFaceVertexIds(int sampleIndex, std::vector<int>& values, AnimationState& state) const;
    bool getFaceNormalVertexCnts(int sampleIndex, std::vector<int>& values,
                                 AnimationState& state) const;
    bool getFaceNormalVertexIds(int sampleIndex, std::vector<int>& values,
                                AnimationState& state) const;

    // Normals ("VPNO").
    bool getNormalData(int sampleIndex, const std::vector<float>*& data,
                       AnimationState& state) const;
    bool getNormalData(int sampleIndex, const std::vector<double>*& data,
                       AnimationState& state) const;
    bool getNormals(int sampleIndex, std::vector<float>& values, AnimationState& state) const;
    bool getNormals(int sampleIndex, std::vector<double>& values, AnimationState& state) const;
    // Face normals ("PONO").
    bool getFaceNormalData(int sampleIndex, const std::vector<float>*& data,
                           AnimationState& state) const;
    bool getFaceNormalData(int sampleIndex, const std::vector<double>*& data,
                           AnimationState& state) const;
    bool getFaceNormals(int sampleIndex, std::vector<float>& values, AnimationState& state) const;
    bool getFaceNormals(int sampleIndex, std::vector<double>& values, AnimationState& state) const;
    // Per-point velocities ("VELO").
    bool getVelocityData(int sampleIndex, const std::vector<float>*& data,
                         AnimationState& state) const;
    bool getVelocityData(int sampleIndex, const std::vector<double>*& data,
                         AnimationState& state) const;
    bool getVelocity(int sampleIndex, std::vector<float>& values, AnimationState& state) const;
    bool getVelocity(int sampleIndex, std::vector<double>& values, AnimationState& state) const;

    // A copy of the rest pose: the double rest pose when there is one, else the float one,
    // converted to the output's type. False when neither exists.
    bool getPref(std::vector<float>& pref) const;
    bool getPref(std::vector<double>& pref) const;

    // Whether the mesh is a subdivision surface: the first value of the int32 attribute
    // "mdShapeType", else of the chunk "MSPT", is 0; true when neither says otherwise.
    bool isSubd() const;

  protected:
    friend class ZelHelperObjFactory;

    // Adds the category "mesh".
    MeshZelObj(ZelRoMemCache* cache, int objectIndex);

  private:
    bool copyInts(int sampleIndex, unsigned int tag, std::vector<int>& values,
                  AnimationState& state) const;
    template <class T>
    bool copyPref(std::vector<T>& pref) const;
};

}  // namespace Zel

#endif

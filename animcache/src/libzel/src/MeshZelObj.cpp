#include "MeshZelObj.h"

#include "ZelDefinitionChunks.h"
#include "ZelFormat.h"

namespace Zel {

MeshZelObj::MeshZelObj(ZelRoMemCache* cache, int objectIndex) : GeometryZelObj(cache, objectIndex) {
    addCategory(zelCategoryMesh);
}

MeshZelObj::MeshZelObj(const MeshZelObj& other) = default;

MeshZelObj& MeshZelObj::operator=(const MeshZelObj& other) = default;

MeshZelObj::~MeshZelObj() = default;

bool MeshZelObj::getPcnts(int sampleIndex, const std::vector<int>*& data,
                          AnimationState& state) const {
    return getLeafData(sampleIndex, kTagPCNT, data, state);
}

bool MeshZelObj::getPids(int sampleIndex, const std::vector<int>*& data,
                         AnimationState& state) const {
    return getLeafData(sampleIndex, kTagPIDS, data, state);
}

bool MeshZelObj::getNcnts(int sampleIndex, const std::vector<int>*& data,
                          AnimationState& state) const {
    return getLeafData(sampleIndex, kTagNCNT, data, state);
}

bool MeshZelObj::getNids(int sampleIndex, const std::vector<int>*& data,
                         AnimationState& state) const {
    return getLeafData(sampleIndex, kTagNIDS, data, state);
}

bool MeshZelObj::copyInts(int sampleIndex, unsigned int tag, std::vector<int>& values,
                          AnimationState& state) const {
    // A scratch state keeps the caller's untouched on failure.
    AnimationState origin = kStatic;
    const std::vector<int>* data = nullptr;
    if (!getLeafData(sampleIndex, tag, data, origin)) {
        return false;
    }
    values.assign(data->begin(), data->end());
    state = origin;
    return true;
}

bool MeshZelObj::getFaceVertexCnts(int sampleIndex, std::vector<int>& values,
                                   AnimationState& state) const {
    return copyInts(sampleIndex, kTagPCNT, values, state);
}

bool MeshZelObj::getFaceVertexIds(int sampleIndex, std::vector<int>& values,
                                  AnimationState& state) const {
    return copyInts(sampleIndex, kTagPIDS, values, state);
}

bool MeshZelObj::getFaceNormalVertexCnts(int sampleIndex, std::vector<int>& values,
                                         AnimationState& state) const {
    return copyInts(sampleIndex, kTagNCNT, values, state);
}

bool MeshZelObj::getFaceNormalVertexIds(int sampleIndex, std::vector<int>& values,
                                        AnimationState& state) const {
    return copyInts(sampleIndex, kTagNIDS, values, state);
}

bool MeshZelObj::getNormalData(int sampleIndex, const std::vector<float>*& data,
                               AnimationState& state) const {
    return getLeafData(sampleIndex, kTagVPNO, data, state);
}

bool MeshZelObj::getNormalData(int sampleIndex, const std::vector<double>*& data,
                               AnimationState& state) const {
    return getLeafData(sampleIndex, kTagVPNO, data, state);
}

bool MeshZelObj::getNormals(int sampleIndex, std::vector<float>& values,
                            AnimationState& state) const {
    return copyReals(sampleIndex, kTagVPNO, values, state, nullptr);
}

bool MeshZelObj::getNormals(int sampleIndex, std::vector<double>& values,
                            AnimationState& state) const {
    return copyReals(sampleIndex, kTagVPNO, values, state, nullptr);
}

bool MeshZelObj::getFaceNormalData(int sampleIndex, const std::vector<float>*& data,
                                   AnimationState& state) const {
    return getLeafData(sampleIndex, kTagPONO, data, state);
}

bool MeshZelObj::getFaceNormalData(int sampleIndex, const std::vector<double>*& data,
                                   AnimationState& state) const {
    return getLeafData(sampleIndex, kTagPONO, data, state);
}

bool MeshZelObj::getFaceNormals(int sampleIndex, std::vector<float>& values,
                                AnimationState& state) const {
    return copyReals(sampleIndex, kTagPONO, values, state, nullptr);
}

bool MeshZelObj::getFaceNormals(int sampleIndex, std::vector<double>& values,
                                AnimationState& state) const {
    return copyReals(sampleIndex, kTagPONO, values, state, nullptr);
}

bool MeshZelObj::getVelocityData(int sampleIndex, const std::vector<float>*& data,
                                 AnimationState& state) const {
    return getLeafData(sampleIndex, kTagVELO, data, state);
}

bool MeshZelObj::getVelocityData(int sampleIndex, const std::vector<double>*& data,
                                 AnimationState& state) const {
    return getLeafData(sampleIndex, kTagVELO, data, state);
}

bool MeshZelObj::getVelocity(int sampleIndex, std::vector<float>& values,
                             AnimationState& state) const {
    return copyReals(sampleIndex, kTagVELO, values, state, nullptr);
}

bool MeshZelObj::getVelocity(int sampleIndex, std::vector<double>& values,
                             AnimationState& state) const {
    return copyReals(sampleIndex, kTagVELO, values, state, nullptr);
}

template <class T>
bool MeshZelObj::copyPref(std::vector<T>& pref) const {
    int dimension = 0;
    const std::vector<double>* doubles = nullptr;
    // The double rest pose is always tried first, whatever the output type.
    if (getPrefData(doubles, dimension)) {
        pref.assign(doubles->begin(), doubles->end());
        return true;
    }
    const std::vector<float>* floats = nullptr;
    if (getPrefData(floats, dimension)) {
        pref.assign(floats->begin(), floats->end());
        return true;
    }
    return false;
}

bool MeshZelObj::getPref(std::vector<float>& pref) const {
    return copyPref(pref);
}

bool MeshZelObj::getPref(std::vector<double>& pref) const {
    return copyPref(pref);
}

bool MeshZelObj::isSubd() const {
    const int sample = getFirstSampleIndex();
    const ZelDOBJChunk* def = getObjDef();
    const ZelDATRChunk* datr = def != nullptr ? def->getDATR() : nullptr;
    const int count = datr != nullptr ? getNumAttrs() : 0;
    for (int i = 0; i < count; ++i) {
        if (datr->getAttrName(i) == "mdShapeType") {
            const std::vector<int>* shape = nullptr;
            if (getZelLeafData(getAttrDataChunk(sample, i), shape) && !shape->empty()) {
                return shape->front() == 0;
            }
            break;
        }
    }
    const std::vector<int>* shape = nullptr;
    AnimationState state = kStatic;
    if (!getLeafData(sample, kTagMSPT, shape, state) || shape->empty()) {
        return true;
    }
    return shape->front() == 0;
}

}  // namespace Zel

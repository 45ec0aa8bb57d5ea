#include "support/HelperFixture.h"

#include <stdexcept>

#include "support/CacheFile.h"

namespace ZelTest {

using namespace Zel;

CacheBuilder::CacheBuilder(int numSamples, float firstTime, float rate) {
    meta_.numSamples = numSamples;
    meta_.firstTime = firstTime;
    meta_.lastTime = firstTime + static_cast<float>(numSamples - 1) / rate;
    meta_.rate = rate;
}

CacheBuilder::CacheBuilder(const std::vector<float>& times) : times_(times) {
    meta_.numSamples = static_cast<int64>(times.size());
    meta_.firstTime = times.front();
    meta_.lastTime = times.back();
    meta_.rate = 0.0f;
}

int CacheBuilder::addObject(const std::string& name) {
    meta_.addDOBJ(name.c_str());
    return static_cast<int>(meta_.getNumObjects() - 1);
}

ZelGroupChunk& CacheBuilder::sampleGroup(int sample, int object) {
    if (sample < 0 || sample >= meta_.numSamples) {
        throw std::out_of_range("no sample " + std::to_string(sample));
    }
    return groups_.try_emplace({sample, object}, makeTag("SOBJ")).first->second;
}

int CacheBuilder::addAnimatedAttr(int object, const std::string& name) {
    ZelDATRChunk* datr = definition(object).addDATR();
    datr->addAnimatedAttribute(name, "t");
    return datr->getNumAnimatedAttrs() - 1;
}

ZelGroupChunk& CacheBuilder::attrGroup(int sample, int object) {
    ZelGroupChunk& g = sampleGroup(sample, object);
    const uint64 i = g.findChild(makeTag("ATRS"));
    if (i < g.numChildren()) {
        return *static_cast<ZelGroupChunk*>(g.getChild(i));
    }
    auto* atrs = new ZelGroupChunk(makeTag("ATRS"));
    g.addChild(atrs);
    return *atrs;
}

bool CacheBuilder::writeAndLoad(const std::string& path, ZelRoMemCache& cache) {
    const auto fill = [this](int s, int o, ZelGroupChunk& sobj) {
        const auto g = groups_.find({s, o});
        for (uint64 i = 0; g != groups_.end() && i < g->second.numChildren(); ++i) {
            sobj.addChild(ZelChunk::copy(g->second.getChild(i)));
        }
    };
    return writeCacheFile(path, meta_, fill, times_) && cache.load(path.c_str());
}

}  // namespace ZelTest

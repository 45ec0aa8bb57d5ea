#include "support/CacheBuilder.h"

#include "ZelFile.h"

namespace ZelTest {

using namespace Zel;

CacheBuilder::CacheBuilder(int numSamples, float firstTime, float rate)
    : groups_(static_cast<size_t>(numSamples)) {
    meta_.numSamples = numSamples;
    meta_.firstTime = firstTime;
    meta_.lastTime = firstTime + static_cast<float>(numSamples - 1) / rate;
    meta_.rate = rate;
}

CacheBuilder::CacheBuilder(const std::vector<float>& times) : times_(times), groups_(times.size()) {
    meta_.numSamples = static_cast<int64>(times.size());
    meta_.firstTime = times.front();
    meta_.lastTime = times.back();
    meta_.rate = 0.0f;
}

int CacheBuilder::addObject(const std::string& name) {
    meta_.addDOBJ(name.c_str());
    return static_cast<int>(meta_.getNumObjects() - 1);
}

ZelDOBJChunk& CacheBuilder::definition(int object) {
    return *meta_.getDOBJ(object);
}

ZelGroupChunk& CacheBuilder::sampleGroup(int sample, int object) {
    auto& row = groups_.at(static_cast<size_t>(sample));
    if (row.size() <= static_cast<size_t>(object)) {
        row.resize(static_cast<size_t>(object) + 1);
    }
    auto& g = row[static_cast<size_t>(object)];
    if (!g) {
        g = std::make_unique<ZelGroupChunk>(makeTag("SOBJ"));
    }
    return *g;
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

bool CacheBuilder::write(const std::string& path) {
    ZelFile f;
    if (!f.open(path.c_str(), "w+")) {
        return false;
    }
    const ZelDZELChunk dzel;
    bool ok = dzel.write(f) && meta_.write(f);
    const size_t numSamples = groups_.size();
    if (numSamples == 0) {
        return ok && f.close();
    }
    const size_t numObjects = static_cast<size_t>(meta_.getNumObjects());
    ok = ok && f.startGroup(ZelHeader(makeTag("SAMS"), kTypeGroup, 0));
    if (!times_.empty()) {
        ok = ok && f.writeChunk(makeTag("TIMS"), times_);
    }
    std::vector<int64> jump(numSamples, 0);
    const int64 jumpAt = f.tell();
    ok = ok && f.writeChunk(makeTag("JSAM"), jump);
    for (size_t s = 0; s < numSamples && ok; ++s) {
        jump[s] = f.tell();
        ok = f.startGroup(ZelHeader(makeTag("SAMP"), kTypeGroup, 0));
        std::vector<int64> objects(numObjects, 0);
        const int64 objectsAt = f.tell();
        ok = ok && f.writeChunk(makeTag("JOBJ"), objects);
        for (size_t o = 0; o < numObjects && ok; ++o) {
            objects[o] = f.tell();
            ok = sampleGroup(static_cast<int>(s), static_cast<int>(o)).write(f);
        }
        ok = ok && f.endGroup() && f.writeChunk(makeTag("JOBJ"), objects, objectsAt);
    }
    ok = ok && f.endGroup() && f.writeChunk(makeTag("JSAM"), jump, jumpAt);
    return f.close() && ok;
}

bool CacheBuilder::writeAndLoad(const std::string& path, ZelRoMemCache& cache) {
    return write(path) && cache.load(path.c_str());
}

}  // namespace ZelTest

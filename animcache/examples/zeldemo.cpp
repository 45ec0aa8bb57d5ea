// The demo: the main job end to end. It records a small animated scene with the read-write
// cache, saves it, reopens the file and adds further frames, reads a value back and prints the
// cache's summary with zelinfo.
//
// The scene: a cube mesh (topology stored once, positions per frame) bouncing on the spot, and a
// lamp with a static "label" attribute and an animated "intensity" attribute.
#include <cmath>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "Zel.h"

using namespace Zel;

namespace {

const char* const kPath = "demo.zel";
const int kCube = 0;
const int kLamp = 1;

// The unit cube's corners, in the vertex order of its topology.
// clang-format off
const float kCorners[24] = {
    -.5f, -.5f,  .5f,   .5f, -.5f,  .5f,  -.5f,  .5f,  .5f,   .5f,  .5f,  .5f,
    -.5f,  .5f, -.5f,   .5f,  .5f, -.5f,  -.5f, -.5f, -.5f,   .5f, -.5f, -.5f};
// clang-format on

// The cube's height at `frame`: one bounce every 24 frames.
float bounce(float frame) {
    return 2.0f * std::fabs(std::sin(frame * 3.14159265f / 24.0f));
}

// The objects' definitions: what does not change over time.
void defineScene(ZelRwMemCache& cache) {
    cache.setApplication("zeldemo");
    cache.setSourceFile("bouncing_cube.scene");
    cache.setSpace(0);  // world space
    cache.setName(kCube, "|scene|cube|cubeShape");
    cache.setName(kLamp, "|scene|lamp");

    // The mesh topology: 6 quads over 8 vertices, a polygon mesh ("MSPT" 1, not subdivided).
    auto* mesh = new ZelGroupChunk(makeTag("MESH"));
    mesh->addChild(new ZelLeafChunk<int>(makeTag("PCNT"), {4, 4, 4, 4, 4, 4}));
    mesh->addChild(new ZelLeafChunk<int>(
        makeTag("PIDS"), {0, 1, 3, 2, 2, 3, 5, 4, 4, 5, 7, 6, 6, 7, 1, 0, 1, 7, 5, 3, 6, 0, 2, 4}));
    mesh->addChild(new ZelLeafChunk<int>(makeTag("MSPT"), {1}));
    cache.getMETAChunk().getDOBJ(kCube)->addChild(mesh);

    // Attributes: animated ones come first in the numbering, whatever the order they are added.
    ZelDOBJChunk* lamp = cache.getMETAChunk().getDOBJ(kLamp);
    lamp->addAttr(true, "intensity", "float", kTypeFloat, 0, 0);
    const int label = lamp->addAttr(false, "label", "string", kTypeCstr, 0, 0);
    auto* value = static_cast<ZelLeafChunk<std::string>*>(lamp->getDATR()->getStaticData(label));
    value->values() = {"key light"};
    // Keeps the metadata's size exact, which lets later saves rewrite it in place.
    value->updateLength();
}

// Records frames `first` to `last`: the cube's eight corners and the lamp's intensity.
void recordFrames(ZelRwMemCache& cache, int first, int last) {
    for (int frame = first; frame <= last; ++frame) {
        const float t = static_cast<float>(frame);
        std::vector<float> corners(kCorners, kCorners + 24);
        for (int v = 0; v < 8; ++v) {
            corners[3 * v + 1] += bounce(t);
        }
        // Compound 1 "point", dimension 3: eight points of three floats.
        cache.allocSample(t, kCube)->addChild(
            new ZelLeafChunk<float>(makeTag("POSI"), 1, 3, corners));

        // Animated attribute values live in the sample's "ATRS" group, in attribute order.
        auto* attrs = new ZelGroupChunk(makeTag("ATRS"));
        attrs->addChild(new ZelLeafChunk<float>(makeTag("ATTR"), {0.5f + 0.25f * bounce(t)}));
        cache.allocSample(t, kLamp)->addChild(attrs);
    }
}

long long fileSize(const char* path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    return in ? static_cast<long long>(in.tellg()) : -1;
}

}  // namespace

int main() {
    // 1. Record frames 1 to 24 in memory and write the file.
    {
        ZelRwMemCache cache;
        defineScene(cache);
        recordFrames(cache, 1, 24);
        if (!cache.saveAs(kPath)) {
            std::cerr << "zeldemo: could not write " << kPath << '\n';
            return 1;
        }
    }
    const long long written = fileSize(kPath);
    std::cout << "wrote " << kPath << ": frames 1 to 24, " << written << " bytes\n";

    // 2. Reopen it and add frames 25 to 36. A save appends in place, into the room the file keeps
    //    for more samples, when the last allocation added a sample at the end; here each frame
    //    also fills the lamp into the cube's new sample, so the save rewrites the file.
    {
        ZelRwMemCache cache;
        if (!cache.load(kPath)) {
            return 1;
        }
        recordFrames(cache, 25, 36);
        bool saved = false;
        if (!cache.save(&saved) || !saved) {
            std::cerr << "zeldemo: could not save " << kPath << '\n';
            return 1;
        }
    }
    std::cout << "added frames 25 to 36: " << kPath << " grew by " << fileSize(kPath) - written
              << " bytes\n";

    // 3. Read one value back through a read-only memory cache.
    ZelRoMemCache reader;
    if (!reader.load(kPath)) {
        return 1;
    }
    const int sample = reader.getSampleIndex(30);
    const auto* posi = dynamic_cast<const ZelLeafChunk<float>*>(
        reader.getObjectData(sample, kCube, makeTag("POSI")));
    if (posi == nullptr) {
        std::cerr << "zeldemo: no positions at frame 30\n";
        return 1;
    }
    std::cout << "cube corner 0 at frame 30: (" << posi->values()[0] << ", " << posi->values()[1]
              << ", " << posi->values()[2] << ")\n\n";

    // 4. The summary of the whole file.
    return zelinfo(kPath) == 0 ? 0 : 1;
}

#include "zelUtils.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelFile.h"
#include "ZelFileChunks.h"
#include "ZelSAMSChunk.h"

using namespace Zel;

// ---------------------------------------------------------------------------------------------
// Shared by the utilities
// ---------------------------------------------------------------------------------------------

namespace {

// The source path that every utility error line names, independent of where the build runs.
constexpr const char* kUtilsSource = "animcache/src/libzel/src/zelUtils.cpp";

// Writes one error line of `utility` to standard error:
// "<utility> at animcache/src/libzel/src/zelUtils.cpp:<line> Error <message>". `line` is the
// fixed location code the utility documents for that failure, so scripts can match on it.
void reportError(const char* utility, int line, const std::string& message) {
    std::cerr << utility << " at " << kUtilsSource << ':' << line << " Error " << message
              << std::endl;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// zeltest: writes a small fixed cache through the streaming writer
// ---------------------------------------------------------------------------------------------

namespace {

// Writes one float leaf chunk of `values` at the current position.
bool writeFloatChunk(ZelFile& file, uint32 tag, const std::vector<float>& values) {
    const ZelHeader h(tag, kTypeFloat, static_cast<int64>(values.size() * sizeof(float)));
    return file.writeChunk(h, values.data(), -1);
}

int zeltestError(int line, const char* message) {
    reportError("zeltest", line, message);
    return -1;
}

}  // namespace

int zeltest(const char* filename) {
    ZelFile file;
    if (!file.open(filename, "w")) {
        return zeltestError(57, "opening file");
    }
    const ZelDZELChunk dzel(1);
    if (!dzel.write(file)) {
        return zeltestError(62, "writing DZEL chunk");
    }

    // The sample count stays 0, so the time range and rate are kept in memory only.
    ZelMETAChunk meta;
    meta.firstTime = 5.0f;
    meta.lastTime = 7.0f;
    meta.rate = 1.0f;
    meta.space = 0;
    meta.addDOBJ("foo");
    meta.addDOBJ("bar");
    std::unique_ptr<ZelLeafChunk<std::string>> strings(new ZelLeafChunk<std::string>());
    strings->setTag(makeTag("ABCD"));
    strings->values() = {"a", "b", "c", "d"};
    meta.addChild(strings.release());
    if (!meta.write(file)) {
        return zeltestError(79, "writing META chunk");
    }

    ZelSAMSChunk sams;
    if (!sams.writeStart(file, 1, 2, false)) {
        return zeltestError(83, "starting SAMS chunk");
    }
    if (!sams.writeStartSAMPChunk(file, 2, nullptr)) {
        return zeltestError(85, "starting SAMP chunk");
    }

    // First object: four positions and their doubled velocities.
    if (!sams.writeStartSOBJChunk(file)) {
        return zeltestError(87, "starting SOBJ chunk");
    }
    std::vector<float> values(4);
    for (size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<float>(i);
    }
    if (!writeFloatChunk(file, makeTag("POSI"), values)) {
        return zeltestError(94, "writing POS chunk");
    }
    for (float& v : values) {
        v *= 2.0f;
    }
    if (!writeFloatChunk(file, makeTag("VELO"), values)) {
        return zeltestError(99, "writing VELO chunk");
    }
    if (!sams.writeEndSOBJChunk(file)) {
        return zeltestError(101, "ending SOBJ chunk");
    }

    // Second object: ten positions 3 i and velocities 4 i.
    if (!sams.writeStartSOBJChunk(file)) {
        return zeltestError(104, "starting SOBJ chunk");
    }
    values.resize(10);
    for (size_t i = 0; i < values.size(); ++i) {
        values[i] = 3.0f * static_cast<float>(i);
    }
    if (!writeFloatChunk(file, makeTag("POSI"), values)) {
        return zeltestError(110, "writing POS chunk");
    }
    for (size_t i = 0; i < values.size(); ++i) {
        values[i] = 4.0f * static_cast<float>(i);
    }
    if (!writeFloatChunk(file, makeTag("VELO"), values)) {
        return zeltestError(115, "writing VELO chunk");
    }
    if (!sams.writeEndSOBJChunk(file)) {
        return zeltestError(117, "ending SOBJ chunk");
    }

    if (!sams.writeEndSAMPChunk(file)) {
        return zeltestError(120, "ending SAMP chunk");
    }
    if (!sams.writeEnd(file)) {
        return zeltestError(122, "end SAMS chunk");
    }
    if (!file.close()) {
        return zeltestError(125, "closing ZEL file");
    }
    return 0;
}

// The writer tests' scene: one object of every kind with static and animated attributes, written
// frame after frame through ZelWriter, for the tests of the writer and of what builds on it.
#ifndef ZEL_TEST_WRITERSCENE_H
#define ZEL_TEST_WRITERSCENE_H

#include <string>
#include <vector>

#include "ZelWriter.h"

namespace ZelTest {

enum { kMesh, kCurve, kSurface, kTransform, kLocator, kCoords, kObjects };
extern const char* const kNames[kObjects];
extern const std::vector<int> kFaceCounts, kFaceIndices;
extern const std::vector<float> kCurveKnots, kSurfaceKnots;
extern const std::vector<double> kBox;

// `count` points whose coordinates run from `scale` * t in steps of `scale` / 4.
std::vector<float> points(int count, float t, float scale = 1);
// A translation by (t, 2t, 0).
std::vector<double> matrix(float t);
// `count` times from `first`, `step` apart.
std::vector<float> frames(float first, int count, float step = 1);

// Declares the scene's objects and attributes; false when a call fails.
bool declare(Zel::ZelWriter& w);
// Writes the scene's frame at `t`; false when a call fails.
bool frame(Zel::ZelWriter& w, float t);
// The scene's labels, everything else at the defaults.
Zel::ZelWriterOptions sceneOptions();
// Writes the scene at `times` to `path`, from create() to close(); false when a step fails.
bool writeScene(const std::string& path, const Zel::ZelWriterOptions& options,
                const std::vector<float>& times);
// Appends `count` frames of the scene to the cache at `path` and closes the writer; without
// `close` the process dies (SIGKILL) with every frame on disk and nothing committed.
bool appendFrames(const std::string& path, int count, bool close);

}  // namespace ZelTest

#endif

// ZelWriter: byte equality with the read-write cache's save, round trips through the readers,
// sections past the declared frames, in-place appends, misuse, and writes cut short.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "Zel.h"
#include "ZelFormat.h"
#include "ZelWriter.h"
#include "support/Child.h"
#include "support/TempDir.h"
#include "support/WriterScene.h"

using namespace Zel;
using namespace ZelTest;
using Ints = std::vector<int>;
using Strings = std::vector<std::string>;

namespace {

template <class T>
ZelLeafChunk<T>* leaf(const char* tag, std::vector<T> v, uint8 compound = 0, uint8 dim = 0) {
    return new ZelLeafChunk<T>(makeTag(*reinterpret_cast<const char(*)[5]>(tag)), compound, dim, v);
}

ZelGroupChunk* group(uint32 tag, std::initializer_list<ZelChunk*> children) {
    auto* g = new ZelGroupChunk(tag);
    for (ZelChunk* c : children) {
        g->addChild(c);
    }
    return g;
}

template <class T>
void addStatic(ZelDOBJChunk* obj, const char* name, const char* type, uint8 dim,
               std::vector<T> values) {
    const int a = obj->addAttr(false, name, type, ZelTypeCode<T>::value, 0, dim);
    auto* value = static_cast<ZelLeafChunk<T>*>(obj->getDATR()->getStaticData(a));
    value->values() = values;
    value->updateLength();
}

// The same scene built chunk by chunk in a read-write cache.
void buildScene(ZelRwMemCache& cache, const std::vector<float>& times) {
    cache.setApplication("writer test");
    cache.setSourceFile("scene.ma");
    for (int o = 0; o < kObjects; ++o) {
        cache.setName(o, kNames[o]);
    }
    ZelMETAChunk& meta = cache.getMETAChunk();
    ZelDOBJChunk* mesh = meta.getDOBJ(kMesh);
    mesh->addChild(group(
        kTagMESH, {leaf("PCNT", kFaceCounts), leaf("PIDS", kFaceIndices), leaf("MSPT", Ints{1})}));
    addStatic(mesh, "rmanP__Pref", "point", 3, points(6, 0));
    meta.getDOBJ(kCurve)->addChild(group(
        kTagNRBC,
        {leaf("DEGR", Ints{3}), leaf("FORM", Strings{"kPeriodic"}), leaf("KNTU", kCurveKnots)}));
    meta.getDOBJ(kSurface)->addChild(
        group(kTagNRBS, {leaf("DEGR", Ints{1, 1}), leaf("FORM", Strings{"kOpen", "kOpen"}),
                         leaf("KNTU", kSurfaceKnots), leaf("KNTV", kSurfaceKnots)}));
    ZelDOBJChunk* xform = meta.getDOBJ(kTransform);
    xform->addChild(leaf("XFRM", Ints{1}));
    xform->addChild(leaf("INHT", Ints{0}));
    xform->addAttr(true, "ty", "float", kTypeFloat, 0, 1);
    ZelDOBJChunk* loc = meta.getDOBJ(kLocator);
    loc->addChild(leaf("ELOC", Ints{1}));
    loc->addChild(leaf("BBOX", kBox));
    loc->addAttr(true, "weight", "double", kTypeDouble, 0, 1);
    ZelDOBJChunk* coords = meta.getDOBJ(kCoords);
    coords->addChild(leaf("LXCS", Ints{1}));
    addStatic(coords, "displayShape", "int", 0, Ints{3});
    addStatic(coords, "parentRig", "string", 0, Strings{"|xform"});
    for (float t : times) {
        cache.allocSample(t, kMesh)->addChild(leaf("POSI", points(6, t), 1, 3));
        cache.allocSample(t, kMesh)->addChild(leaf("VPNO", points(6, t, -1), 3, 3));
        cache.allocSample(t, kCurve)->addChild(leaf("POSI", points(4, t, 2), 1, 3));
        cache.allocSample(t, kSurface)->addChild(leaf("POSI", points(4, t, 3), 1, 3));
        ZelGroupChunk* x = cache.allocSample(t, kTransform);
        x->addChild(leaf("MTRX", matrix(t), 4, 16));
        x->addChild(group(kTagATRS, {leaf("ATTR", std::vector<float>{t / 2}, 0, 1)}));
        cache.allocSample(t, kLocator)
            ->addChild(group(kTagATRS, {leaf("ATTR", std::vector<double>{double(t) * 3}, 0, 1)}));
        cache.allocSample(t, kCoords);
    }
}

// The positions of `object` at `sample`; none when it has no float positions there.
std::vector<float> positionsAt(ZelRoMemCache& cache, int sample, int object) {
    bool animated = false;
    const auto* posi = dynamic_cast<const ZelLeafChunk<float>*>(
        cache.getObjectData(sample, object, kTagPOSI, &animated));
    return posi != nullptr ? posi->values() : std::vector<float>{};
}

std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir)) {
        names.push_back(e.path().filename().string());
    }
    return names;
}

// Runs `work` in a child process whose files may not grow past `limit` bytes (writes past it
// fail); the child's exit status.
template <class Work>
int runLimited(rlim_t limit, Work work) {
    return ZelTest::inChild([&] { return ZelTest::limitFileSize(limit, false) && work() ? 0 : 1; });
}

}  // namespace

TEST(ZelWriter, DeclaredFramesGiveExactlyTheBytesOfSaveAs) {
    TempDir dir;
    const std::vector<std::vector<float>> timings{
        frames(1, 12), frames(0, 5, 0.5f), {1, 2, 4, 8}, {7}};
    for (const std::vector<float>& times : timings) {
        ZelRwMemCache cache;
        buildScene(cache, times);
        ASSERT_TRUE(cache.saveAs(dir.file("saved.zel").c_str()));
        ZelWriterOptions options = sceneOptions();
        ZelCache saved;
        ASSERT_TRUE(saved.load(dir.file("saved.zel").c_str()));
        options.dateStamp = saved.getDateStamp();
        options.times = times;
        ASSERT_TRUE(writeScene(dir.file("written.zel"), options, times));
        EXPECT_EQ(readFileBytes(dir.file("saved.zel")), readFileBytes(dir.file("written.zel")))
            << times.size() << " frames from " << times[0];
    }
}

TEST(ZelWriter, FramesPastTheDeclaredCountContinueInFurtherSectionsThatEveryReaderReads) {
    TempDir dir;
    const std::string path = dir.file("long.zel");
    ZelWriterOptions uniform = sceneOptions(), nonUniform = sceneOptions();
    uniform.rate = 2;  // two samples per frame, count unknown: sections of 101, then 205
    nonUniform.rate = 0;
    nonUniform.frameCount = 3;  // 3 and the reserve of 100, then a new section
    for (const ZelWriterOptions& options : {uniform, nonUniform}) {
        ASSERT_TRUE(writeScene(path, options, frames(1, 250, 0.5f)));
        ZelRoMemCache cache;
        ASSERT_TRUE(cache.load(path.c_str(), true, 2));
        EXPECT_EQ(cache.getNumSamples(), 250);
        EXPECT_EQ(cache.getLastTime(), 125.5f);
        EXPECT_EQ(cache.isNonUniform(), options.rate == 0);
        for (int s : {0, 100, 101, 102, 103, 249}) {
            EXPECT_EQ(positionsAt(cache, s, kMesh), points(6, 1 + 0.5f * float(s))) << s;
        }
        EXPECT_EQ(zel2txt(path.c_str()), 0);
    }
}

TEST(ZelWriter, AppendAddsFramesInPlaceWithoutRewritingEarlierBytes) {
    TempDir dir;
    const std::string path = dir.file("grow.zel");
    ZelWriterOptions options = sceneOptions();
    options.frameCount = 10;
    options.reservedSamples = 3;  // room for three appended frames, then a new section
    ASSERT_TRUE(writeScene(path, options, frames(1, 10)));
    for (int more = 0; more < 5; ++more) {
        const std::vector<unsigned char> before = readFileBytes(path);
        ZelWriter w;
        const ZelStatus s = w.append(path);
        ASSERT_TRUE(s.ok()) << s.message();
        EXPECT_EQ(w.numObjects(), kObjects);
        EXPECT_EQ(w.nextTime(), 11.0f + float(more));
        EXPECT_EQ(w.findAnimatedAttribute(kLocator, "weight"), 0);
        ASSERT_TRUE(frame(w, w.nextTime()) && w.close().ok());
        const std::vector<unsigned char> after = readFileBytes(path);
        // The first sample onwards is untouched: only metadata and tables change before it.
        ZelFile f(path.c_str(), "r");
        FileLayout layout;
        ASSERT_TRUE(scanFileLayout(f, layout));
        const auto firstSample = size_t(layout.jumps.front());
        ASSERT_GT(after.size(), before.size());
        EXPECT_TRUE(std::equal(before.begin() + long(firstSample), before.end(),
                               after.begin() + long(firstSample)));
    }
    ZelRoMemCache cache;
    ASSERT_TRUE(cache.load(path.c_str()));
    ASSERT_EQ(cache.getNumSamples(), 15);
    EXPECT_EQ(positionsAt(cache, 14, kCurve), points(4, 15, 2));
}

TEST(ZelWriter, MisuseFailsWithTheFileAndReasonAndLeavesTheTargetAsItWas) {
    TempDir dir;
    const std::string path = dir.file("kept.zel");
    ASSERT_TRUE(writeScene(path, sceneOptions(), frames(1, 3)));
    const std::vector<unsigned char> original = readFileBytes(path);
    {
        ZelWriter w;
        ZelWriterOptions nonUniform = sceneOptions();
        nonUniform.rate = 0;
        ASSERT_TRUE(w.create(path, nonUniform).ok());
        EXPECT_EQ(w.beginFrame(1).code(), ZelStatusCode::kInvalidArgument);  // no objects yet
        ASSERT_TRUE(declare(w));
        const Ints triangle{3}, twoCorners{0, 1};
        const ZelMeshDesc bad{triangle, twoCorners};
        EXPECT_EQ(
            w.addMesh("|bad", bad).message(),
            path + ": mesh '|bad': the face counts add up to 3 vertices but 2 indices are given");
        EXPECT_EQ(w.addLocator("|mesh").code(), ZelStatusCode::kInvalidArgument);
        ASSERT_TRUE(frame(w, 5));
        EXPECT_EQ(w.addLocator("|late").code(), ZelStatusCode::kInvalidArgument);
        EXPECT_EQ(w.beginFrame(5).message(),
                  path + ": frame time 5 is not after the previous frame's 5");
        ASSERT_TRUE(w.beginFrame(6).ok());
        EXPECT_EQ(w.setPositions(kMesh, points(5, 6)).message(),
                  path + ": '|mesh' has 6 points; this frame gives 5");
        EXPECT_EQ(w.setPositions(99, points(6, 6)).message(),
                  path + ": no object 99 (the cache has 6)");
        EXPECT_EQ(w.setMatrix(kMesh, matrix(6)).message(),
                  path + ": '|mesh' (mesh) stores no matrix per frame");
        EXPECT_EQ(w.endFrame().code(), ZelStatusCode::kInvalidArgument);  // nothing set yet
        // Destroyed without close(): the target keeps its bytes and nothing else is left.
    }
    EXPECT_EQ(readFileBytes(path), original);
    EXPECT_EQ(entries(dir.path()), Strings{"kept.zel"});

    ZelWriter w;
    if (geteuid() != 0) {  // permissions do not stop the superuser
        chmod(dir.path().c_str(), 0555);
        const ZelStatus denied = w.create(dir.file("new.zel"));
        chmod(dir.path().c_str(), 0755);
        EXPECT_EQ(denied.code(), ZelStatusCode::kIo);
        EXPECT_NE(denied.message().find("Permission denied"), std::string::npos);
    }
    const ZelStatus missing = w.create(dir.file("no/such/dir/x.zel"));
    EXPECT_EQ(missing.code(), ZelStatusCode::kNotFound);
    EXPECT_NE(missing.message().find("No such file or directory"), std::string::npos);
    ZelTest::writeFileBytes(dir.file("text.zel"), {'h', 'e', 'l', 'l', 'o', '\n'});
    EXPECT_EQ(w.append(dir.file("text.zel")).code(), ZelStatusCode::kNotACache);
    EXPECT_EQ(w.append(dir.file("absent.zel")).code(), ZelStatusCode::kNotFound);
    ASSERT_TRUE(w.append(path).ok());
    ASSERT_TRUE(w.beginFrame(4).ok());
    EXPECT_EQ(w.addLocator("|x").code(), ZelStatusCode::kInvalidArgument);
}

TEST(ZelWriter, AWriteCutShortNeverLosesWhatTheFileHeld) {
    TempDir dir;
    const std::string path = dir.file("safe.zel");
    ZelWriterOptions options = sceneOptions();
    options.reservedSamples = 4;
    ASSERT_TRUE(writeScene(path, options, frames(1, 6)));
    const std::vector<unsigned char> original = readFileBytes(path);
    const auto size = rlim_t(original.size());
    // The size an append of 8 frames reaches (they fit the section's reserve, which holds at least
    // 100 entries whatever reservedSamples asks).
    ZelTest::writeFileBytes(dir.file("copy.zel"), original);
    ASSERT_TRUE(appendFrames(dir.file("copy.zel"), 8, true));
    const auto full = rlim_t(readFileBytes(dir.file("copy.zel")).size());
    std::remove(dir.file("copy.zel").c_str());
    // Stopped at any size short of that, it fails and leaves the file exactly as it was.
    for (rlim_t limit = size; limit < full; limit += (full - size) / 10) {
        EXPECT_EQ(runLimited(limit, [&] { return appendFrames(path, 8, true); }), 1) << limit;
        ASSERT_EQ(readFileBytes(path), original) << "limit " << limit;
    }
    // Killed before close(): the frames on disk past the old end stay invisible.
    EXPECT_EQ(runLimited(RLIM_INFINITY, [&] { return appendFrames(path, 8, false); }), -SIGKILL);
    const std::vector<unsigned char> killed = readFileBytes(path);
    ASSERT_GT(killed.size(), original.size());
    EXPECT_TRUE(std::equal(original.begin(), original.end(), killed.begin()));
    ZelCache cache;
    ASSERT_TRUE(cache.load(path.c_str()));
    EXPECT_EQ(cache.getNumSamples(), 6);
    // A new file cut short never replaces the old one.
    for (rlim_t limit = 0; limit < size + 1000; limit += 997) {
        EXPECT_EQ(
            runLimited(limit, [&] { return writeScene(path, sceneOptions(), frames(1, 20)); }), 1);
        EXPECT_EQ(readFileBytes(path), killed);
    }
    EXPECT_EQ(entries(dir.path()), Strings{"safe.zel"});
}

// repairCache: cut and damaged files, appends killed before or during their commit, a repair in
// place; every result loads and answers its kept samples as the undamaged file does.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>

#include "Zel.h"
#include "ZelFormat.h"
#include "support/Child.h"
#include "support/TempDir.h"
#include "support/WriterScene.h"

using namespace Zel;
using namespace ZelTest;
using Bytes = std::vector<unsigned char>;

namespace {

Bytes viewBytes(const ZelDataView& v) {
    const bool wide = v.type == ZelElementType::kInt64 || v.type == ZelElementType::kDouble;
    const int64 width = v.type == ZelElementType::kString ? 1 : wide ? 8 : 4;
    return Bytes(v.data, v.data + v.count * width);
}

// The loader takes `path` with `samples` samples, and ZelReader answers every one of them, every
// stored chunk and attribute value, exactly as it answers for `reference`.
void expectSameAnswers(const std::string& reference, const std::string& path, int samples) {
    ZelCache cache;
    ASSERT_TRUE(cache.load(path.c_str()));
    EXPECT_EQ(cache.getNumSamples(), samples);
    ZelReader a, b;
    ASSERT_TRUE(a.open(reference).ok());
    ASSERT_TRUE(b.open(path).ok());
    ASSERT_EQ(b.sampleCount(), samples);
    ASSERT_EQ(b.objectCount(), a.objectCount());
    for (int s = 0; s < samples; ++s) {
        EXPECT_EQ(b.sampleTime(s), a.sampleTime(s)) << s;
        for (int o = 0; o < a.objectCount(); ++o) {
            ZelDataView va, vb;
            for (const char* tag : {"POSI", "VPNO", "MTRX"}) {
                EXPECT_EQ(b.view(o, s, tag, vb).code(), a.view(o, s, tag, va).code());
                EXPECT_EQ(viewBytes(vb), viewBytes(va)) << tag << " of " << o << " at " << s;
            }
            for (int k = 0; k < a.attributeCount(o); ++k) {
                ASSERT_TRUE(a.attributeView(o, k, s, va).ok() && b.attributeView(o, k, s, vb).ok());
                EXPECT_EQ(viewBytes(vb), viewBytes(va)) << "attribute " << k << " of " << o;
            }
        }
    }
}

bool hasNote(const ZelRepairReport& r, const std::string& part) {
    for (const std::string& n : r.notes) {
        if (n.find(part) != std::string::npos) {
            return true;
        }
    }
    return false;
}

template <class T>
void poke(Bytes& b, int64 at, T v) {
    std::memcpy(b.data() + at, &v, sizeof(v));
}

FileLayout layoutOf(const std::string& path) {
    ZelFile f(path.c_str(), "r");
    FileLayout layout;
    EXPECT_TRUE(scanFileLayout(f, layout));
    return layout;
}

// A way to damage a cache, and what repairing it gives.
struct Damage {
    const char* what;
    bool timed;  // the cache with times of its own rather than the uniform one
    std::function<void(Bytes&, const FileLayout&)> apply;
    ZelStatusCode code;
    int kept;
    const char* note;  // part of one of the report's notes
};

// Repairs a copy of the 12-sample cache at `original` damaged as `d` says, and checks the result.
void expectRepaired(const TempDir& dir, const std::string& original, const Damage& d) {
    SCOPED_TRACE(d.what);
    const std::string in = dir.file("in.zel"), out = dir.file("out.zel");
    Bytes bytes = readFileBytes(original);
    d.apply(bytes, layoutOf(original));
    writeFileBytes(in, bytes);
    std::vector<std::pair<int64, int64>> calls;
    ZelRepairReport report;
    const ZelStatus s = repairCache(
        in, out, report, [&](int64 done, int64 total) { calls.emplace_back(done, total); });
    ASSERT_EQ(s.code(), d.code) << s.message();
    if (!s.ok()) {
        EXPECT_FALSE(std::filesystem::exists(out));
        return;
    }
    EXPECT_EQ(report.samplesKept, d.kept);
    EXPECT_EQ(report.samplesDropped, 12 - d.kept);
    EXPECT_TRUE(hasNote(report, d.note)) << report.notes.back();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.front(), std::make_pair(int64(0), int64(d.kept)));
    EXPECT_EQ(calls.back(), std::make_pair(int64(d.kept), int64(d.kept)));
    expectSameAnswers(original, out, d.kept);
    // Copied frames lay out as written ones: a whole file comes back byte for byte.
    if (d.kept == 12) {
        EXPECT_EQ(readFileBytes(out), readFileBytes(original));
    }
    std::filesystem::remove(out);
}

}  // namespace

TEST(ZelRepair, KeepsTheWholeSamplesOfCutAndDamagedFiles) {
    TempDir dir;
    const std::string uniform = dir.file("u.zel"), timed = dir.file("t.zel");
    ZelWriterOptions options = sceneOptions();
    options.times = frames(1, 12);
    ASSERT_TRUE(writeScene(uniform, options, options.times));
    options.times = {1, 2, 4, 8, 9, 11, 12.5f, 13, 20, 21, 22, 30};
    ASSERT_TRUE(writeScene(timed, options, options.times));
    const auto none = [](Bytes&, const FileLayout&) {};
    const ZelStatusCode ok = ZelStatusCode::kOk;
    const Damage damages[] = {
        {"whole", false, none, ok, 12,
         "the file was whole: its 12 samples (frames 1 to 12) are rewritten unchanged"},
        {"whole, timed", true, none, ok, 12, "(frames 1 to 30)"},
        {"one byte short", false, [](Bytes& b, const FileLayout&) { b.pop_back(); }, ok, 11,
         "dropped sample 11 (frame 12): it runs past the end of the file"},
        {"mid-sample", true, [](Bytes& b, const FileLayout& l) { b.resize(l.jumps[7] + 50); }, ok,
         7, "dropped 5 samples from sample 7 (frame 13) on: it runs past the end of the file"},
        {"mid-table", false,
         [](Bytes& b, const FileLayout& l) { b.resize(l.tables.jumpsOffset + 40); }, ok, 0,
         "kept no samples"},
        {"object table", false,
         [](Bytes& b, const FileLayout& l) { poke(b, l.jumps[4] + 2 * kHeaderSize + 8, 0); }, ok, 4,
         "from sample 4 (frame 5) on: it has object groups its table"},
        {"time order", true,
         [](Bytes& b, const FileLayout& l) { poke(b, l.tables.timesOffset + 16 + 6 * 4, 11.0f); },
         ok, 6, "its time is not after the previous sample's (frame 11)"},
        {"mid-metadata", false, [](Bytes& b, const FileLayout& l) { b.resize(l.metaOffset + 40); },
         ZelStatusCode::kCorrupt, 0, ""},
        {"not a cache", false, [](Bytes& b, const FileLayout&) { b.assign(40, 'x'); },
         ZelStatusCode::kNotACache, 0, ""},
    };
    for (const Damage& d : damages) {
        expectRepaired(dir, d.timed ? timed : uniform, d);
    }
}

// An append whose commit stopped between the tables and the metadata leaves a file the loader
// refuses: repaired in place, it keeps every sample.
TEST(ZelRepair, AnInterruptedCommitRepairedInPlaceKeepsEverySample) {
    TempDir dir;
    const std::string path = dir.file("grow.zel"), full = dir.file("full.zel");
    for (const float rate : {1.0f, 0.0f}) {
        ZelWriterOptions options = sceneOptions();
        options.rate = rate;
        ASSERT_TRUE(writeScene(path, options, frames(1, 10)));
        const FileLayout layout = layoutOf(path);
        const Bytes old = readFileBytes(path);
        ZelWriter w;
        ASSERT_TRUE(w.append(path).ok());
        for (float t = 11; t <= 15; ++t) {
            ASSERT_TRUE(frame(w, t));
        }
        ASSERT_TRUE(w.close().ok());
        std::filesystem::copy_file(path, full, std::filesystem::copy_options::overwrite_existing);
        Bytes interrupted = readFileBytes(path);
        const auto metaEnd = long(layout.metaOffset + kHeaderSize + layout.metaLength);
        std::copy(old.begin() + layout.metaOffset, old.begin() + metaEnd,
                  interrupted.begin() + layout.metaOffset);
        writeFileBytes(path, interrupted);
        ZelCache refused;
        ASSERT_FALSE(refused.load(path.c_str()));
        ZelRepairReport report;
        ASSERT_TRUE(repairCache(path, path, report).ok());
        EXPECT_EQ(report.samplesKept, 15);
        EXPECT_TRUE(hasNote(report, "the tables list 15 samples, the metadata 10"));
        expectSameAnswers(full, path, 15);
    }
}

// Appends killed at any size or time before or during their commit lose none of the samples the
// file held, and the repair keeps only whole ones, each where it belongs.
TEST(ZelRepair, AppendsKilledAtAnyPointLoseNoSample) {
    TempDir dir;
    const std::string path = dir.file("grow.zel"), full = dir.file("full.zel");
    // 99 frames leave room for two more in the section; an append of four fills it and starts
    // another section.
    ASSERT_TRUE(writeScene(path, sceneOptions(), frames(1, 99)));
    const Bytes original = readFileBytes(path);
    std::filesystem::copy_file(path, full, std::filesystem::copy_options::overwrite_existing);
    ASSERT_TRUE(appendFrames(full, 4, true));
    ASSERT_EQ(layoutOf(full).jumps.size(), 103u);
    const auto grown = rlim_t(readFileBytes(full).size());
    // Repairs the file at `path`: at least its old samples, each as the full append has it.
    const auto repaired = [&]() {
        const auto size = int64(readFileBytes(path).size());
        ZelRepairReport report;
        EXPECT_TRUE(repairCache(path, dir.file("out.zel"), report).ok());
        EXPECT_GE(report.samplesKept, 99);
        expectSameAnswers(full, dir.file("out.zel"), int(report.samplesKept));
        if (report.samplesKept == 99 && size > int64(original.size())) {
            EXPECT_EQ(report.bytesDropped, size - int64(original.size()));
            EXPECT_TRUE(hasNote(report, " bytes after the last samples section that no table"));
        }
        return report.samplesKept;
    };
    // Everything past the old end on disk and none of the commit below it: the new section's
    // samples follow two that no table lists, so their times are unknown and they go too.
    Bytes lost = readFileBytes(full);
    std::copy(original.begin(), original.end(), lost.begin());
    writeFileBytes(path, lost);
    EXPECT_EQ(repaired(), 99);
    const auto trial = [&](rlim_t limit, long killAfterUs) {
        writeFileBytes(path, original);
        inChild([&] { return limitFileSize(limit, true) && appendFrames(path, 4, true) ? 0 : 1; },
                killAfterUs);
        return repaired();
    };
    for (rlim_t limit = original.size(); limit < grown; limit += (grown - original.size()) / 12) {
        SCOPED_TRACE(testing::Message() << "limit " << limit);
        EXPECT_EQ(trial(limit, -1), 99);
    }
    for (long us = 0; us <= 1200; us += 150) {
        SCOPED_TRACE(testing::Message() << "killed after " << us << " us");
        trial(RLIM_INFINITY, us);
    }
}

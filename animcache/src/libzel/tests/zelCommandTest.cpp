// The zel command and the classic tools' front ends, run as people run them: output, exit status
// and messages on the demo cache, damaged copies, files that are not caches and wrong usage.
#include <nlohmann/json.hpp>

#include <signal.h>

#include <algorithm>
#include <functional>

#include "ZelVersion.h"
#include "support/Child.h"
#include "support/TempDir.h"
#include "support/UtilsRun.h"
#include "support/WriterScene.h"

using namespace Zel;
using ZelTest::TempDir;
using Json = nlohmann::json;

namespace {

// A run of a built tool in `dir`: exit status, standard output and standard error.
struct ToolRun {
    int status;
    std::string out, err;
};

class ZelCommand : public testing::Test {
  protected:
    void SetUp() override {
        if (ZelTest::runTool("zeldemo", "", out_, err_, dir.path()) == -2) {
            GTEST_SKIP() << "the tools are not built";
        }
        demo = dir.file("demo.zel");
        ASSERT_TRUE(reader.open(demo).ok());
    }
    ToolRun run(const std::string& tool, const std::string& args) const {
        const int status = ZelTest::runTool(tool, args, out_, err_, dir.path());
        return ToolRun{status, ZelTest::fileText(out_), ZelTest::fileText(err_)};
    }
    ToolRun zel(const std::string& args) const { return run("zel", args); }

    TempDir dir;
    std::string demo;
    ZelReader reader;

  private:
    std::string out_ = dir.file(".out"), err_ = dir.file(".err");
};

}  // namespace

// Files that cannot be read say why, each the same way in every command, and exit 2; so does
// wrong usage, with the usage line; --help and --version answer on standard output.
TEST_F(ZelCommand, ExplainsRefusalsAndUsageWithExitTwo) {
    ZelTest::writeFileBytes(dir.file("notes.txt"), {'h', 'e', 'l', 'l', 'o', '\n'});
    ZelTest::writeFileBytes(dir.file("empty.zel"), {});
    const struct {
        std::string args;
        std::string err;  // the start of standard error
    } rows[] = {
        {"ls missing.zel", "zel: cannot open 'missing.zel': No such file or directory\n"},
        {"info notes.txt", "zel: 'notes.txt' is not a cache file (it starts with \"hell\")\n"},
        {"dump empty.zel", "zel: 'empty.zel' is not a cache file (it is empty)\n"},
        {"sample . a 1", "zel: cannot open '.': Is a directory\n"},
        {"diff demo.zel missing.zel", "zel: cannot open 'missing.zel'"},
        {"", "usage: zel COMMAND"},
        {"frobnicate", "zel: unknown command 'frobnicate'"},
        {"ls", "zel ls: expected one FILE\nusage: zel ls FILE [--json]\n"},
        {"ls --long demo.zel", "zel ls: unknown option '--long'\n"},
        {"sample demo.zel pivot soon", "zel sample: TIME 'soon' is not a number\n"},
        {"sample demo.zel pivot 1 --order 4", "zel sample: the order is 0, 1, 2 or 3\n"},
        {"sample demo.zel pivot 1 --format xml", "zel sample: the format is csv or json\n"},
        {"sample demo.zel nothing 1", "zel: 'demo.zel' has no object 'nothing'\n"},
    };
    for (const auto& row : rows) {
        const ToolRun r = zel(row.args);
        EXPECT_EQ(r.status, 2) << row.args;
        EXPECT_EQ(r.err.rfind(row.err, 0), 0u) << row.args << "\n" << r.err;
        EXPECT_EQ(r.out, "") << row.args;
    }
    // A damaged cache: the reader's reason, and where to go from there.
    ZelTest::Bytes cut = ZelTest::readFileBytes(demo);
    cut.pop_back();
    ZelTest::writeFileBytes(dir.file("cut.zel"), cut);
    const ToolRun damaged = zel("ls cut.zel");
    EXPECT_EQ(damaged.status, 2);
    EXPECT_EQ(damaged.err.rfind("zel: cut.zel: ", 0), 0u) << damaged.err;
    EXPECT_NE(damaged.err.find("zel check lists every problem"), std::string::npos);
    const std::string version = std::string("(libzel) ") + ZEL_VERSION_STRING + "\n";
    EXPECT_EQ(std::string(zelVersion()), ZEL_VERSION_STRING);
    for (const char* tool : {"zel", "zelinfo", "zel2txt", "zeldiff", "zeltest"}) {
        const ToolRun v = run(tool, "--version");
        EXPECT_EQ(v.status, 0);
        EXPECT_EQ(v.out, std::string(tool) + " " + version);
        const ToolRun h = run(tool, "--help");
        EXPECT_EQ(h.status, 0);
        EXPECT_EQ(h.out.rfind("usage: " + std::string(tool), 0), 0u) << h.out;
        // An option where a file name goes is refused, never read or written as a file.
        EXPECT_EQ(run(tool, "--frames").status, 2) << tool;
    }
    EXPECT_EQ(zel("ls --help").out.rfind("usage: zel ls FILE [--json]\n", 0), 0u);
    EXPECT_EQ(ZelTest::readFileBytes(dir.file("--help")).size(), 0u) << "zeltest wrote --help";
    EXPECT_EQ(run("zeltest", "-- -x.zel").status, 0) << "-- ends the options";
}

// The listing's JSON says what the reader says; the text has a header and one line per object.
TEST_F(ZelCommand, LsListsEveryObjectAsTheReaderSeesIt) {
    const ToolRun text = zel("ls demo.zel");
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.out.substr(0, text.out.find('\n')),
              "demo.zel: 36 samples, frames 1 to 36, 1 sample per frame, 6 objects");
    EXPECT_NE(text.out.find("|scene|ripple        mesh                    4096 points  static: "
                            "rmanP__Pref\n"),
              std::string::npos)
        << text.out;
    const ToolRun js = zel("ls --json demo.zel");
    ASSERT_EQ(js.status, 0);
    const Json j = Json::parse(js.out);
    EXPECT_EQ(j["samples"], reader.sampleCount());
    EXPECT_EQ(j["lastTime"].get<float>(), reader.lastTime());
    ASSERT_EQ(j["objects"].size(), size_t(reader.objectCount()));
    for (int o = 0; o < reader.objectCount(); ++o) {
        const Json& obj = j["objects"][size_t(o)];
        EXPECT_EQ(obj["name"], std::string(reader.objectName(o)));
        EXPECT_EQ(obj["kind"], kindName(reader.objectKind(o)));
        EXPECT_EQ(obj["points"], reader.pointCount(o, 0));
        EXPECT_EQ(obj["staticAttributes"].size() + obj["animatedAttributes"].size(),
                  size_t(reader.attributeCount(o)));
    }
}

// zel sample prints, in CSV and JSON, exactly what the reader answers at a fractional time.
TEST_F(ZelCommand, SampleAnswersExactlyWhatTheReaderAnswers) {
    std::vector<float> points;
    ASSERT_TRUE(reader.positionsAt(0, 12.5f, 3, points).ok());
    const ToolRun csv = zel("sample demo.zel ripple 12.5 --order 3");
    ASSERT_EQ(csv.status, 0) << csv.err;
    std::istringstream lines(csv.out);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "point,x,y,z");
    size_t n = 0;
    for (; std::getline(lines, line); ++n) {
        float x, y, z;
        int index;
        ASSERT_EQ(std::sscanf(line.c_str(), "%d,%f,%f,%f", &index, &x, &y, &z), 4) << line;
        ASSERT_EQ(index, int(n));
        ASSERT_EQ(x, points[3 * n]);
        ASSERT_EQ(y, points[3 * n + 1]);
        ASSERT_EQ(z, points[3 * n + 2]) << line;
    }
    EXPECT_EQ(3 * n, points.size());

    std::array<double, 16> m;
    ASSERT_TRUE(reader.matrixAt(1, 7.25f, 1, m).ok());
    const Json pivot = Json::parse(zel("sample demo.zel pivot 7.25 --format json").out);
    EXPECT_EQ(pivot["kind"], "transform");
    for (size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(pivot["matrix"][i / 4][i % 4].get<double>(), m[i]);
    }
    std::vector<double> weight;
    ASSERT_TRUE(reader.attributeAt(4, 0, 3.5f, 1, weight).ok());
    EXPECT_EQ(zel("sample demo.zel target 3.5").out,
              "attribute,values\nweight," + Json(weight[0]).dump() + "\n");
    std::vector<float> cvs;
    ASSERT_TRUE(reader.controlPointsAt(3, 2.5f, 0, cvs).ok());
    const Json flag = Json::parse(zel("sample demo.zel flag 2.5 --order 0 --format json").out);
    ASSERT_EQ(flag["controlPoints"].size() * 4, cvs.size());
    EXPECT_EQ(flag["controlPoints"][7][1].get<float>(), cvs[29]);
}

// The classic summary, dump and comparison under zel print what the classic tools print.
TEST_F(ZelCommand, ClassicSubcommandsPrintWhatTheClassicToolsPrint) {
    ASSERT_EQ(std::system(("cp '" + demo + "' '" + dir.file("copy.zel") + "'").c_str()), 0);
    const struct {
        const char* sub;
        const char* tool;
        const char* args;
        int status;
    } rows[] = {{"info", "zelinfo", "demo.zel", 0},
                {"dump", "zel2txt", "demo.zel", 0},
                {"diff", "zeldiff", "demo.zel copy.zel", 0},
                {"diff", "zeldiff", "demo.zel copy.zel -q", 0}};
    for (const auto& row : rows) {
        const ToolRun classic = run(row.tool, row.args),
                      viaZel = zel(std::string(row.sub) + " " + row.args);
        EXPECT_EQ(viaZel.status, row.status) << row.sub;
        EXPECT_EQ(classic.status, row.status) << row.tool;
        EXPECT_EQ(viaZel.out, classic.out) << row.sub;
        EXPECT_FALSE(viaZel.out.empty() && row.status == 0 && std::string(row.sub) != "diff");
    }
}

namespace {

// `bytes` cut to `size`, written to `path`.
void writeCut(const std::string& path, ZelTest::Bytes bytes, size_t size) {
    bytes.resize(size);
    ZelTest::writeFileBytes(path, bytes);
}

}  // namespace

// Every file the writer's crash trials leave damaged (an append killed before its commit, one
// killed between the commit's two writes) and every cut copy fails zel check with exit 1; zel
// repair makes each one pass, keeping every sample the file held.
TEST_F(ZelCommand, CheckFailsWhatCrashesAndCutsLeaveAndPassesItOnceRepaired) {
    const std::string trial = dir.file("trial.zel");
    ZelWriterOptions options = ZelTest::sceneOptions();
    options.reservedSamples = 4;
    ASSERT_TRUE(ZelTest::writeScene(trial, options, ZelTest::frames(1, 6)));
    const ZelTest::Bytes whole = ZelTest::readFileBytes(trial);
    EXPECT_EQ(zel("check trial.zel").status, 0);
    // The metadata chunk follows the 24-byte identification chunk.
    int64 metaLength = 0;
    std::memcpy(&metaLength, whole.data() + 24 + 8, 8);
    const size_t metaEnd = size_t(24 + 16 + metaLength);
    const auto jumps = std::search(whole.begin(), whole.end(), "JSAM", "JSAM" + 4) - whole.begin();

    const struct {
        const char* name;
        std::function<void(const std::string&)> damage;
        int64 samplesAfterRepair;
    } trials[] = {
        {"killed before its commit",
         [](const std::string& p) {
             EXPECT_EQ(ZelTest::inChild([&] { return ZelTest::appendFrames(p, 3, false); }),
                       -SIGKILL);
         },
         6},
        {"killed between the commit's writes",
         [&](const std::string& p) {
             ASSERT_TRUE(ZelTest::appendFrames(p, 3, true));
             ZelTest::Bytes b = ZelTest::readFileBytes(p);
             std::copy(whole.begin() + 24, whole.begin() + long(metaEnd), b.begin() + 24);
             ZelTest::writeFileBytes(p, b);
         },
         9},
        {"one byte short", [&](const std::string& p) { writeCut(p, whole, whole.size() - 1); }, 5},
        {"cut mid-sample", [&](const std::string& p) { writeCut(p, whole, whole.size() - 300); },
         5},
        {"cut mid-table", [&](const std::string& p) { writeCut(p, whole, size_t(jumps) + 20); }, 0},
    };
    for (const auto& t : trials) {
        SCOPED_TRACE(t.name);
        ZelTest::writeFileBytes(trial, whole);
        t.damage(trial);
        const ToolRun check = zel("check --json trial.zel");
        EXPECT_EQ(check.status, 1) << check.out;
        const Json report = Json::parse(check.out);
        ASSERT_GE(report["problems"].size(), 1u);
        EXPECT_FALSE(report["problems"][0]["message"].get<std::string>().empty());
        const ToolRun repair = zel("repair trial.zel --in-place");
        EXPECT_EQ(repair.status, 0) << repair.err;
        EXPECT_EQ(zel("check trial.zel").status, 0) << zel("check trial.zel").out;
        ZelCache cache;
        ASSERT_TRUE(cache.load(trial.c_str()));
        EXPECT_EQ(cache.getNumSamples(), t.samplesAfterRepair);
    }
}

// Per-range caches stitch into what one writer writes at once; ranges that overlap are refused
// with exit 1 and leave no output.
TEST_F(ZelCommand, StitchJoinsRangesAndRefusesOverlaps) {
    ZelWriterOptions options = ZelTest::sceneOptions();
    options.frameCount = 9;
    ASSERT_TRUE(ZelTest::writeScene(dir.file("all.zel"), options, ZelTest::frames(1, 9)));
    for (int part = 0; part < 3; ++part) {
        const std::string name = dir.file("part" + std::to_string(part) + ".zel");
        options.firstTime = float(1 + 3 * part);
        ASSERT_TRUE(ZelTest::writeScene(name, options, ZelTest::frames(options.firstTime, 3)));
    }
    const ToolRun stitch = zel("stitch part0.zel part1.zel part2.zel -o joined.zel");
    EXPECT_EQ(stitch.status, 0) << stitch.err;
    EXPECT_EQ(zel("diff all.zel joined.zel").status, 0) << "same bytes but the date stamp";
    const ToolRun overlap = zel("stitch part0.zel part2.zel part1.zel -o bad.zel");
    EXPECT_EQ(overlap.status, 1);
    EXPECT_EQ(overlap.err,
              "zel: 'part1.zel' starts at frame 4, which 'part2.zel' already covers (it ends at "
              "frame 9)\n");
    EXPECT_TRUE(ZelTest::readFileBytes(dir.file("bad.zel")).empty());
    EXPECT_EQ(zel("stitch part0.zel").status, 2) << "no -o";
}

#include "zelUtils.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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

// ---------------------------------------------------------------------------------------------
// zel2txt: indented text dump of a cache's chunk tree
// ---------------------------------------------------------------------------------------------

namespace {

int zel2txtError(int line, const std::string& message) {
    reportError("zel2txt", line, message);
    return -1;
}

// Leaf chunks leave the precision of the stream they print to at 8 or 16 digits; the caller's
// standard output gets its own precision back however the dump ends.
class PrecisionKeeper {
  public:
    explicit PrecisionKeeper(std::ostream& os) : os_(os), precision_(os.precision()) {}
    ~PrecisionKeeper() { os_.precision(precision_); }
    PrecisionKeeper(const PrecisionKeeper&) = delete;
    PrecisionKeeper& operator=(const PrecisionKeeper&) = delete;

  private:
    std::ostream& os_;
    std::streamsize precision_;
};

}  // namespace

int zel2txt(const char* filename) {
    const std::string name = filename != nullptr ? filename : "";
    if (!ZelFile::isZelFile(filename)) {
        return zel2txtError(437, name + ": is not a valid ZEL file");
    }
    ZelFile file;
    if (!file.open(filename, "r")) {
        return zel2txtError(440, name + ": could not open file");
    }
    const PrecisionKeeper keepPrecision(std::cout);
    // Samples and definitions share one object counter: definitions come before the samples in
    // a file, so after the last sample it holds that sample's object count.
    int64 numSamples = 0;
    int64 numObjects = 0;
    int64 numDefinitions = 0;
    // The depth before a header is read, so a group's own line sits at its parent's level.
    uint64 depth = file.getLevel();
    ZelHeader h;
    while (file.readHeader(h)) {
        if (h.type == kTypeGroup || h.length == 0) {
            for (uint64 i = 0; i < depth; ++i) {
                std::cout << ". ";
            }
            h.print(std::cout) << " : ";
            if (h.tag == makeTag("SAMP")) {
                std::cout << '#' << numSamples++;
                numObjects = 0;
            } else if (h.tag == makeTag("SOBJ")) {
                std::cout << '#' << numObjects++;
            } else if (h.tag == makeTag("DOBJ")) {
                std::cout << '#' << numObjects++;
                numDefinitions = numObjects;
            }
        } else {
            // One leaf in memory at a time, however large the file.
            const std::unique_ptr<ZelChunk> leaf(ZelChunk::create(h.tag, h.type));
            if (leaf == nullptr) {
                return zel2txtError(464, "Unrecognized chunk type");
            }
            if (!leaf->read(h, file)) {
                return zel2txtError(468, name + ": error reading leaf chunk");
            }
            leaf->print(std::cout, static_cast<int>(depth));
        }
        depth = file.getLevel();
        std::cout << std::endl;
    }
    if (!file.close()) {
        return zel2txtError(475, name + ": error closing file");
    }
    if (numDefinitions != numObjects) {
        return zel2txtError(476, "Number of SOBJ not match number of DOBJ");
    }
    return 0;
}

// ---------------------------------------------------------------------------------------------
// zeldiff: comparison of two caches through flat text dumps and diff
// ---------------------------------------------------------------------------------------------

namespace {

int zeldiffError(int line, const std::string& message) {
    reportError("zeldiff", line, message);
    return -1;
}

// The two dumps of one comparison live in a private directory made for it, so comparisons
// running at once never share a file; the dumps and the directory go away with this object,
// on every way out of the comparison.
class DiffScratch {
  public:
    DiffScratch() {
        struct stat st;
        if (stat("/disk1/tmp", &st) == 0 && S_ISDIR(st.st_mode)) {
            base_ = "/disk1/tmp";
        } else {
            std::error_code ec;
            base_ = std::filesystem::temp_directory_path(ec).string();
            if (ec || base_.empty()) {
                base_ = "/tmp";
            }
        }
        std::string pattern = base_ + "/zeldiff-XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr) {
            dir_ = pattern;
            paths_[0] = dir_ + "/zel___diff___1.txt";
            paths_[1] = dir_ + "/zel___diff___2.txt";
        }
    }
    ~DiffScratch() {
        if (!dir_.empty()) {
            unlink(paths_[0].c_str());
            unlink(paths_[1].c_str());
            rmdir(dir_.c_str());
        }
    }
    DiffScratch(const DiffScratch&) = delete;
    DiffScratch& operator=(const DiffScratch&) = delete;

    // Whether the private directory was made.
    bool ok() const { return !dir_.empty(); }
    // The directory the private one is made in.
    const std::string& base() const { return base_; }
    // The dump of the first (0) or second (1) file.
    const std::string& path(int i) const { return paths_[i]; }

  private:
    std::string base_;
    std::string dir_;
    std::string paths_[2];
};

// `s` as one word of a shell command, whatever characters it holds.
std::string shellQuoted(const std::string& s) {
    std::string quoted = "'";
    for (char c : s) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return quoted + "'";
}

// Reports a failure met while dumping a file for the comparison; always false.
bool dumpFailed(int line, const std::string& message) {
    reportError("zeldiff", line, message);
    return false;
}

// The location codes of the errors met while dumping the first or the second file.
struct DumpErrorLines {
    int open;
    int unrecognized;
    int read;
    int close;
};
constexpr DumpErrorLines kFirstDumpErrors{497, 526, 530, 536};
constexpr DumpErrorLines kSecondDumpErrors{540, 563, 567, 573};

// Writes the flat dump of the cache `filename` to `dumpPath`: one line per chunk, no nesting, no
// counters, the date stamp left out. False after reporting the failure.
bool writeFlatDump(const char* filename, const std::string& dumpPath, const DumpErrorLines& lines) {
    const std::string name = filename;
    ZelFile file;
    if (!file.open(filename, "r")) {
        return dumpFailed(lines.open, name + ": could not open file");
    }
    std::ofstream dump(dumpPath, std::ios::out | std::ios::trunc);
    if (!dump) {
        return dumpFailed(__LINE__, dumpPath + ": could not write file");
    }
    ZelHeader h;
    while (file.readHeader(h)) {
        if (h.type == kTypeGroup || h.length == 0) {
            h.print(dump);
        } else if (h.tag == makeTag("DATE")) {
            // The date stamp differs between any two writes of the same content.
            dump << "DATE skipped";
            if (!file.skipData(h)) {
                return dumpFailed(lines.read, name + ": error reading leaf chunk");
            }
        } else {
            const std::unique_ptr<ZelChunk> leaf(ZelChunk::create(h.tag, h.type));
            if (leaf == nullptr) {
                return dumpFailed(lines.unrecognized, "Unrecognized chunk type");
            }
            if (!leaf->read(h, file)) {
                return dumpFailed(lines.read, name + ": error reading leaf chunk");
            }
            leaf->print(dump, 0);
        }
        dump << '\n';
    }
    if (!file.close()) {
        return dumpFailed(lines.close, name + ": error closing file");
    }
    dump.close();
    if (dump.fail()) {
        return dumpFailed(__LINE__, dumpPath + ": could not write file");
    }
    return true;
}

}  // namespace

int zeldiff(const char* file1, const char* file2, const char* diffOptions) {
    if (!ZelFile::isZelFile(file1)) {
        return zeldiffError(
            491, std::string(file1 != nullptr ? file1 : "") + ": is not a valid ZEL file");
    }
    if (!ZelFile::isZelFile(file2)) {
        return zeldiffError(
            494, std::string(file2 != nullptr ? file2 : "") + ": is not a valid ZEL file");
    }
    const std::string options = diffOptions != nullptr ? diffOptions : "";
    const DiffScratch scratch;
    if (!scratch.ok()) {
        return zeldiffError(__LINE__, scratch.base() + ": could not make a temporary directory");
    }
    if (!writeFlatDump(file1, scratch.path(0), kFirstDumpErrors) ||
        !writeFlatDump(file2, scratch.path(1), kSecondDumpErrors)) {
        return -1;
    }
    const std::string command = "diff " + options + " " + shellQuoted(scratch.path(0)) + " " +
                                shellQuoted(scratch.path(1)) + ";";
    // diff writes to the same standard output as the caller: what the caller printed comes first.
    std::cout.flush();
    std::fflush(stdout);
    return std::system(command.c_str());
}

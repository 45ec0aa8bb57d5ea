#include "zelUtils.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelDump.h"
#include "ZelFile.h"
#include "ZelFileChunks.h"
#include "ZelFormat.h"
#include "ZelRoMemCache.h"
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
    std::cerr << utility << " at " << kUtilsSource << ':' << std::to_string(line) << " Error "
              << message << std::endl;
}

// While it lives, `os` prints in the stream's default format (decimal, six significant digits),
// whatever the caller had set; then the caller's format (flags, precision, fill) comes back,
// however a utility ends. Leaf chunks leave their print precision on the stream they print to.
class DefaultFormat {
  public:
    explicit DefaultFormat(std::ostream& os)
        : os_(os),
          flags_(os.flags(std::ios_base::dec | std::ios_base::skipws)),
          precision_(os.precision(6)),
          fill_(os.fill(' ')) {}
    ~DefaultFormat() {
        os_.flags(flags_);
        os_.precision(precision_);
        os_.fill(fill_);
    }
    DefaultFormat(const DefaultFormat&) = delete;
    DefaultFormat& operator=(const DefaultFormat&) = delete;

  private:
    std::ostream& os_;
    std::ios_base::fmtflags flags_;
    std::streamsize precision_;
    char fill_;
};

// The location codes of the failures met while a utility dumps one cache.
struct DumpErrorLines {
    int open;
    int unrecognized;
    int read;
    int close;
};

// Reports, as `utility` with its codes `lines`, why the dump of the cache `name` stopped before
// the end of its headers. False when it did not.
bool reportDumpError(const char* utility, const DumpErrorLines& lines, ZelDumpError error,
                     const std::string& name) {
    switch (error) {
        case ZelDumpError::kUnrecognizedChunk:
            reportError(utility, lines.unrecognized, "Unrecognized chunk type");
            return true;
        case ZelDumpError::kLeafRead:
            reportError(utility, lines.read, name + ": error reading leaf chunk");
            return true;
        case ZelDumpError::kNone:
            break;
    }
    return false;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// zelinfo: a summary of a cache for people
// ---------------------------------------------------------------------------------------------

namespace {

// Appends `value` formatted with the printf format `format`.
template <class V>
void appendFormatted(std::string& out, const char* format, V value) {
    char buffer[64];
    const int n = std::snprintf(buffer, sizeof(buffer), format, value);
    if (n > 0) {
        out.append(buffer, static_cast<size_t>(std::min<int>(n, sizeof(buffer) - 1)));
    }
}

// Appends " v0, v1, ...": each value converted to P and formatted with the printf format `format`.
template <class P, class V>
void appendList(std::string& out, const std::vector<V>& values, const char* format) {
    for (size_t j = 0; j < values.size(); ++j) {
        out += ' ';
        appendFormatted(out, format, static_cast<P>(values[j]));
        if (j + 1 < values.size()) {
            out += ',';
        }
    }
}

// The values of a float or double leaf widened to double; empty for anything else.
std::vector<double> realValues(const ZelChunk* chunk) {
    if (const auto* f = dynamic_cast<const ZelLeafChunk<float>*>(chunk)) {
        return std::vector<double>(f->values().begin(), f->values().end());
    }
    if (const auto* d = dynamic_cast<const ZelLeafChunk<double>*>(chunk)) {
        return d->values();
    }
    return {};
}

// " type compound dimension" of a header, each part only when its code is not 0. The type is
// appended without a blank when `typeBlank` is false.
void appendCodes(std::string& out, const ZelHeader& h, bool typeBlank) {
    if (h.type != 0) {
        if (typeBlank) {
            out += ' ';
        }
        out += h.typeStr();
    }
    if (h.compound != 0) {
        out += ' ';
        out += h.compoundStr();
    }
    if (h.dimension != 0) {
        out += ' ';
        out += h.dimensionStr();
    }
}

// "  MTRX: static float transform 4x4 [1,0,0,0] [0,1,0,0] ...": a matrix in rows of four.
std::string describeMatrix(ZelRoMemCache& cache, int sample, int object) {
    bool animated = false;
    const ZelChunk* mtrx = cache.getObjectData(sample, object, kTagMTRX, &animated);
    if (mtrx == nullptr) {
        return std::string();
    }
    const ZelHeader h = mtrx->getHeader();
    std::string line = "  " + h.tagStr() + (animated ? ": animated " : ": static ");
    appendCodes(line, h, false);
    if (h.type == kTypeFloat || h.type == kTypeDouble) {
        const std::vector<double> values = realValues(mtrx);
        for (size_t j = 0; j < values.size(); ++j) {
            if (j % 4 == 0) {
                line += " [";
            }
            appendFormatted(line, "%g", values[j]);
            line += j % 4 < 3 ? "," : "]";
        }
    }
    if (animated) {
        line += ", ...";
    }
    return line;
}

// " with N animated vertices" (or static) when the object has positions.
void appendVertices(std::string& line, ZelRoMemCache& cache, int sample, int object) {
    bool animated = false;
    if (cache.getObjectData(sample, object, kTagPOSI, &animated) == nullptr) {
        return;
    }
    line += " with ";
    appendFormatted(line, "%d", cache.getNumVertices(sample, object));
    line += animated ? " animated vertices" : " static vertices";
}

// The one-line description of the object's main geometry chunk; empty when it has none.
std::string describeObject(ZelRoMemCache& cache, int sample, int object) {
    if (cache.objectHas(object, kTagMTRX)) {
        return describeMatrix(cache, sample, object);
    }
    std::string line;
    if (cache.objectHas(object, kTagMESH)) {
        const bool animated = cache.isObjectAnimated(object, kTagMESH);
        line = animated ? "  MESH: animated (varying) " : "  MESH: ";
        line += "mesh topology, ";
        const auto* mspt = dynamic_cast<const ZelLeafChunk<int>*>(
            cache.getObjectData(sample, object, kTagMSPT, nullptr));
        if (mspt != nullptr && !mspt->values().empty()) {
            line += mspt->values()[0] != 0 ? "MSPT: poly" : "MSPT: subd";
        }
        appendVertices(line, cache, sample, object);
    } else if (cache.objectHas(object, kTagELOC)) {
        const bool animated = cache.isObjectAnimated(object, kTagELOC);
        line = std::string("  ELOC: ") + (animated ? "animated locator" : "locator");
    } else if (cache.objectHas(object, kTagLXCS)) {
        const bool animated = cache.isObjectAnimated(object, kTagLXCS);
        line = std::string("  LXCS: ") + (animated ? "animated lxCoordSystem" : "lxCoordSystem");
    } else if (cache.objectHas(object, kTagNRBC)) {
        const bool animated = cache.isObjectAnimated(object, kTagNRBC);
        line = std::string("  NRBC: ") + (animated ? "animated (varying) " : "") +
               "nurbs curve topology";
        appendVertices(line, cache, sample, object);
    } else if (cache.objectHas(object, kTagNRBS)) {
        // A surface reports the curve tag's animation, as the tool always has.
        const bool animated = cache.isObjectAnimated(object, kTagNRBC);
        line = std::string("  NRBS: ") + (animated ? "animated (varying) " : "") +
               "nurbs surface topology";
        appendVertices(line, cache, sample, object);
    }
    return line;
}

// Replaces `line` with " ATTR: animated float vector 3d size= 8" and the like: the data's tag,
// codes and (for small arrays) values.
void describeAttrData(std::string& line, const ZelChunk* data, bool animated) {
    const ZelHeader h = data->getHeader();
    line.assign(" ");
    line.append(reinterpret_cast<const char*>(&h.tag), 4);
    line += animated ? ": animated" : ":";
    appendCodes(line, h, true);
    switch (h.type) {
        case kTypeCstr:
            if (const auto* leaf = dynamic_cast<const ZelLeafChunk<std::string>*>(data)) {
                for (const std::string& s : leaf->values()) {
                    line += " '" + s + "'";
                }
            }
            break;
        case kTypeInt32:
            if (const auto* leaf = dynamic_cast<const ZelLeafChunk<int>*>(data)) {
                appendList<int>(line, leaf->values(), "%i");
            }
            break;
        case kTypeInt64:
            if (const auto* leaf = dynamic_cast<const ZelLeafChunk<int64>*>(data)) {
                appendList<long long>(line, leaf->values(), "%lld");
            }
            break;
        case kTypeFloat:
        case kTypeDouble: {
            const std::vector<double> v = realValues(data);
            if (v.size() >= 2 && (h.dimension == 3 || h.dimension == 4)) {
                line += " size= ";
                appendFormatted(line, "%d", static_cast<int>(v.size() / h.dimension));
            } else {
                appendList<double>(line, v, "%g");
            }
            break;
        }
        default:
            break;
    }
}

// Width of an index column for `count` entries: 1, 2, 3, 4 digits, then straight to 6.
int objectIndexWidth(int count) {
    return count < 10 ? 1 : count < 100 ? 2 : count < 1000 ? 3 : count < 10000 ? 4 : 6;
}

// Width of an attribute index column: 1, 2, then straight to 4 digits.
int attrIndexWidth(int count) {
    return count < 10 ? 1 : count < 100 ? 2 : 4;
}

// The block of `object`, its index `width` places wide: its name, the description of its main
// geometry chunk and one line per attribute, with data read at `sample`.
void printObject(ZelRoMemCache& cache, int sample, int object, int width) {
    const ZelDOBJChunk* def = cache.getObjDef(object);
    std::cout << "object[" << std::setw(width) << object << "] name: " << def->getName()
              << std::endl;
    const std::string description = describeObject(cache, sample, object);
    if (!description.empty()) {
        std::cout << description << std::endl;
    }
    const ZelDATRChunk* datr = def->getDATR();
    const int numAttrs = datr != nullptr ? datr->getNumAttrs() : 0;
    if (numAttrs == 0) {
        return;
    }
    std::cout << "  number of attributes: " << numAttrs << std::endl;
    const int attrWidth = attrIndexWidth(numAttrs);
    std::string line;
    for (int a = 0; a < numAttrs; ++a) {
        const bool animated = datr->isAnimated(a);
        // Without data the line keeps the previous attribute's text, as it always has.
        if (const ZelChunk* data = cache.getAttrData(sample, object, a)) {
            describeAttrData(line, data, animated);
        }
        std::cout << "    attribute[" << std::setw(attrWidth) << a << "]"
                  << " NAME: '" << def->getAttrName(a) << "'"
                  << " TYPE: '" << def->getAttrType(a) << "'" << line << std::endl;
    }
}

// The file-level lines: version, strings, date, samples, time range, rate and space.
void printFileInfo(const ZelRoMemCache& cache) {
    std::cout << "ZEL file version " << cache.getVersion() << std::endl;
    if (!cache.getApplication().empty()) {
        std::cout << "application: " << cache.getApplication() << std::endl;
    }
    if (!cache.getSourceFile().empty()) {
        std::cout << "source file: " << cache.getSourceFile() << std::endl;
    }
    if (cache.getDateStamp() != 0) {
        writeDate(std::cout << "date stamp: ", cache.getDateStamp()) << std::flush;
    }
    std::cout << "number of time samples: " << cache.getNumSamples() << std::endl;
    if (cache.getNumSamples() != 0) {
        std::cout << "first frame: " << cache.getFirstTime() << std::endl;
        std::cout << "last frame: " << cache.getLastTime() << std::endl;
        std::cout << "sampling rate: ";
        if (cache.getRate() == 0.0f) {
            std::cout << "nonuniform";
        } else if (cache.getRate() == 1.0f) {
            std::cout << "1 sample per frame";
        } else {
            std::cout << cache.getRate() << " samples per frame";
        }
        std::cout << std::endl;
    } else {
        std::cout << "static file" << std::endl;
    }
    std::cout << "space: ";
    switch (cache.getSpace()) {
        case 0:
            std::cout << "world";
            break;
        case 1:
            std::cout << "object";
            break;
        default:
            std::cout << "unknown (" << cache.getSpace() << ")";
            break;
    }
    std::cout << std::endl;
}

}  // namespace

int zelinfo(const char* filename) {
    const char* name = filename != nullptr ? filename : "";
    ZelRoMemCache cache;
    if (!cache.load(name, true)) {
        reportError("zelinfo", 139, std::string(name) + ": could not open file");
        return -1;
    }
    // Times and rates read the same whatever the caller did to standard output before.
    const DefaultFormat format(std::cout);
    printFileInfo(cache);
    // Every data read looks at the first sample; a static file has none (-1).
    const int sample = cache.getNumSamples() != 0 ? cache.getSampleIndex(cache.getFirstTime()) : -1;

    const int numObjects = cache.getNumObjects();
    std::cout << "\nnumber of objects: " << numObjects << std::endl;
    const int width = objectIndexWidth(numObjects);
    for (int i = 0; i < numObjects; ++i) {
        printObject(cache, sample, i, width);
    }
    return 0;
}

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

// Writes the metadata: times 5 to 7 at one sample per frame in world space, the definitions
// "foo" and "bar", and a list of four strings. The sample count stays 0, so the time range and
// rate are kept in memory only.
bool writeTestMeta(ZelFile& file) {
    ZelMETAChunk meta;
    meta.firstTime = 5.0f;
    meta.lastTime = 7.0f;
    meta.rate = 1.0f;
    meta.space = 0;
    meta.addDOBJ("foo");
    meta.addDOBJ("bar");
    std::unique_ptr<ZelLeafChunk<std::string>> strings(new ZelLeafChunk<std::string>());
    strings->setTag(kTagABCD);
    strings->values() = {"a", "b", "c", "d"};
    meta.addChild(strings.release());
    return meta.write(file);
}

// The location codes of the steps of one object in the sample.
struct ObjectStepLines {
    int start;
    int positions;
    int velocities;
    int end;
};
constexpr ObjectStepLines kFirstObjectLines{87, 94, 99, 101};
constexpr ObjectStepLines kSecondObjectLines{104, 110, 115, 117};

// `count` values: 0, step, 2 step, ...
std::vector<float> ramp(size_t count, float step) {
    std::vector<float> values(count);
    for (size_t i = 0; i < count; ++i) {
        values[i] = step * static_cast<float>(i);
    }
    return values;
}

// Writes one object's group in the open sample: its positions and velocities as float chunks.
// -1 after reporting the failed step with its code from `lines`.
int writeTestObject(ZelFile& file, ZelSAMSChunk& sams, const std::vector<float>& positions,
                    const std::vector<float>& velocities, const ObjectStepLines& lines) {
    if (!sams.writeStartSOBJChunk(file)) {
        return zeltestError(lines.start, "starting SOBJ chunk");
    }
    if (!writeFloatChunk(file, kTagPOSI, positions)) {
        return zeltestError(lines.positions, "writing POS chunk");
    }
    if (!writeFloatChunk(file, kTagVELO, velocities)) {
        return zeltestError(lines.velocities, "writing VELO chunk");
    }
    if (!sams.writeEndSOBJChunk(file)) {
        return zeltestError(lines.end, "ending SOBJ chunk");
    }
    return 0;
}

// Writes the samples section: one sample of two objects, the first with four positions and
// their doubled velocities, the second with ten positions 3 i and velocities 4 i. -1 after
// reporting the failed step.
int writeTestSamples(ZelFile& file) {
    ZelSAMSChunk sams;
    if (!sams.writeStart(file, 1, 2, false)) {
        return zeltestError(83, "starting SAMS chunk");
    }
    if (!sams.writeStartSAMPChunk(file, 2, nullptr)) {
        return zeltestError(85, "starting SAMP chunk");
    }
    if (writeTestObject(file, sams, ramp(4, 1.0f), ramp(4, 2.0f), kFirstObjectLines) != 0 ||
        writeTestObject(file, sams, ramp(10, 3.0f), ramp(10, 4.0f), kSecondObjectLines) != 0) {
        return -1;
    }
    if (!sams.writeEndSAMPChunk(file)) {
        return zeltestError(120, "ending SAMP chunk");
    }
    if (!sams.writeEnd(file)) {
        return zeltestError(122, "end SAMS chunk");
    }
    return 0;
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
    if (!writeTestMeta(file)) {
        return zeltestError(79, "writing META chunk");
    }
    if (writeTestSamples(file) != 0) {
        return -1;
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

constexpr DumpErrorLines kZel2txtDumpErrors{440, 464, 468, 475};

}  // namespace

int zel2txt(const char* filename) {
    const std::string name = filename != nullptr ? filename : "";
    if (!ZelFile::isZelFile(filename)) {
        return zel2txtError(437, name + ": is not a valid ZEL file");
    }
    ZelFile file;
    if (!file.open(filename, "r")) {
        return zel2txtError(kZel2txtDumpErrors.open, name + ": could not open file");
    }
    const DefaultFormat format(std::cout);
    const ZelDumpResult dump = dumpChunkTree(file, std::cout, ZelDumpOptions());
    if (reportDumpError("zel2txt", kZel2txtDumpErrors, dump.error, name)) {
        return -1;
    }
    if (!file.close()) {
        return zel2txtError(kZel2txtDumpErrors.close, name + ": error closing file");
    }
    if (dump.numDefinitions != dump.numLastSampleObjects) {
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
constexpr DumpErrorLines kFirstDumpErrors{497, 526, 530, 536};
constexpr DumpErrorLines kSecondDumpErrors{540, 563, 567, 573};
// The codes of the failures of the comparison's own files, fixed like the others so that moving
// code in this file never changes an error line.
constexpr int kDumpOpenError = 651;
constexpr int kDumpCloseError = 680;
constexpr int kScratchError = 699;

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
        return dumpFailed(kDumpOpenError, dumpPath + ": could not write file");
    }
    ZelDumpOptions flat;
    flat.indent = false;
    flat.counters = false;
    flat.skipDate = true;
    flat.flushLines = false;
    if (reportDumpError("zeldiff", lines, dumpChunkTree(file, dump, flat).error, name)) {
        return false;
    }
    if (!file.close()) {
        return dumpFailed(lines.close, name + ": error closing file");
    }
    dump.close();
    if (dump.fail()) {
        return dumpFailed(kDumpCloseError, dumpPath + ": could not write file");
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
        return zeldiffError(kScratchError,
                            scratch.base() + ": could not make a temporary directory");
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

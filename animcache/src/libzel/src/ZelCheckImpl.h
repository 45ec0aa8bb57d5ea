// What checkCache keeps while it reads a cache once, front to back: the file and its metadata as
// the reader sees them, the samples sections found, what each object's definition and first
// sample say, and the problems found. Internal to the library.
#ifndef ZEL_CHECK_IMPL_H
#define ZEL_CHECK_IMPL_H

#include <string>
#include <utility>
#include <vector>

#include "ZelCheck.h"
#include "ZelReaderImpl.h"

namespace Zel {

// Texts shared by the checker's messages: a float as short as it reads back, bytes in quotes
// (printable as they are, others as \xNN), a tag in quotes, and "a "TAG" chunk of type T".
std::string checkNumber(float v);
std::string checkQuoted(const unsigned char* p, size_t n);
std::string checkQuoted(uint32 tag);
std::string checkChunkName(const ZelHeader& h);

class ZelChecker {
  public:
    // Checks the cache mapped by `file` (its path and mapping set, no object listed yet) into
    // `report`, which must start empty; `report.loads` is left to the caller.
    ZelChecker(ZelReader::Impl& file, const ZelCheckOptions& options, ZelCheckReport& report);
    void run();

  private:
    // One samples section and where its tables' entries went.
    struct Section {
        int64 offset = 0;  // its "SAMS" header
        int64 end = 0;     // where its payload ends as the header says (maybe past the file)
        size_t firstJump = 0, jumpCount = 0;
        size_t firstTime = 0, timeCount = 0;
        int64 jumpsAt = -1;  // the payload of its jump table when one table holds every entry
        int64 timesAt = -1;  // the same for its time table
    };
    // One chunk of an object's group: what a later sample must repeat.
    struct Shape {
        uint32 tag;
        uint8 type, compound, dimension;
        int depth;
    };
    // A mesh's faces, as the first "PIDS" and "PCNT" of a definition or an object group give them.
    struct Faces {
        bool seenIndices = false, hasIndices = false;  // a "PIDS" met; it holds int32 values
        int64 minIndex = 0, maxIndex = -1, indexCount = 0;
        bool seenCounts = false, hasCounts = false;  // a "PCNT" met; it holds int32 values
        int64 countSum = 0;
        // Takes in `h`, whose payload is at `values`, when it is the first "PIDS" or "PCNT".
        void note(const ZelHeader& h, const unsigned char* values);
    };
    // What an object's samples are checked against: its definition, and its first sample.
    // Readers look in the definition first, so what it holds hides what samples hold.
    struct Object {
        int64 offset = -1;  // its "DOBJ"
        int animatedAttrs = 0;
        bool pointsInDefinition = false;
        int64 staticPoints = -1;  // points of the definition's "POSI", when it holds reals
        Faces faces;              // the definition's faces
        int64 firstSample = -1;   // the first sample whose group was checked whole
        size_t shapeBegin = 0, shapeCount = 0;
        int64 firstPoints = -1, firstPointsSample = -1;
        int64 indicesCheckedFor = -2;  // the point count the definition's indices were checked for
    };
    // What the walk of one object's group in one sample found.
    struct InSample {
        int object = -1;         // the defined object walked, -1 for none
        bool walked = false;     // an object group is being walked (defined or not)
        int64 offset = -1;       // its "SOBJ"
        bool recording = false;  // the object's first sample: its chunks become its shape
        size_t shapeBegin = 0, chunks = 0;
        std::string shapeChange;  // how the chunks differ from the first sample's
        int64 positionsAt = -1;   // the first "POSI", which readers use
        int64 points = -1, values = 0;
        int perPoint = 3;
        bool wholePoints = true;
        int64 positionValues = 0, nonFinite = 0;  // over every "POSI"
        Faces faces;
        bool atrsSeen = false, inAtrs = false;
        int atrsValues = 0;
    };

    // ---- Problems (defined below) ----
    // Counts a problem and keeps it when it is among the first maxProblems in file order; the
    // message is built only then.
    template <class Message>
    void problem(ZelSeverity severity, int64 offset, int object, int64 sample, Message message);
    template <class Message>
    void error(int64 offset, int object, int64 sample, Message message) {
        problem(ZelSeverity::kError, offset, object, sample, std::move(message));
    }
    template <class Message>
    void warning(int64 offset, int object, int64 sample, Message message) {
        problem(ZelSeverity::kWarning, offset, object, sample, std::move(message));
    }

    // ---- Layout (ZelCheck.cpp) ----
    void readHead();
    void readTopLevel(int64 pos);
    void readMetadata(int64 pos, const ZelHeader& h);
    // Reports the chunk at which the walk of [begin, end) fails, or a group nested deeper than
    // the loader follows when `what` is the metadata chunk (object and sample -1).
    void describeMalformed(int64 begin, int64 end, int object, int64 sample,
                           const std::string& what);
    // Why the chunk at `at`, in a group ending at `groupEnd`, stops a walk.
    std::string whyMalformed(int64 at, int64 groupEnd) const;
    void readSectionTables(Section& s);
    void reportUnreadTable(SectionTablesError failed, int64 at);
    void checkTimeOrder();
    void compareWithMetadata();
    void compareTimes(int64 announced);
    bool timesAgree(int64 count) const;
    void checkTrailingBytes();
    void finish();
    // Where entry `i` of section `s`'s jump table, and entry `i` of all time tables, lie (the
    // section's header when no one table holds them).
    int64 entryOffset(const Section& s, size_t i) const;
    int64 timeOffset(size_t i) const;

    // ---- Samples (ZelCheckSamples.cpp) ----
    void checkSamples();
    void checkSample(int64 k, const Section& s);
    bool sampleHeader(int64 k, const Section& s, int64 at, ZelHeader& h);
    void walkSample(int64 k, int64 at, const ZelHeader& h);
    bool readObjectTable(int64 k, int64 at, const ZelHeader& h);
    void reportUnmatchedEntries(int64 k, int64 below, int64 sampleBegin, int64 sampleEnd);
    void startObject(int64 k, int64 at, const ZelHeader& h);

    // ---- Objects (ZelCheckObjects.cpp) ----
    void readDefinitions();
    void readDefinition(int o);
    void objectChunk(int64 at, const ZelHeader& h, int depth);
    void noteShape(const ZelHeader& h, int depth);
    void notePositions(int64 at, const ZelHeader& h);
    void finishObject(int64 k, bool whole);
    void checkObjectCounts(int64 k, Object& def);
    void checkIndices(int64 offset, int o, int64 k, int64 minIndex, int64 maxIndex, int64 points);
    std::string objectIn(int o, int64 k) const;

    ZelReader::Impl& file_;
    const unsigned char* bytes_;
    int64 size_;
    const ZelCheckOptions& options_;
    ZelCheckReport& report_;
    size_t latestKept_ = 0;  // the kept problem that lies furthest into the file

    bool metaFound_ = false;
    bool metaRead_ = false;  // decoded whole: the counts, times and definitions below hold
    int64 metaOffset_ = -1;
    std::vector<Section> sections_;
    bool tablesRead_ = true;  // every section's tables read whole
    std::vector<TimeEntry> times_;
    std::vector<JumpEntry> jumps_;
    std::vector<Object> objects_;
    std::vector<Shape> shapes_;

    // The sample being walked: its object offsets sorted by offset, the next one to meet, and
    // the object being walked.
    std::vector<std::pair<int64, int>> entries_;
    size_t nextEntry_ = 0;
    int64 tableAt_ = -1;  // the sample's "JOBJ", -1 until met
    InSample current_;
    int64 previousEnd_ = 0;  // where the group of the previous sample checked ends
    int64 previousSample_ = -1;
    int64 referencedEnd_ = 0;  // the furthest byte a table leads to
    int64 unreadSamples_ = 0;  // samples whose group could not be walked
};

template <class Message>
void ZelChecker::problem(ZelSeverity severity, int64 offset, int object, int64 sample,
                         Message message) {
    if (severity == ZelSeverity::kWarning && options_.strict) {
        severity = ZelSeverity::kError;
    }
    ++(severity == ZelSeverity::kError ? report_.errors : report_.warnings);
    std::vector<ZelProblem>& kept = report_.problems;
    if (options_.maxProblems <= 0) {
        return;
    }
    if (static_cast<int64>(kept.size()) < options_.maxProblems) {
        kept.push_back(ZelProblem{severity, offset, object, sample, message()});
        if (offset >= kept[latestKept_].offset) {
            latestKept_ = kept.size() - 1;
        }
        return;
    }
    // Full: a problem further into the file than every kept one is only counted.
    if (offset >= kept[latestKept_].offset) {
        return;
    }
    kept[latestKept_] = ZelProblem{severity, offset, object, sample, message()};
    for (size_t i = 0; i < kept.size(); ++i) {
        latestKept_ = kept[i].offset > kept[latestKept_].offset ? i : latestKept_;
    }
}

}  // namespace Zel

#endif

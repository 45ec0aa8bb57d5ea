// The two chunks that open every cache file: the identification "DZEL" and the metadata "META".
#ifndef ZEL_FILE_CHUNKS_H
#define ZEL_FILE_CHUNKS_H

#include <memory>
#include <string>
#include <vector>

#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"

namespace Zel {

// File identification: header "DZEL", type int64, length 8, then the format version. 24 bytes on
// disk, the first of every file.
class ZEL_API ZelDZELChunk : public ZelChunk {
  public:
    // Version 2.
    ZelDZELChunk();
    explicit ZelDZELChunk(int64 version);
    ZelDZELChunk(const ZelDZELChunk&) = default;
    ZelDZELChunk& operator=(const ZelDZELChunk&) = default;
    ~ZelDZELChunk() override;

    // Version back to 2.
    void reset() override;
    // False unless `h` is "DZEL", type int64, length exactly 8; then reads the version.
    bool read(const ZelHeader& h, ZelFile& f) override;
    // The header and the 8 version bytes at the current position.
    bool write(ZelFile& f) const override;
    // The chunk prefix, then "version = " and the version. No newline.
    std::ostream& print(std::ostream& os, int indent) const override;

    int64 getVersion() const { return version; }
    void setVersion(int64 v) { version = v; }

    int64 version;
};

// File metadata ("META"): what the file holds and the definition of every object. The scalar
// members are public and read and set directly by the caches.
class ZEL_API ZelMETAChunk : public ZelGroupChunk {
  public:
    // Header "META", members at their defaults, no objects, no generic children.
    ZelMETAChunk();
    // Deletes the object definitions and the generic children.
    ~ZelMETAChunk() override;

    // Every member back to its default, then removeAllChildren().
    void reset() override;
    // Size estimate used to decide whether the chunk can be rewritten in place: 130 without
    // samples, else 190, plus the characters of the source file and application, plus every
    // object definition with its header. Generic children are not counted.
    int64 getLength() const override;
    // removeAllDOBJs(), then the generic children.
    void removeAllChildren() override;

    // Appends a new object definition named `name`, owned by this chunk, and returns it.
    ZelDOBJChunk* addDOBJ(const char* name);
    // The number of object definitions.
    int64 getNumObjects() const { return static_cast<int64>(dobjs_.size()); }
    // The object definition at `i` (below getNumObjects()).
    ZelDOBJChunk* getDOBJ(int64 i);
    const ZelDOBJChunk* getDOBJ(int64 i) const;
    // Deletes every object definition.
    void removeAllDOBJs();

    std::string application;  // name of the writing application; "WAPP" when not empty
    std::string sourceFile;   // scene or source the data came from; "SFIL" when not empty
    int64 date;               // seconds since 1970-01-01 UTC; "DATE" when not 0
    int64 numSamples;         // samples in the samples section; "NSAM"
    float firstTime;          // time of the first sample in frames; "FTIM" when there are samples
    float lastTime;           // time of the last sample; "LTIM" when there are samples
    float rate;               // samples per frame, 0 for non-uniform times; "RATE" likewise
    int64 space;              // 0 world space, 1 object space; "SPAC"

  protected:
    // Takes the known metadata children and every "DOBJ"; anything else stays generic.
    bool readChild(const ZelHeader& h, ZelFile& f, bool& handled) override;
    // WAPP, SFIL, DATE, NSAM, FTIM, LTIM, RATE, SPAC, NOBJ, then every object definition.
    bool writeChildren(ZelFile& f) const override;
    // One "name = value" line per member, then every object definition.
    std::ostream& printChildren(std::ostream& os, int indent) const override;

  private:
    std::vector<std::unique_ptr<ZelDOBJChunk>> dobjs_;
};

}  // namespace Zel

#endif

// The 16-byte chunk header, identical in memory and on disk, and the tables that name its codes.
#ifndef ZEL_HEADER_H
#define ZEL_HEADER_H

#include <cstddef>
#include <ostream>
#include <string>

#include "ZelTypes.h"

namespace Zel {

// Names of the element type codes 0..6 ("undef", "group", "cstr", "int32", "float", "int64",
// "double"), of the compound codes 0..6 and of the dimension codes 0..16 ("" where unnamed).
ZEL_API extern const char* const zelTypeNames[];
ZEL_API extern const char* const zelCompoundNames[];
ZEL_API extern const char* const zelDimensionNames[];

// Element type codes of the header's `type` field.
enum : uint8 {
    kTypeUndef = 0,
    kTypeGroup = 1,
    kTypeCstr = 2,
    kTypeInt32 = 3,
    kTypeFloat = 4,
    kTypeInt64 = 5,
    kTypeDouble = 6
};

// A chunk header: tag, element type, compound kind, dimension, a reserved byte and the payload
// length. Written to and read from a file as these 16 bytes, little-endian, with no conversion.
class ZEL_API ZelHeader {
  public:
    // Tag "FREE", every code 0, length 0: an empty reserved-space chunk.
    ZelHeader();
    // Note the argument order: the length comes before the two descriptive codes.
    ZelHeader(uint32 tag, uint8 type, int64 length, uint8 compound = 0, uint8 dimension = 0);
    ZelHeader(const ZelHeader&) = default;
    ZelHeader& operator=(const ZelHeader&) = default;

    // Overwrites the five fields (same argument order as the constructor); keeps the reserved byte.
    void set(uint32 tag, uint8 type, int64 length, uint8 compound = 0, uint8 dimension = 0);

    // The tag's four bytes in file order, ending early at the first NUL.
    std::string tagStr() const;
    // The names of the codes; a code outside its table gives "undef" (type, compound) or "".
    std::string typeStr() const;
    std::string compoundStr() const;
    std::string dimensionStr() const;

    // Writes "TAG type (length)", then " compound" and " dimension" when those codes are not 0.
    // The four tag bytes are written raw. No newline.
    std::ostream& print(std::ostream& os) const;

    uint32 tag;
    uint8 type;
    uint8 compound;
    uint8 dimension;
    uint8 reserved;
    int64 length;
};

static_assert(sizeof(ZelHeader) == 16, "a chunk header is 16 bytes in memory and on disk");
static_assert(offsetof(ZelHeader, tag) == 0 && offsetof(ZelHeader, type) == 4 &&
                  offsetof(ZelHeader, compound) == 5 && offsetof(ZelHeader, dimension) == 6 &&
                  offsetof(ZelHeader, reserved) == 7 && offsetof(ZelHeader, length) == 8,
              "header fields sit at their file offsets");

}  // namespace Zel

#endif

#include "ZelHeader.h"

#include "ZelFormat.h"

namespace Zel {

const char* const zelTypeNames[] = {"undef", "group", "cstr", "int32", "float", "int64", "double"};
const char* const zelCompoundNames[] = {"undef",     "point", "vector",  "normal",
                                        "transform", "color", "compound"};
const char* const zelDimensionNames[] = {"undef", "scalar", "2d", "3d", "4d", "", "", "",   "",
                                         "3x3",   "",       "",   "",   "",   "", "", "4x4"};

namespace {
constexpr uint8 kNumTypeNames = sizeof(zelTypeNames) / sizeof(zelTypeNames[0]);
constexpr uint8 kNumCompoundNames = sizeof(zelCompoundNames) / sizeof(zelCompoundNames[0]);
constexpr uint8 kNumDimensionNames = sizeof(zelDimensionNames) / sizeof(zelDimensionNames[0]);
}  // namespace

ZelHeader::ZelHeader() : ZelHeader(kTagFREE, kTypeUndef, 0, 0, 0) {}

ZelHeader::ZelHeader(uint32 tag_, uint8 type_, int64 length_, uint8 compound_, uint8 dimension_)
    : tag(tag_),
      type(type_),
      compound(compound_),
      dimension(dimension_),
      reserved(0),
      length(length_) {}

void ZelHeader::set(uint32 tag_, uint8 type_, int64 length_, uint8 compound_, uint8 dimension_) {
    tag = tag_;
    type = type_;
    length = length_;
    compound = compound_;
    dimension = dimension_;
}

std::string ZelHeader::tagStr() const {
    const char* bytes = reinterpret_cast<const char*>(&tag);
    std::string s;
    for (int i = 0; i < 4 && bytes[i] != '\0'; ++i) {
        s += bytes[i];
    }
    return s;
}

std::string ZelHeader::typeStr() const {
    return type < kNumTypeNames ? zelTypeNames[type] : "undef";
}

std::string ZelHeader::compoundStr() const {
    return compound < kNumCompoundNames ? zelCompoundNames[compound] : "undef";
}

std::string ZelHeader::dimensionStr() const {
    return dimension < kNumDimensionNames ? zelDimensionNames[dimension] : "";
}

std::ostream& ZelHeader::print(std::ostream& os) const {
    os.write(reinterpret_cast<const char*>(&tag), 4);
    os << ' ' << typeStr() << " (" << length << ')';
    if (compound != 0) {
        os << ' ' << compoundStr();
    }
    if (dimension != 0) {
        os << ' ' << dimensionStr();
    }
    return os;
}

}  // namespace Zel

// The tags of the format's own chunks, shared by the sources that read and write them.
#ifndef ZEL_TAGS_H
#define ZEL_TAGS_H

#include "ZelTypes.h"

namespace Zel {

inline constexpr uint32 kTagMETA = makeTag("META");
inline constexpr uint32 kTagDATR = makeTag("DATR");
inline constexpr uint32 kTagATRS = makeTag("ATRS");
inline constexpr uint32 kTagSAMS = makeTag("SAMS");
inline constexpr uint32 kTagTIMS = makeTag("TIMS");
inline constexpr uint32 kTagJSAM = makeTag("JSAM");
inline constexpr uint32 kTagFREE = makeTag("FREE");
inline constexpr uint32 kTagSAMP = makeTag("SAMP");
inline constexpr uint32 kTagJOBJ = makeTag("JOBJ");
inline constexpr uint32 kTagSOBJ = makeTag("SOBJ");
inline constexpr uint32 kTagPOSI = makeTag("POSI");

}  // namespace Zel

#endif

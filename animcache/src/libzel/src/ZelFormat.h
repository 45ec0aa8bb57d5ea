// The file format in one place: every chunk tag, the header size, the layout of a samples
// section's tables, and bounds-checked decoding of headers and tables from bytes or a stream.
// Internal to the library (not installed): every reader and writer of a cache includes it, so
// they all agree on the bytes.
#ifndef ZEL_FORMAT_H
#define ZEL_FORMAT_H

#include "ZelHeader.h"
#include "ZelTypes.h"

namespace Zel {

// ---------------------------------------------------------------------------------------------
// Chunk header: tag (4 bytes), type, compound, dimension, reserved (1 byte each), payload length
// (8 bytes, signed), little-endian.

inline constexpr int64 kHeaderSize = 16;
// Where the payload length sits inside a header; a group's length is back-patched there.
inline constexpr int64 kHeaderLengthOffset = 8;
static_assert(sizeof(ZelHeader) == kHeaderSize, "a chunk header is 16 bytes on disk");

// ---------------------------------------------------------------------------------------------
// A file is three top-level chunks in this order.

inline constexpr uint32 kTagDZEL = makeTag("DZEL");  // int64 leaf: the format version
inline constexpr uint32 kTagMETA = makeTag("META");  // group: what the file holds
inline constexpr uint32 kTagSAMS = makeTag("SAMS");  // group: a samples section (maybe several)

// Children of "META".
inline constexpr uint32 kTagWAPP = makeTag("WAPP");  // cstr: the writing application
inline constexpr uint32 kTagSFIL = makeTag("SFIL");  // cstr: the source scene
inline constexpr uint32 kTagDATE = makeTag("DATE");  // int64: date stamp, seconds since 1970
inline constexpr uint32 kTagNSAM = makeTag("NSAM");  // int64: number of samples
inline constexpr uint32 kTagFTIM = makeTag("FTIM");  // float: time of the first sample
inline constexpr uint32 kTagLTIM = makeTag("LTIM");  // float: time of the last sample
inline constexpr uint32 kTagRATE = makeTag("RATE");  // float: samples per frame, 0 non-uniform
inline constexpr uint32 kTagSPAC = makeTag("SPAC");  // int64: 0 world space, 1 object space
inline constexpr uint32 kTagNOBJ = makeTag("NOBJ");  // int64: number of object definitions
inline constexpr uint32 kTagDOBJ = makeTag("DOBJ");  // group: one object definition

// Children of an object definition "DOBJ" and of its attribute definition "DATR".
inline constexpr uint32 kTagNAME = makeTag("NAME");  // cstr: a name, or a list of names
inline constexpr uint32 kTagDATR = makeTag("DATR");  // group: the attribute definition
inline constexpr uint32 kTagSATR = makeTag("SATR");  // group: static attribute names and types
inline constexpr uint32 kTagAATR = makeTag("AATR");  // group: animated attribute names and types
inline constexpr uint32 kTagTYPE = makeTag("TYPE");  // cstr list: attribute type strings
inline constexpr uint32 kTagATRS = makeTag("ATRS");  // group: attribute values, in order
inline constexpr uint32 kTagATTR = makeTag("ATTR");  // leaf: one attribute value

// Children of a samples section "SAMS", and of each sample "SAMP" in it.
inline constexpr uint32 kTagTIMS = makeTag("TIMS");  // float table: sample times (non-uniform)
inline constexpr uint32 kTagJSAM = makeTag("JSAM");  // int64 table: offsets of "SAMP" headers
inline constexpr uint32 kTagFREE = makeTag("FREE");  // reserved bytes; also a default header
inline constexpr uint32 kTagSAMP = makeTag("SAMP");  // group: one sample
inline constexpr uint32 kTagJOBJ = makeTag("JOBJ");  // int64 table: offsets of "SOBJ" headers
inline constexpr uint32 kTagSOBJ = makeTag("SOBJ");  // group: one object's data in one sample

// ---------------------------------------------------------------------------------------------
// What objects carry, in their definition (static) or in their "SOBJ" of a sample (animated).
// The first of these kind tags that an object has decides its helper object.

inline constexpr uint32 kTagXFRM = makeTag("XFRM");  // a transform
inline constexpr uint32 kTagMESH = makeTag("MESH");  // group: a polygon or subdivision mesh
inline constexpr uint32 kTagNRBS = makeTag("NRBS");  // group: a NURBS surface
inline constexpr uint32 kTagNRBC = makeTag("NRBC");  // group: a NURBS curve
inline constexpr uint32 kTagELOC = makeTag("ELOC");  // a locator
inline constexpr uint32 kTagLXCS = makeTag("LXCS");  // a coordinate system

inline constexpr uint32 kTagPOSI = makeTag("POSI");  // points (3 reals each)
inline constexpr uint32 kTagVELO = makeTag("VELO");  // per-point velocities
inline constexpr uint32 kTagVPNO = makeTag("VPNO");  // normals
inline constexpr uint32 kTagPONO = makeTag("PONO");  // face normals
inline constexpr uint32 kTagPCNT = makeTag("PCNT");  // int32: vertex count per face
inline constexpr uint32 kTagPIDS = makeTag("PIDS");  // int32: the faces' point indices
inline constexpr uint32 kTagNCNT = makeTag("NCNT");  // int32: normal index count per face
inline constexpr uint32 kTagNIDS = makeTag("NIDS");  // int32: normal indices
inline constexpr uint32 kTagMSPT = makeTag("MSPT");  // int32: mesh shape, 0 subdivision
inline constexpr uint32 kTagDEGR = makeTag("DEGR");  // int32: NURBS degree(s)
inline constexpr uint32 kTagFORM = makeTag("FORM");  // cstr: NURBS form(s), "kPeriodic" and so on
inline constexpr uint32 kTagKNTU = makeTag("KNTU");  // reals: knots in u (a curve's knots)
inline constexpr uint32 kTagKNTV = makeTag("KNTV");  // reals: knots in v
inline constexpr uint32 kTagMTRX = makeTag("MTRX");  // reals: a 4x4 matrix, row-major
inline constexpr uint32 kTagMTRO = makeTag("MTRO");  // int32: rotate order of a transform
inline constexpr uint32 kTagINHT = makeTag("INHT");  // int32: inherits its parent's transform
inline constexpr uint32 kTagBBOX = makeTag("BBOX");  // reals: xmin, xmax, ymin, ymax, zmin, zmax

// The generic string list that the test cache writer puts into its metadata.
inline constexpr uint32 kTagABCD = makeTag("ABCD");

// ---------------------------------------------------------------------------------------------
// Samples section tables. A section starts with "TIMS" (non-uniform caches only) and "JSAM",
// each optionally followed by a "FREE" whose payload is room for that many more entries, so a
// later append can grow the table in place.

using TimeEntry = float;  // one "TIMS" entry: a sample's time in frames
using JumpEntry = int64;  // one "JSAM" or "JOBJ" entry: an absolute offset from the file's start
inline constexpr int64 kTimeEntrySize = sizeof(TimeEntry);
inline constexpr int64 kJumpEntrySize = sizeof(JumpEntry);

}  // namespace Zel

#endif

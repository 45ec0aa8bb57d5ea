// Basic types shared by every part of libzel: the integer aliases, the export macro and tags.
#ifndef ZEL_TYPES_H
#define ZEL_TYPES_H

#include <cstdint>

// Marks the classes and functions that the shared library exports; everything else is hidden.
#if defined(_WIN32)
#define ZEL_API
#else
#define ZEL_API __attribute__((visibility("default")))
#endif

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "cache files are little-endian and read and written as raw bytes");

namespace Zel {

using uint8 = std::uint8_t;
using uint32 = std::uint32_t;
using int64 = std::int64_t;
using uint64 = std::uint64_t;

// The tag of four characters as stored in a chunk header: the first character in the low byte,
// so the tag of "FREE" is 0x45455246.
constexpr uint32 makeTag(const char (&s)[5]) {
    return static_cast<uint32>(static_cast<unsigned char>(s[0])) |
           static_cast<uint32>(static_cast<unsigned char>(s[1])) << 8 |
           static_cast<uint32>(static_cast<unsigned char>(s[2])) << 16 |
           static_cast<uint32>(static_cast<unsigned char>(s[3])) << 24;
}

}  // namespace Zel

#endif

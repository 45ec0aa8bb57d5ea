// Helpers for chunk tests: byte images of chunks, files written through a ZelFile, and reading
// a byte image back header by header.
#ifndef ZEL_TEST_CHUNKBYTES_H
#define ZEL_TEST_CHUNKBYTES_H

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "Zel.h"
#include "support/TempDir.h"

namespace ZelTest {

using Bytes = std::vector<unsigned char>;

inline void put(Bytes& b, const void* p, size_t n) {
    const unsigned char* c = static_cast<const unsigned char*>(p);
    b.insert(b.end(), c, c + n);
}

template <class V>
void putValue(Bytes& b, V v) {
    put(b, &v, sizeof(v));
}

inline void putHeader(Bytes& b, const char* tag, Zel::uint8 type, Zel::int64 length,
                      Zel::uint8 compound = 0, Zel::uint8 dimension = 0) {
    put(b, tag, 4);
    const unsigned char codes[4] = {type, compound, dimension, 0};
    put(b, codes, 4);
    putValue(b, length);
}

// A leaf of one value: its header and the value.
template <class V>
void putScalar(Bytes& b, const char* tag, Zel::uint8 type, V v) {
    putHeader(b, tag, type, sizeof(V));
    putValue(b, v);
}

// Writes whatever `fn` writes to a fresh file in `dir` and returns the file's bytes.
template <class Fn>
Bytes written(const TempDir& dir, Fn fn) {
    const std::string path = dir.file("out.zel");
    {
        Zel::ZelFile f;
        EXPECT_TRUE(f.open(path.c_str(), "w"));
        fn(f);
    }
    return readFileBytes(path);
}

// The bytes of `chunks` written one after another to a fresh file in `dir`.
template <class... C>
Bytes writtenAll(const TempDir& dir, const C&... chunks) {
    return written(dir, [&](Zel::ZelFile& f) { EXPECT_TRUE((chunks.write(f) && ...)); });
}

// A file in `dir` holding `bytes`, opened for reading with its first header already read.
struct Reader {
    Reader(const TempDir& dir, const Bytes& bytes) {
        const std::string path = dir.file("in.zel");
        writeFileBytes(path, bytes);
        EXPECT_TRUE(f.open(path.c_str(), "r") && f.readHeader(h));
    }
    Zel::ZelFile f;
    Zel::ZelHeader h;
};

inline std::string printed(const Zel::ZelChunk& c, int indent) {
    std::ostringstream os;
    c.print(os, indent);
    return os.str();
}

}  // namespace ZelTest

#endif

// Walks a cache file header by header, the way a reader meets its chunks, for tests that check
// the exact layout written on disk.
#ifndef ZEL_TEST_CHUNKWALK_H
#define ZEL_TEST_CHUNKWALK_H

#include <cstring>
#include <string>
#include <vector>

#include "ZelHeader.h"

namespace ZelTest {

// One chunk met in file order: where its header starts, how many groups enclose it, the header
// and (for a leaf) its payload bytes.
struct ChunkEntry {
    Zel::int64 offset;
    Zel::uint64 depth;
    Zel::ZelHeader header;
    std::vector<unsigned char> payload;

    std::string tag() const { return header.tagStr(); }
    // The payload as elements of T.
    template <class T>
    std::vector<T> values() const {
        std::vector<T> v(payload.size() / sizeof(T));
        if (!v.empty()) {
            std::memcpy(v.data(), payload.data(), v.size() * sizeof(T));
        }
        return v;
    }
};

// Every chunk of `path` in file order, entering groups; stops at the first header or payload
// that cannot be read.
std::vector<ChunkEntry> walkChunks(const std::string& path);

// The tags of `chunks` joined by blanks, for comparing whole sequences at a glance.
std::string tagSequence(const std::vector<ChunkEntry>& chunks);

}  // namespace ZelTest

#endif

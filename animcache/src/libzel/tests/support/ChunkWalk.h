// Walks a cache file header by header, as a reader meets its chunks, for tests that check the
// exact layout written on disk.
#ifndef ZEL_TEST_CHUNKWALK_H
#define ZEL_TEST_CHUNKWALK_H

#include <cstring>
#include <string>
#include <vector>

#include "ZelFile.h"

namespace ZelTest {

// One chunk in file order: its header's offset, its enclosing groups, header and leaf payload.
struct ChunkEntry {
    Zel::int64 offset;
    Zel::uint64 depth;
    Zel::ZelHeader header;
    std::vector<unsigned char> payload;

    template <class T>
    std::vector<T> values() const {
        std::vector<T> v(payload.size() / sizeof(T));
        if (!v.empty()) {
            std::memcpy(v.data(), payload.data(), v.size() * sizeof(T));
        }
        return v;
    }
};

// Every chunk of `path` in file order, entering groups; stops at the first unreadable chunk.
inline std::vector<ChunkEntry> walkChunks(const std::string& path) {
    std::vector<ChunkEntry> chunks;
    Zel::ZelFile f;
    f.open(path.c_str(), "r");
    for (;;) {
        ChunkEntry e{f.tell(), f.getLevel(), Zel::ZelHeader(), {}};
        if (!f.readHeader(e.header)) {
            return chunks;
        }
        if (e.header.type != Zel::kTypeGroup) {
            if (e.header.length < 0 || e.header.length > f.bytesLeft()) {
                return chunks;
            }
            e.payload.resize(static_cast<size_t>(e.header.length));
            f.readData(e.header, e.payload.empty() ? nullptr : e.payload.data());
        }
        chunks.push_back(std::move(e));
    }
}

// The chunks as "TAG/type@offset+length" joined by blanks, with ">" per enclosing group and
// ":compound,dimension" when either is set: one string compares a whole layout.
inline std::string layout(const std::vector<ChunkEntry>& chunks) {
    std::string s;
    for (const ChunkEntry& e : chunks) {
        const Zel::ZelHeader& h = e.header;
        s += (s.empty() ? "" : " ") + std::string(e.depth, '>') + h.tagStr() + "/" +
             std::to_string(h.type) + "@" + std::to_string(e.offset) + "+" +
             std::to_string(h.length);
        if (h.compound != 0 || h.dimension != 0) {
            s += ":" + std::to_string(h.compound) + "," + std::to_string(h.dimension);
        }
    }
    return s;
}

}  // namespace ZelTest

#endif

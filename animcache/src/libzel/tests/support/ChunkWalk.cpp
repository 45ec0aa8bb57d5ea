#include "support/ChunkWalk.h"

#include "ZelFile.h"

namespace ZelTest {

std::vector<ChunkEntry> walkChunks(const std::string& path) {
    std::vector<ChunkEntry> chunks;
    Zel::ZelFile f;
    if (!f.open(path.c_str(), "r")) {
        return chunks;
    }
    for (;;) {
        ChunkEntry e{f.tell(), f.getLevel(), Zel::ZelHeader(), {}};
        if (!f.readHeader(e.header)) {
            break;
        }
        if (e.header.type != Zel::kTypeGroup) {
            if (e.header.length < 0 || e.header.length > f.bytesLeft()) {
                chunks.push_back(e);
                break;
            }
            e.payload.resize(static_cast<size_t>(e.header.length));
            if (!f.readData(e.header, e.payload.empty() ? nullptr : e.payload.data())) {
                break;
            }
        }
        chunks.push_back(std::move(e));
    }
    return chunks;
}

std::string tagSequence(const std::vector<ChunkEntry>& chunks) {
    std::string s;
    for (const ChunkEntry& e : chunks) {
        if (!s.empty()) {
            s += ' ';
        }
        s += e.tag();
    }
    return s;
}

}  // namespace ZelTest

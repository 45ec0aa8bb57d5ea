// The demo: writes a few chunks with ZelFile and reads them back, printing what it read.
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "Zel.h"

using namespace Zel;

int main() {
    const char* path = "demo.zel";
    ZelFile out;
    if (!out.open(path, "w")) {
        std::cerr << "cannot write " << path << '\n';
        return 1;
    }
    const int64 version = 2;
    out.writeChunk(ZelHeader(makeTag("DZEL"), kTypeInt64, 8), &version);
    out.startGroup(ZelHeader(makeTag("META"), kTypeGroup, 0));
    out.writeChunk(makeTag("WAPP"), "zeldemo");
    out.writeChunk(makeTag("POSI"), std::vector<float>{0, 0, 0, 1, 0, 0, 0, 1, 0}, -1, 1, 3);
    out.endGroup();
    out.close();

    ZelFile in;
    if (!in.open(path, "r")) {
        std::cerr << "cannot read " << path << '\n';
        return 1;
    }
    ZelHeader h;
    while (in.readHeader(h)) {
        std::cout << std::string(2 * (in.getLevel() - (h.type == kTypeGroup && h.length > 0)), ' ');
        h.print(std::cout);
        if (h.type == kTypeCstr) {
            std::string s;
            in.readData(h, s);
            std::cout << " : " << s;
        } else if (h.type == kTypeFloat) {
            std::vector<float> v(static_cast<size_t>(h.length / 4));
            in.readData(h, v.data());
            std::cout << " :";
            for (float x : v) {
                std::cout << ' ' << x;
            }
        } else if (h.type == kTypeInt64) {
            int64 x = 0;
            in.readData(h, &x);
            std::cout << " : " << x;
        }
        std::cout << '\n';
    }
    return 0;
}

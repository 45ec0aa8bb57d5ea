// zel2txt FILE: dumps the chunk tree of the cache FILE as indented text on standard output.
#include <iostream>

#include "zelUtils.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: zel2txt FILE" << std::endl;
        return 2;
    }
    return zel2txt(argv[1]) == 0 ? 0 : 1;
}

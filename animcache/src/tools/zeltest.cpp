// zeltest FILE: writes a small test cache to FILE.
#include <iostream>

#include "zelUtils.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: zeltest FILE" << std::endl;
        return 2;
    }
    return zeltest(argv[1]) == 0 ? 0 : 1;
}

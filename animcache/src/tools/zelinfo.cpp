// zelinfo FILE: prints a summary of the cache FILE.
#include <iostream>

#include "zelUtils.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: zelinfo FILE" << std::endl;
        return 2;
    }
    return zelinfo(argv[1]) == 0 ? 0 : 1;
}

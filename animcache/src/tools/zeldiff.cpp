// zeldiff FILE1 FILE2 [DIFF-OPTIONS...]: compares two caches through diff of their text dumps.
// Exits 0 when they match, 1 when they differ or a file cannot be dumped, 2 on trouble.
#include <sys/wait.h>

#include <iostream>
#include <string>

#include "zelUtils.h"

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: zeldiff FILE1 FILE2 [DIFF-OPTIONS...]" << std::endl;
        return 2;
    }
    std::string options;
    for (int i = 3; i < argc; ++i) {
        if (i > 3) {
            options += ' ';
        }
        options += argv[i];
    }
    const int status = zeldiff(argv[1], argv[2], options.c_str());
    if (status == -1) {
        return 1;
    }
    // diff itself exits 0 or 1; anything else (a bad option, no diff, a signal) is trouble.
    if (WIFEXITED(status) && WEXITSTATUS(status) <= 1) {
        return WEXITSTATUS(status);
    }
    return 2;
}

// The demo: writes a small test cache with zeltest, then prints its summary with zelinfo.
#include <iostream>

#include "Zel.h"

int main() {
    const char* path = "demo.zel";
    if (zeltest(path) != 0) {
        std::cerr << "zeldemo: could not write " << path << '\n';
        return 1;
    }
    std::cout << "wrote " << path << "\n\n";
    return zelinfo(path) == 0 ? 0 : 1;
}

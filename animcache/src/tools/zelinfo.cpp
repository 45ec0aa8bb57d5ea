// zelinfo FILE: prints a summary of the cache FILE.
#include "ToolArgs.h"
#include "zelUtils.h"

int main(int argc, char** argv) {
    std::vector<std::string> files;
    const int early =
        ZelTools::classicFrontEnd(argc, argv, "zelinfo", "zelinfo FILE",
                                  "Prints a summary of the cache FILE.", 1, false, files);
    if (early >= 0) {
        return early;
    }
    return zelinfo(files[0].c_str()) == 0 ? 0 : 1;
}

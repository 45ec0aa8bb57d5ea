// zel2txt FILE: dumps the chunk tree of the cache FILE as indented text on standard output.
#include "ToolArgs.h"
#include "zelUtils.h"

int main(int argc, char** argv) {
    std::vector<std::string> files;
    const int early = ZelTools::classicFrontEnd(
        argc, argv, "zel2txt", "zel2txt FILE",
        "Dumps the chunk tree of the cache FILE as indented text.", 1, false, files);
    if (early >= 0) {
        return early;
    }
    return zel2txt(files[0].c_str()) == 0 ? 0 : 1;
}

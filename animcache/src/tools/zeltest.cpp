// zeltest FILE: writes a small test cache to FILE.
#include "ToolArgs.h"
#include "zelUtils.h"

int main(int argc, char** argv) {
    std::vector<std::string> files;
    const int early =
        ZelTools::classicFrontEnd(argc, argv, "zeltest", "zeltest FILE",
                                  "Writes a small test cache to FILE.", 1, false, files);
    if (early >= 0) {
        return early;
    }
    return zeltest(files[0].c_str()) == 0 ? 0 : 1;
}

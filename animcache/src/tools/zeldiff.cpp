// zeldiff FILE1 FILE2 [DIFF-OPTIONS...]: compares two caches through diff of their text dumps.
// Exits 0 when they match, 1 when they differ, 2 on trouble (a file that cannot be dumped, a bad
// option for diff).
#include "ToolArgs.h"

int main(int argc, char** argv) {
    std::vector<std::string> operands;
    const int early = ZelTools::classicFrontEnd(
        argc, argv, "zeldiff", "zeldiff FILE1 FILE2 [DIFF-OPTIONS...]",
        "Compares two caches by running diff, with DIFF-OPTIONS, on their text dumps.", 2, true,
        operands);
    return early >= 0 ? early : ZelTools::runZeldiff(operands);
}

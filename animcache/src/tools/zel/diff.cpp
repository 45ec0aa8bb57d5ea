// zel diff FILE1 FILE2 [DIFF-OPTIONS...]: the classic comparison of two caches' dumps.
#include "ZelCommand.h"

namespace ZelTools {

int runDiff(const Subcommand& self, const ToolArgs& args) {
    const std::vector<std::string>& operands = args.operands();
    if (operands.size() < 2) {
        return usageError(self, "expected two files");
    }
    if (!probe(operands[0]) || !probe(operands[1])) {
        return kExitTrouble;
    }
    return runZeldiff(operands);
}

}  // namespace ZelTools

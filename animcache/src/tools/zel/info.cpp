// zel info FILE: the classic summary, after a probe that says why a file cannot be read.
#include "ZelCommand.h"

namespace ZelTools {

int runInfo(const Subcommand& self, const ToolArgs& args) {
    if (args.operands().size() != 1) {
        return usageError(self, "expected one FILE");
    }
    const std::string& path = args.operands()[0];
    if (!probe(path)) {
        return kExitTrouble;
    }
    // The summary fails only when the cache does not load: the file cannot be read as a cache.
    return zelinfo(path.c_str()) == 0 ? kExitOk : kExitTrouble;
}

}  // namespace ZelTools

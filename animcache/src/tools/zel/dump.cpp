// zel dump FILE: the classic text dump of every chunk.
#include "ZelCommand.h"

namespace ZelTools {

int runDump(const Subcommand& self, const ToolArgs& args) {
    if (args.operands().size() != 1) {
        return usageError(self, "expected one FILE");
    }
    const std::string& path = args.operands()[0];
    if (!probe(path)) {
        return kExitTrouble;
    }
    // A cache that opens but does not dump to its end has a problem the dump has named.
    return zel2txt(path.c_str()) == 0 ? kExitOk : kExitProblems;
}

}  // namespace ZelTools

// zel repair FILE (-o OUT | --in-place): a cache that a cut or an interrupted append left
// unloadable, written again with every whole sample; says what it kept and what it dropped.
#include <iostream>

#include "ZelCommand.h"

namespace ZelTools {

int runRepair(const Subcommand& self, const ToolArgs& args) {
    if (args.operands().size() != 1) {
        return usageError(self, "expected one FILE");
    }
    const std::string& path = args.operands()[0];
    const std::string* output = args.value("output");
    if ((output != nullptr) == args.has("in-place")) {
        return usageError(self, "say where the repaired cache goes: -o OUT, or --in-place");
    }
    const std::string target = output != nullptr ? *output : path;
    Zel::ZelRepairReport report;
    Zel::ZelStatus status;
    {
        ProgressLine progress("repairing " + path);
        status = Zel::repairCache(path, target, report, progress.callback());
    }
    if (!status.ok()) {
        return failStatus(status);
    }
    for (const std::string& note : report.notes) {
        std::cout << note << "\n";
    }
    std::cout << "written to " << target << std::endl;
    return kExitOk;
}

}  // namespace ZelTools

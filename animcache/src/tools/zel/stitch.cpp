// zel stitch FILE1 FILE2 ... -o OUT: caches of the same objects, one per frame range (as farm
// jobs write them), joined into one.
#include <iostream>

#include "ZelCommand.h"

namespace ZelTools {

int runStitch(const Subcommand& self, const ToolArgs& args) {
    const std::string* output = args.value("output");
    if (output == nullptr) {
        return usageError(self, "say where the stitched cache goes: -o OUT");
    }
    if (args.operands().empty()) {
        return usageError(self, "expected the caches to stitch");
    }
    Zel::ZelStitchReport report;
    Zel::ZelStatus status;
    {
        ProgressLine progress("stitching into " + *output);
        status = Zel::stitchCaches(args.operands(), *output, &report, progress.callback());
    }
    if (!status.ok()) {
        return failStatus(status);
    }
    for (const std::string& note : report.notes) {
        std::cout << note << "\n";
    }
    std::cout << *output << ": " << report.samples << " samples, frames " << report.firstTime
              << " to " << report.lastTime << " from " << args.operands().size()
              << (args.operands().size() == 1 ? " cache" : " caches")
              << (report.uniform ? "" : ", each sample at its own time") << std::endl;
    return kExitOk;
}

}  // namespace ZelTools

// zel: one command for caches from the shell. `zel help` lists the subcommands.
#include <cstring>
#include <iomanip>
#include <iostream>

#include "ZelCommand.h"

namespace ZelTools {

const std::vector<Subcommand>& subcommands() {
    static const std::vector<Subcommand> table = {
        {"info", "FILE", "the summary of a cache: metadata, objects, attributes", "", {}, runInfo},
        {"dump", "FILE", "every chunk of a cache as indented text", "", {}, runDump},
        {"diff",
         "FILE1 FILE2 [DIFF-OPTIONS...]",
         "compares two caches through diff of their dumps (date stamps left out)",
         "  exit status: 0 the same, 1 different, 2 trouble",
         {},
         runDiff},
        {"ls",
         "FILE [--json]",
         "one line per object: name, kind, points, attributes",
         "  --json  the listing as JSON",
         {{"json", 0, false}},
         runLs},
        {"check",
         "FILE [--json] [--strict]",
         "checks every chunk of every sample and lists each problem with where it lies",
         "  --json    the report as JSON\n"
         "  --strict  warnings (non-finite positions) count as errors\n"
         "  exit status: 0 clean, 1 problems found, 2 unreadable",
         {{"json", 0, false}, {"strict", 0, false}},
         runCheck},
        {"repair",
         "FILE (-o OUT | --in-place)",
         "makes a cut or interrupted cache load again with every whole sample",
         "  -o, --output OUT  where the repaired cache goes\n"
         "  --in-place        replace FILE (in one rename, once the repair is complete)\n"
         "  exit status: 0 written, 2 nothing to keep (the metadata is damaged) or trouble",
         {{"output", 'o', true}, {"in-place", 0, false}},
         runRepair},
        {"stitch",
         "FILE1 FILE2 ... -o OUT",
         "joins caches of the same objects whose frame ranges follow each other",
         "  -o, --output OUT  the stitched cache\n"
         "  exit status: 0 written, 1 the inputs do not fit together, 2 trouble",
         {{"output", 'o', true}},
         runStitch},
        {"sample",
         "FILE OBJECT TIME [--order N] [--format csv|json]",
         "the values of one object at any time, interpolated",
         "  --order N        0 the sample before, 1 linear (default), 2 quadratic, 3 cubic\n"
         "  --format FORMAT  csv (default) or json",
         {{"order", 0, true}, {"format", 0, true}},
         runSample},
    };
    return table;
}

namespace {

void printHelp() {
    std::cout << "usage: zel COMMAND [ARGUMENTS...]\n\n"
                 "Inspects, checks, repairs and joins animation caches.\n\ncommands:\n";
    for (const Subcommand& c : subcommands()) {
        std::cout << "  " << std::left << std::setw(8) << c.name << c.summary << "\n";
    }
    std::cout << "  help    this list; zel COMMAND --help tells more about one command\n\n"
                 "exit status: 0 done (clean, the same, written), 1 problems found (or files\n"
                 "that differ or do not fit together), 2 wrong usage or a file that cannot be\n"
                 "read or written\n\n"
              << versionLine("zel") << std::endl;
}

void printCommandHelp(const Subcommand& c) {
    std::cout << "usage: zel " << c.name << " " << c.usage << "\n\n"
              << char(std::toupper(c.summary[0])) << (c.summary + 1) << ".\n";
    if (c.details[0] != '\0') {
        std::cout << "\n" << c.details << "\n";
    }
    std::cout.flush();
}

const Subcommand* findSubcommand(const char* name) {
    for (const Subcommand& c : subcommands()) {
        if (std::strcmp(c.name, name) == 0) {
            return &c;
        }
    }
    return nullptr;
}

}  // namespace

}  // namespace ZelTools

int main(int argc, char** argv) {
    using namespace ZelTools;
    if (argc < 2) {
        std::cerr << "usage: zel COMMAND [ARGUMENTS...]  (zel help lists the commands)"
                  << std::endl;
        return kExitTrouble;
    }
    const char* name = argv[1];
    if (std::strcmp(name, "help") == 0 || std::strcmp(name, "-h") == 0 ||
        std::strcmp(name, "--help") == 0) {
        const Subcommand* about = argc > 2 ? findSubcommand(argv[2]) : nullptr;
        about != nullptr ? printCommandHelp(*about) : printHelp();
        return kExitOk;
    }
    if (std::strcmp(name, "--version") == 0 || std::strcmp(name, "version") == 0) {
        std::cout << versionLine("zel") << std::endl;
        return kExitOk;
    }
    const Subcommand* cmd = findSubcommand(name);
    if (cmd == nullptr) {
        std::cerr << "zel: unknown command '" << name << "' (zel help lists the commands)"
                  << std::endl;
        return kExitTrouble;
    }
    ToolArgs args;
    const bool isDiff = std::strcmp(cmd->name, "diff") == 0;
    if (!args.parse(argc, argv, 2, cmd->options, isDiff ? 2 : 0)) {
        return usageError(*cmd, args.error());
    }
    if (args.help()) {
        printCommandHelp(*cmd);
        return kExitOk;
    }
    if (args.version()) {
        std::cout << versionLine("zel") << std::endl;
        return kExitOk;
    }
    return cmd->run(*cmd, args);
}

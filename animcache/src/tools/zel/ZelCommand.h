// What the subcommands of `zel` share: their table, argument handling, messages, exit statuses,
// JSON output and the progress line.
#ifndef ZEL_COMMAND_H
#define ZEL_COMMAND_H

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ToolArgs.h"
#include "Zel.h"

namespace ZelTools {

using Json = nlohmann::ordered_json;

// One subcommand: how it is called and what it does, for `zel help` and `zel NAME --help`.
struct Subcommand {
    const char* name;
    const char* usage;    // after "zel NAME "
    const char* summary;  // one line
    const char* details;  // the options and what the exit status means, or ""
    std::vector<CommandOption> options;
    // Runs on the parsed arguments; returns the exit status.
    int (*run)(const Subcommand& self, const ToolArgs& args);
};

// Every subcommand, in the order `zel help` lists them.
const std::vector<Subcommand>& subcommands();

// The subcommands' entry points, one source each.
int runInfo(const Subcommand&, const ToolArgs&);
int runDump(const Subcommand&, const ToolArgs&);
int runDiff(const Subcommand&, const ToolArgs&);
int runLs(const Subcommand&, const ToolArgs&);
int runCheck(const Subcommand&, const ToolArgs&);
int runRepair(const Subcommand&, const ToolArgs&);
int runStitch(const Subcommand&, const ToolArgs&);
int runSample(const Subcommand&, const ToolArgs&);

// Prints "zel NAME: <message>" and the usage line to standard error; returns kExitTrouble.
int usageError(const Subcommand& cmd, const std::string& message);
// Prints "zel: <message>" to standard error; returns `exitStatus`.
int fail(const std::string& message, int exitStatus = kExitTrouble);
// Prints a failed status's message as fail() does; the exit status its code calls for: 1 for a
// request the files cannot meet (kInvalidArgument, kUnsupported), else 2.
int failStatus(const Zel::ZelStatus& status);
// Probes `path` (it opens, it is a cache) and prints why not; false then.
bool probe(const std::string& path);
// Opens `path` with `reader`; false after printing why it could not (for a damaged cache, with a
// pointer to zel check and zel repair).
bool openReader(const std::string& path, Zel::ZelReader& reader);

// Parses a number operand or option value; false after a usage error naming `what`.
bool parseFloat(const Subcommand& cmd, const std::string& text, const char* what, float& out);
bool parseInt(const Subcommand& cmd, const std::string& text, const char* what, int& out);

// The double nearest the shortest decimal that reads back as `v`, so that JSON shows 0.1 for a
// float 0.1 rather than every digit of its binary value, and a reader parsing it as a float gets
// `v` exactly.
double shortest(float v);

// Writes `json` to standard output, indented (or on one line), bytes that are not UTF-8 replaced.
void printJson(const Json& json, bool indent = true);

// The progress line of long work: on standard error while it is a terminal (samples done of
// total, rate, time left), nothing otherwise. The line is cleared when the object goes.
class ProgressLine {
  public:
    explicit ProgressLine(std::string label);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    // The callback to hand to the library; empty when standard error is not a terminal.
    Zel::ZelProgress callback();

  private:
    void show(Zel::int64 done, Zel::int64 total);

    std::string label_;
    bool enabled_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point start_, last_;
};

}  // namespace ZelTools

#endif

// What every command-line front end shares: telling options from operands, answering --help and
// --version, and the usage errors that exit 2.
#ifndef ZEL_TOOL_ARGS_H
#define ZEL_TOOL_ARGS_H

#include <string>
#include <vector>

namespace ZelTools {

// Exit statuses shared by every front end.
enum Exit { kExitOk = 0, kExitProblems = 1, kExitTrouble = 2 };

// An option a command takes: "--json", or "--output FILE" (short "-o FILE") with a value.
struct CommandOption {
    const char* longName;  // without the dashes
    char shortName;        // 0: none
    bool takesValue;
};

// A command line split into options and operands. "-h"/"--help" and "--version" are always
// recognised; "--" ends the options; a lone "-" and words that read as negative numbers ("-2",
// "-.5") are operands, so times before zero need no quoting.
class ToolArgs {
  public:
    // Parses argv[first .. argc) against `known`; false (with error()) for an unknown option or a
    // missing value. With `passAfter` above 0, everything after that many operands is kept as
    // operands untouched (options for another program).
    bool parse(int argc, char** argv, int first, const std::vector<CommandOption>& known,
               size_t passAfter = 0);
    const std::string& error() const { return error_; }
    bool help() const { return help_; }
    bool version() const { return version_; }
    // Whether option `longName` was given, and its last value (null when not given).
    bool has(const std::string& longName) const;
    const std::string* value(const std::string& longName) const;
    const std::vector<std::string>& operands() const { return operands_; }

  private:
    std::vector<std::pair<std::string, std::string>> given_;
    std::vector<std::string> operands_;
    std::string error_;
    bool help_ = false;
    bool version_ = false;
};

// "<program> (libzel) <version>".
std::string versionLine(const std::string& program);

// The front end of a classic tool: parses its arguments, answers --help (usage and `summary` on
// standard output) and --version, and refuses an option where a file name goes or a wrong number
// of files with the usage line on standard error. Returns -1 when the tool should run on
// `operands` (`files` of them, then with `passRest` whatever follows), else the exit status.
int classicFrontEnd(int argc, char** argv, const char* program, const char* usage,
                    const char* summary, size_t files, bool passRest,
                    std::vector<std::string>& operands);

// Compares operands[0] and operands[1] with zeldiff, the further operands joined by blanks as the
// options for diff; the exit status: diff's own 0 (same) or 1 (different), else 2 (a file not
// dumped, a bad option, no diff).
int runZeldiff(const std::vector<std::string>& operands);

}  // namespace ZelTools

#endif

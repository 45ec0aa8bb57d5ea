#include "ToolArgs.h"

#include <sys/wait.h>

#include <cctype>
#include <cstring>
#include <iostream>

#include "ZelVersion.h"
#include "zelUtils.h"

namespace ZelTools {

namespace {

// "-2", "-0.5", "-.5", "-1e3": a negative number, not an option.
bool isNegativeNumber(const char* arg) {
    return arg[0] == '-' && (std::isdigit(static_cast<unsigned char>(arg[1])) ||
                             (arg[1] == '.' && std::isdigit(static_cast<unsigned char>(arg[2]))));
}

const CommandOption* findOption(const std::vector<CommandOption>& known, const std::string& name,
                                bool isLong) {
    for (const CommandOption& s : known) {
        if (isLong ? name == s.longName : (name.size() == 1 && name[0] == s.shortName)) {
            return &s;
        }
    }
    return nullptr;
}

}  // namespace

bool ToolArgs::parse(int argc, char** argv, int first, const std::vector<CommandOption>& known,
                     size_t passAfter) {
    bool optionsEnded = false;
    for (int i = first; i < argc; ++i) {
        const char* arg = argv[i];
        if (passAfter > 0 && operands_.size() >= passAfter) {
            operands_.push_back(arg);
            continue;
        }
        if (optionsEnded || arg[0] != '-' || arg[1] == '\0' || isNegativeNumber(arg)) {
            operands_.push_back(arg);
            continue;
        }
        if (std::strcmp(arg, "--") == 0) {
            optionsEnded = true;
            continue;
        }
        if (std::strcmp(arg, "-h") == 0 || std::strcmp(arg, "--help") == 0) {
            help_ = true;
            continue;
        }
        if (std::strcmp(arg, "--version") == 0) {
            version_ = true;
            continue;
        }
        const bool isLong = arg[1] == '-';
        std::string name = arg + (isLong ? 2 : 1);
        std::string value;
        const size_t eq = isLong ? name.find('=') : std::string::npos;
        const bool inlineValue = eq != std::string::npos;
        if (inlineValue) {
            value = name.substr(eq + 1);
            name.resize(eq);
        }
        const CommandOption* option = findOption(known, name, isLong);
        if (option == nullptr) {
            error_ = std::string("unknown option '") + arg + "'";
            return false;
        }
        if (option->takesValue && !inlineValue) {
            if (i + 1 >= argc) {
                error_ = std::string("option '") + arg + "' needs a value";
                return false;
            }
            value = argv[++i];
        } else if (!option->takesValue && inlineValue) {
            error_ = std::string("option '--") + name + "' takes no value";
            return false;
        }
        given_.emplace_back(option->longName, value);
    }
    return true;
}

bool ToolArgs::has(const std::string& longName) const {
    return value(longName) != nullptr;
}

const std::string* ToolArgs::value(const std::string& longName) const {
    for (auto it = given_.rbegin(); it != given_.rend(); ++it) {
        if (it->first == longName) {
            return &it->second;
        }
    }
    return nullptr;
}

std::string versionLine(const std::string& program) {
    return program + " (libzel) " + Zel::zelVersion();
}

int classicFrontEnd(int argc, char** argv, const char* program, const char* usage,
                    const char* summary, size_t files, bool passRest,
                    std::vector<std::string>& operands) {
    ToolArgs args;
    const bool parsed = args.parse(argc, argv, 1, {}, passRest ? files : 0);
    if (parsed && args.help()) {
        std::cout << "usage: " << usage << "\n" << summary << std::endl;
        return kExitOk;
    }
    if (parsed && args.version()) {
        std::cout << versionLine(program) << std::endl;
        return kExitOk;
    }
    operands = args.operands();
    if (!parsed || operands.size() < files || (!passRest && operands.size() > files)) {
        std::cerr << "usage: " << usage << std::endl;
        return kExitTrouble;
    }
    return -1;
}

int runZeldiff(const std::vector<std::string>& operands) {
    std::string options;
    for (size_t i = 2; i < operands.size(); ++i) {
        options += (i > 2 ? " " : "") + operands[i];
    }
    const int status = zeldiff(operands[0].c_str(), operands[1].c_str(), options.c_str());
    if (status != -1 && WIFEXITED(status) && WEXITSTATUS(status) <= 1) {
        return WEXITSTATUS(status);
    }
    return kExitTrouble;
}

}  // namespace ZelTools

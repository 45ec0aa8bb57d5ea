// zel check FILE [--json] [--strict]: every problem of a cache, each with where it lies.
#include <iostream>

#include "ZelCommand.h"

namespace ZelTools {

namespace {

using Zel::ZelCheckReport;
using Zel::ZelProblem;

// A field that -1 leaves unknown: null in JSON.
Json orNull(Zel::int64 v) {
    return v < 0 ? Json() : Json(v);
}

std::string plural(Zel::int64 n, const char* word) {
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

void printText(const std::string& path, const ZelCheckReport& report) {
    std::cout << path << ": "
              << (report.clean()
                      ? std::string("clean")
                      : plural(report.errors, "error") + ", " + plural(report.warnings, "warning"))
              << " (" << plural(report.samplesChecked, "sample") << " of "
              << plural(report.objectCount, "object") << ", " << plural(report.fileSize, "byte")
              << (report.loads ? "" : "; the loader refuses it") << ")\n";
    for (const ZelProblem& p : report.problems) {
        std::cout << "  " << Zel::severityName(p.severity);
        std::string where;
        if (p.offset >= 0) {
            where += " at byte " + std::to_string(p.offset);
        }
        if (p.sample >= 0) {
            where +=
                (where.empty() ? " " : ", ") + std::string("sample ") + std::to_string(p.sample);
        }
        if (p.object >= 0) {
            where +=
                (where.empty() ? " " : ", ") + std::string("object ") + std::to_string(p.object);
        }
        std::cout << where << ": " << p.message << "\n";
    }
    const auto listed = static_cast<Zel::int64>(report.problems.size());
    if (report.errors + report.warnings > listed) {
        std::cout << "  ... and " << report.errors + report.warnings - listed << " more\n";
    }
    std::cout.flush();
}

void printJsonReport(const std::string& path, const ZelCheckReport& report) {
    Json problems = Json::array();
    for (const ZelProblem& p : report.problems) {
        problems.push_back({{"severity", Zel::severityName(p.severity)},
                            {"offset", orNull(p.offset)},
                            {"sample", orNull(p.sample)},
                            {"object", orNull(p.object)},
                            {"message", p.message}});
    }
    printJson({{"file", path},
               {"clean", report.clean()},
               {"loads", report.loads},
               {"fileSize", report.fileSize},
               {"samples", report.sampleCount},
               {"samplesChecked", report.samplesChecked},
               {"objects", report.objectCount},
               {"errors", report.errors},
               {"warnings", report.warnings},
               {"problems", problems}});
}

}  // namespace

int runCheck(const Subcommand& self, const ToolArgs& args) {
    if (args.operands().size() != 1) {
        return usageError(self, "expected one FILE");
    }
    const std::string& path = args.operands()[0];
    Zel::ZelCheckOptions options;
    options.strict = args.has("strict");
    ZelCheckReport report;
    Zel::ZelStatus status;
    {
        ProgressLine progress("checking " + path);
        options.progress = progress.callback();
        status = Zel::checkCache(path, report, options);
    }
    if (!status.ok()) {
        return fail(status.message());
    }
    args.has("json") ? printJsonReport(path, report) : printText(path, report);
    return report.clean() ? kExitOk : kExitProblems;
}

}  // namespace ZelTools

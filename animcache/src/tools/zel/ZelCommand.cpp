#include "ZelCommand.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace ZelTools {

int usageError(const Subcommand& cmd, const std::string& message) {
    std::cerr << "zel " << cmd.name << ": " << message << "\nusage: zel " << cmd.name << " "
              << cmd.usage << std::endl;
    return kExitTrouble;
}

int fail(const std::string& message, int exitStatus) {
    std::cerr << "zel: " << message << std::endl;
    return exitStatus;
}

int failStatus(const Zel::ZelStatus& status) {
    using Zel::ZelStatusCode;
    const bool refused = status.code() == ZelStatusCode::kInvalidArgument ||
                         status.code() == ZelStatusCode::kUnsupported;
    return fail(status.message(), refused ? kExitProblems : kExitTrouble);
}

bool probe(const std::string& path) {
    const Zel::ZelStatus status = Zel::probeCacheFile(path);
    if (!status.ok()) {
        fail(status.message());
    }
    return status.ok();
}

bool openReader(const std::string& path, Zel::ZelReader& reader) {
    const Zel::ZelStatus status = reader.open(path);
    if (status.code() == Zel::ZelStatusCode::kCorrupt) {
        fail(status.message() + " (zel check lists every problem, zel repair mends a cut file)");
    } else if (!status.ok()) {
        fail(status.message());
    }
    return status.ok();
}

bool parseFloat(const Subcommand& cmd, const std::string& text, const char* what, float& out) {
    char* end = nullptr;
    errno = 0;
    out = std::strtof(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno != 0 || !std::isfinite(out)) {
        usageError(cmd, std::string(what) + " '" + text + "' is not a number");
        return false;
    }
    return true;
}

bool parseInt(const Subcommand& cmd, const std::string& text, const char* what, int& out) {
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || v < -1000000000L || v > 1000000000L) {
        usageError(cmd, std::string(what) + " '" + text + "' is not a whole number");
        return false;
    }
    out = static_cast<int>(v);
    return true;
}

double shortest(float v) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf - 1, v);
    *r.ptr = '\0';
    return std::strtod(buf, nullptr);
}

void printJson(const Json& json, bool indent) {
    std::cout << json.dump(indent ? 2 : -1, ' ', false, Json::error_handler_t::replace)
              << std::endl;
}

ProgressLine::ProgressLine(std::string label)
    : label_(std::move(label)), enabled_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
    if (shown_) {
        std::fputs("\r\033[K", stderr);
    }
}

Zel::ZelProgress ProgressLine::callback() {
    if (!enabled_) {
        return {};
    }
    start_ = last_ = std::chrono::steady_clock::now();
    return [this](Zel::int64 done, Zel::int64 total) { show(done, total); };
}

void ProgressLine::show(Zel::int64 done, Zel::int64 total) {
    using Seconds = std::chrono::duration<double>;
    const auto now = std::chrono::steady_clock::now();
    // Five updates a second are enough for a person and cost nothing.
    if (shown_ && done < total && now - last_ < std::chrono::milliseconds(200)) {
        return;
    }
    last_ = now;
    const double elapsed = Seconds(now - start_).count();
    const double rate = elapsed > 0 ? static_cast<double>(done) / elapsed : 0;
    char line[160];
    const int printed =
        std::snprintf(line, sizeof line, "\r\033[K%s: %lld of %lld samples", label_.c_str(),
                      static_cast<long long>(done), static_cast<long long>(total));
    const int n = std::min(std::max(printed, 0), static_cast<int>(sizeof line) - 1);
    if (rate > 0 && done < total) {
        const long left = std::lround(static_cast<double>(total - done) / rate);
        std::snprintf(line + n, sizeof line - static_cast<size_t>(n),
                      ", %.0f samples/s, %ld:%02ld left", rate, left / 60, left % 60);
    }
    std::fputs(line, stderr);
    std::fflush(stderr);
    shown_ = true;
}

}  // namespace ZelTools

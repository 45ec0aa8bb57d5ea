// Fuzz target: checkCache and repairCache on the input. Besides never crashing, the check's report
// must agree with the readers: `loads` is exactly what ZelCache::load says, and a file found clean
// and loadable opens in ZelReader too. The report keeps its own promises: problems in file order,
// at most the limit, each one line starting in lower case; progress from 0 to the total, a few
// hundred calls at most. Whatever repairCache writes loads in ZelCache and ZelReader, and the
// check agrees that it loads.
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "FuzzInput.h"
#include "Zel.h"
#include "ZelCheck.h"

namespace {

using namespace Zel;

void require(bool promise) {
    if (!promise) {
        std::abort();
    }
}

void checkReport(const ZelCheckReport& r, const ZelCheckOptions& options) {
    require(static_cast<int64>(r.problems.size()) <= options.maxProblems);
    require(static_cast<int64>(r.problems.size()) <= r.errors + r.warnings);
    require(r.samplesChecked <= r.fileSize / 16);
    for (size_t i = 0; i < r.problems.size(); ++i) {
        const ZelProblem& p = r.problems[i];
        require(i == 0 || r.problems[i - 1].offset <= p.offset);
        require(p.offset >= -1 && p.offset < r.fileSize);
        require(!p.message.empty() && !std::isupper(static_cast<unsigned char>(p.message[0])) &&
                p.message.back() != '.' && p.message.find('\n') == std::string::npos);
        require(!options.strict || p.severity == ZelSeverity::kError);
    }
}

// Repairs `path` into a file beside it; what the repair writes must load everywhere.
void checkRepair(const char* path) {
    const std::string repaired = std::string(path) + ".repaired";
    ZelRepairReport report;
    if (!repairCache(path, repaired, report).ok()) {
        return;
    }
    ZelCache cache;
    ZelReader reader;
    ZelCheckReport check;
    require(cache.load(repaired.c_str(), false) && reader.open(repaired).ok());
    require(checkCache(repaired, check).ok() && check.loads);
    require(report.samplesKept == reader.sampleCount());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* path = ZelFuzz::inputFile(data, size);
    ZelCheckOptions options;
    // A small limit, so that keeping the first problems in file order is tried too; strict on
    // every other input size.
    options.maxProblems = 4;
    options.strict = size % 2 == 1;
    int64 calls = 0, last = -1, total = -1;
    options.progress = [&](int64 done, int64 all) {
        require((calls == 0 && done == 0) || (all == total && done >= last));
        ++calls;
        last = done;
        total = all;
    };
    ZelCheckReport report;
    if (!checkCache(path, report, options).ok()) {
        require(!report.loads && report.problems.empty());
        return 0;
    }
    checkReport(report, options);
    require(calls >= 2 && calls <= 300 && last == total);
    ZelCache cache;
    require(cache.load(path, false) == report.loads);
    if (report.clean() && report.loads) {
        ZelReader reader;
        require(reader.open(path).ok());
    }
    checkRepair(path);
    return 0;
}

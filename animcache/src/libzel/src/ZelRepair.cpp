// repairCache: the whole samples of a damaged cache, found through its tables and copied through
// ZelWriter into a cache that every reader loads.
#include "ZelRepair.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "ZelProgressTicker.h"
#include "ZelReaderImpl.h"
#include "ZelWriterImpl.h"

namespace Zel {

namespace {

std::string text(double v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

// What the samples sections of a cache list, read as far as they read.
struct SectionScan {
    std::vector<TimeEntry> times;  // non-uniform sampling only: one per jump entry
    std::vector<JumpEntry> jumps;
    int64 end = 0;         // where the last section read and the samples it lists end
    int64 damagedAt = -1;  // the section whose tables do not read, or -1
};

// Where the samples that jumps[first ...] list end, as far as they lie in the file; `end` when
// that is further.
int64 samplesEnd(const ZelReader::Impl& r, const std::vector<JumpEntry>& jumps, size_t first,
                 int64 end) {
    for (size_t i = first; i < jumps.size(); ++i) {
        ZelHeader h;
        if (jumps[i] >= 0 && decodeHeader(r.bytes(), r.map.size(), uint64(jumps[i]), h) &&
            h.length >= 0) {
            end = std::max(end, std::min(payloadEnd(jumps[i] + kHeaderSize, h), r.size()));
        }
    }
    return end;
}

// Reads the tables of the section whose header `h` was just read from `s` into `scan`; false,
// `scan` as it was, when they do not read.
bool readSection(const ZelReader::Impl& r, ZelByteStream& s, const ZelHeader& h,
                 SectionScan& scan) {
    const int64 end = std::min(payloadEnd(s.tell(), h), r.size());
    const size_t times = scan.times.size(), jumps = scan.jumps.size();
    SectionTables t;
    if (h.type == kTypeGroup && h.length > 0 &&
        readSectionTables(s, scan.times, scan.jumps, t, nullptr, end) ==
            SectionTablesError::kNone &&
        t.hasJumps && s.tell() <= end) {
        // A commit that stopped early may have written the table but not the section's length.
        scan.end = samplesEnd(r, scan.jumps, jumps, end);
        return true;
    }
    scan.times.resize(times);
    scan.jumps.resize(jumps);
    return false;
}

// Reads the tables of the samples sections from `from` on, in file order, also the entries past
// what the metadata announces (an append that stopped while committing left them), up to the
// first section that does not read or does not follow the one before directly: what lies between
// sections is what an append that did not finish left, and samples behind it would not be in
// order.
SectionScan scanSections(const ZelReader::Impl& r, int64 from, bool uniform) {
    SectionScan scan;
    scan.end = from;
    ZelByteStream s(r.bytes(), r.map.size(), from);
    ZelHeader h;
    // Chunks before the first section are passed over, as a loader passes them.
    bool section = false;
    while (!section && s.readHeader(h)) {
        section = h.tag == kTagSAMS;
        if (!section && !s.skipData(h)) {
            break;
        }
    }
    // A section whose length was never written is one an append began and did not finish.
    while (section && h.length != 0) {
        const int64 at = s.tell() - kHeaderSize;
        if (!readSection(r, s, h, scan)) {
            scan.damagedAt = at;
            break;
        }
        // Each sample's time sits at its jump entry's index: where one table grew and the other
        // did not, the samples past the shorter one have no time.
        if (!uniform && scan.times.size() != scan.jumps.size()) {
            const size_t n = std::min(scan.times.size(), scan.jumps.size());
            scan.times.resize(n);
            scan.jumps.resize(n);
            break;
        }
        s.seek(scan.end);
        section = s.readHeader(h) && h.tag == kTagSAMS;
    }
    if (uniform) {
        scan.times.clear();
    }
    return scan;
}

// The samples repair keeps: the first ones the tables list, up to one that is not whole.
struct Kept {
    int64 count = 0;
    int64 end = 0;    // where the last kept sample ends
    std::string why;  // why the sample after them is dropped; empty when none is
};

float timeOf(const ZelReader::Impl& r, const SectionScan& scan, int64 i) {
    return r.rate != 0.0f ? static_cast<float>(i) / r.rate + r.firstTime
                          : scan.times[static_cast<size_t>(i)];
}

Kept keepWhole(const ZelReader::Impl& r, const SectionScan& scan) {
    Kept k;
    k.end = r.metadata.end();
    const auto objects = static_cast<int64>(r.objects.size());
    for (int64 i = 0; i < static_cast<int64>(scan.jumps.size()); ++i) {
        const float t = timeOf(r, scan, i);
        if (!std::isfinite(t)) {
            k.why = "it has no usable time";
            return k;
        }
        const float previous = i > 0 ? timeOf(r, scan, i - 1) : t;
        if (i > 0 && !(t > previous)) {
            k.why = "its time is not after the previous sample's (frame " + text(previous) + ")";
            return k;
        }
        const JumpEntry at = scan.jumps[static_cast<size_t>(i)];
        if (const char* problem = sampleGroupProblem(r.bytes(), r.size(), at, objects)) {
            k.why = std::string("it ") + problem;
            return k;
        }
        ZelHeader h;
        decodeHeader(r.bytes(), r.map.size(), static_cast<uint64>(at), h);
        k.end = std::max(k.end, at + kHeaderSize + h.length);
        ++k.count;
    }
    return k;
}

// The time range of `count` kept samples, for the notes.
std::string frames(const ZelReader::Impl& r, const SectionScan& scan, int64 count) {
    const std::string first = text(timeOf(r, scan, 0));
    return count == 1 ? "frame " + first
                      : "frames " + first + " to " + text(timeOf(r, scan, count - 1));
}

// One line each for what the scan found, what was dropped and what was kept; a single line when
// the file was whole (`loaded`: the reader took it as it was).
void describe(const ZelReader::Impl& r, const SectionScan& scan, const Kept& kept, bool loaded,
              ZelRepairReport& report) {
    std::vector<std::string>& notes = report.notes;
    const auto listed = static_cast<int64>(scan.jumps.size());
    const std::string range = kept.count > 0 ? " (" + frames(r, scan, kept.count) + ")" : "";
    const bool complete = kept.count == listed && listed == r.numSamples && scan.damagedAt < 0;
    if (complete && loaded && scan.end == r.size()) {
        notes.push_back("the file was whole: its " + std::to_string(kept.count) + " samples" +
                        range + " are rewritten unchanged");
        return;
    }
    if (complete && !loaded) {
        notes.push_back("the metadata's times disagreed with the samples: they are set anew");
    }
    if (listed > r.numSamples) {
        notes.push_back("the tables list " + std::to_string(listed) + " samples, the metadata " +
                        std::to_string(r.numSamples) + ": an append stopped while committing");
    } else if (listed < r.numSamples) {
        notes.push_back("the metadata announces " + std::to_string(r.numSamples) +
                        " samples, the tables list " + std::to_string(listed));
    }
    if (scan.damagedAt >= 0) {
        notes.push_back("the tables of the samples section at byte " +
                        std::to_string(scan.damagedAt) +
                        " do not read: the samples it and the sections after it hold are lost");
    }
    if (kept.count < listed) {
        // Samples are counted from 0, as every other message and index of the library counts them.
        const float t = timeOf(r, scan, kept.count);
        const std::string first = "sample " + std::to_string(kept.count) +
                                  (std::isfinite(t) ? " (frame " + text(t) + ")" : std::string());
        notes.push_back(listed - kept.count == 1
                            ? "dropped " + first + ": " + kept.why
                            : "dropped " + std::to_string(listed - kept.count) + " samples from " +
                                  first + " on: " + kept.why);
    }
    const int64 trailing = r.size() - scan.end;
    if (trailing > 0 && scan.damagedAt < 0) {
        notes.push_back("dropped " + std::to_string(trailing) +
                        " bytes after the last samples section that no table refers to (an "
                        "append that did not finish)");
    }
    notes.push_back(kept.count > 0 ? "kept " + std::to_string(kept.count) + " samples" + range
                                   : std::string("kept no samples"));
}

// Whether the reader's own checks of the tables against the metadata pass, on entries of its own.
bool loads(ZelReader::Impl& r) {
    return r.numSamples == 0 ||
           (r.readSections(r.metadata.end(), true).ok() && r.checkSamples(true).ok());
}

}  // namespace

ZelStatus repairCache(const std::string& input, const std::string& output, ZelRepairReport& report,
                      const ZelProgress& progress) {
    report = ZelRepairReport();
    ZelReader::Impl r;
    r.path = input;
    ZelStatus s = r.map.open(input);
    s = s.ok() ? r.loadHead() : s;
    if (!s.ok()) {
        return s;
    }
    const bool uniform = r.rate != 0.0f;
    if (uniform && !(r.rate > 0.0f && std::isfinite(r.rate))) {
        return ZelStatus(ZelStatusCode::kCorrupt,
                         input + ": its metadata gives the sampling rate " + text(r.rate) +
                             ", which no samples can follow");
    }
    const SectionScan scan = scanSections(r, r.metadata.end(), uniform);
    const Kept kept = keepWhole(r, scan);
    ZelWriterOptions options;
    options.rate = uniform ? r.rate : 0.0f;
    options.firstTime = kept.count > 0 ? timeOf(r, scan, 0) : 1.0f;
    options.frameCount = kept.count;
    options.dateStamp = r.dateStamp;
    ZelWriter::Impl w;
    s = w.createCopy(output, options, input, r.metadata.offset);
    ZelProgressTicker ticker(progress, kept.count);
    for (int64 i = 0; s.ok() && i < kept.count; ++i) {
        const JumpEntry at = scan.jumps[static_cast<size_t>(i)];
        r.adviseChunk(at, true);
        s = w.writeCopiedFrame(timeOf(r, scan, i), r.bytes(), r.size(), at);
        r.adviseChunk(at, false);
        ticker.done(i + 1);
    }
    s = s.ok() ? w.close() : s;
    if (!s.ok()) {
        return s;
    }
    ticker.finish();
    report.samplesKept = kept.count;
    report.samplesDropped =
        std::max<int64>(r.numSamples, static_cast<int64>(scan.jumps.size())) - kept.count;
    report.bytesDropped = r.size() - kept.end;
    if (kept.count > 0) {
        report.firstTime = timeOf(r, scan, 0);
        report.lastTime = timeOf(r, scan, kept.count - 1);
    }
    describe(r, scan, kept, loads(r), report);
    return ZelStatus();
}

}  // namespace Zel

// checkCache: the file's layout (identification, metadata, samples sections and their tables),
// the times, and what lies behind the last section. The samples are ZelCheckSamples.cpp's.
#include "ZelCheck.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ZelCheckImpl.h"

namespace Zel {

std::string checkNumber(float v) {
    // The shortest text that reads back as the same float.
    char text[32];
    for (int precision = 1; precision <= 9; ++precision) {
        std::snprintf(text, sizeof(text), "%.*g", precision, static_cast<double>(v));
        if (std::strtof(text, nullptr) == v) {
            break;
        }
    }
    return text;
}

std::string checkQuoted(const unsigned char* p, size_t n) {
    std::string s = "\"";
    for (size_t i = 0; i < n; ++i) {
        if (p[i] >= 0x20 && p[i] < 0x7f && p[i] != '"' && p[i] != '\\') {
            s += static_cast<char>(p[i]);
        } else {
            char hex[8];
            std::snprintf(hex, sizeof(hex), "\\x%02X", p[i]);
            s += hex;
        }
    }
    return s + "\"";
}

std::string checkQuoted(uint32 tag) {
    unsigned char text[4];
    std::memcpy(text, &tag, 4);
    return checkQuoted(text, 4);
}

std::string checkChunkName(const ZelHeader& h) {
    const char* type = h.type < 7 ? zelTypeNames[h.type] : "unknown";
    return "a " + checkQuoted(h.tag) + " chunk of type " + type;
}

namespace {

using std::to_string;

// The text of a table that could not be read at `at`, from its header `h`.
std::string tableTrouble(const ZelHeader& h, int64 at, int64 size, int64 entrySize) {
    if (h.length < 0) {
        return "has a negative length (" + to_string(h.length) + ")";
    }
    if (h.length % entrySize != 0) {
        return "holds " + to_string(h.length) + " bytes, not a whole number of entries";
    }
    return "runs past the end of the file (it ends at byte " +
           to_string(payloadEnd(at + kHeaderSize, h)) + ", the file has " + to_string(size) + ")";
}

}  // namespace

const char* severityName(ZelSeverity severity) {
    return severity == ZelSeverity::kWarning ? "warning" : "error";
}

ZelStatus checkCache(const std::string& path, ZelCheckReport& report,
                     const ZelCheckOptions& options) {
    report = ZelCheckReport();
    ZelReader::Impl file;
    file.path = path;
    const ZelStatus status = file.map.open(path);
    if (!status.ok()) {
        return status;
    }
    if (!startsAsCache(file.bytes(), file.map.size())) {
        return ZelStatus(ZelStatusCode::kNotACache,
                         notACacheMessage(path, file.bytes(), file.map.size()));
    }
    // The loader's checks read the identification, metadata and tables only; the check decodes
    // the same metadata again where it meets it, so the objects listed go first.
    report.loads = file.load(false).ok();
    file.objects.clear();
    file.byName.clear();
    ZelChecker(file, options, report).run();
    return ZelStatus();
}

// ---------------------------------------------------------------------------------------------

ZelChecker::ZelChecker(ZelReader::Impl& file, const ZelCheckOptions& options,
                       ZelCheckReport& report)
    : file_(file), bytes_(file.bytes()), size_(file.size()), options_(options), report_(report) {}

void ZelChecker::run() {
    report_.fileSize = size_;
    readHead();
    if (metaRead_) {
        readDefinitions();
    }
    for (Section& s : sections_) {
        readSectionTables(s);
    }
    if (metaRead_ && file_.rate == 0.0f) {
        checkTimeOrder();
    }
    checkSamples();
    if (metaRead_) {
        compareWithMetadata();
    }
    checkTrailingBytes();
    finish();
}

void ZelChecker::readHead() {
    if (size_ < kHeaderSize) {
        error(0, -1, -1, [&] {
            return "the file ends inside its first chunk header (it has " + to_string(size_) +
                   " bytes)";
        });
        return;
    }
    ZelHeader h;
    decodeHeader(bytes_, static_cast<uint64>(size_), 0, h);
    if (h.type != kTypeInt64 || h.length != 8) {
        error(0, -1, -1, [&] {
            return "the \"DZEL\" chunk is not one int64 version (type " + to_string(h.type) +
                   ", length " + to_string(h.length) + ")";
        });
    }
    const int64 end = payloadEnd(kHeaderSize, h);
    if (h.length < 0) {
        return;
    }
    if (end > size_) {
        error(0, -1, -1, [&] {
            return "the \"DZEL\" chunk runs past the end of the file (it ends at byte " +
                   to_string(end) + ", the file has " + to_string(size_) + ")";
        });
        return;
    }
    readTopLevel(end);
}

// The chunks after the identification: the first metadata chunk, the samples sections after it,
// anything else passed over as the loader passes over it.
void ZelChecker::readTopLevel(int64 pos) {
    for (; pos < size_;) {
        ZelHeader h;
        const bool whole = decodeHeader(bytes_, static_cast<uint64>(size_), pos, h);
        const bool meta = whole && h.tag == kTagMETA && !metaFound_;
        const bool section = whole && h.tag == kTagSAMS && metaFound_;
        const int64 end = whole && h.length >= 0 ? payloadEnd(pos + kHeaderSize, h) : INT64_MAX;
        // Past the metadata, damage that no section follows is for checkTrailingBytes.
        if (!whole || h.length < 0 || (end > size_ && !meta && !section)) {
            if (!metaFound_ || section) {
                if (meta) {
                    metaFound_ = true;
                    metaOffset_ = pos;
                }
                error(pos, -1, -1, [&] {
                    return !whole
                               ? "the file ends inside a chunk header at byte " + to_string(pos) +
                                     " (it has " + to_string(size_) + " bytes)"
                               : checkQuoted(h.tag) + " at byte " + to_string(pos) +
                                     (h.length < 0
                                          ? " has a negative length (" + to_string(h.length) + ")"
                                          : " runs past the end of the file");
                });
            }
            break;
        }
        if (meta) {
            readMetadata(pos, h);
        } else if (section) {
            Section s;
            s.offset = pos;
            s.end = end;
            sections_.push_back(s);
            if (end > size_) {
                error(pos, -1, -1, [&] {
                    return "the samples section at byte " + to_string(pos) +
                           " runs past the end of the file (it ends at byte " + to_string(end) +
                           ", the file has " + to_string(size_) + ")";
                });
            }
        }
        pos = end;
    }
    if (!metaFound_) {
        error(-1, -1, -1, [] { return std::string("the file has no metadata chunk (\"META\")"); });
    }
}

void ZelChecker::readMetadata(int64 pos, const ZelHeader& h) {
    metaFound_ = true;
    metaOffset_ = pos;
    const int64 end = payloadEnd(pos + kHeaderSize, h);
    if (end > size_) {
        error(pos, -1, -1, [&] {
            return "the metadata chunk runs past the end of the file (it ends at byte " +
                   to_string(end) + ", the file has " + to_string(size_) + ")";
        });
        return;
    }
    if (h.type != kTypeGroup) {
        error(pos, -1, -1,
              [&] { return "the metadata chunk is not a group (type " + to_string(h.type) + ")"; });
        return;
    }
    if (file_.readMetadata(ZelChunkRef{pos, h}).ok()) {
        metaRead_ = true;
        report_.sampleCount = file_.numSamples;
        report_.objectCount = static_cast<int>(file_.objects.size());
        return;
    }
    file_.objects.clear();
    file_.byName.clear();
    describeMalformed(pos + kHeaderSize, end, -1, -1, "the metadata chunk");
}

void ZelChecker::describeMalformed(int64 begin, int64 end, int object, int64 sample,
                                   const std::string& what) {
    // The walk again, this time keeping where each group ends: the chunk at fault is the one the
    // walk would have read next. The metadata chunk counts as the first level of its groups.
    const bool metadata = object < 0 && sample < 0;
    std::vector<int64> ends{end};
    int64 next = begin, deepAt = -1;
    walkChunks(bytes_, begin, end, [&](int64 at, const ZelHeader& h, int depth) {
        ends.resize(static_cast<size_t>(depth) + 1);
        const bool enter = h.type == kTypeGroup && h.length > 0;
        if (metadata && enter && depth + 2 > kMaxGroupLevels) {
            deepAt = at;
            return WalkStep::kStop;
        }
        next = at + kHeaderSize + (enter ? 0 : h.length);
        if (enter) {
            ends.push_back(at + kHeaderSize + h.length);
        }
        return WalkStep::kDescend;
    });
    if (deepAt >= 0) {
        error(deepAt, object, sample, [&] {
            return what + " nests groups more than " + to_string(kMaxGroupLevels) +
                   " levels deep, more than a reader follows";
        });
        return;
    }
    while (ends.size() > 1 && ends.back() == next) {
        ends.pop_back();
    }
    // A chunk at fault directly in a sample lies behind the object group walked last.
    const bool inSample = ends.size() == 1 && sample >= 0;
    error(next, inSample ? -1 : object, sample, [&] {
        return (inSample ? "sample " + to_string(sample) : what) +
               " is not well formed: " + whyMalformed(next, ends.back());
    });
}

std::string ZelChecker::whyMalformed(int64 at, int64 groupEnd) const {
    if (groupEnd - at < kHeaderSize) {
        return "a chunk header at byte " + to_string(at) + " is cut off by the end of its group";
    }
    ZelHeader h;
    decodeHeader(bytes_, static_cast<uint64>(size_), static_cast<uint64>(at), h);
    const std::string chunk = checkQuoted(h.tag) + " at byte " + to_string(at);
    if (h.length < 0) {
        return chunk + " has a negative length (" + to_string(h.length) + ")";
    }
    if (h.type != kTypeGroup && !leafLengthFits(h.type, h.length)) {
        return chunk + " holds " + to_string(h.length) + " bytes, not a whole number of " +
               zelTypeNames[h.type] + " values";
    }
    return chunk + " runs past the end of its group (it ends at byte " +
           to_string(payloadEnd(at + kHeaderSize, h)) + ", its group at byte " +
           to_string(groupEnd) + ")";
}

// ---------------------------------------------------------------------------------------------

void ZelChecker::readSectionTables(Section& s) {
    s.firstJump = jumps_.size();
    s.firstTime = times_.size();
    ZelByteStream stream(bytes_, static_cast<uint64>(size_), s.offset + kHeaderSize);
    SectionTables t;
    const SectionTablesError failed =
        Zel::readSectionTables(stream, times_, jumps_, t, nullptr, s.end);
    s.jumpCount = jumps_.size() - s.firstJump;
    s.timeCount = times_.size() - s.firstTime;
    s.jumpsAt = t.jumpCount == static_cast<int64>(s.jumpCount) && t.jumpsOffset >= 0
                    ? t.jumpsOffset + kHeaderSize
                    : -1;
    s.timesAt = t.timeCount == static_cast<int64>(s.timeCount) && t.timesOffset >= 0
                    ? t.timesOffset + kHeaderSize
                    : -1;
    const std::string section = "the samples section at byte " + to_string(s.offset);
    if (failed != SectionTablesError::kNone) {
        // The stream stands behind the header of the table that did not read.
        reportUnreadTable(failed, stream.tell() - kHeaderSize);
        return;
    }
    // Only a reserve can reach past the file: every table is read from it.
    const int64 tablesEnd = stream.tell();
    if (tablesEnd > std::min(s.end, size_)) {
        const bool pastFile = tablesEnd > size_;
        error(s.offset, -1, -1, [&] {
            return "the tables of " + section + " run past the end of the " +
                   (pastFile ? "file (to byte " + to_string(tablesEnd) + ", the file has " +
                                   to_string(size_) + " bytes)"
                             : "section (to byte " + to_string(tablesEnd) +
                                   ", the section ends at byte " + to_string(s.end) + ")");
        });
    }
    if (!t.hasJumps) {
        error(s.offset, -1, -1, [&] { return section + " has no jump table (\"JSAM\")"; });
    }
    if (!metaRead_) {
        return;
    }
    if (file_.rate == 0.0f && !t.hasTimes) {
        error(s.offset, -1, -1, [&] {
            return section + " has no time table (\"TIMS\"), which a cache without a rate needs";
        });
    } else if (file_.rate != 0.0f && t.hasTimes) {
        error(s.offset, -1, -1, [&] {
            return section +
                   " has a time table (\"TIMS\"), which a cache with a rate must not have";
        });
    } else if (t.hasTimes && s.timeCount != s.jumpCount) {
        error(s.offset, -1, -1, [&] {
            return section + " holds " + to_string(s.timeCount) + " times for " +
                   to_string(s.jumpCount) + " samples";
        });
    }
}

void ZelChecker::reportUnreadTable(SectionTablesError failed, int64 at) {
    tablesRead_ = false;
    ZelHeader h;
    decodeHeader(bytes_, static_cast<uint64>(size_), static_cast<uint64>(at), h);
    const char* what = failed == SectionTablesError::kTimes   ? "the time table (\"TIMS\")"
                       : failed == SectionTablesError::kJumps ? "the jump table (\"JSAM\")"
                                                              : "the reserve (\"FREE\")";
    error(at, -1, -1, [&] {
        return std::string(what) + " at byte " + to_string(at) + " " +
               (failed == SectionTablesError::kReserve
                    ? std::string(h.length < 0 ? "has a negative length"
                                               : "reaches past any file offset")
                    : tableTrouble(
                          h, at, size_,
                          failed == SectionTablesError::kTimes ? kTimeEntrySize : kJumpEntrySize));
    });
}

int64 ZelChecker::entryOffset(const Section& s, size_t i) const {
    return s.jumpsAt >= 0 ? s.jumpsAt + kJumpEntrySize * static_cast<int64>(i) : s.offset;
}

int64 ZelChecker::timeOffset(size_t i) const {
    const auto after =
        std::upper_bound(sections_.begin(), sections_.end(), i,
                         [](size_t index, const Section& s) { return index < s.firstTime; });
    if (after == sections_.begin()) {
        return -1;
    }
    const Section& s = *(after - 1);
    return s.timesAt >= 0 ? s.timesAt + kTimeEntrySize * static_cast<int64>(i - s.firstTime)
                          : s.offset;
}

void ZelChecker::checkTimeOrder() {
    for (size_t i = 1; i < times_.size(); ++i) {
        if (!(times_[i] > times_[i - 1])) {
            error(timeOffset(i), -1, static_cast<int64>(i), [&] {
                return "sample " + to_string(i) + "'s time " + checkNumber(times_[i]) +
                       " is not after sample " + to_string(i - 1) + "'s time " +
                       checkNumber(times_[i - 1]);
            });
        }
    }
}

// Whether the metadata's first and last time (and rate) describe the first `count` samples of
// the tables.
bool ZelChecker::timesAgree(int64 count) const {
    if (file_.rate != 0.0f) {
        return uniformCountMatches(uniformSampleCount(file_.firstTime, file_.lastTime, file_.rate),
                                   count);
    }
    return count > 0 && static_cast<int64>(times_.size()) >= count &&
           file_.firstTime == times_.front() &&
           file_.lastTime == times_[static_cast<size_t>(count - 1)];
}

void ZelChecker::compareWithMetadata() {
    const int64 announced = file_.numSamples;
    const auto held = static_cast<int64>(jumps_.size());
    // A cache that announces no samples is read as holding none: its sections go unread. Tables
    // that did not read hold no count to compare.
    if (announced == 0 || !tablesRead_) {
        return;
    }
    if (sections_.empty()) {
        error(metaOffset_, -1, -1, [&] {
            return "the metadata announces " + to_string(announced) +
                   " samples but the file has no samples section";
        });
        return;
    }
    if (announced > INT_MAX) {
        error(metaOffset_, -1, -1, [&] {
            return "the metadata announces " + to_string(announced) +
                   " samples, more than a reader counts (" + to_string(INT_MAX) + ")";
        });
    }
    // An append commits with its tables, then the metadata: dying in between leaves tables
    // that hold more samples than the metadata, whose times still describe the old ones, and
    // every sample whole.
    const bool interrupted =
        held > announced && announced > 0 && unreadSamples_ == 0 && timesAgree(announced);
    if (interrupted) {
        error(metaOffset_, -1, -1, [&] {
            return "an append was interrupted while committing: the tables hold " +
                   to_string(held) + " samples, the metadata " + to_string(announced) +
                   "; zel repair keeps all " + to_string(held);
        });
        return;
    }
    if (held != announced) {
        error(metaOffset_, -1, -1, [&] {
            return "the metadata announces " + to_string(announced) + " samples, the tables hold " +
                   to_string(held);
        });
    }
    compareTimes(announced);
}

// The metadata's first and last time (and rate) against the tables' first `announced` samples.
void ZelChecker::compareTimes(int64 announced) {
    if (file_.rate != 0.0f) {
        const int64 made = uniformSampleCount(file_.firstTime, file_.lastTime, file_.rate);
        if (!uniformCountMatches(made, announced)) {
            error(metaOffset_, -1, -1, [&] {
                return "the metadata's times " + checkNumber(file_.firstTime) + " to " +
                       checkNumber(file_.lastTime) + " at rate " + checkNumber(file_.rate) +
                       " make " + (made >= 0 ? to_string(made) : "no whole number of") +
                       " samples, it announces " + to_string(announced);
            });
        }
        return;
    }
    const int64 count = std::min<int64>(announced, static_cast<int64>(times_.size()));
    if (count < 1) {
        return;
    }
    const float first = times_.front();
    const float last = times_[static_cast<size_t>(count) - 1];
    if (file_.firstTime != first) {
        error(metaOffset_, -1, -1, [&] {
            return "the metadata's first time " + checkNumber(file_.firstTime) +
                   " is not the first sample's time " + checkNumber(first);
        });
    }
    if (file_.lastTime != last) {
        error(metaOffset_, -1, -1, [&] {
            return "the metadata's last time " + checkNumber(file_.lastTime) +
                   " is not the last sample's time " + checkNumber(last);
        });
    }
}

void ZelChecker::checkTrailingBytes() {
    if (sections_.empty()) {
        return;
    }
    const int64 start = std::max(std::min(sections_.back().end, size_), referencedEnd_);
    // A section written without samples leaves its empty tables behind it.
    int64 pos = start;
    ZelHeader h;
    while (decodeHeader(bytes_, static_cast<uint64>(size_), pos, h) &&
           (h.tag == kTagTIMS || h.tag == kTagJSAM) && h.length == 0) {
        pos += kHeaderSize;
    }
    if (pos >= size_) {
        return;
    }
    error(start, -1, -1, [&] {
        return to_string(size_ - start) +
               " bytes after the last samples section that no table refers to (an append that "
               "did not finish?)";
    });
}

void ZelChecker::finish() {
    std::stable_sort(report_.problems.begin(), report_.problems.end(),
                     [](const ZelProblem& a, const ZelProblem& b) { return a.offset < b.offset; });
}

}  // namespace Zel

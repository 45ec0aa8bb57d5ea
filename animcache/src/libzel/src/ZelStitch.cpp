// stitchCaches: caches of consecutive frame ranges, checked against each other up front and then
// copied sample by sample through ZelWriter into one samples section.
#include "ZelStitch.h"

#include <cstring>
#include <memory>
#include <sstream>

#include "ZelProgressTicker.h"
#include "ZelReaderImpl.h"
#include "ZelWriterImpl.h"

namespace Zel {

namespace {

using Input = std::unique_ptr<ZelReader::Impl>;

std::string text(double v) {
    std::ostringstream os;
    os << v;
    return os.str();
}

std::string quoted(std::string_view s) {
    return "'" + std::string(s) + "'";
}

ZelStatus refuse(const std::string& why) {
    return ZelStatus(ZelStatusCode::kInvalidArgument, why);
}

// The time of sample `i` of an open cache, computed as its writer computed it.
float timeOf(const ZelReader::Impl& r, int64 i) {
    return r.rate == 0.0f ? r.times[static_cast<size_t>(i)]
                          : static_cast<float>(i) / r.rate + r.firstTime;
}

int64 sampleCount(const ZelReader::Impl& r) {
    return static_cast<int64>(r.jumps.size());
}

// "a mesh object", "an other object".
std::string kindPhrase(ZelObjectKind kind) {
    const char* name = kindName(kind);
    return (std::strchr("aeiou", name[0]) != nullptr ? "an " : "a ") + std::string(name) +
           " object";
}

// The names of the animated attributes of `object`, as a list.
std::string animatedNames(const ZelReader::Impl& r, int object) {
    const ZelReader::Impl::Attributes a = r.attributesOf(object);
    std::string names;
    for (int k = 0; k < a.animated; ++k) {
        names += (k > 0 ? ", " : "") + quoted(r.stringAt(a.animatedNames, k));
    }
    return "(" + names + ")";
}

// kOk when object `o` of `b` matches object `o` of `a` in name, kind and animated attributes.
ZelStatus sameObject(const ZelReader::Impl& a, const ZelReader::Impl& b, int o) {
    const std::string_view name = a.objects[static_cast<size_t>(o)].name;
    if (static_cast<size_t>(o) >= b.objects.size() ||
        b.objects[static_cast<size_t>(o)].name != name) {
        const auto found = b.byName.find(name);
        if (found == b.byName.end()) {
            return refuse(quoted(b.path) + " has no object " + quoted(name) + " (object " +
                          std::to_string(o) + " of " + quoted(a.path) + ")");
        }
        return refuse(quoted(b.path) + " holds " + quoted(name) + " as object " +
                      std::to_string(found->second) + ", " + quoted(a.path) + " as object " +
                      std::to_string(o) + ": the objects must come in the same order");
    }
    const ZelObjectKind ka = a.objectKind(o), kb = b.objectKind(o);
    if (ka != kb) {
        return refuse(quoted(name) + " is " + kindPhrase(ka) + " in " + quoted(a.path) + " but " +
                      kindPhrase(kb) + " in " + quoted(b.path));
    }
    const std::string na = animatedNames(a, o), nb = animatedNames(b, o);
    if (na != nb) {
        return refuse(quoted(name) + " animates attributes " + na + " in " + quoted(a.path) +
                      " but " + nb + " in " + quoted(b.path));
    }
    return ZelStatus();
}

// kOk when `b` holds the objects of `a`, in the same order; a note for each definition that
// differs in its bytes (bounds or static values, say), since the result keeps those of `a`.
ZelStatus sameObjects(const ZelReader::Impl& a, const ZelReader::Impl& b,
                      std::vector<std::string>& notes) {
    for (int o = 0; o < static_cast<int>(a.objects.size()); ++o) {
        const ZelStatus same = sameObject(a, b, o);
        if (!same.ok()) {
            return same;
        }
        const ZelChunkRef& da = a.objects[static_cast<size_t>(o)].def;
        const ZelChunkRef& db = b.objects[static_cast<size_t>(o)].def;
        if (da.header.length != db.header.length ||
            std::memcmp(a.bytes() + da.offset, b.bytes() + db.offset,
                        static_cast<size_t>(kHeaderSize + da.header.length)) != 0) {
            notes.push_back(quoted(b.path) + " defines " + quoted(a.objects[size_t(o)].name) +
                            " otherwise than " + quoted(a.path) + "; the result keeps the " +
                            "definition of " + quoted(a.path));
        }
    }
    if (b.objects.size() > a.objects.size()) {
        return refuse(quoted(b.path) + " has object " + quoted(b.objects[a.objects.size()].name) +
                      " (object " + std::to_string(a.objects.size()) + "), which " +
                      quoted(a.path) + " has not");
    }
    return ZelStatus();
}

// How the stitched samples are timed.
struct Sampling {
    bool uniform = true;
    float firstTime = 1.0f;
    float rate = 0.0f;
    int64 samples = 0;
};

// Why the uniform grid of `s` does not hold the samples of `r`, which follow the `s.samples`
// samples of the inputs before it, the last of them `previous`; empty when it holds every one.
std::string offGrid(const ZelReader::Impl& r, const Sampling& s, const ZelReader::Impl* previous) {
    if (r.rate == 0.0f) {
        return quoted(r.path) + " stores every sample's time";
    }
    if (r.rate != s.rate) {
        return quoted(r.path) + " samples at rate " + text(r.rate) + ", " + quoted(previous->path) +
               " at rate " + text(s.rate);
    }
    for (int64 i = 0; i < sampleCount(r); ++i) {
        const float grid = static_cast<float>(s.samples + i) / s.rate + s.firstTime;
        if (timeOf(r, i) != grid) {
            return quoted(r.path) +
                   (i == 0 ? " starts at frame "
                           : " has sample " + std::to_string(i) + " at frame ") +
                   text(timeOf(r, i)) + ", not at frame " + text(grid) + " where " +
                   quoted(previous->path) + " leaves off";
        }
    }
    return std::string();
}

// Checks that every input's times increase and that each input starts after the one before
// ends, and decides how the result is sampled.
ZelStatus checkTimes(const std::vector<Input>& inputs, Sampling& s,
                     std::vector<std::string>& notes) {
    const ZelReader::Impl* previous = nullptr;
    for (const Input& in : inputs) {
        const ZelReader::Impl& r = *in;
        const int64 n = sampleCount(r);
        if (n == 0) {
            notes.push_back(quoted(r.path) + " holds no samples");
            continue;
        }
        for (int64 i = 1; i < n; ++i) {
            if (!(timeOf(r, i) > timeOf(r, i - 1))) {
                return refuse(quoted(r.path) + ": sample " + std::to_string(i) + " (frame " +
                              text(timeOf(r, i)) + ") is not after sample " +
                              std::to_string(i - 1) + " (frame " + text(timeOf(r, i - 1)) + ")");
            }
        }
        if (previous == nullptr) {
            s.firstTime = timeOf(r, 0);
            s.rate = r.rate;
            s.uniform = r.rate != 0.0f;
        } else {
            const float end = timeOf(*previous, sampleCount(*previous) - 1);
            if (!(timeOf(r, 0) > end)) {
                return refuse(quoted(r.path) + " starts at frame " + text(timeOf(r, 0)) +
                              ", which " + quoted(previous->path) +
                              " already covers (it ends at frame " + text(end) + ")");
            }
            const std::string off = s.uniform ? offGrid(r, s, previous) : std::string();
            if (!off.empty()) {
                s.uniform = false;
                notes.push_back(off + ": the result stores every sample's time");
            }
        }
        s.samples += n;
        previous = &r;
    }
    return ZelStatus();
}

// Opens every input as ZelReader opens a cache; the first failure as the reader words it.
ZelStatus openAll(const std::vector<std::string>& paths, std::vector<Input>& inputs) {
    for (const std::string& path : paths) {
        inputs.push_back(std::make_unique<ZelReader::Impl>());
        ZelReader::Impl& r = *inputs.back();
        r.path = path;
        ZelStatus s = r.map.open(path);
        s = s.ok() ? r.load() : s;
        if (!s.ok()) {
            return s;
        }
    }
    return ZelStatus();
}

// Copies every sample of every input, in order, through `w`.
ZelStatus copySamples(const std::vector<Input>& inputs, ZelWriter::Impl& w,
                      const ZelProgressTicker& ticker) {
    int64 done = 0;
    for (const Input& in : inputs) {
        const ZelReader::Impl& r = *in;
        for (int64 i = 0; i < sampleCount(r); ++i) {
            const JumpEntry at = r.jumps[static_cast<size_t>(i)];
            r.adviseChunk(at, true);
            const ZelStatus s = w.writeCopiedFrame(timeOf(r, i), r.bytes(), r.size(), at);
            r.adviseChunk(at, false);
            const char* problem = s.code() == ZelStatusCode::kCorrupt
                                      ? sampleGroupProblem(r.bytes(), r.size(), at,
                                                           static_cast<int64>(r.objects.size()))
                                      : nullptr;
            if (problem != nullptr) {
                return ZelStatus(ZelStatusCode::kCorrupt, r.path + ": sample " + std::to_string(i) +
                                                              " (frame " + text(timeOf(r, i)) +
                                                              ") " + problem);
            }
            if (!s.ok()) {
                return s;
            }
            ticker.done(++done);
        }
    }
    return ZelStatus();
}

}  // namespace

ZelStatus stitchCaches(const std::vector<std::string>& inputs, const std::string& output,
                       ZelStitchReport* report, const ZelProgress& progress) {
    if (inputs.empty()) {
        return refuse(output + ": no caches to stitch");
    }
    std::vector<Input> open;
    ZelStitchReport result;
    ZelStatus s = openAll(inputs, open);
    for (size_t i = 1; s.ok() && i < open.size(); ++i) {
        s = sameObjects(*open[0], *open[i], result.notes);
    }
    Sampling sampling;
    s = s.ok() ? checkTimes(open, sampling, result.notes) : s;
    if (!s.ok()) {
        return s;
    }
    ZelWriterOptions options;
    options.firstTime = sampling.uniform ? sampling.firstTime : 1.0f;
    options.rate = sampling.uniform ? sampling.rate : 0.0f;
    options.frameCount = sampling.samples;
    ZelWriter::Impl w;
    s = w.createCopy(output, options, inputs[0], open[0]->metadata.offset);
    const ZelProgressTicker ticker(progress, sampling.samples);
    s = s.ok() ? copySamples(open, w, ticker) : s;
    s = s.ok() ? w.close() : s;
    if (!s.ok()) {
        return s;
    }
    ticker.finish();
    if (report != nullptr) {
        result.samples = sampling.samples;
        result.uniform = sampling.uniform && sampling.rate != 0.0f;
        if (sampling.samples > 0) {
            result.firstTime = w.meta.firstTime;
            result.lastTime = w.meta.lastTime;
        }
        *report = std::move(result);
    }
    return ZelStatus();
}

}  // namespace Zel

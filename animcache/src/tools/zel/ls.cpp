// zel ls FILE [--json]: a header line with the file's samples, times and rate, then one line per
// object: index, name, kind, point count, static and animated attributes.
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "ZelCommand.h"

namespace ZelTools {

namespace {

using Zel::ZelReader;

// The sample whose point counts are listed: the first, or the definitions of a static file.
int listedSample(const ZelReader& r) {
    return r.sampleCount() > 0 ? 0 : -1;
}

std::string headerLine(const ZelReader& r) {
    std::ostringstream s;
    s << r.path() << ": ";
    if (r.sampleCount() == 0) {
        s << "no samples (static)";
    } else {
        s << r.sampleCount() << (r.sampleCount() == 1 ? " sample" : " samples") << ", frames "
          << r.firstTime() << " to " << r.lastTime() << ", ";
        if (r.rate() == 0.0f) {
            s << "each sample at its own time";
        } else {
            s << r.rate() << (r.rate() == 1.0f ? " sample" : " samples") << " per frame";
        }
    }
    s << ", " << r.objectCount() << (r.objectCount() == 1 ? " object" : " objects");
    return s.str();
}

// "static: a, b; animated: c", or "" for an object without attributes.
std::string attributeList(const ZelReader& r, int object) {
    std::string lists[2];
    for (int a = 0; a < r.attributeCount(object); ++a) {
        const Zel::ZelAttrInfo info = r.attribute(object, a);
        std::string& list = lists[info.animated ? 1 : 0];
        list += (list.empty() ? "" : ", ") + std::string(info.name);
    }
    std::string text = lists[0].empty() ? "" : "static: " + lists[0];
    if (!lists[1].empty()) {
        text += (text.empty() ? "" : "; ") + std::string("animated: ") + lists[1];
    }
    return text;
}

void printText(const ZelReader& r) {
    std::cout << headerLine(r) << "\n";
    const int n = r.objectCount();
    size_t nameWidth = 4;
    for (int o = 0; o < n; ++o) {
        nameWidth = std::max(nameWidth, r.objectName(o).size());
    }
    nameWidth = std::min<size_t>(nameWidth, 40);
    const int indexWidth = static_cast<int>(std::to_string(std::max(n - 1, 0)).size());
    for (int o = 0; o < n; ++o) {
        const Zel::int64 points = r.pointCount(o, listedSample(r));
        std::cout << "  " << std::right << std::setw(indexWidth) << o << "  " << std::left
                  << std::setw(static_cast<int>(nameWidth)) << r.objectName(o) << "  "
                  << std::setw(17) << Zel::kindName(r.objectKind(o)) << "  " << std::right
                  << std::setw(9) << (points > 0 ? std::to_string(points) : "-")
                  << (points > 1    ? " points"
                      : points == 1 ? " point "
                                    : "       ");
        const std::string attrs = attributeList(r, o);
        std::cout << (attrs.empty() ? "" : "  ") << attrs << "\n";
    }
    std::cout.flush();
}

Json objectJson(const ZelReader& r, int o) {
    Json attrs[2] = {Json::array(), Json::array()};
    for (int a = 0; a < r.attributeCount(o); ++a) {
        const Zel::ZelAttrInfo info = r.attribute(o, a);
        attrs[info.animated ? 1 : 0].push_back(
            {{"index", a}, {"name", std::string(info.name)}, {"type", std::string(info.typeName)}});
    }
    return {{"index", o},
            {"name", std::string(r.objectName(o))},
            {"kind", Zel::kindName(r.objectKind(o))},
            {"points", r.pointCount(o, listedSample(r))},
            {"staticAttributes", attrs[0]},
            {"animatedAttributes", attrs[1]}};
}

void printJsonListing(const ZelReader& r) {
    Json objects = Json::array();
    for (int o = 0; o < r.objectCount(); ++o) {
        objects.push_back(objectJson(r, o));
    }
    printJson({{"file", r.path()},
               {"version", r.version()},
               {"application", std::string(r.application())},
               {"sourceFile", std::string(r.sourceFile())},
               {"dateStamp", r.dateStamp()},
               {"worldSpace", r.worldSpace()},
               {"samples", r.sampleCount()},
               {"firstTime", r.sampleCount() > 0 ? Json(shortest(r.firstTime())) : Json()},
               {"lastTime", r.sampleCount() > 0 ? Json(shortest(r.lastTime())) : Json()},
               {"rate", shortest(r.rate())},
               {"objects", objects}});
}

}  // namespace

int runLs(const Subcommand& self, const ToolArgs& args) {
    if (args.operands().size() != 1) {
        return usageError(self, "expected one FILE");
    }
    ZelReader reader;
    if (!openReader(args.operands()[0], reader)) {
        return kExitTrouble;
    }
    args.has("json") ? printJsonListing(reader) : printText(reader);
    return kExitOk;
}

}  // namespace ZelTools

// zel sample FILE OBJECT TIME [--order N] [--format csv|json]: one object's values at any time,
// interpolated by the library, for scripts. CSV has one row per point, control point, matrix row
// or (for objects without points) attribute; JSON has everything.
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <type_traits>

#include "ZelCommand.h"

namespace ZelTools {

namespace {

using Zel::ZelReader;
using Zel::ZelStatus;

// What an object holds at one time.
struct Values {
    const char* rowName = "point";  // what a CSV row is
    std::vector<std::string> columns;
    std::vector<double> rows;  // columns.size() values per row
    bool floats = false;       // the rows hold single-precision values
    Json json = Json::object();
};

template <class T>
void appendNumber(std::string& line, T v) {
    char buf[32];
    const auto r = std::to_chars(buf, buf + sizeof buf, v);
    line.append(buf, r.ptr);
}

// `flat` as JSON rows of `width` values (floats in their shortest decimals).
template <class T>
Json jsonRows(const std::vector<T>& flat, size_t width) {
    Json rows = Json::array();
    for (size_t i = 0; i + width <= flat.size(); i += width) {
        Json row = Json::array();
        for (size_t c = 0; c < width; ++c) {
            if constexpr (std::is_same<T, float>::value) {
                row.push_back(shortest(flat[i + c]));
            } else {
                row.push_back(flat[i + c]);
            }
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

// Points with `columns` components each, as JSON rows and as the CSV table.
template <class T>
void setRows(Values& v, const char* key, std::vector<std::string> columns,
             const std::vector<T>& flat) {
    v.json[key] = jsonRows(flat, columns.size());
    v.columns = std::move(columns);
    v.rows.assign(flat.begin(), flat.end());
    v.floats = std::is_same<T, float>::value;
}

ZelStatus shapeValues(const ZelReader& r, int o, float t, int order, Values& v) {
    std::vector<float> points;
    Zel::ZelValuesInfo info;
    switch (r.objectKind(o)) {
        case Zel::ZelObjectKind::kTransform: {
            std::array<double, 16> m{};
            const ZelStatus s = r.matrixAt(o, t, order, m);
            v.rowName = "row";
            setRows(v, "matrix", {"c0", "c1", "c2", "c3"}, std::vector<double>(m.begin(), m.end()));
            return s;
        }
        case Zel::ZelObjectKind::kNurbsCurve:
        case Zel::ZelObjectKind::kNurbsSurface: {
            const ZelStatus s = r.controlPointsAt(o, t, order, points);
            setRows(v, "controlPoints", {"x", "y", "z", "w"}, points);
            return s;
        }
        case Zel::ZelObjectKind::kLocator:
        case Zel::ZelObjectKind::kCoordSystem:
            return ZelStatus();
        default:
            break;
    }
    Zel::ZelDataView stored;
    if (!r.view(o, std::max(r.sampleAtOrBefore(t), 0), "POSI", stored).ok()) {
        return ZelStatus();  // an object of another kind without points: attributes only
    }
    const ZelStatus s = r.positionsAt(o, t, order, points, &info);
    setRows(v, "positions",
            info.dimension == 4 ? std::vector<std::string>{"x", "y", "z", "w"}
                                : std::vector<std::string>{"x", "y", "z"},
            points);
    std::vector<float> normals;
    if (s.ok() && r.normalsAt(o, t, order, normals).ok()) {
        v.json["normals"] = jsonRows(normals, 3);
    }
    return s;
}

// Every attribute: numbers stored as doubles interpolated, others as stored in the sample the
// time falls in (or in the definition).
Json attributeValues(const ZelReader& r, int o, float t, int order) {
    Json attrs = Json::object();
    const int sample = std::max(r.sampleAtOrBefore(t), 0);
    for (int a = 0; a < r.attributeCount(o); ++a) {
        const std::string name(r.attribute(o, a).name);
        Zel::ZelDataView view;
        if (!r.attributeView(o, a, sample, view).ok()) {
            continue;
        }
        std::vector<double> values;
        if (view.type == Zel::ZelElementType::kString) {
            Json strings = Json::array();
            for (std::string_view text : view.strings()) {
                strings.push_back(std::string(text));
            }
            attrs[name] = std::move(strings);
        } else if (view.type == Zel::ZelElementType::kDouble &&
                   r.attributeAt(o, a, t, order, values).ok()) {
            attrs[name] = values;
        } else {
            values.resize(static_cast<size_t>(view.count));
            view.copyTo(values.data());
            attrs[name] = values;
        }
    }
    return attrs;
}

void printCsv(const Values& v, const Json& attrs) {
    std::string out;
    if (v.columns.empty()) {
        out = "attribute,values\n";
        for (const auto& [name, values] : attrs.items()) {
            out += name;
            for (const Json& x : values) {
                out += ",";
                x.is_number() ? appendNumber(out, x.get<double>())
                              : void(out += x.get<std::string>());
            }
            out += "\n";
        }
    } else {
        out = v.rowName;
        for (const std::string& c : v.columns) {
            out += "," + c;
        }
        out += "\n";
        const size_t width = v.columns.size();
        for (size_t i = 0; i + width <= v.rows.size(); i += width) {
            appendNumber(out, i / width);
            for (size_t c = 0; c < width; ++c) {
                out += ",";
                v.floats ? appendNumber(out, static_cast<float>(v.rows[i + c]))
                         : appendNumber(out, v.rows[i + c]);
            }
            out += "\n";
        }
    }
    std::cout << out << std::flush;
}

}  // namespace

int runSample(const Subcommand& self, const ToolArgs& args) {
    const std::vector<std::string>& ops = args.operands();
    if (ops.size() != 3) {
        return usageError(self, "expected FILE OBJECT TIME");
    }
    float time = 0;
    int order = 1;
    const std::string* format = args.value("format");
    if (!parseFloat(self, ops[2], "TIME", time) ||
        (args.has("order") && !parseInt(self, *args.value("order"), "order", order))) {
        return kExitTrouble;
    }
    if (order < 0 || order > 3) {
        return usageError(self, "the order is 0, 1, 2 or 3");
    }
    if (format != nullptr && *format != "csv" && *format != "json") {
        return usageError(self, "the format is csv or json");
    }
    ZelReader r;
    if (!openReader(ops[0], r)) {
        return kExitTrouble;
    }
    const int o = r.findObject(ops[1]);
    if (o < 0) {
        return fail("'" + ops[0] + "' has no object '" + ops[1] + "'");
    }
    Values v;
    const ZelStatus status = shapeValues(r, o, time, order, v);
    if (!status.ok()) {
        return failStatus(status);
    }
    const Json attrs = attributeValues(r, o, time, order);
    if (format != nullptr && *format == "json") {
        Json head = {{"object", std::string(r.objectName(o))},
                     {"kind", Zel::kindName(r.objectKind(o))},
                     {"time", time},
                     {"order", order}};
        head.update(v.json);
        head["attributes"] = attrs;
        printJson(head, false);
    } else {
        printCsv(v, attrs);
    }
    return kExitOk;
}

}  // namespace ZelTools

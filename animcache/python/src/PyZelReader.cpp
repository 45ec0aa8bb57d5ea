// zel._zel.Reader: ZelReader for Python. The reader lives in a shared pointer so that every view
// handed out keeps the mapping open after the Reader itself is closed or collected.
#include <array>
#include <string>
#include <utility>

#include "PyZel.h"

namespace PyZel {

namespace {

using Zel::ZelReader;
using ReaderPtr = std::shared_ptr<ZelReader>;

class Reader {
  public:
    explicit Reader(const std::string& path) : reader_(std::make_shared<ZelReader>()) {
        Zel::ZelStatus status;
        {
            py::gil_scoped_release release;
            status = reader_->open(path);
        }
        check(status, true);
    }

    // Lets go of this handle; views handed out keep the mapping until they are gone.
    void close() { reader_.reset(); }
    bool closed() const { return !reader_; }

    const ZelReader& r() const {
        if (!reader_) {
            throw py::value_error("the cache is closed");
        }
        return *reader_;
    }
    const ReaderPtr& ptr() const {
        r();
        return reader_;
    }

    void checkObject(int object) const {
        if (object < 0 || object >= r().objectCount()) {
            throw py::index_error("no object " + std::to_string(object) + " (the cache has " +
                                  std::to_string(r().objectCount()) + ")");
        }
    }
    void checkSample(int sample) const {
        if (sample < -1 || sample >= r().sampleCount()) {
            throw py::index_error("no sample " + std::to_string(sample) + " (the cache has " +
                                  std::to_string(r().sampleCount()) + ")");
        }
    }

  private:
    ReaderPtr reader_;
};

py::array view(const Reader& self, int object, int sample, const std::string& tag) {
    self.checkObject(object);
    self.checkSample(sample);
    if (tag.size() != 4) {
        throw py::value_error("a chunk tag has four characters, not '" + tag + "'");
    }
    Zel::ZelDataView v;
    check(self.r().view(object, sample, tag, v));
    return viewArray(v, self.ptr());
}

py::object attributeView(const Reader& self, int object, int attr, int sample) {
    self.checkObject(object);
    self.checkSample(sample);
    Zel::ZelDataView v;
    check(self.r().attributeView(object, attr, sample, v));
    if (v.type != Zel::ZelElementType::kString) {
        return viewArray(v, self.ptr());
    }
    py::list strings;
    for (std::string_view s : v.strings()) {
        strings.append(text(s));
    }
    return std::move(strings);
}

// Runs a time query without the GIL and hands its values over as (n, dimension) float32.
template <class Query>
py::array_t<float> floatsAt(const Reader& self, int object, Query query, int dimension) {
    self.checkObject(object);
    std::vector<float> out;
    Zel::ZelValuesInfo info;
    info.dimension = dimension;
    // Another thread may close the Reader while this one runs without the GIL.
    const ReaderPtr reader = self.ptr();
    Zel::ZelStatus status;
    {
        py::gil_scoped_release release;
        status = query(*reader, out, info);
    }
    check(status);
    return floatArray(std::move(out), info.dimension);
}

py::array_t<float> positionsAt(const Reader& self, int object, float time, int order) {
    return floatsAt(
        self, object,
        [&](const ZelReader& r, std::vector<float>& out, Zel::ZelValuesInfo& info) {
            return r.positionsAt(object, time, order, out, &info);
        },
        3);
}

py::array_t<float> normalsAt(const Reader& self, int object, float time, int order) {
    return floatsAt(
        self, object,
        [&](const ZelReader& r, std::vector<float>& out, Zel::ZelValuesInfo& info) {
            return r.normalsAt(object, time, order, out, &info);
        },
        3);
}

py::array_t<float> controlPointsAt(const Reader& self, int object, float time, int order,
                                   bool uFastest) {
    return floatsAt(
        self, object,
        [&](const ZelReader& r, std::vector<float>& out, Zel::ZelValuesInfo&) {
            return r.controlPointsAt(object, time, order, out, uFastest);
        },
        4);
}

py::array_t<double> matrixAt(const Reader& self, int object, float time, int order) {
    self.checkObject(object);
    std::array<double, 16> m{};
    check(self.r().matrixAt(object, time, order, m));
    py::array_t<double> out({4, 4});
    std::copy(m.begin(), m.end(), out.mutable_data());
    return out;
}

py::array_t<double> attributeAt(const Reader& self, int object, int attr, float time, int order) {
    self.checkObject(object);
    std::vector<double> values;
    Zel::ZelValuesInfo info;
    check(self.r().attributeAt(object, attr, time, order, values, &info));
    const py::ssize_t d = info.dimension > 1 ? info.dimension : 1;
    const py::ssize_t n = static_cast<py::ssize_t>(values.size());
    py::array_t<double> out =
        d > 1 && n % d == 0 ? py::array_t<double>({n / d, d}) : py::array_t<double>(n);
    std::copy(values.begin(), values.end(), out.mutable_data());
    return out;
}

py::tuple attribute(const Reader& self, int object, int attr) {
    self.checkObject(object);
    if (attr < 0 || attr >= self.r().attributeCount(object)) {
        throw py::index_error("no attribute " + std::to_string(attr));
    }
    const Zel::ZelAttrInfo info = self.r().attribute(object, attr);
    return py::make_tuple(text(info.name), text(info.typeName), info.animated);
}

py::array_t<float> times(const Reader& self) {
    std::vector<float> t = self.r().times();
    py::array_t<float> out(static_cast<py::ssize_t>(t.size()));
    std::copy(t.begin(), t.end(), out.mutable_data());
    return out;
}

void defineFileProperties(py::class_<Reader>& c) {
    c.def_property_readonly(
         "path", [](const Reader& s) { return s.r().path(); },
         "The path the cache was opened from.")
        .def_property_readonly(
            "version", [](const Reader& s) { return s.r().version(); },
            "The file's format version.")
        .def_property_readonly(
            "application", [](const Reader& s) { return text(s.r().application()); },
            "The application that wrote the cache.")
        .def_property_readonly(
            "source_file", [](const Reader& s) { return text(s.r().sourceFile()); },
            "The scene the cache comes from.")
        .def_property_readonly(
            "date_stamp", [](const Reader& s) { return s.r().dateStamp(); },
            "Seconds since 1970 when written, 0 when not stamped.")
        .def_property_readonly(
            "world_space", [](const Reader& s) { return s.r().worldSpace(); },
            "Whether positions and matrices are in world space.")
        .def_property_readonly(
            "sample_count", [](const Reader& s) { return s.r().sampleCount(); },
            "The number of samples.")
        .def_property_readonly(
            "first_time", [](const Reader& s) { return s.r().firstTime(); },
            "The first sample's time, in frames.")
        .def_property_readonly(
            "last_time", [](const Reader& s) { return s.r().lastTime(); },
            "The last sample's time, in frames.")
        .def_property_readonly(
            "rate", [](const Reader& s) { return s.r().rate(); },
            "Samples per frame; 0 when each sample has its own time.")
        .def_property_readonly("times", &times, "Every sample's time, float32.")
        .def_property_readonly(
            "object_count", [](const Reader& s) { return s.r().objectCount(); },
            "The number of objects.")
        .def_property_readonly("closed", &Reader::closed, "Whether close() was called.");
}

}  // namespace

void defineReader(py::module_& m) {
    py::class_<Reader> c(m, "Reader", "A cache file opened for reading (see zel.open).");
    c.def(py::init<const std::string&>(), py::arg("path"), "Opens and maps the cache at path.")
        .def("close", &Reader::close, "Lets go of the file; live views keep it mapped.");
    defineFileProperties(c);
    c.def(
         "object_name",
         [](const Reader& s, int o) {
             s.checkObject(o);
             return text(s.r().objectName(o));
         },
         "The name of object i.")
        .def(
            "object_kind",
            [](const Reader& s, int o) {
                s.checkObject(o);
                return std::string(Zel::kindName(s.r().objectKind(o)));
            },
            "What object i is, e.g. 'mesh'.")
        .def(
            "find_object",
            [](const Reader& s, const std::string& n) { return s.r().findObject(n); },
            "The index of the object with this name (or last | component), or -1.")
        .def(
            "attribute_count",
            [](const Reader& s, int o) {
                s.checkObject(o);
                return s.r().attributeCount(o);
            },
            "The number of attributes of object i.")
        .def("attribute", &attribute, "(name, type name, animated) of attribute a of object o.")
        .def(
            "find_attribute",
            [](const Reader& s, int o, const std::string& n) {
                s.checkObject(o);
                return s.r().findAttribute(o, n);
            },
            "The index of object o's attribute named exactly name, or -1.")
        .def(
            "point_count",
            [](const Reader& s, int o, int sample) {
                s.checkObject(o);
                s.checkSample(sample);
                return s.r().pointCount(o, sample);
            },
            "The points object o stores in sample s (-1: the definition).")
        .def("view", &view,
             "The chunk tag of object o (definition first, else sample s) as a read-only view.")
        .def("attribute_view", &attributeView,
             "Attribute a of object o as stored in sample s: a view, or a list of str.")
        .def("positions_at", &positionsAt, "Points of object o at time t, float32 (n, 3 or 4).")
        .def("normals_at", &normalsAt, "Per-point normals of mesh o at time t, float32 (n, 3).")
        .def("control_points_at", &controlPointsAt,
             "NURBS control points of object o at time t, float32 (n, 4).")
        .def("matrix_at", &matrixAt, "The matrix of transform o at time t, float64 (4, 4).")
        .def("attribute_at", &attributeAt, "Attribute a of object o at time t as float64.");
}

}  // namespace PyZel

// zel._zel.Writer: ZelWriter for Python, with numpy arrays checked for type and shape before the
// library sees them.
#include <string>
#include <vector>

#include <pybind11/stl.h>

#include "PyZel.h"
#include "ZelWriter.h"

namespace PyZel {

namespace {

using Zel::ZelView;
using Zel::ZelWriter;

std::string shapeText(const py::array& a) {
    std::string text = "(";
    for (py::ssize_t i = 0; i < a.ndim(); ++i) {
        text += (i ? ", " : "") + std::to_string(a.shape(i));
    }
    return text + (a.ndim() == 1 ? ",)" : ")");
}

// `values` as a contiguous array of T: numbers of any type convert, anything else is a
// TypeError; with `columns` > 0 the shape must be (n, columns), with -1 (n,), else any shape.
template <class T>
py::array_t<T> numbers(py::handle values, const std::string& what, py::ssize_t columns = 0) {
    py::array a = py::array::ensure(values);
    if (!a) {
        PyErr_Clear();
        throw py::type_error(what + " must be an array of numbers");
    }
    const char kind = a.dtype().kind();
    if (kind != 'f' && kind != 'i' && kind != 'u') {
        throw py::type_error(what + " must hold numbers, not " + std::string(py::str(a.dtype())));
    }
    const bool shapeOk = columns == 0 || (columns < 0 && a.ndim() == 1) ||
                         (columns > 0 && a.ndim() == 2 && a.shape(1) == columns);
    if (!shapeOk) {
        const std::string want = columns < 0 ? "(n,)" : "(n, " + std::to_string(columns) + ")";
        throw py::value_error(what + " must have shape " + want + ", not " + shapeText(a));
    }
    return py::array_t<T, py::array::c_style | py::array::forcecast>::ensure(a);
}

// `values` as a list of str; anything else is a TypeError.
std::vector<std::string> strings(py::handle values, const std::string& what) {
    if (py::isinstance<py::str>(values)) {
        return {values.cast<std::string>()};
    }
    try {
        return values.cast<std::vector<std::string>>();
    } catch (const py::cast_error&) {
        throw py::type_error(what + " must be a str or a list of str");
    }
}

template <class T>
ZelView<T> viewOf(const py::array_t<T>& a) {
    return ZelView<T>(a.data(), static_cast<size_t>(a.size()));
}

Zel::ZelNurbsForm form(const std::string& name) {
    if (name == "open") {
        return Zel::ZelNurbsForm::kOpen;
    }
    if (name == "closed") {
        return Zel::ZelNurbsForm::kClosed;
    }
    if (name == "periodic") {
        return Zel::ZelNurbsForm::kPeriodic;
    }
    throw py::value_error("a NURBS form is 'open', 'closed' or 'periodic', not '" + name + "'");
}

Zel::ZelElementType elementType(const std::string& name) {
    const Zel::ZelElementType all[] = {Zel::ZelElementType::kInt32, Zel::ZelElementType::kFloat,
                                       Zel::ZelElementType::kInt64, Zel::ZelElementType::kDouble,
                                       Zel::ZelElementType::kString};
    for (Zel::ZelElementType t : all) {
        if (name == Zel::elementTypeName(t)) {
            return t;
        }
    }
    throw py::value_error("an attribute type is int32, float, int64, double or string, not '" +
                          name + "'");
}

Zel::ZelAttrDesc attrDesc(const std::string& name, const std::string& type, int dimension,
                          const std::string& typeName) {
    if (dimension < 1 || dimension > 16) {
        throw py::value_error("an attribute's dimension lies in 1 .. 16, not " +
                              std::to_string(dimension));
    }
    Zel::ZelAttrDesc d;
    d.name = name;
    d.type = elementType(type);
    d.dimension = static_cast<Zel::ZelDimension>(dimension);
    d.typeName = typeName;
    return d;
}

struct CreateArgs {
    std::string application, source;
    bool worldSpace = false;
    float firstTime = 1.0f, rate = 1.0f;
    py::object times;
    Zel::int64 frameCount = 0, dateStamp = -1;
};

void create(ZelWriter& w, const std::string& path, const CreateArgs& a) {
    Zel::ZelWriterOptions o;
    o.application = a.application;
    o.sourceFile = a.source;
    o.worldSpace = a.worldSpace;
    o.firstTime = a.firstTime;
    o.rate = a.rate;
    if (!a.times.is_none()) {
        py::array_t<float> t = numbers<float>(a.times, "times", -1);
        o.times.assign(t.data(), t.data() + t.size());
    }
    o.frameCount = a.frameCount;
    o.dateStamp = a.dateStamp;
    check(w.create(path, o), true);
}

int addMesh(ZelWriter& w, const std::string& name, py::handle counts, py::handle indices,
            int points, bool subdivision, bool normals, bool velocities) {
    const py::array_t<int> c = numbers<int>(counts, "face_counts", -1);
    const py::array_t<int> i = numbers<int>(indices, "face_indices", -1);
    Zel::ZelMeshDesc d;
    d.faceCounts = viewOf(c);
    d.faceIndices = viewOf(i);
    d.pointCount = points;
    d.subdivision = subdivision;
    d.normals = normals;
    d.velocities = velocities;
    int index = -1;
    check(w.addMesh(name, d, &index));
    return index;
}

int addCurve(ZelWriter& w, const std::string& name, int degree, const std::string& f,
             py::handle knots, int points) {
    const py::array_t<float> k = numbers<float>(knots, "knots", -1);
    Zel::ZelCurveDesc d;
    d.degree = degree;
    d.form = form(f);
    d.knots = viewOf(k);
    d.pointCount = points;
    int index = -1;
    check(w.addNurbsCurve(name, d, &index));
    return index;
}

int addSurface(ZelWriter& w, const std::string& name, py::tuple degrees, py::tuple forms,
               py::handle knotsU, py::handle knotsV, py::tuple counts) {
    const py::array_t<float> u = numbers<float>(knotsU, "knots_u", -1);
    const py::array_t<float> v = numbers<float>(knotsV, "knots_v", -1);
    Zel::ZelSurfaceDesc d;
    d.degreeU = degrees[0].cast<int>();
    d.degreeV = degrees[1].cast<int>();
    d.formU = form(forms[0].cast<std::string>());
    d.formV = form(forms[1].cast<std::string>());
    d.knotsU = viewOf(u);
    d.knotsV = viewOf(v);
    d.pointCountU = counts[0].cast<int>();
    d.pointCountV = counts[1].cast<int>();
    int index = -1;
    check(w.addNurbsSurface(name, d, &index));
    return index;
}

void addStaticAttribute(ZelWriter& w, int object, const std::string& name, py::handle values,
                        const std::string& type, int dimension, const std::string& typeName) {
    const Zel::ZelAttrDesc d = attrDesc(name, type, dimension, typeName);
    if (d.type == Zel::ZelElementType::kString) {
        check(w.addStaticAttribute(object, d, strings(values, name)));
    } else if (d.type == Zel::ZelElementType::kInt32) {
        check(w.addStaticAttribute(object, d, viewOf(numbers<int>(values, name))));
    } else if (d.type == Zel::ZelElementType::kInt64) {
        check(w.addStaticAttribute(object, d, viewOf(numbers<Zel::int64>(values, name))));
    } else if (d.type == Zel::ZelElementType::kFloat) {
        check(w.addStaticAttribute(object, d, viewOf(numbers<float>(values, name))));
    } else {
        check(w.addStaticAttribute(object, d, viewOf(numbers<double>(values, name))));
    }
}

// An animated attribute's value: strings as a list, numbers as doubles (converted to the
// declared type by the library).
void setAttribute(ZelWriter& w, int object, int attr, py::handle values) {
    const bool text = py::isinstance<py::str>(values) ||
                      (py::isinstance<py::list>(values) && py::len(values) > 0 &&
                       py::isinstance<py::str>(values.cast<py::list>()[0]));
    if (text) {
        check(w.setAttribute(object, attr, strings(values, "attribute values")));
        return;
    }
    check(w.setAttribute(object, attr, viewOf(numbers<double>(values, "attribute values"))));
}

std::string label(const ZelWriter& w, int object, const char* what) {
    if (object < 0 || object >= w.numObjects()) {
        return what;
    }
    return std::string(what) + " of '" + w.objectName(object) + "'";
}

void setMatrix(ZelWriter& w, int object, py::handle matrix) {
    const py::array_t<double> m = numbers<double>(matrix, label(w, object, "matrix"));
    if (m.size() != 16) {
        throw py::value_error(label(w, object, "a matrix") + " has 16 values, not " +
                              std::to_string(m.size()));
    }
    check(w.setMatrix(object, viewOf(m)));
}

void defineFrame(py::class_<ZelWriter>& c) {
    c.def(
         "begin_frame", [](ZelWriter& w, float t) { check(w.beginFrame(t)); },
         "Opens the frame at time t.")
        .def(
            "set_positions",
            [](ZelWriter& w, int o, py::handle p) {
                check(w.setPositions(o, viewOf(numbers<float>(p, label(w, o, "positions"), 3))));
            },
            "This frame's points of object o, (n, 3).")
        .def(
            "set_normals",
            [](ZelWriter& w, int o, py::handle p) {
                check(w.setNormals(o, viewOf(numbers<float>(p, label(w, o, "normals"), 3))));
            },
            "This frame's normals of mesh o, (n, 3).")
        .def(
            "set_velocities",
            [](ZelWriter& w, int o, py::handle p) {
                check(w.setVelocities(o, viewOf(numbers<float>(p, label(w, o, "velocities"), 3))));
            },
            "This frame's velocities of mesh o, (n, 3).")
        .def("set_matrix", &setMatrix, "This frame's matrix of transform o, 16 values.")
        .def("set_attribute", &setAttribute,
             "This frame's value of animated attribute a of object o.")
        // The GIL stays held: a ZelWriter serves one thread at a time.
        .def(
            "end_frame", [](ZelWriter& w) { check(w.endFrame(), true); }, "Writes the open frame.")
        .def(
            "close", [](ZelWriter& w) { check(w.close(), true); },
            "Writes the tables and puts the cache at its path.");
}

void defineObjects(py::class_<ZelWriter>& c) {
    c.def("add_mesh", &addMesh, "Declares a mesh; returns its index.")
        .def("add_nurbs_curve", &addCurve, "Declares a NURBS curve; returns its index.")
        .def("add_nurbs_surface", &addSurface, "Declares a NURBS surface; returns its index.")
        .def(
            "add_transform",
            [](ZelWriter& w, const std::string& name, bool inherits, bool doubles) {
                Zel::ZelTransformDesc d;
                d.inheritsTransform = inherits;
                d.doublePrecision = doubles;
                int index = -1;
                check(w.addTransform(name, d, &index));
                return index;
            },
            "Declares a transform; returns its index.")
        .def(
            "add_locator",
            [](ZelWriter& w, const std::string& name) {
                int index = -1;
                check(w.addLocator(name, &index));
                return index;
            },
            "Declares a locator; returns its index.")
        .def(
            "add_coord_system",
            [](ZelWriter& w, const std::string& name) {
                int index = -1;
                check(w.addCoordSystem(name, &index));
                return index;
            },
            "Declares a coordinate system; returns its index.")
        .def(
            "add_animated_attribute",
            [](ZelWriter& w, int o, const std::string& name, const std::string& type, int dim,
               const std::string& typeName) {
                int attr = -1;
                check(w.addAnimatedAttribute(o, attrDesc(name, type, dim, typeName), &attr));
                return attr;
            },
            "Declares an animated attribute of object o; returns its index.")
        .def("add_static_attribute", &addStaticAttribute,
             "Declares an attribute of object o with one value for the cache.");
}

}  // namespace

void defineWriter(py::module_& m) {
    py::class_<ZelWriter> c(m, "Writer", "Writes one cache frame after frame (see zel.create).");
    c.def(py::init<>())
        .def(
            "create",
            [](ZelWriter& w, const std::string& path, const std::string& app,
               const std::string& source, bool world, float first, float rate, py::object times,
               Zel::int64 frames, Zel::int64 stamp) {
                create(w, path, {app, source, world, first, rate, times, frames, stamp});
            },
            "Starts a new cache that close() puts at path.")
        .def(
            "append",
            [](ZelWriter& w, const std::string& path, Zel::int64 stamp) {
                check(w.append(path, stamp), true);
            },
            "Reopens the cache at path to add frames in place.")
        .def("object_count", &ZelWriter::numObjects, "Objects declared so far.")
        .def(
            "object_name",
            [](const ZelWriter& w, int o) {
                if (o < 0 || o >= w.numObjects()) {
                    throw py::index_error("no object " + std::to_string(o));
                }
                return w.objectName(o);
            },
            "The name of object i.")
        .def(
            "object_kind",
            [](const ZelWriter& w, int o) {
                if (o < 0 || o >= w.numObjects()) {
                    throw py::index_error("no object " + std::to_string(o));
                }
                return std::string(Zel::kindName(w.objectKind(o)));
            },
            "What object i is, e.g. 'mesh'.")
        .def("find_object", &ZelWriter::findObject,
             "The index of the object with this name (or last | component), or -1.")
        .def("find_animated_attribute", &ZelWriter::findAnimatedAttribute,
             "The index of object o's animated attribute name, or -1.")
        .def("frame_count", &ZelWriter::frameCount, "Frames in the cache so far.")
        .def("next_time", &ZelWriter::nextTime, "The next uniform frame's time.");
    defineObjects(c);
    defineFrame(c);
}

}  // namespace PyZel

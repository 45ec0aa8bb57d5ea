// The extension module zel._zel: errors, arrays over the mapping, and the two classes.
#include <utility>

#include "PyZel.h"

namespace PyZel {

namespace {

// The exception classes live in zel._errors so that Python code can name and subclass them.
py::object errorClass(const char* name) {
    return py::module_::import("zel._errors").attr(name);
}

const char* dtypeName(Zel::ZelElementType type) {
    switch (type) {
        case Zel::ZelElementType::kInt32:
            return "<i4";
        case Zel::ZelElementType::kFloat:
            return "<f4";
        case Zel::ZelElementType::kInt64:
            return "<i8";
        case Zel::ZelElementType::kDouble:
            return "<f8";
        case Zel::ZelElementType::kString:
            break;
    }
    return "u1";
}

}  // namespace

void check(const Zel::ZelStatus& status, bool file) {
    if (status.ok()) {
        return;
    }
    const Zel::ZelStatusCode code = status.code();
    const char* name = "Error";
    if (code == Zel::ZelStatusCode::kIo || (file && code == Zel::ZelStatusCode::kNotFound)) {
        name = "FileError";
    } else if (code == Zel::ZelStatusCode::kInvalidArgument) {
        name = "InvalidArgument";
    }
    py::object cls = errorClass(name);
    py::object error = cls(status.message(), Zel::ZelStatus::codeName(code));
    PyErr_SetObject(cls.ptr(), error.ptr());
    throw py::error_already_set();
}

py::str text(std::string_view bytes) {
    PyObject* s =
        PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "replace");
    if (s == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::str>(s);
}

py::array_t<float> floatArray(std::vector<float>&& values, int dimension) {
    auto* owned = new std::vector<float>(std::move(values));
    py::capsule free(owned, [](void* p) { delete static_cast<std::vector<float>*>(p); });
    const py::ssize_t d = dimension > 0 ? dimension : 1;
    const py::ssize_t rows = static_cast<py::ssize_t>(owned->size()) / d;
    return py::array_t<float>({rows, d}, owned->data(), free);
}

py::array viewArray(const Zel::ZelDataView& view, const std::shared_ptr<Zel::ZelReader>& owner) {
    auto* keep = new std::shared_ptr<Zel::ZelReader>(owner);
    py::capsule base(keep,
                     [](void* p) { delete static_cast<std::shared_ptr<Zel::ZelReader>*>(p); });
    py::dtype dtype(dtypeName(view.type));
    const py::ssize_t item = dtype.itemsize();
    std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(view.count)};
    std::vector<py::ssize_t> strides{item};
    const int d = view.type == Zel::ZelElementType::kString ? 1 : view.dimension;
    if (d > 1 && view.count % d == 0) {
        shape = {static_cast<py::ssize_t>(view.count / d), d};
        strides = {item * d, item};
        if (d == 9 || d == 16) {  // matrices as (n, 3, 3) or (n, 4, 4)
            const py::ssize_t side = d == 9 ? 3 : 4;
            shape = {shape[0], side, side};
            strides = {item * d, item * side, item};
        }
    }
    py::array array(dtype, shape, strides, view.data, base);
    // The mapping is read-only: a write through the array would fault.
    py::detail::array_proxy(array.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
    return array;
}

}  // namespace PyZel

PYBIND11_MODULE(_zel, m) {
    m.doc() = "The compiled core of the zel package: ZelReader and ZelWriter.";
    PyZel::defineReader(m);
    PyZel::defineWriter(m);
}

// Shared pieces of the Python module: status to exception, and numpy arrays over library memory.
#ifndef PY_ZEL_H
#define PY_ZEL_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <string_view>
#include <vector>

#include "ZelReader.h"
#include "ZelStatus.h"

namespace PyZel {

namespace py = pybind11;

// Raises the zel exception matching `status` (zel.FileError for a system cause when `file` is
// set, zel.InvalidArgument for a refused request, zel.Error otherwise); nothing when ok.
void check(const Zel::ZelStatus& status, bool file = false);

// `bytes` as a str; bytes that are not UTF-8 become U+FFFD rather than an exception.
py::str text(std::string_view bytes);

// A float32 array of shape (values / dimension, dimension) that takes over `values`.
py::array_t<float> floatArray(std::vector<float>&& values, int dimension);

// A read-only array over `view`'s values that keeps `owner` (the open mapping) alive.
py::array viewArray(const Zel::ZelDataView& view, const std::shared_ptr<Zel::ZelReader>& owner);

void defineReader(py::module_& m);
void defineWriter(py::module_& m);

}  // namespace PyZel

#endif

// The parts of the module korinterface._core. The package's Python sources are its only caller and say what users see.
#pragma once

#include <pybind11/pybind11.h>

namespace kor::python {

namespace py = pybind11;

void declareErrors(py::module_& module);
void declareFiles(py::module_& module);
void declareParameters(py::module_& module);
void declareEngine(py::module_& module);
void declareModels(py::module_& module);
void declareMeasurements(py::module_& module);

} // namespace kor::python

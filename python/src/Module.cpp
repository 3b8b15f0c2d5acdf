// The module korinterface._core: initialised in two phases, so that it can refuse where it cannot work.
#include "python/src/Module.h"

#include <exception>

namespace kor::python {

namespace {

// A second interpreter would share types and arrays of the first one, and the interpreters' locks may be different
// ones.
bool isMainInterpreter()
{
    return PyInterpreterState_Get() == PyInterpreterState_Main();
}

int execute(PyObject* object)
{
    if (!isMainInterpreter()) {
        PyErr_SetString(
            PyExc_ImportError,
            "korinterface works in the main interpreter of a process only, not in a subinterpreter: import it "
            "there, or start another process (multiprocessing, concurrent.futures.ProcessPoolExecutor)");
        return -1;
    }
    // A program that has dropped the module and imports it anew gets what is there already: types can be made once.
    static PyObject* first = nullptr;
    if (first != nullptr) {
        return PyDict_Update(PyModule_GetDict(object), PyModule_GetDict(first));
    }
    try {
        py::detail::get_internals();
        auto module = py::reinterpret_borrow<py::module_>(object);
        declareErrors(module);
        declareFiles(module);
        declareParameters(module);
        declareEngine(module);
        declareModels(module);
        declareMeasurements(module);
        module.attr("VERSION") = KOR_VERSION;
    } catch (py::error_already_set& error) {
        error.restore();
        return -1;
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_ImportError, error.what());
        return -1;
    }
    first = object;
    Py_INCREF(first);
    return 0;
}

PyModuleDef_Slot slots[] = {{Py_mod_exec, reinterpret_cast<void*>(&execute)}, {0, nullptr}};

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "korinterface._core", nullptr, 0, nullptr, slots, nullptr, nullptr, nullptr};

} // namespace

} // namespace kor::python

extern "C" PYBIND11_EXPORT PyObject* PyInit__core()
{
    return PyModuleDef_Init(&kor::python::definition);
}

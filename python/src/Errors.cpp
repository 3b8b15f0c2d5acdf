#include "python/src/Errors.h"

#include "KORInterface/Status.h"

#include "python/src/Module.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

namespace {

thread_local python::Warnings* collecting = nullptr;

void collect(const std::string& text)
{
    if (collecting != nullptr) {
        collecting->add(text);
    }
}

} // namespace

void complain(const std::string& text)
{
    collect(text);
}

void warn(const std::string& text)
{
    collect(text);
}

} // namespace kor::tool

namespace kor::python {

using recordings::Problem;

namespace {

const char* kindOf(Problem::Kind kind)
{
    switch (kind) {
    case Problem::Kind::none:
    case Problem::Kind::badData:
        return "bad data";
    case Problem::Kind::cannotOpen:
        return "cannot open";
    case Problem::Kind::cannotRead:
        return "cannot read";
    case Problem::Kind::cannotCreate:
        return "cannot create";
    case Problem::Kind::cannotWrite:
    case Problem::Kind::nobodyReads:
        return "cannot write";
    case Problem::Kind::interrupted:
        return "interrupted";
    }
    return "bad data";
}

std::string sentenceOf(const Problem& problem)
{
    std::string text = recordings::text(problem);
    if (problem.readableAs) {
        text += *problem.readableAs == recordings::Format::csv ? "; format=\"csv\" reads it as CSV"
                                                               : "; format=\"bin\" reads it as binary records";
    }
    return text;
}

// What the parts of the tool throw has a status in place of a kind.
Fault faultOf(const tool::Failure& failure)
{
    switch (failure.status()) {
    case tool::kExitUsage:
        return {"usage", failure.what()};
    case tool::kExitNoInput:
        return {"cannot open", failure.what()};
    case tool::kExitCannotCreate:
        return {"cannot create", failure.what()};
    case tool::kExitIoError:
        return {"cannot read", failure.what()};
    case tool::kExitSoftware:
        return {"internal", failure.what()};
    default:
        return {"bad data", failure.what()};
    }
}

void raise(const Fault& fault)
{
    const py::object object = fault.object();
    PyErr_SetObject(py::type::handle_of(object).ptr(), object.ptr());
}

} // namespace

Fault::Fault(const Problem& problem) : m_text(sentenceOf(problem)), m_kind(kindOf(problem.kind)), m_problem(problem) {}

py::object Fault::object() const
{
    const auto given = [](const std::string& text) -> py::object {
        return text.empty() ? py::object(py::none()) : py::object(textOf(text));
    };
    const auto place = [](std::uint64_t number) -> py::object {
        return number == 0 ? py::object(py::none()) : py::object(py::int_(number));
    };
    const py::object type = py::module_::import("korinterface._errors").attr("KorError");
    return type(textOf(m_text), py::arg("kind") = m_kind,
                py::arg("status") = m_status ? py::object(py::int_(*m_status)) : py::object(py::none()),
                py::arg("file") = given(m_problem.file), py::arg("line") = place(m_problem.line),
                py::arg("record") = place(m_problem.record), py::arg("column") = given(m_problem.column),
                py::arg("found") = given(m_problem.found), py::arg("expected") = given(m_problem.expected),
                py::arg("reason") = given(m_problem.reason), py::arg("advice") = given(m_problem.advice));
}

void require(int status)
{
    if (status != kSuccess) {
        throw Fault(status, std::string(StatusText(status)));
    }
}

py::str textOf(const std::string& text)
{
    PyObject* const decoded =
        PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "backslashreplace");
    if (decoded == nullptr) {
        throw py::error_already_set();
    }
    return py::reinterpret_steal<py::str>(decoded);
}

Warnings::Warnings() : m_outer(tool::collecting)
{
    tool::collecting = this;
}

Warnings::~Warnings()
{
    tool::collecting = m_outer;
}

py::list Warnings::list() const
{
    py::list texts;
    for (const std::string& text : m_texts) {
        texts.append(textOf(text));
    }
    return texts;
}

bool signalsAreHandled()
{
    const py::gil_scoped_acquire lock;
    return PyErr_CheckSignals() == 0;
}

void throwRaised()
{
    throw py::error_already_set();
}

void declareErrors(py::module_& module)
{
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const Fault& fault) {
            raise(fault);
        } catch (const tool::Failure& failure) {
            if (failure.status() == tool::kExitNoMemory) {
                PyErr_SetString(PyExc_MemoryError, failure.what());
            } else {
                raise(faultOf(failure));
            }
        }
    });
    module.def("status_text", [](int status) { return StatusText(status); });
    module.def("message_text", [](unsigned message) { return MessageText(message); });
}

} // namespace kor::python

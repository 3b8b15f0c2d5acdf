// Errors and warnings on their way to Python.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/pybind11.h>

#include "recordings/Problem.h"

namespace kor::python {

namespace py = pybind11;

/// Becomes korinterface.KorError, or MemoryError.
class Fault : public std::exception {
public:
    /// A problem with a file.
    explicit Fault(const recordings::Problem& problem);

    /// An operation of the library that has failed, perhaps at a place of a file.
    Fault(int status, std::string text, recordings::Problem place = {})
        : m_text(std::move(text)), m_kind("library"), m_status(status), m_problem(std::move(place))
    {
    }

    /// Anything else.
    Fault(std::string kind, std::string text) : m_text(std::move(text)), m_kind(std::move(kind)) {}

    const char* what() const noexcept override { return m_text.c_str(); }

    /// The Python object.
    py::object object() const;

private:
    std::string m_text;
    std::string m_kind;
    std::optional<int> m_status{};
    recordings::Problem m_problem{};
};

/// Throws a Fault unless the status is that of a success.
void require(int status);

/// Text for Python, whatever its bytes are.
py::str textOf(const std::string& text);

/// While it exists, the warnings of this thread are collected (also those of tools/kor/Commands.h).
class Warnings {
public:
    Warnings();
    ~Warnings();
    Warnings(const Warnings&) = delete;
    Warnings& operator=(const Warnings&) = delete;

    void add(std::string text) { m_texts.push_back(std::move(text)); }

    /// As a list for the caller, who knows whose call it was.
    py::list list() const;

private:
    std::vector<std::string> m_texts;
    Warnings* m_outer;
};

/// For work that goes on without the interpreter's lock: lets Python handle the signals that have come.
/// Returned  false  if one of them has raised an exception, for which `throwRaised` is to be called with the lock
bool signalsAreHandled();
[[noreturn]] void throwRaised();

} // namespace kor::python

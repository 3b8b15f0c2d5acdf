// A parameter set for Python.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <pybind11/pybind11.h>

#include "KORInterface/CKorPrm.h"
#include "KORInterface/ParameterFile.h"

namespace kor::python {

namespace py = pybind11;

/// What one parameter file says. Nothing changes it once it is read, so any thread may use it.
class Parameters {
public:
    /// Reads DIRECTORY/Tg<id>.prm. Throws Fault.
    Parameters(const std::string& directory, std::int32_t id);

    const CKorPrm& set() const { return m_set; }
    std::int32_t mode() const;

    py::bytes content() const { return m_content; }
    py::dict report() const;
    py::dict groups() const;
    py::list findings(std::optional<std::int32_t> mode) const;
    std::string json() const;
    std::string show(const std::string& title, bool rows) const;

private:
    std::string m_path;
    std::string m_content;
    CKorPrm m_set;
    py::dict m_report;
};

} // namespace kor::python

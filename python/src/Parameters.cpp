#include "python/src/Parameters.h"

#include <vector>

#include <pybind11/stl.h>

#include "KORInterface/ParameterCheck.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Text.h"
#include "python/src/Arrays.h"
#include "python/src/Errors.h"
#include "python/src/Module.h"
#include "tools/kor/PrmContent.h"
#include "tools/kor/PrmJson.h"
#include "tools/kor/PrmView.h"

namespace kor::python {

namespace {

py::dict dictOf(const ReadFinding& finding)
{
    py::dict dict;
    dict["kind"] = finding.kind == FindingKind::shortTable ? "short table" : "unreadable value";
    dict["line"] = finding.line;
    dict["block"] = textOf(finding.block);
    dict["expected"] = textOf(finding.expected);
    dict["found"] = textOf(finding.found);
    dict["text"] = textOf(finding.text);
    dict["values"] = finding.values;
    dict["rows"] = finding.rows;
    dict["count"] = finding.count;
    return dict;
}

py::dict dictOf(const ReadReport& report)
{
    py::dict dict;
    dict["status"] = report.status();
    dict["message"] = report.message();
    dict["line"] = report.line();
    dict["block"] = textOf(report.block());
    dict["expected"] = textOf(report.expected());
    dict["found"] = textOf(report.found());
    dict["text"] = textOf(report.text());
    dict["all_findings"] = report.allFindings();
    py::list findings;
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        findings.append(dictOf(report.finding(i)));
    }
    dict["findings"] = findings;
    return dict;
}

const char* nameOf(CheckSeverity severity)
{
    switch (severity) {
    case CheckSeverity::error:
        return "error";
    case CheckSeverity::warning:
        return "warning";
    case CheckSeverity::note:
        break;
    }
    return "note";
}

py::list listOf(const CheckReport& report)
{
    if (report.outOfMemory()) {
        throw std::bad_alloc();
    }
    py::list list;
    for (std::uint32_t i = 0; i < report.findings(); ++i) {
        const CheckFinding finding = report.finding(i);
        py::dict dict;
        dict["severity"] = nameOf(finding.severity);
        dict["line"] = finding.line;
        dict["rule"] = finding.rule;
        dict["block"] = textOf(finding.block);
        dict["field"] = textOf(finding.field);
        dict["found"] = textOf(finding.found);
        dict["expected"] = textOf(finding.expected);
        dict["advice"] = textOf(finding.advice);
        dict["text"] = textOf(finding.text);
        dict["more"] = finding.more;
        list.append(dict);
    }
    return list;
}

Fault cannotOpen(const std::string& path)
{
    recordings::Problem problem{.kind = recordings::Problem::Kind::cannotOpen};
    problem.file = platform::shown(path);
    problem.reason = platform::whyUnreadable(path);
    return Fault(problem);
}

// What the library has refused, with its status and the place that it names.
[[noreturn]] void refuse(const ReadReport& report, const std::string& path)
{
    if (report.outOfMemory()) {
        throw std::bad_alloc();
    }
    if (report.status() == kCannotOpen) {
        throw cannotOpen(path);
    }
    recordings::Problem problem{.kind = recordings::Problem::Kind::badData};
    problem.file = platform::shown(path);
    problem.line = report.line();
    problem.found = report.found();
    problem.expected = report.expected();
    throw Fault(report.status(), platform::shown(report.text()), problem);
}

template <typename Number>
void take(int status, py::dict& groups, const char* name, const Number* values, std::vector<std::size_t> shape)
{
    require(status);
    groups[name] = copyOf(values, std::move(shape));
}

using GetEncoder = int (CKorPrm::*)(unsigned&, float*) const;
using GetLevel = int (CKorPrm::*)(unsigned&, float*, double*) const;

void takeEncoder(const CKorPrm& prm, GetEncoder get, py::dict& groups, const char* name)
{
    unsigned count = 0;
    (prm.*get)(count, nullptr);
    std::vector<float> table(std::size_t{2} * count + 1);
    if (count > 0) {
        require((prm.*get)(count, table.data()));
    }
    groups[name] = copyOf(table.data(), {count, 2});
}

void takeLevel(const CKorPrm& prm, GetLevel get, py::dict& groups, const std::string& name)
{
    constexpr std::size_t kExtra = 3;
    constexpr std::size_t kCubic = 4;
    unsigned count = 0;
    (prm.*get)(count, nullptr, nullptr);
    std::vector<float> table(count + kExtra);
    std::vector<double> coefficients(kCubic * count + 1);
    if (count > 0) {
        require((prm.*get)(count, table.data(), coefficients.data()));
    }
    groups[(name + "_knots").c_str()] = copyOf(table.data(), {count});
    groups[(name + "_extra").c_str()] = copyOf(table.data() + count, {kExtra});
    groups[(name + "_coefficients").c_str()] = copyOf(coefficients.data(), {count, kCubic});
}

} // namespace

Parameters::Parameters(const std::string& directory, std::int32_t id)
    : m_path(platform::textOf(platform::pathFrom(directory) / tool::prmName(id)))
{
    ReadReport report;
    if (ReadParameterFile(m_set, directory.c_str(), static_cast<std::uint32_t>(id), report) != kSuccess) {
        refuse(report, m_path);
    }
    m_report = dictOf(report);
    m_content = tool::readWhole(m_path, tool::kMostPrmBytes);
    ReadReport again;
    CKorPrm other;
    if (ReadParameterFile(other, directory.c_str(), static_cast<std::uint32_t>(id), again) != kSuccess ||
        tool::readWhole(m_path, tool::kMostPrmBytes) != m_content) {
        throw Fault("bad data", platform::shown(m_path) + ": the file has changed while it was read; read it again");
    }
}

std::int32_t Parameters::mode() const
{
    int mode = 0;
    require(m_set.getMountMode(mode));
    return mode;
}

py::dict Parameters::report() const
{
    return m_report;
}

py::dict Parameters::groups() const
{
    CKorPrm prm = m_set; // some of the get operations are not const
    py::dict groups;
    float single[8] = {};
    double doubles[9] = {};
    unsigned count = 0;
    F_VECTOR2 pair{};
    F_VECTOR4 four{};

    takeEncoder(prm, &CKorPrm::getAzimuthComp, groups, "azimuth_table");
    takeEncoder(prm, &CKorPrm::getElevationComp, groups, "elevation_table");
    int status = prm.getAzimuthCompRollover(single[0], single[1]);
    take(status, groups, "azimuth_rollover", single, {2});
    status = prm.getElevationCompRollover(single[0], single[1]);
    take(status, groups, "elevation_rollover", single, {2});
    takeLevel(prm, &CKorPrm::getLevelXComp, groups, "level_x");
    takeLevel(prm, &CKorPrm::getLevelYComp, groups, "level_y");
    status = prm.getLevel1Parameters(single, count);
    take(status, groups, "level1_parameters", single, {7});
    status = prm.getLevel2Parameters(single, count);
    take(status, groups, "level2_parameters", single, {7});
    status = prm.getQVCParameters(single, count);
    take(status, groups, "qvc_parameters", single, {6});
    status = prm.getScaleFactors(single, count);
    take(status, groups, "scale_factors", single, {8});
    status = prm.getDynamicKORParameters(single);
    take(status, groups, "dynamic_parameters", single, {7});
    status = prm.getPSDParameters(single, single + 3);
    take(status, groups, "psd_x", single, {3});
    take(status, groups, "psd_y", single + 3, {3});
    status = prm.getEncoderOffset(pair);
    take(status, groups, "encoder_offset", &pair.x, {2});
    status = prm.getTiltOffset(pair);
    take(status, groups, "tilt_offset", &pair.x, {2});
    status = prm.getEncoderLimit(four);
    take(status, groups, "encoder_limit", &four.x, {4});
    status = prm.getThermalFactor(four);
    take(status, groups, "thermal_factor", &four.x, {4});
    status = prm.GetKORLevelLimits(four);
    take(status, groups, "level_limits", &four.x, {4});
    status = prm.getKnownVector(doubles);
    take(status, groups, "known_vector", doubles, {3});
    status = prm.getLocalMatrix(doubles, 3);
    take(status, groups, "local_matrix", doubles, {3, 3});
    status = prm.getMachineMatrix(doubles, 3);
    take(status, groups, "machine_matrix", doubles, {3, 3});
    status = prm.getADMOffset(single[0]);
    take(status, groups, "adm_offset", single, {1});
    return groups;
}

py::list Parameters::findings(std::optional<std::int32_t> mode) const
{
    ParameterFile file;
    LoadParameterBytes(file, m_content.data(), m_content.size());
    CheckReport report;
    CheckParameters(file, mode.value_or(kModeOfFile), report);
    return listOf(report);
}

std::string Parameters::json() const
{
    return tool::jsonOf(tool::prmOf(m_content, platform::shown(m_path)));
}

std::string Parameters::show(const std::string& title, bool rows) const
{
    return tool::textOf(tool::prmOf(m_content, title), title, rows);
}

void declareParameters(py::module_& module)
{
    py::class_<Parameters>(module, "Parameters")
        .def(py::init<std::string, std::int32_t>())
        .def_property_readonly("mode", &Parameters::mode)
        .def_property_readonly("content", &Parameters::content)
        .def_property_readonly("report", &Parameters::report)
        .def("groups", &Parameters::groups)
        .def("findings", &Parameters::findings)
        .def("json", &Parameters::json)
        .def("show", [](const Parameters& self, const std::string& title, bool rows) {
            return textOf(self.show(platform::shown(title), rows));
        });
    module.def("check_file", [](const std::string& path, std::optional<std::int32_t> mode) {
        CheckReport report;
        const int status = CheckParameterFile(path.c_str(), mode.value_or(kModeOfFile), report);
        if (status == kCannotOpen) {
            throw cannotOpen(path);
        }
        return listOf(report);
    });
    module.def("prm_text", [](const std::string& json, const std::string& title) {
        return py::bytes(tool::prmText(tool::contentOfJson(json, title)));
    });
    module.def("prm_id", [](const std::string& content, const std::string& title) {
        return tool::prmOf(content, platform::shown(title)).id();
    });
    module.def("prm_name_id", &tool::idInName);
}

} // namespace kor::python

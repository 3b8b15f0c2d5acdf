#include "KORInterface/ParameterCheck.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "KORInterface/Status.h"
#include "params/file/Check.h"
#include "session/ParameterFileData.h"

namespace kor {

struct CheckReportData {
    int status = kSuccess;
    unsigned message = 0;
    bool outOfMemory = false;
    std::string path;
    std::vector<params::CheckFinding> findings;
    std::vector<std::string> texts; // one each
};

struct CheckReportAccess {
    static CheckReportData& data(CheckReport& report) { return *report.m_data; }
};

namespace {

CheckSeverity severityOf(params::Severity severity)
{
    switch (severity) {
    case params::Severity::error:
        return CheckSeverity::error;
    case params::Severity::warning:
        return CheckSeverity::warning;
    case params::Severity::note:
        break;
    }
    return CheckSeverity::note;
}

std::uint32_t count(const CheckReportData& data, params::Severity severity)
{
    return static_cast<std::uint32_t>(
        std::count_if(data.findings.begin(), data.findings.end(), [severity](const params::CheckFinding& finding) {
            return params::textOf(finding.rule).severity == severity;
        }));
}

// Without memory for findings the result still holds.
void reportNoMemory(CheckReportData& data) noexcept
{
    data = CheckReportData();
    data.status = kFormatError;
    data.outOfMemory = true;
}

} // namespace

std::uint32_t CheckRules()
{
    return static_cast<std::uint32_t>(params::rules().size());
}

CheckRule CheckRuleOf(std::uint32_t index)
{
    if (index >= params::rules().size()) {
        return {"", CheckSeverity::note, ""};
    }
    const params::RuleText& rule = params::rules()[index];
    return {rule.name, severityOf(rule.severity), rule.meaning};
}

CheckReport::CheckReport() : m_data(new CheckReportData) {}

CheckReport::CheckReport(const CheckReport& other) : m_data(new CheckReportData(*other.m_data)) {}

CheckReport& CheckReport::operator=(const CheckReport& other)
{
    if (this != &other) {
        try {
            CheckReportData copy = *other.m_data;
            std::swap(*m_data, copy);
        } catch (const std::exception&) {
            reportNoMemory(*m_data);
        }
    }
    return *this;
}

CheckReport::~CheckReport()
{
    delete m_data;
}

int CheckReport::status() const
{
    return m_data->status;
}

unsigned int CheckReport::message() const
{
    return m_data->message;
}

bool CheckReport::outOfMemory() const
{
    return m_data->outOfMemory;
}

const char* CheckReport::path() const
{
    return m_data->path.c_str();
}

std::uint32_t CheckReport::findings() const
{
    return static_cast<std::uint32_t>(m_data->findings.size());
}

std::uint32_t CheckReport::errors() const
{
    return count(*m_data, params::Severity::error);
}

std::uint32_t CheckReport::warnings() const
{
    return count(*m_data, params::Severity::warning);
}

std::uint32_t CheckReport::notes() const
{
    return count(*m_data, params::Severity::note);
}

CheckFinding CheckReport::finding(std::uint32_t index) const
{
    if (index >= m_data->findings.size()) {
        return {CheckSeverity::note, 0, "", "", "", "", "", "", "", 0};
    }
    const params::CheckFinding& finding = m_data->findings[index];
    const params::RuleText& rule = params::textOf(finding.rule);
    return {severityOf(rule.severity),
            finding.line,
            rule.name,
            finding.block,
            finding.field.c_str(),
            finding.found.c_str(),
            finding.expected.c_str(),
            finding.advice.c_str(),
            m_data->texts[index].c_str(),
            finding.more};
}

int CheckParameters(const ParameterFile& file, std::int32_t mode, CheckReport& report)
{
    CheckReportData& data = CheckReportAccess::data(report);
    try {
        const ParameterFileData& from = ParameterFileAccess::data(file);
        CheckReportData fresh;
        fresh.status = from.document.status;
        fresh.message = from.document.messageId;
        fresh.outOfMemory = from.outOfMemory;
        fresh.path = from.path;
        if (!fresh.outOfMemory && (fresh.status == kSuccess || fresh.status == kFormatError)) {
            fresh.findings =
                params::check(from.document, mode == kModeOfFile ? std::nullopt : std::optional<std::int32_t>(mode));
        }
        const std::string name = platform::shown(fresh.path);
        for (const params::CheckFinding& finding : fresh.findings) {
            fresh.texts.push_back(params::sentence(name, finding));
        }
        data = std::move(fresh);
    } catch (const std::exception&) {
        reportNoMemory(data);
    }
    return data.status;
}

namespace {

template <typename Load>
int checkLoaded(std::int32_t mode, CheckReport& report, Load&& load) noexcept
{
    try {
        ParameterFile file;
        load(file);
        return CheckParameters(file, mode, report);
    } catch (const std::exception&) {
        reportNoMemory(CheckReportAccess::data(report));
        return kFormatError;
    }
}

} // namespace

int CheckParameterFile(const char* directory, std::uint32_t id, std::int32_t mode, CheckReport& report)
{
    return checkLoaded(mode, report, [directory, id](ParameterFile& file) { LoadParameterFile(file, directory, id); });
}

int CheckParameterFile(const char* path, std::int32_t mode, CheckReport& report)
{
    return checkLoaded(mode, report, [path](ParameterFile& file) { LoadParameterFile(file, path); });
}

} // namespace kor

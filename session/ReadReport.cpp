#include <algorithm>
#include <cstddef>
#include <exception>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KORInterface/Session.h"
#include "KORInterface/Status.h"
#include "params/ParameterAccess.h"
#include "params/file/Messages.h"
#include "platform/Text.h"

namespace kor {

struct ReadReportData {
    params::ReadReport read{true};
    std::string text;
    std::vector<std::string> findingTexts; // one each, or none at all without memory
};

namespace {

std::uint32_t narrowed(std::uint64_t number)
{
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(number, std::numeric_limits<std::uint32_t>::max()));
}

std::string inQuotes(std::string_view text)
{
    return "\"" + std::string(text) + "\"";
}

std::string foundText(std::string_view found)
{
    return found == params::kEndOfFile ? std::string(found) : inQuotes(found);
}

// A message without the blanks around it and with a full stop.
std::string sentence(std::string_view message)
{
    const std::size_t first = message.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    const std::string_view text = message.substr(first, message.find_last_not_of(' ') - first + 1);
    return std::string(text) + (text.ends_with('.') ? "" : ".");
}

std::string placeText(const std::string& file, std::size_t line, const char* block)
{
    return file + ": line " + std::to_string(line) + ": block " + inQuotes(block) + ": ";
}

std::string findingText(const std::string& file, const params::Finding& finding)
{
    std::string text = placeText(file, finding.line, finding.block);
    if (finding.kind == params::Finding::Kind::shortTable) {
        text += "the table ends after " + std::to_string(finding.rows) + " of the " + std::to_string(finding.count) +
                " rows that its count announces: ";
    }
    text += "found " + foundText(finding.found) + ", expected " + finding.expected + "; ";
    return text + (finding.values == 1 ? "one value keeps its previous content"
                                       : std::to_string(finding.values) + " values keep their previous content");
}

std::string formatText(const std::string& file, const params::ReadReport& read)
{
    if (read.outOfMemory) {
        return file + ": there is not enough memory to read the parameter file";
    }
    const std::string message = sentence(params::messageText(read.messageId));
    if (std::string_view(read.expected) != read.block) {
        // Most messages speak of a title, which was there: what was wrong behind it goes first.
        const char* const what = read.messageId == params::kIdMismatch ? "sensor ID: " : "row count: ";
        return placeText(file, read.line, read.block) + what + "found " + foundText(read.found) + ", expected " +
               read.expected + ". " + message;
    }
    std::string text = file + ": line " + std::to_string(read.line) + ": " +
                       (message.empty() ? "Block " + inQuotes(read.block) + " is not found." : message) + " Found " +
                       foundText(read.found) + ", expected " + inQuotes(read.expected);
    if (!read.findings.empty()) {
        // The title that is not found is only where it shows; a value that could not be read is where it began.
        text += "; the first value that is not a number is in line " + std::to_string(read.findings.front().line) +
                ", block " + inQuotes(read.findings.front().block);
    }
    return text;
}

std::string failureText(const std::string& file, const params::ReadReport& read)
{
    switch (read.status) {
    case kSuccess:
        return {};
    case kFormatError:
        return formatText(file, read);
    default:
        return file + ": " + StatusText(read.status);
    }
}

} // namespace

struct ReadReportAccess {
    static ReadReportData& data(ReadReport& report) { return *report.m_data; }
};

ReadReport::ReadReport() : m_data(new ReadReportData) {}

ReadReport::ReadReport(const ReadReport& other) : m_data(new ReadReportData(*other.m_data)) {}

ReadReport& ReadReport::operator=(const ReadReport& other)
{
    if (this != &other) {
        try {
            ReadReportData copy = *other.m_data;
            std::swap(*m_data, copy);
        } catch (const std::exception&) {
            // Without memory for the texts the result still holds.
            m_data->read = params::ReadReport(true);
            m_data->read.status = other.m_data->read.status;
            m_data->read.messageId = other.m_data->read.messageId;
            m_data->read.outOfMemory = other.m_data->read.outOfMemory;
            m_data->read.line = other.m_data->read.line;
            m_data->text.clear();
            m_data->findingTexts.clear();
        }
    }
    return *this;
}

ReadReport::~ReadReport()
{
    delete m_data;
}

int ReadReport::status() const
{
    return m_data->read.status;
}

unsigned int ReadReport::message() const
{
    return m_data->read.messageId;
}

bool ReadReport::outOfMemory() const
{
    return m_data->read.outOfMemory;
}

std::uint32_t ReadReport::line() const
{
    return narrowed(m_data->read.line);
}

const char* ReadReport::block() const
{
    return m_data->read.block;
}

const char* ReadReport::expected() const
{
    return m_data->read.expected;
}

const char* ReadReport::found() const
{
    return m_data->read.found.c_str();
}

const char* ReadReport::text() const
{
    return m_data->text.c_str();
}

std::uint32_t ReadReport::findings() const
{
    return narrowed(m_data->read.findings.size());
}

std::uint64_t ReadReport::allFindings() const
{
    return m_data->read.findingCount;
}

ReadFinding ReadReport::finding(std::uint32_t index) const
{
    if (index >= m_data->read.findings.size()) {
        return {FindingKind::unreadableValue, 0, "", "", "", "", 0, 0, 0};
    }
    const params::Finding& finding = m_data->read.findings[index];
    const bool isShort = finding.kind == params::Finding::Kind::shortTable;
    return {isShort ? FindingKind::shortTable : FindingKind::unreadableValue,
            narrowed(finding.line),
            finding.block,
            finding.expected,
            finding.found.c_str(),
            index < m_data->findingTexts.size() ? m_data->findingTexts[index].c_str() : "",
            finding.values,
            finding.rows,
            finding.count};
}

int ReadParameterFile(CKorPrm& prm, const wchar_t* directory, std::uint32_t id, ReadReport& report)
{
    ReadReportData& data = ReadReportAccess::data(report);
    data.text.clear();
    data.findingTexts.clear();
    const int status = ParameterAccess::read(prm, directory, id, data.read);
    try {
        const std::string title = data.read.path.empty() ? "the parameter file" : data.read.path;
        data.text = failureText(title, data.read);
        for (const params::Finding& finding : data.read.findings) {
            data.findingTexts.push_back(findingText(title, finding));
        }
    } catch (const std::exception&) {
        // Without memory for the sentences their parts are still there.
    }
    return status;
}

int ReadParameterFile(CKorPrm& prm, const char* directory, std::uint32_t id, ReadReport& report)
{
    ReadReportData& data = ReadReportAccess::data(report);
    data.read = params::ReadReport(true);
    data.text.clear();
    data.findingTexts.clear();
    try {
        const std::optional<std::wstring> wide = directory == nullptr ? std::nullopt : platform::fromUtf8(directory);
        if (directory == nullptr || wide) {
            return ReadParameterFile(prm, wide ? wide->c_str() : nullptr, id, report);
        }
        data.read.status = kCannotOpen;
        data.text = "the parameter file's directory is not valid UTF-8";
    } catch (const std::exception&) {
        if (data.read.status == kSuccess) {
            data.read.status = kFormatError;
            data.read.outOfMemory = true;
        }
    }
    return data.read.status;
}

} // namespace kor

#include "tools/kor/ParameterFile.h"

#include <optional>
#include <string_view>

#include "KORInterface/ParameterCheck.h"
#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Text.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

using platform::inQuotes;
using platform::shown;

namespace {

constexpr std::size_t kLongestDirectory = 254;

Failure cannotOpen(const std::string& path)
{
    return {kExitNoInput, cannotOpenText(path)};
}

void tellFindings(const ParameterSource& source, const std::string& path, Checking checking,
                  std::optional<std::int32_t> mode)
{
    constexpr std::uint32_t kMostTold = 20;
    CheckReport report;
    const int status = CheckParameterFile(source.directory.c_str(), static_cast<std::uint32_t>(source.id),
                                          mode.value_or(kModeOfFile), report);
    if (status == kCannotOpen) {
        throw cannotOpen(path);
    }
    if (report.outOfMemory()) {
        throw noMemoryFor("the parameter file " + shown(path));
    }
    std::uint32_t told = 0;
    for (std::uint32_t i = 0; i < report.findings() && told < kMostTold; ++i) {
        const CheckFinding finding = report.finding(i);
        if (finding.severity == CheckSeverity::note) {
            continue;
        }
        if (finding.severity == CheckSeverity::error) {
            complain(finding.text);
        } else {
            warn(finding.text);
        }
        ++told;
    }
    const std::uint32_t all = report.errors() + report.warnings();
    if (all > told) {
        warn(std::to_string(all - told) + " more findings: kor prm check prints all of them");
    }
    if (checking != Checking::strict || (report.errors() == 0 && status == kSuccess)) {
        return;
    }
    const std::string errors = std::to_string(report.errors()) + (report.errors() == 1 ? " error" : " errors");
    throw Failure(kExitDataError,
                  "the parameter file " + shown(path) + " has " + errors + "; " +
                      (status == kSuccess ? "correct it, or go on with --force"
                                          : "the library refuses it with " + resultText(status, report.message())));
}

} // namespace

std::string ParameterSource::path() const
{
    return platform::textOf(platform::pathFrom(directory) / ("Tg" + std::to_string(id) + ".prm"));
}

std::string cannotOpenText(const std::string& path)
{
    return "cannot open the parameter file " + shown(path) + ": " + platform::whyUnreadable(path);
}

std::string resultText(int status, unsigned message)
{
    return std::to_string(status) +
           (message == 0 ? std::string()
                         : " and message " + std::to_string(message) + ", " + inQuotes(MessageText(message)));
}

void readParameterFile(const ParameterSource& source, CKorPrm& prm, Checking checking, std::optional<std::int32_t> mode)
{
    const std::optional<std::wstring> directory = platform::fromUtf8(source.directory);
    if (!directory || directory->empty() || directory->find(L'\0') != std::wstring::npos) {
        throw Failure(kExitUsage, "--prm: found " + inQuotes(source.directory) + ", expected a directory in UTF-8");
    }
    if (directory->size() > kLongestDirectory) {
        throw Failure(kExitUsage, "--prm: found a directory of " + std::to_string(directory->size()) +
                                      " characters, expected at most " + std::to_string(kLongestDirectory));
    }
    const std::string path = source.path();
    if (checking != Checking::done) {
        tellFindings(source, path, checking, mode);
    }
    ReadReport report;
    const int code = ReadParameterFile(prm, directory->c_str(), static_cast<std::uint32_t>(source.id), report);
    if (code == kCannotOpen) {
        throw cannotOpen(path);
    }
    if (report.outOfMemory()) {
        throw noMemoryFor("the parameter file " + shown(path));
    }
    if (code != kSuccess) {
        throw Failure(kExitDataError, shown(report.text()));
    }
}

} // namespace kor::tool

#include "tools/kor/ParameterFile.h"

#include <optional>
#include <string_view>

#include "KORInterface/Session.h"
#include "KORInterface/Status.h"

#include "platform/Files.h"
#include "platform/Text.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

using platform::inQuotes;
using platform::shown;

namespace {

constexpr std::size_t kLongestDirectory = 254;

} // namespace

std::string ParameterSource::path() const
{
    return platform::textOf(platform::pathFrom(directory) / ("Tg" + std::to_string(id) + ".prm"));
}

void readParameterFile(const ParameterSource& source, CKorPrm& prm)
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
    ReadReport report;
    const int code = ReadParameterFile(prm, directory->c_str(), static_cast<std::uint32_t>(source.id), report);
    if (code == kCannotOpen) {
        throw Failure(kExitNoInput,
                      "cannot open the parameter file " + shown(path) + ": " + platform::whyUnreadable(path));
    }
    if (code != kSuccess) {
        throw Failure(kExitDataError, shown(report.text()));
    }
}

} // namespace kor::tool

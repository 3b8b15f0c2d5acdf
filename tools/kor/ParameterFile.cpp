#include "ParameterFile.h"

#include <optional>
#include <string_view>

#include "params/Messages.h"
#include "params/Reader.h"

#include "Exit.h"
#include "Text.h"
#include "os.h"

namespace kor::tool {

namespace {

constexpr int kCannotOpen = 550;
constexpr std::size_t kLongestDirectory = 254;

// Reads the file once more with the walk that keeps account, and tells what stopped it.
std::string explanation(const std::string& path, const std::wstring& widePath, std::int32_t id)
{
    const params::ReadReport report = params::explainFile(widePath, static_cast<unsigned long>(id));
    if (report.status == 0) {
        return shown(path) + ": changed while it was read";
    }
    const std::string_view message = params::messageText(report.messageId);
    std::string text = shown(path) + ": line " + std::to_string(report.line) + ": ";
    text += message.empty() ? "Block \"" + std::string(report.title) + "\" is not found" : std::string(message);
    const std::string expected = report.expected;
    text += " Found " + (report.found == "end of file" ? report.found : inQuotes(report.found)) + ", expected ";
    text += expected == report.title ? inQuotes(expected) : expected;
    if (report.shortCalls > 0) {
        // The title that is not found is only where it shows; a value that could not be read is where it began.
        text += "; the first value that is none is in line " + std::to_string(report.shortLine) + ", block " +
                inQuotes(report.shortTitle);
    }
    return text;
}

} // namespace

std::string ParameterSource::path() const
{
    return textOf(pathFrom(directory) / ("Tg" + std::to_string(id) + ".prm"));
}

void readParameterFile(const ParameterSource& source, CKorPrm& prm)
{
    const std::optional<std::wstring> directory = wideFromUtf8(source.directory);
    if (!directory || directory->empty()) {
        throw Failure(kExitUsage, "--prm: found " + inQuotes(source.directory) + ", expected a directory in UTF-8");
    }
    if (directory->size() > kLongestDirectory) {
        throw Failure(kExitUsage, "--prm: found a directory of " + std::to_string(directory->size()) +
                                      " characters, expected at most " + std::to_string(kLongestDirectory));
    }
    const std::string path = source.path();
    const int code = prm.ReadCalibrationFile(directory->c_str(), static_cast<unsigned long>(source.id));
    if (code == 0) {
        return;
    }
    if (code == kCannotOpen) {
        throw Failure(kExitNoInput, "cannot open the parameter file " + shown(path) + ": " + os::whyUnreadable(path));
    }
    throw Failure(kExitDataError, explanation(path, *wideFromUtf8(path), source.id));
}

} // namespace kor::tool

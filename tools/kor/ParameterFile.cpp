#include "tools/kor/ParameterFile.h"

#include <optional>
#include <string_view>

#include "params/file/Messages.h"
#include "params/file/Reader.h"

#include "platform/Text.h"
#include "platform/os.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

namespace {

constexpr int kCannotOpen = 550;
constexpr std::size_t kLongestDirectory = 254;

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

// Reads the file once more with the walk that keeps account, and tells what stopped it.
std::string explanation(const std::string& path, const std::wstring& widePath, std::int32_t id)
{
    const params::ReadReport report = params::explainFile(widePath, static_cast<unsigned long>(id));
    if (report.status == 0) {
        return shown(path) + ": changed while it was read";
    }
    const std::string message = sentence(params::messageText(report.messageId));
    const std::string found = report.found == "end of file" ? report.found : inQuotes(report.found);
    const std::string place = shown(path) + ": line " + std::to_string(report.line) + ": ";
    const std::string expected = report.expected;
    if (expected != report.title) {
        // Most messages speak of a title, which was there: what was wrong behind it goes first.
        const bool isId = report.messageId == params::kIdMismatch;
        return place + "block " + inQuotes(report.title) + ": " + (isId ? "sensor ID: " : "row count: ") + "found " +
               found + ", expected " + expected + ". " + message;
    }
    std::string text = place + (message.empty() ? "Block " + inQuotes(report.title) + " is not found." : message) +
                       " Found " + found + ", expected " + inQuotes(expected);
    if (report.shortCalls > 0) {
        // The title that is not found is only where it shows; a value that could not be read is where it began.
        text += "; the first value that is not a number is in line " + std::to_string(report.shortLine) + ", block " +
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

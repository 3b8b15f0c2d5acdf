#include "tools/kor/Gnuplot.h"

#include <vector>

#include <fmt/format.h>

#include "platform/Process.h"
#include "platform/Text.h"
#include "recordings/Compression.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"

namespace kor::tool {

namespace {

// What every script begins with: nothing comes from the user's own settings or from the locale, and no text is markup.
constexpr const char* kSettings = "set encoding utf8\n"
                                  "set decimalsign '.'\n"
                                  "set key noenhanced\n";

constexpr int kNoWindows = 3; // status of a script that found no terminal with windows

std::string terminalOf(PictureKind kind, PictureSize size)
{
    constexpr double kPixelsOfInch = 100.0;
    switch (kind) {
    case PictureKind::svg:
        return fmt::format("set terminal svg noenhanced size {},{} font 'sans-serif,12' background rgb 'white'\n",
                           size.width, size.height);
    case PictureKind::png:
        return fmt::format("set terminal pngcairo noenhanced size {},{} font 'sans,9' background rgb 'white'\n",
                           size.width, size.height);
    case PictureKind::pdf:
        break;
    }
    return fmt::format("set terminal pdfcairo noenhanced size {:.2f}in,{:.2f}in font 'sans,9' background rgb 'white'\n",
                       size.width / kPixelsOfInch, size.height / kPixelsOfInch);
}

platform::ProgramResult runGnuplot(const std::vector<std::string>& options, const std::string& script,
                                   platform::ProgramOutput output)
{
    std::vector<std::string> command = {"gnuplot", "--default-settings"};
    command.insert(command.end(), options.begin(), options.end());
    command.emplace_back("-");
    platform::ProgramResult result = platform::runProgram(command, script, output);
    if (result.isMissing) {
        throw Failure(kExitUnavailable,
                      "gnuplot is not installed, and it draws the pictures; on Debian: apt-get install gnuplot-nox, or "
                      "gnuplot-qt for windows on a desktop");
    }
    if (!result.started) {
        throw Failure(kExitUnavailable, "cannot start gnuplot, which draws the pictures: " + result.errors +
                                            "; the page of kor report needs no other program");
    }
    return result;
}

// The first lines of what it says, fit for a terminal.
std::string shownErrors(const std::string& errors)
{
    constexpr std::size_t kMost = 400;
    std::string text;
    for (const std::string_view line : platform::split(errors, '\n')) {
        if (!platform::trimmed(line).empty() && text.size() < kMost) {
            text += (text.empty() ? "" : " | ") + platform::printable(platform::trimmed(line));
        }
    }
    return text.substr(0, kMost);
}

} // namespace

namespace {

constexpr std::pair<const char*, PictureKind> kEndings[] = {
    {"svg", PictureKind::svg}, {"png", PictureKind::png}, {"pdf", PictureKind::pdf}};

} // namespace

std::vector<std::string> pictureEndings()
{
    std::vector<std::string> endings;
    for (const auto& [ending, kind] : kEndings) {
        endings.emplace_back(ending);
    }
    return endings;
}

std::optional<PictureKind> pictureNamed(const std::string& path)
{
    for (const auto& [ending, kind] : kEndings) {
        if (recordings::hasExtension(path, std::string(".") + ending)) {
            return kind;
        }
    }
    return std::nullopt;
}

std::string gnuplotText(const std::string& text)
{
    // Between single quotes nothing but the quote itself has a meaning, and no line break is left.
    std::string quoted = "'";
    for (const char c : platform::printable(text)) {
        quoted += c;
        if (c == '\'') {
            quoted += c;
        }
    }
    return quoted + "'";
}

void drawPicture(const std::string& path, PictureKind kind, PictureSize size, const std::string& script)
{
    const platform::ProgramResult drawn =
        runGnuplot({}, kSettings + terminalOf(kind, size) + script, platform::ProgramOutput::collected);
    if (drawn.status != 0 || drawn.output.empty()) {
        throw Failure(kExitSoftware, fmt::format("gnuplot has drawn nothing (exit status {}): {}", drawn.status,
                                                 shownErrors(drawn.errors)));
    }
    writeOutput(path, drawn.output);
}

void drawInWindow(const std::string& title, PictureSize size, const std::string& script)
{
    std::string terminal;
    for (const char* const name : {"qt", "wxt", "x11", "aqua", "windows"}) {
        terminal +=
            fmt::format("{}if (strstrt(' '.GPVAL_TERMINALS.' ', ' {} ') > 0) {{\n"
                        "set terminal {} noenhanced persist size {},{} title {}\n}}",
                        terminal.empty() ? "" : " else { ", name, name, size.width, size.height, gnuplotText(title));
    }
    terminal += fmt::format(" else {{\nexit status {}\n}}", kNoWindows);
    for (int i = 0; i < 4; ++i) {
        terminal += " }";
    }
    const platform::ProgramResult shown =
        runGnuplot({"-persist"}, kSettings + terminal + "\n" + script, platform::ProgramOutput::passedOn);
    if (shown.status == kNoWindows) {
        throw Failure(kExitUnavailable, "this gnuplot cannot open windows; give -o FILE, or install one that does: on "
                                        "Debian apt-get install gnuplot-qt");
    }
    if (shown.status != 0) {
        throw Failure(kExitSoftware, fmt::format("gnuplot has drawn nothing (exit status {})", shown.status));
    }
}

} // namespace kor::tool

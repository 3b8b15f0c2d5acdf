#include "tools/kor/HelpText.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace kor::tool {

namespace {

constexpr std::size_t kColumns = 79; // of the 80, so that no terminal adds an empty line
constexpr std::size_t kTextColumn = 26;

// What stands on the left, and a text beside it, from the column on.
std::string entry(std::string_view left, std::string_view text, std::size_t column = kTextColumn)
{
    std::string lines = fmt::format("  {}", left);
    bool below = lines.size() + 2 > column;
    for (const std::string& line : filled(text, kColumns - column)) {
        lines += below ? "\n" + std::string(column, ' ') : std::string(column - lines.size(), ' ');
        lines += line;
        below = true;
    }
    return lines + "\n";
}

std::string paragraphs(std::string_view text)
{
    std::string lines;
    for (const std::string& line : filled(text, kColumns)) {
        lines += line + "\n";
    }
    return lines;
}

std::string usage(const Described& command)
{
    std::string words;
    for (const std::string& word : synopsisOf(command)) {
        words += (words.empty() ? "" : " ") + word;
    }
    std::string lines;
    for (const std::string& line : filled(words, kColumns - 11)) {
        lines += (lines.empty() ? "Usage: " : "           ") + line + "\n";
    }
    return lines;
}

std::string optionEntries(const Described& command, bool arguments)
{
    std::string lines;
    for (const DescribedOption& option : command.options) {
        if (option.isArgument() == arguments) {
            const bool says = option.required && !arguments;
            lines += entry(formOf(option), option.text + (says ? " (required)" : ""));
        }
    }
    return lines.empty() ? lines : (arguments ? "\nArguments:\n" : "\nOptions:\n") + lines;
}

std::string subcommandEntries(const Described& command)
{
    std::string lines;
    for (const auto& sub : command.below) {
        const std::string_view name = sub->name;
        lines += entry(name.substr(command.name.size() + 1), sub->what, 14);
    }
    return lines.empty() ? lines : "\nSubcommands:\n" + lines;
}

std::string exampleLines(const Described& command)
{
    if (command.examples.empty()) {
        return "";
    }
    std::string lines = command.examples.size() == 1 ? "\nExample:\n" : "\nExamples:\n";
    for (const Example& example : command.examples) {
        for (const std::string& line : filled(example.what + ":", kColumns - 2)) {
            lines += "  " + line + "\n";
        }
        for (const std::string& text : example.commands) {
            for (const std::string& line : brokenCommand(text, kColumns - 4)) {
                lines += "    " + line + "\n";
            }
        }
    }
    return lines;
}

// Of the program all of them; of a command those that it gives a meaning of its own.
std::string statusLines(const Described& command)
{
    const bool isProgram = command.name.find(' ') == std::string::npos;
    std::string lines;
    for (const DescribedStatus& status : statusesOf(command)) {
        if (isProgram || status.special || status.status == 0) {
            lines += entry(std::to_string(status.status), status.meaning, 7);
        }
    }
    return "\nExit statuses:\n" + lines + (isProgram ? "" : "  kor --help lists the others.\n");
}

} // namespace

std::string helpText(const Described& command)
{
    return command.what + "\n" + usage(command) + optionEntries(command, true) + optionEntries(command, false) +
           subcommandEntries(command) + (command.about.empty() ? "" : "\n" + paragraphs(command.about)) +
           exampleLines(command) + statusLines(command);
}

} // namespace kor::tool

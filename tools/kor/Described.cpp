#include "tools/kor/Described.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "tools/kor/Exit.h"

namespace kor::tool {

Values oneOf(std::vector<std::string> words)
{
    return {.words = std::move(words)};
}

Values listOf(std::vector<std::string> words)
{
    return {.kind = Values::Kind::list, .words = std::move(words)};
}

Values assignmentTo(std::vector<std::string> words)
{
    return {.kind = Values::Kind::assignment, .words = std::move(words)};
}

Values fileNamed(std::vector<std::string> endings)
{
    return {.kind = Values::Kind::file, .endings = std::move(endings)};
}

Values outputNamed(std::vector<std::string> endings)
{
    return {.kind = Values::Kind::output, .endings = std::move(endings)};
}

Values parameterDirectory()
{
    return {.kind = Values::Kind::directory};
}

Values sensorId()
{
    return {.kind = Values::Kind::sensorId};
}

std::vector<std::string> wordsIn(std::string_view text)
{
    std::vector<std::string> words;
    std::string word;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != ' ' && text[i] != ',') {
            word += text[i];
            continue;
        }
        if (!word.empty() && word != "or") {
            words.push_back(word);
        }
        word.clear();
    }
    return words;
}

std::vector<std::string> compressible(const std::vector<std::string>& endings)
{
    std::vector<std::string> all;
    for (const std::string& ending : endings) {
        for (const char* const packed : {"", ".gz", ".zst"}) {
            all.push_back(ending + packed);
        }
    }
    return all;
}

DescribedOption& DescribedOption::moreInManual(const std::string& sentences)
{
    more = sentences;
    return *this;
}

DescribedOption& DescribedOption::takes(Values offered)
{
    values = std::move(offered);
    return *this;
}

bool Described::writesFiles() const
{
    return std::any_of(options.begin(), options.end(),
                       [](const DescribedOption& option) { return option.values.kind == Values::Kind::output; }) ||
           std::any_of(below.begin(), below.end(), [](const auto& command) { return command->writesFiles(); });
}

const Described* find(const Described& from, std::string_view name)
{
    if (from.name == name) {
        return &from;
    }
    for (const auto& command : from.below) {
        if (const Described* const found = find(*command, name)) {
            return found;
        }
    }
    return nullptr;
}

std::string formOf(const DescribedOption& option)
{
    std::string form;
    for (const std::string& name : option.names) {
        form += (form.empty() ? "" : ", ") + name;
    }
    if (option.isArgument()) {
        return form + (option.repeatable ? "..." : "");
    }
    return form + (option.takesValue() ? " " + option.value : "");
}

std::vector<std::string> synopsisOf(const Described& command)
{
    std::vector<std::string> words = {command.name};
    for (const DescribedOption& option : command.options) {
        if (option.required && !option.isArgument()) {
            words.push_back(option.names.back() + " " + option.value);
        }
    }
    words.emplace_back("[OPTIONS]");
    if (!command.below.empty()) {
        words.emplace_back("SUBCOMMAND");
    }
    for (const DescribedOption& option : command.options) {
        if (option.isArgument()) {
            words.push_back(option.required ? formOf(option) : "[" + formOf(option) + "]");
        }
    }
    return words;
}

namespace {

// A row of the table as the page of a command needs it.
enum class Concern { none, own, below, everybody };

Concern concernOf(const ExitMeaning& meaning, const Described& command)
{
    if (*meaning.command == '\0') {
        return Concern::everybody;
    }
    const std::string name = std::string("kor ") + meaning.command;
    return name == command.name ? Concern::own : name.starts_with(command.name + " ") ? Concern::below : Concern::none;
}

} // namespace

std::vector<DescribedStatus> statusesOf(const Described& command)
{
    std::vector<DescribedStatus> statuses;
    const char* before = ""; // the meaning that the last row has added
    for (const ExitMeaning& row : kExitMeanings) {
        const Concern concern = concernOf(row, command);
        if (concern == Concern::none || (row.status == kExitCannotCreate && !command.writesFiles())) {
            continue;
        }
        const bool isNew = statuses.empty() || statuses.back().status != row.status;
        if (isNew) {
            statuses.push_back({row.status, "", false});
        }
        DescribedStatus& status = statuses.back();
        status.special = status.special || concern == Concern::own;
        const std::string_view meaning = row.meaning;
        if (concern == Concern::below && !isNew && meaning == before) {
            // "kor accuracy: no gnuplot" becomes "kor accuracy, kor plot: no gnuplot".
            status.meaning.insert(status.meaning.size() - meaning.size() - 2, fmt::format(", kor {}", row.command));
        } else if (concern == Concern::below) {
            status.meaning += fmt::format("{}kor {}: {}", isNew ? "" : "; ", row.command, meaning);
        } else {
            status.meaning += fmt::format("{}{}", isNew ? "" : ", or ", meaning);
        }
        before = row.meaning;
    }
    return statuses;
}

std::vector<std::string> filled(std::string_view text, std::size_t width)
{
    std::vector<std::string> lines(1);
    std::string word;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != ' ' && text[i] != '\n') {
            word += text[i];
            continue;
        }
        if (!lines.back().empty() && lines.back().size() + 1 + word.size() > width) {
            lines.emplace_back();
        }
        if (!word.empty()) {
            lines.back() += (lines.back().empty() ? "" : " ") + word;
        }
        word.clear();
        if (i < text.size() && text[i] == '\n') {
            lines.emplace_back();
        }
    }
    return lines;
}

std::vector<std::string> brokenCommand(std::string_view command, std::size_t width)
{
    // An option and its value stay together.
    std::vector<std::string> parts;
    for (const std::string& word : filled(command, 1)) {
        const bool isValue = !parts.empty() && parts.back().starts_with('-') &&
                             parts.back().find(' ') == std::string::npos && !word.starts_with('-');
        if (isValue) {
            parts.back() += " " + word;
        } else {
            parts.push_back(word);
        }
    }
    constexpr std::string_view kGoesOn = " \\";
    std::vector<std::string> lines(1);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const std::size_t behind = i + 1 < parts.size() ? kGoesOn.size() : 0;
        std::string& line = lines.back();
        if (line.empty()) {
            line = parts[i];
        } else if (line.size() + 1 + parts[i].size() + behind <= width) {
            line += " " + parts[i];
        } else {
            line += kGoesOn;
            lines.push_back("    " + parts[i]);
        }
    }
    return lines;
}

} // namespace kor::tool

// kor: the command line of the KOR engine.

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Text.h"
#include "recordings/Output.h"
#include "tools/kor/BashCompletion.h"
#include "tools/kor/CommandLine.h"
#include "tools/kor/Commands.h"
#include "tools/kor/Exit.h"
#include "tools/kor/HelpText.h"
#include "tools/kor/Program.h"

namespace kor::tool {

using platform::inQuotes;
using platform::shown;

void tell(const std::string& text)
{
    platform::File::standard(platform::kStandardError).write(text);
}

namespace {

MessageCollector* collector = nullptr;
std::vector<std::string> started; // the arguments of the program

} // namespace

MessageCollector::MessageCollector()
{
    collector = this;
}

MessageCollector::~MessageCollector()
{
    collector = nullptr;
    try {
        for (const Message& message : m_messages) {
            message.warning ? warn(message.text) : complain(message.text);
        }
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
        // Without memory to tell them, the status still tells the end.
    }
}

std::vector<Message> MessageCollector::take()
{
    return std::exchange(m_messages, {});
}

void complain(const std::string& text)
{
    if (collector != nullptr) {
        collector->m_messages.push_back({false, text});
        return;
    }
    tell(fmt::format("kor: {}\n", text));
}

void warn(const std::string& text)
{
    if (collector != nullptr) {
        collector->m_messages.push_back({true, text});
        return;
    }
    tell(fmt::format("kor: warning: {}\n", text));
}

void writeOutput(const std::string& path, const std::string& text)
{
    recordings::Problem problem;
    const auto output = recordings::Output::open(path, problem);
    if (!output) {
        throw Failure(problem);
    }
    output->write(text);
    if (!output->close()) {
        throw Failure(output->problem());
    }
}

std::string commandLine()
{
    std::string line = "kor";
    for (const std::string& argument : started) {
        const bool plain =
            !argument.empty() && argument.find_first_of(" \t\n\"'\\$&|;<>()*?[]#~`!{}") == std::string::npos;
        line += plain ? " " + argument : " \"" + argument + "\"";
    }
    return line;
}

void print(const std::string& text)
{
    writeOutput("-", text);
}

namespace {

// An option given as "--name=" in front of a lone "--". The parser would take the next argument for its value.
std::string optionWithoutValue(const std::vector<std::string>& arguments)
{
    for (const std::string& argument : arguments) {
        if (argument == "--") {
            break;
        }
        if (argument.starts_with("--") && argument.find('=') == argument.size() - 1) {
            return argument.substr(0, argument.size() - 1);
        }
    }
    return {};
}

// The subcommand that the command line chose, the innermost of a group; the program itself if there is none.
const CLI::App& chosenOf(const CLI::App& root)
{
    const CLI::App* app = &root;
    for (auto below = app->get_subcommands(); !below.empty(); below = app->get_subcommands()) {
        app = below.front();
    }
    return *app;
}

// A subcommand as the command line calls it: "kor prm show".
std::string nameOf(const CLI::App& app)
{
    const CLI::App* const above = app.get_parent();
    return above == nullptr ? app.get_name() : nameOf(*above) + " " + app.get_name();
}

// Ends the reading of the command line with what is to be printed.
class Answer : public std::exception {
public:
    explicit Answer(std::string text) : m_text(std::make_shared<const std::string>(std::move(text))) {}
    const std::string& text() const { return *m_text; }

private:
    std::shared_ptr<const std::string> m_text; // copying an exception must not throw
};

// The parser names only the first of what is required and not there.
std::string missing(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        if (option->get_required() && option->count() == 0) {
            names.push_back(option->get_name());
        }
    }
    return names.empty() ? std::string()
                         : fmt::format("{} {} required", fmt::join(names, ", "), names.size() == 1 ? "is" : "are");
}

// What is wrong with a command line. The parser's own words tell neither what was found nor what is expected.
std::string wordsOf(const CLI::ParseError& error, const CLI::App& app)
{
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) {
        const std::string names = missing(app);
        return names.empty() ? "a subcommand is required" : names;
    }
    if (const auto others = app.remaining(); !others.empty()) {
        return others.front().starts_with('-')
                   ? fmt::format("there is no option {}", inQuotes(others.front()))
                   : fmt::format("found {}, expected no further argument", inQuotes(others.front()));
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        const std::string_view words = error.what(); // the option's name stands in front of a colon
        const std::string name(words.substr(0, words.find(':')));
        if (const CLI::Option* const option = app.get_option_no_throw(name); option != nullptr) {
            return option->count() > 1 ? fmt::format("{} is given more than once", name)
                                       : fmt::format("{}: found nothing, expected {}", name, option->get_type_name());
        }
    }
    return error.what();
}

int run(int argc, char** argv)
{
    CLI::App root("", "kor");
    root.require_subcommand(1);
    root.allow_windows_style_options(false); // a slash begins a path
    Described program = describedProgram();
    const CommandGroup group{root, program};
    root.add_flag_callback("--version", [] { throw Answer("kor " KOR_VERSION "\n"); });
    root.add_flag_callback("--bash-completion", [&program] { throw Answer(bashCompletion(program)); });
    const auto writeAll = [&program](const std::string& directory) {
        writeManual(program, directory);
        throw Answer("");
    };
    root.add_option_function<std::string>("--manual", writeAll)->type_name("DIR");

    std::vector<Command> commands = {declareReplay(group),  declareSimulate(group), declareAccuracy(group),
                                     declareCompare(group), declareConvert(group),  declarePlot(group),
                                     declareReport(group)};
    for (const Command& command : declarePrm(group)) {
        commands.push_back(command);
    }
    const std::vector<std::string> arguments = platform::arguments(argc, argv);
    started = arguments;
    if (const std::string option = optionWithoutValue(arguments); !option.empty()) {
        tell(fmt::format("kor: {}: found \"\", expected a value\nSee kor --help.\n", shown(option)));
        return kExitUsage;
    }
    try {
        root.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // takes the last one first
    } catch (const Answer& answer) {
        print(answer.text());
        return kExitOk;
    } catch (const CLI::CallForHelp&) {
        print(helpText(*find(program, nameOf(chosenOf(root)))));
        return kExitOk;
    } catch (const CLI::ParseError& error) {
        const CLI::App& chosen = chosenOf(root);
        const bool isGroup = !chosen.get_subcommands({}).empty();
        if (const auto others = chosen.remaining(); isGroup && !others.empty()) {
            tell(fmt::format("kor: there is no subcommand or option {}\nSee {} --help.\n", inQuotes(others.front()),
                             nameOf(chosen)));
            return kExitUsage;
        }
        tell(fmt::format("kor: {}\nSee {} --help.\n", wordsOf(error, chosen), nameOf(chosen)));
        return kExitUsage;
    }
    for (const Command& command : commands) {
        if (!command.app->parsed()) {
            continue;
        }
        try {
            return command.run();
        } catch (const Misuse& misuse) {
            complain(fmt::format("{}\nSee {} --help.", misuse.what(), nameOf(*command.app)));
            return misuse.status();
        }
    }
    return kExitUsage;
}

// Ends with what is to be said of a failure.
int runTold(int argc, char** argv)
{
    try {
        return run(argc, argv);
    } catch (const Failure& failure) {
        if (failure.status() != kExitNobodyReads) { // whoever closed the pipe has what was wanted
            complain(failure.what());
        }
        return failure.status();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        complain(error.what());
        return kExitSoftware;
    }
}

} // namespace

} // namespace kor::tool

int main(int argc, char** argv)
{
    using namespace kor::tool;
    kor::platform::prepareProcess();
    try {
        return runTold(argc, argv);
    } catch (const std::bad_alloc&) {
        // In words that need no memory.
        kor::platform::File::standard(kor::platform::kStandardError).write("kor: there is not enough memory\n");
        return kExitNoMemory;
    }
}

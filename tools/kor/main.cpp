// kor: the command line of the KOR engine.

#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "Commands.h"
#include "Exit.h"
#include "Output.h"
#include "Text.h"
#include "os.h"

namespace kor::tool {

void tell(const std::string& text)
{
    os::writeAll(os::kStandardError, text.data(), text.size());
}

void complain(const std::string& text)
{
    tell(fmt::format("kor: {}\n", text));
}

void warn(const std::string& text)
{
    tell(fmt::format("kor: warning: {}\n", text));
}

namespace {

int print(const std::string& text)
{
    Output output("-");
    output.write(text);
    output.close();
    return kExitOk;
}

int run(int argc, char** argv)
{
    CLI::App root("Raw readings of a KOR sensor to calibrated angles and orientation.", "kor");
    root.set_version_flag("--version", "kor " KOR_VERSION, "Print the version and exit");
    root.get_help_ptr()->description("Print this help and exit");
    root.require_subcommand(1);
    root.allow_windows_style_options(false); // a slash begins a path
    root.footer(
        "Exit status: 0 done, 1 accuracy beyond a bound, 64 wrong usage, 65 bad recording or parameter file,\n"
        "             66 input cannot be opened, 70 internal error, 73 output cannot be created, 74 reading or\n"
        "             writing failed.");

    const std::vector<Command> commands = {declareReplay(root), declareSimulate(root), declareAccuracy(root)};
    const std::vector<std::string> arguments = os::arguments(argc, argv);
    try {
        root.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // takes the last one first
    } catch (const CLI::CallForVersion& version) {
        return print(std::string(version.what()) + "\n");
    } catch (const CLI::CallForHelp&) {
        const auto chosen = root.get_subcommands();
        return print(chosen.empty() ? root.help() : chosen.front()->help(root.get_name()));
    } catch (const CLI::CallForAllHelp&) {
        return print(root.help("", CLI::AppFormatMode::All));
    } catch (const CLI::ParseError& error) {
        const auto chosen = root.get_subcommands();
        if (const auto others = root.remaining(); chosen.empty() && !others.empty()) {
            tell(fmt::format("kor: there is no subcommand or option {}\nSee kor --help.\n", inQuotes(others.front())));
            return kExitUsage;
        }
        tell(fmt::format("kor: {}\nSee kor {}--help.\n", error.what(),
                         chosen.empty() ? std::string() : chosen.front()->get_name() + " "));
        return kExitUsage;
    }
    for (const Command& command : commands) {
        if (command.app->parsed()) {
            return command.run();
        }
    }
    return kExitUsage;
}

} // namespace

} // namespace kor::tool

int main(int argc, char** argv)
{
    using namespace kor::tool;
    os::prepareProcess();
    try {
        return run(argc, argv);
    } catch (const Failure& failure) {
        complain(failure.what());
        return failure.status();
    } catch (const std::exception& error) {
        complain(error.what());
        return kExitSoftware;
    }
}

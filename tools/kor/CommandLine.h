// Declaring a subcommand: its options and arguments, which arrive as text.
//
// Only CommandLine.cpp and main.cpp include the parser itself, which takes a compiler seconds each time.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/kor/Commands.h"

namespace kor::tool {

class Subcommand {
public:
    /// Adds it to the program or to a group of subcommands.
    Subcommand(CLI::App& above, const std::string& name, const std::string& what);

    /// An option, "-o,--output", or an argument in its place, "FILE". `type` stands for the value in the help; it is
    /// empty for an argument. What is not given keeps its content.
    void option(const std::string& names, std::string& into, const std::string& type, const std::string& text);
    void option(const std::string& names, std::optional<std::string>& into, const std::string& type,
                const std::string& text);
    void required(const std::string& names, std::string& into, const std::string& type, const std::string& text);

    /// An option that may be repeated and takes one value each time.
    void repeatable(const std::string& names, std::vector<std::string>& into, const std::string& type,
                    const std::string& text);

    /// All arguments that are no options' values.
    void arguments(const std::string& name, std::vector<std::string>& into, const std::string& text);
    void requiredArguments(const std::string& name, std::vector<std::string>& into, const std::string& text);

    void flag(const std::string& names, bool& into, const std::string& text);
    /// Not in the help.
    void hiddenFlag(const std::string& names, bool& into);
    void hiddenOption(const std::string& names, std::optional<std::string>& into);

    void footer(const std::string& text);

    /// Makes it a group, one of whose subcommands is required.
    CLI::App& asGroup();

    /// The finished declaration, with what the subcommand does.
    Command runs(std::function<int()> run) const { return {m_app, std::move(run)}; }

private:
    CLI::App* m_app;
};

} // namespace kor::tool

// Declaring a subcommand: its options and arguments, which arrive as text, and what is said of them.
//
// Only CommandLine.cpp and main.cpp include the parser itself, which takes a compiler seconds each time.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/kor/Commands.h"
#include "tools/kor/Described.h"

namespace kor::tool {

/// What subcommands are added to: the program, or a group of them.
struct CommandGroup {
    CLI::App& parser;
    Described& described;
};

class Subcommand {
public:
    /// Adds it to the program or to a group of subcommands.
    Subcommand(const CommandGroup& above, const std::string& name, const std::string& what);

    /// An option, "-o,--output", or an argument in its place, "FILE". `type` stands for the value in the help; it is
    /// empty for an argument. What is not given keeps its content. The result is to be used before the next
    /// declaration.
    DescribedOption& option(const std::string& names, std::string& into, const std::string& type,
                            const std::string& text);
    DescribedOption& option(const std::string& names, std::optional<std::string>& into, const std::string& type,
                            const std::string& text);
    DescribedOption& required(const std::string& names, std::string& into, const std::string& type,
                              const std::string& text);

    /// An option that may be repeated and takes one value each time.
    DescribedOption& repeatable(const std::string& names, std::vector<std::string>& into, const std::string& type,
                                const std::string& text);

    /// All arguments that are no options' values.
    DescribedOption& arguments(const std::string& name, std::vector<std::string>& into, const std::string& text);
    DescribedOption& requiredArguments(const std::string& name, std::vector<std::string>& into,
                                       const std::string& text);

    DescribedOption& flag(const std::string& names, bool& into, const std::string& text);
    /// Not described.
    void hiddenFlag(const std::string& names, bool& into);
    void hiddenOption(const std::string& names, std::optional<std::string>& into);

    /// What the help and the manual page say of it as a whole, and what the manual page alone goes on with.
    void about(const std::string& text, const std::string& moreInManual = "");
    void example(const std::string& what, const std::vector<std::string>& commands);

    /// Makes it a group, one of whose subcommands is required.
    CommandGroup asGroup();

    /// The finished declaration, with what the subcommand does.
    Command runs(std::function<int()> run) const { return {m_parser, std::move(run)}; }

private:
    DescribedOption& describe(const std::string& names, const std::string& type, const std::string& text);

    CLI::App* m_parser;
    Described* m_described;
};

/// The names of an option apart: "-o" and "--output" of "-o,--output".
std::vector<std::string> namesOf(const std::string& names);

} // namespace kor::tool

#include "tools/kor/CommandLine.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "platform/Text.h"

namespace kor::tool {

std::vector<std::string> namesOf(const std::string& names)
{
    std::vector<std::string> each;
    for (const std::string_view name : platform::split(names, ',')) {
        each.emplace_back(name);
    }
    return each;
}

Subcommand::Subcommand(const CommandGroup& above, const std::string& name, const std::string& what)
    : m_parser(above.parser.add_subcommand(name)), m_described(nullptr)
{
    above.described.below.push_back(std::make_unique<Described>());
    m_described = above.described.below.back().get();
    m_described->name = above.described.name + " " + name;
    m_described->what = what;
    describe("-h,--help", "", "Print this help and exit");
}

DescribedOption& Subcommand::describe(const std::string& names, const std::string& type, const std::string& text)
{
    m_described->options.push_back({.names = namesOf(names), .value = type, .text = text});
    return m_described->options.back();
}

DescribedOption& Subcommand::option(const std::string& names, std::string& into, const std::string& type,
                                    const std::string& text)
{
    m_parser->add_option(names, into)->type_name(type);
    return describe(names, type, text);
}

DescribedOption& Subcommand::option(const std::string& names, std::optional<std::string>& into, const std::string& type,
                                    const std::string& text)
{
    m_parser->add_option(names, into)->type_name(type);
    return describe(names, type, text);
}

DescribedOption& Subcommand::required(const std::string& names, std::string& into, const std::string& type,
                                      const std::string& text)
{
    m_parser->add_option(names, into)->type_name(type)->required();
    DescribedOption& option = describe(names, type, text);
    option.required = true;
    return option;
}

DescribedOption& Subcommand::repeatable(const std::string& names, std::vector<std::string>& into,
                                        const std::string& type, const std::string& text)
{
    m_parser->add_option(names, into)
        ->type_name(type)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    DescribedOption& option = describe(names, type, text);
    option.repeatable = true;
    return option;
}

DescribedOption& Subcommand::arguments(const std::string& name, std::vector<std::string>& into, const std::string& text)
{
    m_parser->add_option(name, into)->type_name("");
    DescribedOption& option = describe(name, "", text);
    option.repeatable = true;
    return option;
}

DescribedOption& Subcommand::requiredArguments(const std::string& name, std::vector<std::string>& into,
                                               const std::string& text)
{
    m_parser->add_option(name, into)->type_name("")->required();
    DescribedOption& option = describe(name, "", text);
    option.required = true;
    option.repeatable = true;
    return option;
}

DescribedOption& Subcommand::flag(const std::string& names, bool& into, const std::string& text)
{
    m_parser->add_flag(names, into);
    return describe(names, "", text);
}

void Subcommand::hiddenFlag(const std::string& names, bool& into)
{
    m_parser->add_flag(names, into);
}

void Subcommand::hiddenOption(const std::string& names, std::optional<std::string>& into)
{
    m_parser->add_option(names, into);
}

void Subcommand::about(const std::string& text, const std::string& moreInManual)
{
    m_described->about = text;
    m_described->more = moreInManual;
}

void Subcommand::example(const std::string& what, const std::vector<std::string>& commands)
{
    m_described->examples.push_back({what, commands});
}

CommandGroup Subcommand::asGroup()
{
    m_parser->require_subcommand(1);
    return {*m_parser, *m_described};
}

} // namespace kor::tool

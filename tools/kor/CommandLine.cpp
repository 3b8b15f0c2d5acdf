#include "tools/kor/CommandLine.h"

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace kor::tool {

Subcommand::Subcommand(CLI::App& above, const std::string& name, const std::string& what)
    : m_app(above.add_subcommand(name, what))
{
    m_app->get_help_ptr()->description("Print this help and exit");
}

void Subcommand::option(const std::string& names, std::string& into, const std::string& type, const std::string& text)
{
    m_app->add_option(names, into, text)->type_name(type);
}

void Subcommand::option(const std::string& names, std::optional<std::string>& into, const std::string& type,
                        const std::string& text)
{
    m_app->add_option(names, into, text)->type_name(type);
}

void Subcommand::required(const std::string& names, std::string& into, const std::string& type, const std::string& text)
{
    m_app->add_option(names, into, text)->type_name(type)->required();
}

void Subcommand::repeatable(const std::string& names, std::vector<std::string>& into, const std::string& type,
                            const std::string& text)
{
    m_app->add_option(names, into, text)
        ->type_name(type)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void Subcommand::arguments(const std::string& name, std::vector<std::string>& into, const std::string& text)
{
    m_app->add_option(name, into, text)->type_name("");
}

void Subcommand::requiredArguments(const std::string& name, std::vector<std::string>& into, const std::string& text)
{
    m_app->add_option(name, into, text)->type_name("")->required();
}

void Subcommand::flag(const std::string& names, bool& into, const std::string& text)
{
    m_app->add_flag(names, into, text);
}

void Subcommand::hiddenFlag(const std::string& names, bool& into)
{
    m_app->add_flag(names, into)->group("");
}

void Subcommand::hiddenOption(const std::string& names, std::optional<std::string>& into)
{
    m_app->add_option(names, into)->group("");
}

void Subcommand::footer(const std::string& text)
{
    m_app->footer(text);
}

CLI::App& Subcommand::asGroup()
{
    m_app->require_subcommand(1);
    return *m_app;
}

} // namespace kor::tool

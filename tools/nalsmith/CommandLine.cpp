// SPDX-License-Identifier: MIT
#include "CommandLine.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>

namespace host {
namespace {

void Apply(const OptionRules& rules, CLI::Option& option)
{
    option.required(rules.required);
    if (!rules.values.empty())
        option.check(CLI::IsMember(rules.values));
    option.type_name(rules.type);
}

} // namespace

CLI::App* AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& footer)
{
    return parent.add_subcommand(name, description)->footer(footer);
}

void AddFlag(CLI::App& parser, const std::string& names, bool& value, const std::string& help)
{
    parser.add_flag(names, value, help);
}

void AddOption(CLI::App& parser, const std::string& names, std::string& value, const std::string& help,
               const OptionRules& rules)
{
    Apply(rules, *parser.add_option(names, value, help));
}

void AddOption(CLI::App& parser, const std::string& names, unsigned& value, const std::string& help,
               const OptionRules& rules)
{
    Apply(rules, *parser.add_option(names, value, help));
}

void Exclude(CLI::App& parser, const std::string& option, const std::string& other)
{
    parser.get_option(option)->excludes(parser.get_option(other));
}

} // namespace host

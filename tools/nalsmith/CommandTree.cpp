// SPDX-License-Identifier: MIT
#include "CommandTree.h"

#include <CLI/Option.hpp>
#include <CLI/StringTools.hpp>

namespace host {
namespace {

// Groups of options are parsers, too, without a name.
std::vector<const CLI::App*> Inner(const CLI::App& parser, bool named)
{
    return parser.get_subcommands(
        [named](const CLI::App* inner) { return inner->get_name().empty() != named; });
}

void Collect(const CLI::App& parser, const std::vector<std::string>& words, std::vector<CommandPath>& found)
{
    const auto commands = Inner(parser, true);
    if (commands.empty())
        found.push_back({words, &parser});
    for (const CLI::App* command : commands) {
        std::vector<std::string> deeper = words;
        deeper.push_back(command->get_name());
        Collect(*command, deeper, found);
    }
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& parser, bool positional)
{
    auto options = parser.get_options(
        [positional](const CLI::Option* option) { return option->get_positional() == positional; });
    for (const CLI::App* group : Inner(parser, false))
        for (const CLI::Option* option : OptionsOf(*group, positional))
            options.push_back(option);
    return options;
}

} // namespace

std::vector<CommandPath> CommandsOf(const CLI::App& program)
{
    std::vector<CommandPath> found;
    Collect(program, {}, found);
    return found;
}

std::vector<const CLI::Option*> NamedOptions(const CLI::App& parser)
{
    return OptionsOf(parser, false);
}

std::vector<const CLI::Option*> Positionals(const CLI::App& parser)
{
    return OptionsOf(parser, true);
}

// The parser keeps the list in the name of the type: "TEXT:{avc,hevc}".
std::vector<std::string> ValuesOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{');
    const std::size_t close = type.rfind('}');
    if (open == std::string::npos || close == std::string::npos)
        return {};
    return CLI::detail::split(type.substr(open + 1, close - open - 1), ',');
}

bool TakesValue(const CLI::Option& option)
{
    return option.get_items_expected_max() > 0;
}

bool TakesPath(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const std::string& name = option.get_single_name();
    return TakesValue(option) && (name == "FILE" || type.rfind("FILE", 0) == 0 || type.rfind("DIR", 0) == 0 ||
                                  type.rfind("OUT", 0) == 0 || type.rfind("NDJSON", 0) == 0);
}

} // namespace host

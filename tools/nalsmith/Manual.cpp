// SPDX-License-Identifier: MIT
#include "Manual.h"

#include "CommandTree.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <sstream>

namespace host {
namespace {

// Text as it is: no character of it is taken for a request.
std::string Roff(std::string_view text)
{
    std::string escaped;
    for (const char c : text) {
        if (c == '\\')
            escaped += "\\e";
        else if (c == '-')
            escaped += "\\-";
        else if ((c == '.' || c == '\'') && (escaped.empty() || escaped.back() == '\n'))
            escaped += std::string("\\&") + c;
        else
            escaped += c;
    }
    return escaped;
}

std::string TypeOf(const CLI::Option& option)
{
    const std::vector<std::string> values = ValuesOf(option);
    const std::string type = option.get_type_name(); // "UINT:UINT in [1 - 9]"
    return values.empty() ? type.substr(0, type.find(':')) : fmt::format("{}", fmt::join(values, "|"));
}

std::string OptionEntry(const CLI::Option& option)
{
    std::string entry = ".TP\n\\fB" + Roff(option.get_name(option.get_positional(), true)) + "\\fR";
    if (TakesValue(option) && !option.get_positional())
        entry += " \\fI" + Roff(TypeOf(option)) + "\\fR";
    return entry + "\n" + Roff(option.get_description()) + "\n";
}

std::string Synopsis(const CommandPath& command)
{
    std::string text = fmt::format("nalsmith {}", fmt::join(command.words, " "));
    for (const CLI::Option* option : Positionals(*command.parser))
        text += " " + option->get_single_name();
    return text;
}

// Lines that are indented are examples, and stay lines.
std::string Footer(const std::string& footer)
{
    std::istringstream lines(footer);
    std::string text;
    bool example = false;
    for (std::string line; std::getline(lines, line);) {
        const bool indented = line.rfind("  ", 0) == 0;
        if (indented != example)
            text += indented ? ".PP\n.nf\n.RS\n" : ".RE\n.fi\n";
        example = indented;
        text += line.empty() ? ".PP\n" : Roff(indented ? line.substr(2) : line) + "\n";
    }
    return text + (example ? ".RE\n.fi\n" : "");
}

std::string CommandSection(const CommandPath& command)
{
    std::string section =
        ".SS \"" + Roff(Synopsis(command)) + "\"\n" + Roff(command.parser->get_description()) + ".\n";
    for (const CLI::Option* option : Positionals(*command.parser))
        section += OptionEntry(*option);
    for (const CLI::Option* option : NamedOptions(*command.parser))
        if (!option->check_name("--help"))
            section += OptionEntry(*option);
    return section + ".PP\n" + Footer(command.parser->get_footer());
}

} // namespace

std::string ManualPage(const CLI::App& program)
{
    std::string page = fmt::format(".TH NALSMITH 1 \"\" \"nalsmith {}\" \"User Commands\"\n.SH NAME\n"
                                   "nalsmith \\- {}\n.SH SYNOPSIS\n",
                                   NALSMITH_VERSION, Roff(program.get_description()));
    const std::vector<CommandPath> commands = CommandsOf(program);
    for (const CommandPath& command : commands)
        page += ".B " + Roff(Synopsis(command)) + "\n[\\fIoptions\\fR]\n.br\n";
    page += ".SH COMMANDS\n";
    for (const CommandPath& command : commands)
        page += CommandSection(command);
    return page + ".SH NOTES\n" + Footer(program.get_footer());
}

} // namespace host

// SPDX-License-Identifier: MIT
#include "CommandTree.h"
#include "Manual.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <map>

namespace host {
namespace {

std::vector<std::string> NamesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        names.push_back("--" + name);
    return names;
}

// In single quotes, for any of the shells.
std::string Quoted(const std::string& text)
{
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// The words that may follow some words: "" -> info units userdata, "userdata" -> add get remove.
std::map<std::string, std::vector<const CLI::App*>> Branches(const CLI::App& program)
{
    const auto named = [](const CLI::App* command) { return !command->get_name().empty(); };
    std::map<std::string, std::vector<const CLI::App*>> branches;
    for (const CLI::App* command : program.get_subcommands(named)) {
        branches[""].push_back(command);
        for (const CLI::App* inner : command->get_subcommands(named))
            branches[command->get_name()].push_back(inner);
    }
    return branches;
}

std::string Words(const CommandPath& command)
{
    return fmt::format("{}", fmt::join(command.words, " "));
}

// One arm of the case over the option before the cursor.
std::string BashValues(const CommandPath& command)
{
    std::string arms;
    for (const CLI::Option* option : NamedOptions(*command.parser)) {
        if (!TakesValue(*option))
            continue;
        const auto values = ValuesOf(*option);
        const std::string reply =
            values.empty() ? std::string(TakesPath(*option) ? "-f" : "-W ''")
                           : fmt::format("-W {}", Quoted(fmt::format("{}", fmt::join(values, " "))));
        arms += fmt::format("            {}) COMPREPLY=($(compgen {} -- \"$word\")); return ;;\n",
                            fmt::join(NamesOf(*option), "|"), reply);
    }
    return arms.empty() ? arms : "        case $before in\n" + arms + "        esac\n";
}

std::string BashOptions(const CommandPath& command)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : NamedOptions(*command.parser))
        for (const std::string& name : NamesOf(*option))
            names.push_back(name);
    return fmt::format("        [[ $word == -?* ]] && COMPREPLY=($(compgen -W {} -- \"$word\")) && return\n",
                       Quoted(fmt::format("{}", fmt::join(names, " "))));
}

std::string FishCondition(const std::vector<std::string>& words)
{
    std::string condition;
    for (const std::string& word : words)
        condition += (condition.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
    return Quoted(condition);
}

std::string FishOption(const CLI::Option& option, const std::string& condition)
{
    std::string line = "complete -c nalsmith -n " + condition;
    for (const std::string& name : option.get_snames())
        line += " -s " + name;
    for (const std::string& name : option.get_lnames())
        line += " -l " + name;
    if (TakesValue(option))
        line += TakesPath(option) ? " -r -F" : " -x";
    if (const auto values = ValuesOf(option); !values.empty())
        line += " -a " + Quoted(fmt::format("{}", fmt::join(values, " ")));
    return line + " -d " + Quoted(option.get_description()) + "\n";
}

// What _arguments() of zsh takes for an option or a positional.
std::string ZshArgument(const CLI::Option& option)
{
    std::string description;
    for (const char c : option.get_description())
        description += c == '[' || c == ']' || c == ':' ? std::string("\\") + c : std::string(1, c);
    const auto values = ValuesOf(option);
    const std::string action = !values.empty()     ? fmt::format("({})", fmt::join(values, " "))
                               : TakesPath(option) ? "_files"
                                                   : " ";
    if (option.get_positional())
        return "        " + Quoted(":" + option.get_single_name() + ":" + action) + " \\\n";
    std::string lines;
    for (const std::string& name : NamesOf(option)) {
        const std::string value = TakesValue(option) ? ":value:" + action : "";
        lines += fmt::format("        {} \\\n", Quoted(fmt::format("{}[{}]{}", name, description, value)));
    }
    return lines;
}

std::string ZshBranch(const std::string& before, const std::vector<const CLI::App*>& commands)
{
    std::string words;
    for (const CLI::App* command : commands)
        words += " " + Quoted(command->get_name() + ":" + command->get_description());
    return fmt::format("    {})\n        local -a commands=({} )\n        _describe command commands ;;\n",
                       Quoted(before), words);
}

} // namespace

std::string BashCompletion(const CLI::App& program)
{
    std::string script = "# bash completion for nalsmith\n_nalsmith()\n{\n"
                         "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}\n"
                         "    local called=${COMP_WORDS[1]}\n"
                         "    COMPREPLY=()\n";
    for (const auto& [before, commands] : Branches(program)) {
        std::vector<std::string> words;
        for (const CLI::App* command : commands)
            words.push_back(command->get_name());
        const std::string list = fmt::format("{}", fmt::join(words, " "));
        if (before.empty())
            script += fmt::format(
                "    if ((COMP_CWORD == 1)); then\n        COMPREPLY=($(compgen -W {} -- \"$word\"))\n"
                "        return\n    fi\n",
                Quoted(list + " --help --version"));
        else
            script +=
                fmt::format("    if [[ $called == {} ]]; then\n        if ((COMP_CWORD == 2)); then\n"
                            "            COMPREPLY=($(compgen -W {} -- \"$word\"))\n            return\n"
                            "        fi\n        called+=\" ${{COMP_WORDS[2]}}\"\n    fi\n",
                            before, Quoted(list));
    }
    script += "    case $called in\n";
    for (const CommandPath& command : CommandsOf(program))
        script += "    " + Quoted(Words(command)) + ")\n" + BashValues(command) + BashOptions(command) +
                  "        ;;\n";
    return script + "    esac\n    COMPREPLY=($(compgen -f -- \"$word\"))\n}\n"
                    "complete -o filenames -F _nalsmith nalsmith\n";
}

std::string ZshCompletion(const CLI::App& program)
{
    std::string script = "#compdef nalsmith\n_nalsmith()\n{\n    local called=${words[2]}\n"
                         "    if ((CURRENT == 2)); then called=\n";
    const auto branches = Branches(program);
    for (const auto& [before, commands] : branches)
        if (!before.empty())
            script += fmt::format("    elif [[ $called == {} ]]; then\n"
                                  "        ((CURRENT > 3)) && called+=\" ${{words[3]}}\"\n",
                                  before);
    script += "    fi\n    case $called in\n";
    for (const auto& [before, commands] : branches)
        script += ZshBranch(before, commands);
    for (const CommandPath& command : CommandsOf(program)) {
        script += "    " + Quoted(Words(command)) +
                  ")\n        words=(\"${words[@]:" + std::to_string(command.words.size()) +
                  "}\")\n        ((CURRENT -= " + std::to_string(command.words.size()) +
                  "))\n        _arguments \\\n";
        for (const CLI::Option* option : NamedOptions(*command.parser))
            script += ZshArgument(*option);
        for (const CLI::Option* option : Positionals(*command.parser))
            script += ZshArgument(*option);
        script += "        && return ;;\n";
    }
    return script + "    esac\n}\n_nalsmith \"$@\"\n";
}

std::string FishCompletion(const CLI::App& program)
{
    std::string script = "# fish completion for nalsmith\n";
    for (const auto& [before, commands] : Branches(program)) {
        std::string others;
        for (const CLI::App* command : commands)
            others += " " + command->get_name();
        const std::string condition =
            before.empty()
                ? std::string("__fish_use_subcommand")
                : fmt::format("__fish_seen_subcommand_from {}; and not __fish_seen_subcommand_from{}", before,
                              others);
        for (const CLI::App* command : commands)
            script += fmt::format("complete -c nalsmith -n {} -f -a {} -d {}\n", Quoted(condition),
                                  command->get_name(), Quoted(command->get_description()));
    }
    for (const CommandPath& command : CommandsOf(program))
        for (const CLI::Option* option : NamedOptions(*command.parser))
            script += FishOption(*option, FishCondition(command.words));
    return script;
}

} // namespace host

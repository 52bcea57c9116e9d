// SPDX-License-Identifier: MIT
// The commands of a command line, as whoever describes it goes through them.
#pragma once

#include <CLI/App.hpp>

#include <string>
#include <vector>

namespace host {

// A command that can be run, with the words that call it: {"userdata", "add"}.
struct CommandPath {
    std::vector<std::string> words;
    const CLI::App* parser;
};

// In the order in which they were defined.
std::vector<CommandPath> CommandsOf(const CLI::App& program);

// Without those that are positional, and the positional ones.
std::vector<const CLI::Option*> NamedOptions(const CLI::App& parser);
std::vector<const CLI::Option*> Positionals(const CLI::App& parser);

// The values that an option accepts, where there is a list of them.
std::vector<std::string> ValuesOf(const CLI::Option& option);

// Whether it takes a value, and whether that is a file or a folder.
bool TakesValue(const CLI::Option& option);
bool TakesPath(const CLI::Option& option);

} // namespace host

// SPDX-License-Identifier: MIT
// How commands say what is on their command lines. What parses them takes long to compile, so few files know
// it.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace host {

CLI::App* AddCommand(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& footer);

void AddFlag(CLI::App& parser, const std::string& names, bool& value, const std::string& help);

struct OptionRules {
    std::string type; // what the help calls its value
    bool required = false;
    std::vector<std::string> values = {}; // the only ones that it takes, where there are any
};
void AddOption(CLI::App& parser, const std::string& names, std::string& value, const std::string& help,
               const OptionRules& rules);
void AddOption(CLI::App& parser, const std::string& names, unsigned& value, const std::string& help,
               const OptionRules& rules);

// The two do not go together.
void Exclude(CLI::App& parser, const std::string& option, const std::string& other);

} // namespace host

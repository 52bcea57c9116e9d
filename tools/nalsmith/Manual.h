// SPDX-License-Identifier: MIT
// The manual page and the shells' completions, made of the definitions of the command line.
#pragma once

#include <CLI/App.hpp>

#include <string>

namespace host {

// A page of section 1, for man.
std::string ManualPage(const CLI::App& program);

std::string BashCompletion(const CLI::App& program);
std::string ZshCompletion(const CLI::App& program);
std::string FishCompletion(const CLI::App& program);

} // namespace host

// SPDX-License-Identifier: MIT
// What main() knows of the commands.
#pragma once

#include "Failure.h"

#include <CLI/App.hpp>

#include <functional>

namespace host {

struct Command {
    CLI::App* parser;                // its part of the command line
    std::function<ExitStatus()> run; // what it does once that has been parsed
};

Command MakeInfoCommand(CLI::App& program);
Command MakeUnitsCommand(CLI::App& program);

} // namespace host

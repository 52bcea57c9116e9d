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
Command MakeNalsCommand(CLI::App& program);
Command MakeCheckCommand(CLI::App& program);
Command MakeParamsCommand(CLI::App& program);
Command MakeUserdataAddCommand(CLI::App& program);
Command MakeUserdataGetCommand(CLI::App& program);
Command MakeUserdataRemoveCommand(CLI::App& program);

// `nalsmith userdata`, which groups the last three.
CLI::App& UserdataGroup(CLI::App& program);

} // namespace host

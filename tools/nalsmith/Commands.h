// SPDX-License-Identifier: MIT
// The commands, for what runs them and for what describes them.
#pragma once

#include "Failure.h"

#include <functional>
#include <vector>

namespace CLI {
class App;
} // namespace CLI

namespace host {

struct Command {
    CLI::App* parser;                // its part of the command line
    std::function<ExitStatus()> run; // what it does once that has been parsed
};

// What the program is, and all of its commands.
constexpr const char* kProgramName = "nalsmith";
constexpr const char* kProgramDescription =
    "Access units, NAL units, parameter sets and user data of H.264 and H.265 byte streams";
std::vector<Command> AddCommands(CLI::App& program);

Command MakeInfoCommand(CLI::App& program);
Command MakeUnitsCommand(CLI::App& program);
Command MakeNalsCommand(CLI::App& program);
Command MakeCheckCommand(CLI::App& program);
Command MakeParamsCommand(CLI::App& program);
Command MakeReportCommand(CLI::App& program);
Command MakeCompleteCommand(CLI::App& program);
Command MakeSplitCommand(CLI::App& program);
Command MakeConvertCommand(CLI::App& program);
Command MakeUserdataAddCommand(CLI::App& program);
Command MakeUserdataGetCommand(CLI::App& program);
Command MakeUserdataRemoveCommand(CLI::App& program);

// `nalsmith userdata`, which groups the last three.
CLI::App& UserdataGroup(CLI::App& program);

} // namespace host

// SPDX-License-Identifier: MIT
#include "Commands.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

namespace host {
namespace {

constexpr Command (*kCommands[])(CLI::App& program) = {
    MakeInfoCommand,    MakeUnitsCommand,       MakeNalsCommand,        MakeCheckCommand,
    MakeParamsCommand,  MakeReportCommand,      MakeCompleteCommand,    MakeSplitCommand,
    MakeConvertCommand, MakeUserdataAddCommand, MakeUserdataGetCommand, MakeUserdataRemoveCommand,
};

} // namespace

std::vector<Command> AddCommands(CLI::App& program)
{
    program.set_version_flag("--version", "nalsmith " NALSMITH_VERSION);
    program.require_subcommand(1);
    program.footer(
        "Example:\n  nalsmith info movie.h264\n\n"
        "Exit status: 0 done, 1 something found, 2 wrong usage, 3 the input cannot be read or is no\n"
        "such stream, 4 the output cannot be written.");
    std::vector<Command> commands;
    for (const auto make : kCommands)
        commands.push_back(make(program));
    return commands;
}

} // namespace host

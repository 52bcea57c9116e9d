// SPDX-License-Identifier: MIT
// The command line of nalsmith, and how a run ends.
#include "Commands.h"
#include "Output.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <sstream>

namespace host {
namespace {

// Help and version are printed, everything else is one line of complaint.
ExitStatus EndAtCommandLine(const CLI::App& program, const CLI::ParseError& error)
{
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
        const std::vector<std::string> rest = program.remaining();
        const bool unknown = !rest.empty() && program.get_subcommands().empty();
        Complain(fmt::format("{} (nalsmith --help tells more)",
                             unknown ? rest.front() + ": no such command" : std::string(error.what())));
        return ExitStatus::WrongUsage;
    }
    std::ostringstream text;
    program.exit(error, text, text);
    output::Write(text.str());
    return ExitStatus::Done;
}

ExitStatus RunCommandLine(int argc, char** argv)
{
    CLI::App program(kProgramDescription, kProgramName);
    const std::vector<Command> commands = AddCommands(program);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return EndAtCommandLine(program, error);
    }
    const auto chosen = std::find_if(commands.begin(), commands.end(),
                                     [](const Command& command) { return command.parser->parsed(); });
    return chosen->run();
}

// What has been printed before a failure is written all the same.
ExitStatus Run(int argc, char** argv)
{
    try {
        const ExitStatus status = RunCommandLine(argc, argv);
        output::Finish();
        return status;
    } catch (const Failure& failure) {
        std::fflush(stdout);
        Complain(failure.what());
        return failure.Status();
    } catch (const std::exception& error) { // lack of memory, as a rule
        std::fflush(stdout);
        Complain(error.what());
        return ExitStatus::BadInput;
    }
}

} // namespace
} // namespace host

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // a closed pipe is a write error like any other
    std::signal(SIGXFSZ, SIG_IGN); // and so is a file that may not grow
    try {
        return static_cast<int>(host::Run(argc, argv));
    } catch (...) {
        return static_cast<int>(host::ExitStatus::BadInput); // no memory even for a message
    }
}

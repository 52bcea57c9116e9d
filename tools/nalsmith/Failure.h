// SPDX-License-Identifier: MIT
// How a run of the program ends.
#pragma once

#include <stdexcept>
#include <string>

namespace host {

enum class ExitStatus {
    Done = 0,
    Found = 1,        // a check found something
    WrongUsage = 2,   // the command line is at fault
    BadInput = 3,     // the input cannot be read, or is no such stream
    OutputFailed = 4, // the output cannot be written
};

// Ends the run with one line on the standard error output.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}

    ExitStatus Status() const { return status_; }

private:
    ExitStatus status_;
};

} // namespace host

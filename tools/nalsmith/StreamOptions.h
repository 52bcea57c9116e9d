// SPDX-License-Identifier: MIT
// The command-line options that all commands share.
#pragma once

#include <nalsmith/bytes.hpp>

#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
} // namespace CLI

namespace host {

struct StreamOptions {
    std::string file;
    std::string codec; // empty: to be guessed
    bool json = false;
    bool quiet = false;

    std::optional<nalsmith::Codec> Codec() const;
};

// FILE, --codec, --json and --quiet. `options` is filled in when the command line is parsed.
void AddStreamOptions(CLI::App& parser, StreamOptions& options, const std::string& json = "Print JSON");

// For a command that has no others.
std::shared_ptr<const StreamOptions> AddStreamOptions(CLI::App& parser);

// With -o, for a command that writes a file. With --json it prints its counts.
struct CopyOptions : StreamOptions {
    std::string output;
};
void AddCopyOptions(CLI::App& parser, CopyOptions& options);

// Ends the run where both JSON and the file would go to the standard output.
void RequireOneOutput(const CopyOptions& options);

} // namespace host

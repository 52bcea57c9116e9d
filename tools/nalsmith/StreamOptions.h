// SPDX-License-Identifier: MIT
// The command-line options that the commands on a stream share.
#pragma once

#include <nalsmith/nalsmith.h>

#include <CLI/App.hpp>

#include <memory>
#include <optional>
#include <string>

namespace host {

struct StreamOptions {
    std::string file;
    std::string codec; // empty: to be guessed
    bool json = false;

    std::optional<VideoCodecType> Codec() const;
};

// FILE and --codec, and --json. `options` is filled in when the command line is parsed.
void AddStreamOptions(CLI::App& parser, StreamOptions& options);
CLI::Option* AddJsonOption(CLI::App& parser, StreamOptions& options);

// All three, for a command that has no others.
std::shared_ptr<const StreamOptions> AddStreamOptions(CLI::App& parser);

} // namespace host

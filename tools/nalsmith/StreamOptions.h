// SPDX-License-Identifier: MIT
// The command-line options that every command on a stream shares.
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

// The options are filled in when the command line is parsed.
std::shared_ptr<const StreamOptions> AddStreamOptions(CLI::App& parser);

} // namespace host

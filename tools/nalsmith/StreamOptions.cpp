// SPDX-License-Identifier: MIT
#include "StreamOptions.h"

#include "Codec.h"
#include "Failure.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

namespace host {

std::optional<nalsmith::Codec> StreamOptions::Codec() const
{
    if (codec.empty())
        return std::nullopt;
    return codec == KeyOf(nalsmith::Codec::h264) ? nalsmith::Codec::h264 : nalsmith::Codec::h265;
}

void AddStreamOptions(CLI::App& parser, StreamOptions& options, const std::string& json)
{
    parser.add_option("FILE", options.file, "H.264 or H.265 byte stream (Annex B); - is the standard input")
        ->required()
        ->type_name("");
    parser
        .add_option("--codec", options.codec, "What FILE holds: avc or hevc (default: found by its content)")
        ->check(CLI::IsMember({KeyOf(nalsmith::Codec::h264), KeyOf(nalsmith::Codec::h265)}))
        ->type_name("CODEC");
    parser.add_flag("--json", options.json, json);
    parser.add_flag("-q,--quiet", options.quiet,
                    "No summary, no warnings, no progress: results and errors only");
}

std::shared_ptr<const StreamOptions> AddStreamOptions(CLI::App& parser)
{
    auto options = std::make_shared<StreamOptions>();
    AddStreamOptions(parser, *options);
    return options;
}

void AddCopyOptions(CLI::App& parser, CopyOptions& options)
{
    AddStreamOptions(parser, options, "Print the counts as JSON");
    parser
        .add_option("-o,--output", options.output,
                    "File to write, which appears when it is complete; - is the standard output")
        ->required()
        ->type_name("OUT");
}

void RequireOneOutput(const CopyOptions& options)
{
    if (options.json && options.output == "-")
        throw Failure(ExitStatus::WrongUsage, "with -o - the standard output has no room for --json");
}

} // namespace host

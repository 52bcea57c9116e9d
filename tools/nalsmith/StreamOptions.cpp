// SPDX-License-Identifier: MIT
#include "StreamOptions.h"

#include "Codec.h"
#include "CommandLine.h"
#include "Failure.h"
#include "OutputFile.h"

namespace host {

std::optional<nalsmith::Codec> StreamOptions::Codec() const
{
    if (codec.empty())
        return std::nullopt;
    return codec == KeyOf(nalsmith::Codec::h264) ? nalsmith::Codec::h264 : nalsmith::Codec::h265;
}

void AddStreamOptions(CLI::App& parser, StreamOptions& options, const std::string& json)
{
    AddOption(parser, "FILE", options.file, "H.264 or H.265 byte stream (Annex B); - is the standard input",
              {"", true});
    AddOption(parser, "--codec", options.codec,
              "What FILE holds: avc or hevc (default: found by its content)",
              {"CODEC", false, {KeyOf(nalsmith::Codec::h264), KeyOf(nalsmith::Codec::h265)}});
    AddFlag(parser, "--json", options.json, json);
    AddFlag(parser, "-q,--quiet", options.quiet,
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
    AddOption(parser, "-o,--output", options.output,
              "File to write, which appears when it is complete; - is the standard output", {"OUT", true});
}

void RequireOneOutput(const CopyOptions& options)
{
    if (options.json && IsStandardOutput(options.output))
        throw Failure(ExitStatus::WrongUsage, "with -o - the standard output has no room for --json");
}

} // namespace host

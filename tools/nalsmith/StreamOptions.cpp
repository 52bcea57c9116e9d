// SPDX-License-Identifier: MIT
#include "StreamOptions.h"

#include "Codec.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

namespace host {

std::optional<VideoCodecType> StreamOptions::Codec() const
{
    if (codec.empty())
        return std::nullopt;
    return codec == KeyOf(VideoCodecAVC) ? VideoCodecAVC : VideoCodecHEVC;
}

void AddStreamOptions(CLI::App& parser, StreamOptions& options)
{
    parser.add_option("FILE", options.file, "H.264 or H.265 byte stream (Annex B); - is the standard input")
        ->required();
    parser
        .add_option("--codec", options.codec, "What FILE holds: avc or hevc (default: found by its content)")
        ->check(CLI::IsMember({KeyOf(VideoCodecAVC), KeyOf(VideoCodecHEVC)}));
}

CLI::Option* AddJsonOption(CLI::App& parser, StreamOptions& options)
{
    return parser.add_flag("--json", options.json, "Print JSON");
}

std::shared_ptr<const StreamOptions> AddStreamOptions(CLI::App& parser)
{
    auto options = std::make_shared<StreamOptions>();
    AddStreamOptions(parser, *options);
    AddJsonOption(parser, *options);
    return options;
}

} // namespace host

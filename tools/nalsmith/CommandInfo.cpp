// SPDX-License-Identifier: MIT
// nalsmith info: what a stream is, in a few lines.
#include "CommandLine.h"
#include "Commands.h"
#include "DataText.h"
#include "Files.h"
#include "LibraryReader.h"
#include "Output.h"
#include "Statistics.h"
#include "StreamOptions.h"
#include "Summary.h"

#include <algorithm>

namespace host {
namespace {

// "0, 24", or the first few of many
std::string FromText(const std::vector<std::uint64_t>& from)
{
    constexpr std::size_t kShown = 5;
    const auto shown = static_cast<std::ptrdiff_t>(std::min(from.size(), kShown));
    std::string text = fmt::format("{}", fmt::join(from.begin(), from.begin() + shown, ", "));
    if (from.size() > kShown)
        text += fmt::format(", ... ({} times in all)", from.size());
    return text;
}

std::string SpreadText(const std::vector<std::uint32_t>& values, std::string_view unit)
{
    const auto spread = SpreadOf(values);
    if (!spread)
        return "none";
    return fmt::format("min {}, median {}, max {} {}", spread->min, spread->median, spread->max, unit);
}

void PrintSequences(const std::vector<SequencePeriods>& sequences)
{
    if (sequences.empty())
        output::Heading("\nno sequence parameters");
    if (sequences.size() > 1)
        output::Heading(fmt::format("\nthe sequence parameters change: {} sets", sequences.size()));
    for (const SequencePeriods& sequence : sequences) {
        output::Heading(fmt::format("\nsequence parameters from access unit {}", FromText(sequence.from)));
        PrintSequence(sequence.parameters);
    }
}

void PrintParameterSets(const std::vector<SentSet>& sets)
{
    output::Heading(sets.empty() ? "\nno parameter sets" : "\nparameter sets");
    for (const SentSet& set : sets)
        output::Row(fmt::format("{} {}", set.kind, set.id),
                    fmt::format("{} bytes, sent {}", set.size, Count(set.sent, "time")));
}

void PrintText(const Input& input, const LibraryReader& reader, const Summary& summary)
{
    output::Heading(Printable(input.Name()));
    output::Row("codec", NameOf(reader.Codec()));
    output::Row("bytes", std::to_string(input.BytesRead()));
    output::Row("NAL units", std::to_string(reader.NalUnits()));
    output::Row("access units", std::to_string(summary.Sizes().size()));
    output::Row("unit size", SpreadText(summary.Sizes(), "bytes"));
    output::Row("key frames", std::to_string(summary.KeyFrames()));
    output::Row("key distance", SpreadText(summary.KeyDistances(), "access units"));
    PrintSequences(summary.Sequences());
    PrintParameterSets(summary.ParameterSetsSeen());
}

Json SpreadJson(const std::vector<std::uint32_t>& values)
{
    const auto spread = SpreadOf(values);
    if (!spread)
        return nullptr;
    return {{"min", spread->min}, {"median", spread->median}, {"max", spread->max}};
}

Json FrameRateJson(const VideoInfo& info)
{
    const auto rate = FrameRateOf(info);
    if (!rate)
        return nullptr;
    return {{"num", rate->num}, {"den", rate->den}, {"decimal", rate->Decimal()}};
}

Json SequencesJson(const std::vector<SequencePeriods>& sequences)
{
    Json list = Json::array();
    for (const SequencePeriods& sequence : sequences)
        list.push_back({{"from", sequence.from},
                        {"frameRate", FrameRateJson(sequence.parameters)},
                        {"fields", SequenceJson(sequence.parameters)}});
    return list;
}

Json ParameterSetsJson(const std::vector<SentSet>& sets)
{
    Json list = Json::array();
    for (const SentSet& set : sets)
        list.push_back({{"kind", set.kind}, {"id", set.id}, {"size", set.size}, {"sent", set.sent}});
    return list;
}

void PrintJson(const StreamOptions& options, const Input& input, const LibraryReader& reader,
               const Summary& summary)
{
    output::JsonLine({{"file", options.file},
                      {"codec", KeyOf(reader.Codec())},
                      {"bytes", input.BytesRead()},
                      {"nalUnits", reader.NalUnits()},
                      {"refusedNalUnits", reader.RefusedNalUnits()},
                      {"accessUnits", summary.Sizes().size()},
                      {"accessUnitSize", SpreadJson(summary.Sizes())},
                      {"keyFrames", summary.KeyFrames()},
                      {"keyFrameDistance", SpreadJson(summary.KeyDistances())},
                      {"sequences", SequencesJson(summary.Sequences())},
                      {"parameterSets", ParameterSetsJson(summary.ParameterSetsSeen())}});
}

ExitStatus Describe(const StreamOptions& options)
{
    Input input(options);
    Summary summary;
    LibraryReader reader(input, options, [&](const nalsmith::NalUnit& nal) { summary.AddNalUnit(nal); });
    while (const VideoInfo* unit = reader.Next())
        summary.AddAccessUnit(*unit);
    if (options.json)
        PrintJson(options, input, reader, summary);
    else
        PrintText(input, reader, summary);
    reader.Warn();
    return ExitStatus::Done;
}

} // namespace

Command MakeInfoCommand(CLI::App& program)
{
    CLI::App* parser =
        AddCommand(program, "info", "Describe a stream",
                   "Sizes of access units count their start codes; those of parameter sets do not.\n\n"
                   "Example:\n  nalsmith info movie.h264");
    const auto options = AddStreamOptions(*parser);
    return {parser, [options] { return Describe(*options); }};
}

} // namespace host

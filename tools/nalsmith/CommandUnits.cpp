// SPDX-License-Identifier: MIT
// nalsmith units: one line for each access unit.
#include "CommandLine.h"
#include "Commands.h"
#include "Files.h"
#include "LibraryReader.h"
#include "Output.h"
#include "Sequence.h"
#include "StreamOptions.h"

namespace host {
namespace {

void PrintUnitText(std::uint64_t index, const VideoInfo& unit)
{
    if (index == 0)
        output::Heading(fmt::format("{:>8}  {:>10}  {:<3}  {}", "index", "bytes", "key", "sequence"));
    output::Line(fmt::format("{:>8}  {:>10}  {:<3}  {}", index, unit.frameSize,
                             unit.keyFrame != 0 ? "key" : "", SequenceSummary(unit)));
}

void PrintUnitJson(std::uint64_t index, const VideoInfo& unit)
{
    output::JsonLine({{"index", index},
                      {"size", unit.frameSize},
                      {"key", unit.keyFrame != 0},
                      {"sequence", SequenceJson(unit)}});
}

ExitStatus ListUnits(const StreamOptions& options)
{
    Input input(options);
    LibraryReader reader(input, options);
    const auto print = options.json ? PrintUnitJson : PrintUnitText;
    std::uint64_t index = 0;
    while (const VideoInfo* unit = reader.Next())
        print(index++, *unit);
    reader.Warn();
    return ExitStatus::Done;
}

} // namespace

Command MakeUnitsCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        program, "units", "List the access units",
        "Sizes are in bytes and count what the access unit is handed out with: start codes, and the\n"
        "parameter sets put into a key frame that came without.\n\n"
        "Example:\n  nalsmith units --json movie.h264");
    const auto options = AddStreamOptions(*parser);
    return {parser, [options] { return ListUnits(*options); }};
}

} // namespace host

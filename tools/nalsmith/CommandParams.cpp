// SPDX-License-Identifier: MIT
// nalsmith params: the parameter sets of a stream, each once.
#include "CommandLine.h"
#include "Commands.h"
#include "Files.h"
#include "Output.h"
#include "OutputFile.h"
#include "ParameterSets.h"
#include "StreamOptions.h"
#include "UnitReader.h"

namespace host {
namespace {

struct ParamsOptions : StreamOptions {
    std::string output; // empty: none
};

std::string HexOf(nalsmith::BytesView bytes)
{
    return fmt::format("{:02x}", fmt::join(bytes.begin(), bytes.end(), ""));
}

void PrintSetText(const SentSet& set, nalsmith::BytesView unit)
{
    output::Line(fmt::format("{} {:>3}  {:>5} bytes  {}", set.kind, set.id, set.size, HexOf(unit)));
}

void PrintSetJson(const SentSet& set, nalsmith::BytesView unit)
{
    output::JsonLine({{"kind", set.kind}, {"id", set.id}, {"size", set.size}, {"hex", HexOf(unit)}});
}

void WriteUnit(OutputFile& file, nalsmith::BytesView unit)
{
    constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};
    file.Write({kStartCode, sizeof kStartCode});
    file.Write(unit);
}

ExitStatus ListParameterSets(const ParamsOptions& options)
{
    Input input(options);
    UnitReader reader(input, options, {false, true, {}});
    std::optional<OutputFile> file;
    if (!options.output.empty())
        file.emplace(options.output);
    const auto print = options.json ? PrintSetJson : PrintSetText;
    SentSets sets;
    while (reader.Next() != nullptr) {
        for (const nalsmith::NalUnit& nal : reader.Nals()) {
            if (!sets.Add(nal))
                continue;
            if (!IsStandardOutput(options.output))
                print(sets.All().back(), nal.payload());
            if (file)
                WriteUnit(*file, nal.payload());
        }
    }
    if (file)
        file->Commit();
    reader.Warn();
    if (sets.All().empty() && !options.quiet)
        Warn(input.Name() + ": no parameter sets");
    return ExitStatus::Done;
}

} // namespace

Command MakeParamsCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        program, "params", "List the parameter sets, or write them to a file",
        "Each distinct one once, in order of first appearance, with its bytes behind the start code.\n"
        "-o - writes the byte stream to the standard output, in the place of the list.\n\n"
        "Example:\n  nalsmith params movie.h265 -o headers.h265");
    const auto options = std::make_shared<ParamsOptions>();
    AddStreamOptions(*parser, *options);
    AddOption(*parser, "-o,--output", options->output, "Write them as a byte stream (Annex B) to this file",
              {"OUT"});
    return {parser, [options] { return ListParameterSets(*options); }};
}

} // namespace host

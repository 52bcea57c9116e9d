// SPDX-License-Identifier: MIT
// nalsmith params: the parameter sets of a stream, each once.
#include "Commands.h"
#include "Files.h"
#include "NalSource.h"
#include "Output.h"
#include "OutputFile.h"
#include "ParameterSets.h"
#include "StreamOptions.h"

namespace host {
namespace {

struct ParamsOptions : StreamOptions {
    std::string output; // empty: none
};

std::string HexOf(ByteView bytes)
{
    return fmt::format("{:02x}", fmt::join(bytes.data, bytes.data + bytes.size, ""));
}

void PrintText(const ParameterSet& set, ByteView unit)
{
    output::Line(fmt::format("{} {:>3}  {:>5} bytes  {}", set.kind, set.id, set.size, HexOf(unit)));
}

void PrintJson(const ParameterSet& set, ByteView unit)
{
    output::JsonLine({{"kind", set.kind}, {"id", set.id}, {"size", set.size}, {"hex", HexOf(unit)}});
}

void WriteUnit(OutputFile& file, ByteView unit)
{
    constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};
    file.Write({kStartCode, sizeof kStartCode});
    file.Write(unit);
}

ExitStatus ListParameterSets(const ParamsOptions& options)
{
    Input input(options.file);
    NalSource nals(input, options.Codec());
    std::optional<OutputFile> file;
    if (!options.output.empty())
        file.emplace(options.output);
    const auto print = options.json ? PrintJson : PrintText;
    ParameterSets sets;
    while (const auto nal = nals.Next()) {
        if (!sets.Add(nals.Codec(), *nal))
            continue;
        const ByteView unit = WithoutTrailingZeros(WithoutStartCode(*nal));
        if (options.output != "-")
            print(sets.All().back(), unit);
        if (file)
            WriteUnit(*file, unit);
    }
    if (file)
        file->Commit();
    if (sets.All().empty())
        Complain(input.Name() + ": no parameter sets");
    return ExitStatus::Done;
}

} // namespace

Command MakeParamsCommand(CLI::App& program)
{
    CLI::App* parser = program.add_subcommand("params", "List the parameter sets, or write them to a file");
    parser->footer(
        "Each distinct one once, in order of first appearance, with its bytes behind the start code.\n"
        "-o - writes the byte stream to the standard output, in the place of the list.\n\n"
        "Example:\n  nalsmith params movie.h265 -o headers.h265");
    const auto options = std::make_shared<ParamsOptions>();
    AddStreamOptions(*parser, *options);
    AddJsonOption(*parser, *options);
    parser->add_option("-o,--output", options->output, "Write them as a byte stream (Annex B) to this file");
    return {parser, [options] { return ListParameterSets(*options); }};
}

} // namespace host

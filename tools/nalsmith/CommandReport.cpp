// SPDX-License-Identifier: MIT
// nalsmith report: what a stream is like, as a page for a browser.
#include "CommandLine.h"
#include "Commands.h"
#include "DataText.h"
#include "Files.h"
#include "Output.h"
#include "OutputFile.h"
#include "ReportPage.h"
#include "UnitReader.h"

namespace host {
namespace {

ExitStatus WriteReport(const CopyOptions& options)
{
    RequireOneOutput(options);
    Input input(options);
    OutputFile file(options.output);
    UnitReader reader(input, options);
    StreamReport report(reader.Codec());
    while (const nalsmith::AccessUnit* unit = reader.Next())
        report.Add(*unit, reader.Index().has_value());
    file.Write(ReportPage(report, Printable(input.Name())));
    file.Commit();
    reader.Warn();
    output::Counts(options,
                   fmt::format("{}, {}, {}; {} bytes in, {} bytes out", Count(reader.Units(), "access unit"),
                               Count(report.KeyFrames(), "key frame"), Count(report.Breaks().size(), "break"),
                               input.BytesRead(), file.BytesWritten()),
                   {{"accessUnits", reader.Units()},
                    {"keyFrames", report.KeyFrames()},
                    {"breaks", report.Breaks().size()},
                    {"bytesIn", input.BytesRead()},
                    {"bytesOut", file.BytesWritten()}});
    return ExitStatus::Done;
}

} // namespace

Command MakeReportCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        program, "report", "Write a page for the browser about a stream",
        "One HTML file that needs no other: sizes and kinds of the access units as a picture, key frames,\n"
        "breaks, the types of the NAL units, the parameter sets.\n\n"
        "Example:\n  nalsmith report movie.h264 -o report.html");
    const auto options = std::make_shared<CopyOptions>();
    AddCopyOptions(*parser, *options);
    return {parser, [options] { return WriteReport(*options); }};
}

} // namespace host

// SPDX-License-Identifier: MIT
// nalsmith complete: a stream that can be entered at each key frame and recovery point.
#include "CommandLine.h"
#include "Commands.h"
#include "StreamCopy.h"

namespace host {
namespace {

ExitStatus CompleteStream(const CopyOptions& options)
{
    StreamCopy copy(options, true);
    std::uint64_t entryPoints = 0;
    std::uint64_t completed = 0;
    std::uint64_t inserted = 0;
    while (const nalsmith::AccessUnit* unit = copy.Next()) {
        copy.Write(unit->bytes);
        entryPoints += unit->entry() ? 1 : 0;
        completed += unit->inserted != 0 ? 1 : 0;
        inserted += unit->inserted;
    }
    copy.Finish(fmt::format("{}, {}, {} completed with {} bytes", Count(copy.AccessUnits(), "access unit"),
                            Count(entryPoints, "entry point"), completed, inserted),
                {{"accessUnits", copy.AccessUnits()},
                 {"entryPoints", entryPoints},
                 {"completed", completed},
                 {"bytesInserted", inserted}});
    return ExitStatus::Done;
}

} // namespace

Command MakeCompleteCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        program, "complete", "Give entry points the parameter sets that they lack",
        "Each key frame, and each access unit with a recovery point message, comes out with the "
        "parameter\n"
        "sets in force for it: its SPS, the VPS of that and every PPS of that, the latest of each, "
        "after its\n"
        "delimiter and its own sets. So the stream may be entered, cut or split at any of them. All "
        "other bytes\n"
        "stay as they are.\n\n"
        "Example:\n  nalsmith complete movie.h264 -o seekable.h264");
    const auto options = std::make_shared<CopyOptions>();
    AddCopyOptions(*parser, *options);
    return {parser, [options] { return CompleteStream(*options); }};
}

} // namespace host

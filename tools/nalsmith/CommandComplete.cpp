// SPDX-License-Identifier: MIT
// nalsmith complete: a stream that can be entered at each of its key frames.
#include "CommandLine.h"
#include "Commands.h"
#include "StreamCopy.h"

namespace host {
namespace {

ExitStatus CompleteStream(const CopyOptions& options)
{
    StreamCopy copy(options, true);
    std::uint64_t keyFrames = 0;
    std::uint64_t completed = 0;
    std::uint64_t inserted = 0;
    while (const nalsmith::AccessUnit* unit = copy.Next()) {
        copy.Write(unit->bytes);
        keyFrames += unit->key ? 1 : 0;
        completed += unit->inserted != 0 ? 1 : 0;
        inserted += unit->inserted;
    }
    copy.Finish(fmt::format("{}, {}, {} completed with {} bytes", Count(copy.AccessUnits(), "access unit"),
                            Count(keyFrames, "key frame"), completed, inserted),
                {{"accessUnits", copy.AccessUnits()},
                 {"keyFrames", keyFrames},
                 {"completed", completed},
                 {"bytesInserted", inserted}});
    return ExitStatus::Done;
}

} // namespace

Command MakeCompleteCommand(CLI::App& program)
{
    CLI::App* parser =
        AddCommand(program, "complete", "Give key frames the parameter sets that they lack",
                   "Each key frame comes out with the parameter sets in force for it: its SPS, the VPS of "
                   "that and every\n"
                   "PPS of that, the latest of each, behind its delimiter and its own sets. So the stream "
                   "may be entered,\n"
                   "cut or split at any key frame. All other bytes stay as they are.\n\n"
                   "Example:\n  nalsmith complete movie.h264 -o seekable.h264");
    const auto options = std::make_shared<CopyOptions>();
    AddCopyOptions(*parser, *options);
    return {parser, [options] { return CompleteStream(*options); }};
}

} // namespace host

// SPDX-License-Identifier: MIT
// nalsmith check: whether each access unit continues the stream.
#include "Commands.h"
#include "Files.h"
#include "Handles.h"
#include "Output.h"
#include "PictureType.h"
#include "StreamOptions.h"
#include "StreamReader.h"

namespace host {
namespace {

struct Verdict {
    std::uint64_t index;
    VideoInfoEx info;
    PictureType picType;
    bool unknown; // its parameter sets are
};

// The test keeps a history of its own, from one access unit to the next.
class Judge {
public:
    explicit Judge(VideoCodecType codec) : sampleTest_(MakeParsingHandle(codec)), pictureTypes_(codec) {}

    Verdict Test(std::uint64_t index, const VideoInfo& unit)
    {
        Verdict verdict = {index, {}, pictureTypes_.Of({unit.frameData, unit.frameSize}), false};
        const auto status = VideoSampleTest(sampleTest_.get(), unit.frameData, unit.frameSize, &verdict.info);
        verdict.unknown = status != 0 && verdict.info.discontinuity != 0;
        if (status != 0 && !verdict.unknown)
            throw std::bad_alloc(); // nothing else can fail
        return verdict;
    }

private:
    ParsingHandle sampleTest_;
    PictureTypes pictureTypes_;
};

class Breaks {
public:
    void Add(const Verdict& verdict)
    {
        ++units_;
        if (verdict.info.discontinuity == 0)
            return;
        ++breaks_;
        if (shown_.size() < kShown)
            shown_.push_back(verdict.index);
    }

    bool Any() const { return breaks_ != 0; }

    // "2 breaks in 18 access units: 6, 12"
    std::string Text() const
    {
        if (!Any())
            return fmt::format("no break in {}", Count(units_, "access unit"));
        return fmt::format("{} in {}: {}{}", Count(breaks_, "break"), Count(units_, "access unit"),
                           fmt::join(shown_, ", "), breaks_ > shown_.size() ? ", ..." : "");
    }

private:
    static constexpr std::size_t kShown = 20;

    std::uint64_t units_ = 0;
    std::uint64_t breaks_ = 0;
    std::vector<std::uint64_t> shown_; // the first of them
};

constexpr const char* kHevcRule =
    "In H.265 a picture counts as a break unless its picture order count is one more than that of the\n"
    "previous picture of the lowest temporal layer that others may refer to. So reordered pictures count\n"
    "as well: only a stream without them can be told to be whole.";

void PrintText(VideoCodecType codec, const Verdict& verdict)
{
    if (verdict.index == 0)
        output::Heading(
            fmt::format("{:>8}  {:<5}  {:<5}  {:<5}  {}", "index", "break", "kind", "intra", "picture"));
    const bool isField = codec == VideoCodecAVC && verdict.picType && !verdict.unknown;
    const char* const kind = verdict.info.isFramePicture != 0 ? "frame" : isField ? "field" : "";
    output::Line(fmt::format(
        "{:>8}  {:<5}  {:<5}  {:<5}  {}", verdict.index, verdict.info.discontinuity != 0 ? "break" : "", kind,
        verdict.info.intraPicture != 0 ? "intra" : "", PictureTypeText(verdict.picType)));
}

void PrintJson(VideoCodecType codec, const Verdict& verdict)
{
    const bool isAvc = codec == VideoCodecAVC; // H.265 does not tell frames from fields in its slices
    output::JsonLine({{"index", verdict.index},
                      {"discontinuity", verdict.info.discontinuity},
                      {"isFramePicture", isAvc ? Json(verdict.info.isFramePicture) : Json()},
                      {"intraPicture", verdict.info.intraPicture},
                      {"picType", PictureTypeJson(verdict.picType)}});
}

void PrintSummary(const StreamOptions& options, VideoCodecType codec, const Breaks& breaks)
{
    const std::string text =
        breaks.Text() + (codec == VideoCodecHEVC ? std::string("\n") + kHevcRule : std::string());
    if (options.json)
        output::Remark(text);
    else
        output::Heading('\n' + text);
}

ExitStatus CheckContinuity(const StreamOptions& options)
{
    Input input(options.file);
    StreamReader reader(input, options.Codec());
    Judge judge(reader.Codec());
    Breaks breaks;
    const auto print = options.json ? PrintJson : PrintText;
    for (std::uint64_t index = 0; const VideoInfo* unit = reader.Next(); ++index) {
        const Verdict verdict = judge.Test(index, *unit);
        breaks.Add(verdict);
        print(reader.Codec(), verdict);
    }
    PrintSummary(options, reader.Codec(), breaks);
    ComplainOfRefused(input, reader);
    return breaks.Any() ? ExitStatus::Found : ExitStatus::Done;
}

} // namespace

Command MakeCheckCommand(CLI::App& program)
{
    CLI::App* parser = program.add_subcommand("check", "Find breaks in a stream");
    parser->footer(
        "H.264: frame_num has to go on from the access unit before (not where the stream allows gaps, and "
        "not\n"
        "at IDR pictures). H.265: the picture order count has to be one more than that of the previous\n"
        "picture of the lowest temporal layer that others may refer to, so reordered pictures count as\n"
        "breaks. An access unit whose parameter sets are unknown is a break in both. With --json the "
        "summary\n"
        "goes to the standard error output. Exit status 1 when a break was found.\n\n"
        "Example:\n  nalsmith check movie.h264");
    const auto options = AddStreamOptions(*parser);
    return {parser, [options] { return CheckContinuity(*options); }};
}

} // namespace host

// SPDX-License-Identifier: MIT
// nalsmith check: whether each access unit continues the stream.
#include "CommandLine.h"
#include "Commands.h"
#include "Files.h"
#include "NalNames.h"
#include "Output.h"
#include "StreamOptions.h"
#include "UnitReader.h"

#include <nalsmith/continuity.hpp>

#include <new>

namespace host {
namespace {

using nalsmith::Finding;

struct CheckOptions : StreamOptions {
    bool libraryRule = false;
};

struct Judged {
    std::optional<std::uint64_t> index; // none for slices that cannot be read
    nalsmith::Codec codec = nalsmith::Codec::h264;
    Finding finding = Finding::none;
    VideoInfoEx library = {}; // the library's own verdict
    VideoPicType picType = VideoPicTypeUnknown;
    bool broken = false; // by the rule that was asked for
};

const char* FindingKey(Finding finding)
{
    switch (finding) {
    case Finding::none: return "none";
    case Finding::continuous: return "continuous";
    case Finding::skipped: return "skipped";
    case Finding::allowed_gap: return "allowed_gap";
    case Finding::unusual_slices: return "unusual_slices";
    case Finding::missing_reference: return "missing_reference";
    case Finding::missing_field: return "missing_field";
    case Finding::missing_slice: return "missing_slice";
    case Finding::no_start: return "no_start";
    case Finding::unknown_parameters: return "unknown_parameters";
    case Finding::unreadable: return "unreadable";
    }
    return "";
}

// The library's own verdict, on what it takes in when it reads a stream: it passes over slices whose
// parameter sets have not come.
class LibraryRule {
public:
    explicit LibraryRule(nalsmith::Codec codec) : handle_(nalsmith::make_parsing_handle(codec, 1, 1))
    {
        if (!handle_)
            throw std::bad_alloc();
    }

    VideoInfoEx Judge(const UnitReader& reader, const nalsmith::AccessUnit& unit)
    {
        if (unit.has_picture)
            return Test(unit.bytes);
        for (const nalsmith::NalUnit& nal : reader.Nals())
            if (nal.is_parameter_set() && !nal.forbidden())
                Test(nal.bytes);
        return {};
    }

private:
    VideoInfoEx Test(nalsmith::BytesView bytes)
    {
        VideoInfoEx verdict = {};
        VideoSampleTest(handle_.get(), bytes.data(), static_cast<std::uint32_t>(bytes.size()), &verdict);
        return verdict;
    }

    nalsmith::ParsingHandle handle_;
};

class BreaksSeen {
public:
    void Add(const Judged& judged)
    {
        units_ += judged.index ? 1 : 0;
        byLibrary_ += judged.library.discontinuity;
        gaps_ += judged.finding == Finding::allowed_gap ? 1 : 0;
        if (!judged.broken)
            return;
        if (!judged.index) {
            ++refused_;
            return;
        }
        ++breaks_;
        if (shown_.size() < kShown)
            shown_.push_back(*judged.index);
    }

    bool Any() const { return breaks_ + refused_ != 0; }

    // "2 breaks in 18 access units: 6, 12"
    std::string Text() const
    {
        std::string text = fmt::format("no break in {}", Count(units_, "access unit"));
        if (breaks_ != 0)
            text = fmt::format("{} in {}: {}{}", Count(breaks_, "break"), Count(units_, "access unit"),
                               fmt::join(shown_, ", "), breaks_ > shown_.size() ? ", ..." : "");
        if (refused_ != 0)
            text += fmt::format("\nslices without their parameter sets in {}", Count(refused_, "place"));
        if (gaps_ != 0)
            text += fmt::format("\n{} in frame_num that the stream allows: pictures may be missing there",
                                Count(gaps_, "gap"));
        return text;
    }

    std::uint64_t ByLibrary() const { return byLibrary_; }

private:
    static constexpr std::size_t kShown = 20;

    std::uint64_t units_ = 0;
    std::uint64_t breaks_ = 0;
    std::uint64_t refused_ = 0;
    std::uint64_t byLibrary_ = 0;
    std::uint64_t gaps_ = 0;
    std::vector<std::uint64_t> shown_; // the first of them
};

void PrintJudgedText(const Judged& judged)
{
    const VideoInfoEx& library = judged.library;
    const Finding finding = judged.finding;
    const bool isField = judged.codec == nalsmith::Codec::h264 && judged.picType != VideoPicTypeUnknown &&
                         finding != Finding::unknown_parameters;
    const char* const kind = library.isFramePicture != 0 ? "frame" : isField ? "field" : "";
    const std::string index = judged.index ? std::to_string(*judged.index) : "-";
    output::Line(fmt::format("{:>8}  {}  {:<5}  {:<5}  {:<7}  {}", index,
                             judged.broken ? Alarming("break", 5) : std::string(5, ' '), kind,
                             library.intraPicture != 0 ? "intra" : "", PictureTypeName(judged.picType),
                             finding == Finding::continuous ? "" : to_string(finding)));
}

void PrintJudgedJson(const Judged& judged)
{
    const bool isAvc =
        judged.codec == nalsmith::Codec::h264; // H.265 does not tell frames from fields in its slices
    const VideoInfoEx& library = judged.library;
    output::JsonLine(
        {{"index", judged.index ? Json(*judged.index) : Json()},
         {"broken", judged.broken},
         {"finding", FindingKey(judged.finding)},
         {"discontinuity", library.discontinuity},
         {"isFramePicture", isAvc ? Json(library.isFramePicture) : Json()},
         {"intraPicture", library.intraPicture},
         {"picType",
          judged.picType != VideoPicTypeUnknown ? Json(static_cast<int>(judged.picType)) : Json()}});
}

std::string LibraryText(nalsmith::Codec codec, const BreaksSeen& breaks)
{
    if (codec == nalsmith::Codec::h264)
        return fmt::format("by the library's own rule, of frame_num alone: {}",
                           Count(breaks.ByLibrary(), "break"));
    return fmt::format("by the library's own rule, which calls reordered pictures breaks as well: {}",
                       Count(breaks.ByLibrary(), "break"));
}

void PrintSummary(const CheckOptions& options, nalsmith::Codec codec, const BreaksSeen& breaks)
{
    if (options.quiet)
        return;
    const std::string text = breaks.Text() + '\n' + LibraryText(codec, breaks);
    if (options.json)
        output::Remark(text);
    else
        output::Write('\n' + text + '\n');
}

ExitStatus CheckContinuity(const CheckOptions& options)
{
    Input input(options);
    UnitReader reader(input, options);
    nalsmith::ContinuityChecker checker(reader.Codec());
    LibraryRule rule(reader.Codec());
    BreaksSeen breaks;
    const auto print = options.json ? PrintJudgedJson : PrintJudgedText;
    if (!options.json)
        output::Heading(fmt::format("{:>8}  {:<5}  {:<5}  {:<5}  {:<7}  {}", "index", "break", "kind",
                                    "intra", "picture", "finding"));
    while (const nalsmith::AccessUnit* unit = reader.Next()) {
        const nalsmith::Verdict verdict = checker.check(*unit);
        const VideoInfoEx library = rule.Judge(reader, *unit);
        if (!reader.Index() && !reader.Refused())
            continue;
        const bool readable = !reader.Refused();
        const bool broken = options.libraryRule ? library.discontinuity != 0 : verdict.broken() || !readable;
        const Judged judged = {
            reader.Index(), reader.Codec(),     readable ? verdict.finding : Finding::unknown_parameters,
            library,        unit->picture_type, broken};
        breaks.Add(judged);
        print(judged);
    }
    PrintSummary(options, reader.Codec(), breaks);
    reader.Warn();
    return breaks.Any() ? ExitStatus::Found : ExitStatus::Done;
}

} // namespace

Command MakeCheckCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        program, "check", "Find breaks in a stream",
        "A break is where a picture is missing that others need: in H.264 as frame_num, the fields and the\n"
        "picture order count tell, in H.265 as the reference picture sets tell; or where headers tell that "
        "a\n"
        "slice is missing. Reordered pictures and temporal layers are none; an access unit whose parameter\n"
        "sets are unknown is one. With --json the summary goes to the standard error output. Exit status 1\n"
        "when a break was found.\n"
        "--library-rule: in H.264 frame_num alone has to go on (not where the stream allows gaps); in H.265\n"
        "the picture order count has to be one more than that of the previous picture of the lowest "
        "temporal\n"
        "layer that others may refer to, so that reordered pictures count as breaks.\n\n"
        "Example:\n  nalsmith check movie.h264");
    const auto options = std::make_shared<CheckOptions>();
    AddStreamOptions(*parser, *options);
    AddFlag(*parser, "--library-rule", options->libraryRule,
            "Go by the rule of the library's VideoSampleTest()");
    return {parser, [options] { return CheckContinuity(*options); }};
}

} // namespace host

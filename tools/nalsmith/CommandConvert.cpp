// SPDX-License-Identifier: MIT
// nalsmith convert: NAL units behind start codes, or behind their lengths.
#include "CommandLine.h"
#include "Commands.h"
#include "Failure.h"
#include "Files.h"
#include "Output.h"
#include "OutputFile.h"
#include "UnitReader.h"

#include <nalsmith/length_prefixed.hpp>

#include <algorithm>

namespace host {
namespace {

using nalsmith::BytesView;

struct ConvertOptions : CopyOptions {
    std::string to;
    unsigned lengthSize = 4;
};

struct Converted {
    std::uint64_t nalUnits = 0;
    std::uint64_t leadingBytes = 0; // left out
};

Converted ToLengths(Input& input, OutputFile& file, const ConvertOptions& options)
{
    UnitReader reader(input, options, {false, true, {}});
    Converted converted;
    nalsmith::Bytes prefixed;
    while (const nalsmith::AccessUnit* unit = reader.Next()) {
        for (const nalsmith::NalUnit& nal : reader.Nals()) {
            prefixed.clear();
            if (to_length_prefixed(nal.codec, nal.bytes, options.lengthSize, prefixed) !=
                nalsmith::Status::ok)
                throw Failure(
                    ExitStatus::OutputFailed,
                    fmt::format("{}: NAL unit {} at byte {} has {} bytes, too many for a length of {}",
                                input.Name(), converted.nalUnits,
                                reader.Offset() +
                                    static_cast<std::size_t>(nal.bytes.begin() - unit->bytes.begin()),
                                nal.payload().size(), Count(options.lengthSize, "byte")));
            file.Write(prefixed);
            converted.nalUnits += prefixed.empty() ? 0 : 1;
        }
    }
    converted.leadingBytes = reader.LeadingBytes();
    reader.Warn();
    return converted;
}

// Goes over NAL units behind their lengths and writes them as they come, piece by piece.
class LengthReader {
public:
    LengthReader(Input& input, OutputFile& file, unsigned lengthSize)
        : input_(input), file_(file), lengthSize_(lengthSize), block_(std::size_t{256} << 10)
    {
    }

    std::uint64_t CopyAll()
    {
        while (Available() || Fill())
            CopyNext();
        return nalUnits_;
    }

private:
    bool Available() const { return at_ != end_; }

    bool Fill()
    {
        offset_ += end_;
        at_ = 0;
        end_ = input_.Read(block_.data(), block_.size());
        return end_ != 0;
    }

    void CopyNext()
    {
        const std::uint64_t begin = offset_ + at_;
        std::uint64_t left = 0;
        for (unsigned i = 0; i < lengthSize_; ++i) {
            if (!Available() && !Fill())
                FailCutShort(begin);
            left = left << 8 | block_[at_++];
        }
        constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};
        if (left == 0)
            return;
        file_.Write({kStartCode, sizeof kStartCode});
        while (left != 0) {
            if (!Available() && !Fill())
                FailCutShort(begin);
            const BytesView piece(block_.data() + at_, std::min<std::uint64_t>(left, end_ - at_));
            file_.Write(piece);
            at_ += piece.size();
            left -= piece.size();
        }
        ++nalUnits_;
    }

    [[noreturn]] void FailCutShort(std::uint64_t begin) const
    {
        throw Failure(
            ExitStatus::BadInput,
            fmt::format("{}: NAL unit {} at byte {} ends behind the input: cut short, or no NAL units "
                        "behind lengths of {}",
                        input_.Name(), nalUnits_, begin, Count(lengthSize_, "byte")));
    }

    Input& input_;
    OutputFile& file_;
    unsigned lengthSize_;
    nalsmith::Bytes block_;
    std::uint64_t offset_ = 0; // of the block in the input
    std::size_t at_ = 0;
    std::size_t end_ = 0;
    std::uint64_t nalUnits_ = 0;
};

ExitStatus ConvertStream(const ConvertOptions& options)
{
    RequireOneOutput(options);
    Input input(options);
    OutputFile file(options.output);
    const Converted converted = options.to == "length"
                                    ? ToLengths(input, file, options)
                                    : Converted{LengthReader(input, file, options.lengthSize).CopyAll(), 0};
    if (input.BytesRead() == 0)
        throw Failure(ExitStatus::BadInput, input.Name() + ": the input is empty");
    file.Commit();
    if (converted.leadingBytes != 0 && !options.quiet)
        Warn(fmt::format("{}: {} before the first start code left out", input.Name(),
                         Count(converted.leadingBytes, "byte")));
    output::Counts(options,
                   fmt::format("{}; {} bytes in, {} bytes out", Count(converted.nalUnits, "NAL unit"),
                               input.BytesRead(), file.BytesWritten()),
                   {{"nalUnits", converted.nalUnits},
                    {"bytesIn", input.BytesRead()},
                    {"bytesOut", file.BytesWritten()}});
    return ExitStatus::Done;
}

} // namespace

Command MakeConvertCommand(CLI::App& program)
{
    CLI::App* parser = AddCommand(
        program, "convert", "Change between start codes and length prefixes",
        "--to length puts each NAL unit behind its length, as the samples of MP4 hold them; zero bytes "
        "behind\n"
        "a NAL unit and bytes before the first start code are left out. --to annexb reads such a file and\n"
        "puts each NAL unit behind a start code of four bytes. No parameter set is put in or left out.\n\n"
        "Example:\n  nalsmith convert movie.h264 -o movie.lengths --to length\n"
        "  nalsmith convert movie.lengths -o movie.h264 --to annexb");
    const auto options = std::make_shared<ConvertOptions>();
    AddCopyOptions(*parser, *options);
    AddOption(*parser, "--to", options->to, "What to write: annexb (start codes) or length",
              {"FORM", true, {"annexb", "length"}});
    AddOption(*parser, "--length-size", options->lengthSize, "Bytes of each length: 1, 2 or 4 (default: 4)",
              {"BYTES", false, {"1", "2", "4"}});
    return {parser, [options] { return ConvertStream(*options); }};
}

} // namespace host

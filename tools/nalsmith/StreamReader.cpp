// SPDX-License-Identifier: MIT
#include "StreamReader.h"

#include "Failure.h"
#include "Output.h"

#include <utility>

namespace host {
namespace {

// The guess is made from this much of the stream at most, and from the first parameter set as a rule.
constexpr std::size_t kGuessNalUnits = 64;
constexpr std::size_t kGuessBytes = std::size_t{4} << 20;

// An access unit is looked at before the next one is begun, so two are enough. They grow on demand.
constexpr std::uint32_t kQueueCount = 2;

[[noreturn]] void Fail(const Input& input, const char* message)
{
    throw Failure(ExitStatus::BadInput, input.Name() + ": " + message);
}

} // namespace

StreamReader::StreamReader(Input& input, std::optional<VideoCodecType> codec, NalObserver observer)
    : input_(input), cutter_(input), observer_(std::move(observer)), codec_(codec ? *codec : GuessCodec())
{
    Open();
}

VideoCodecType StreamReader::GuessCodec()
{
    CodecGuess guess;
    std::size_t bytes = 0;
    while (!guess.Settled() && held_.size() < kGuessNalUnits && bytes < kGuessBytes) {
        const auto nal = cutter_.Next();
        if (!nal)
            break;
        guess.Add(*nal);
        bytes += nal->size;
        held_.emplace_back(nal->data, nal->data + nal->size);
    }
    if (held_.empty())
        return VideoCodecAVC; // no stream at all, which the first access unit asked for will tell
    const auto best = guess.Best();
    if (!best)
        Fail(input_, "looks like neither H.264 nor H.265 (--codec reads it all the same)");
    return *best;
}

void StreamReader::Open()
{
    if (codec_ == VideoCodecHEVC)
        Fail(input_, "H.265 streams cannot be read yet");
    void* handle = nullptr;
    if (ParseCreate(&handle, codec_, kQueueCount, 0) != 0)
        Fail(input_, "not enough memory");
    handle_.reset(handle);
}

const VideoInfo* StreamReader::Next()
{
    while (const auto nal = NextNal())
        if (HandIn(*nal))
            return Report();
    if (Flush())
        return Report();
    if (accessUnits_ == 0)
        Fail(input_, input_.BytesRead() == 0 ? "the input is empty"
                     : nalUnits_ == 0        ? "no start code found: not an H.264 or H.265 byte stream"
                                             : "no access unit found");
    return nullptr;
}

std::optional<ByteView> StreamReader::NextNal()
{
    if (held_.empty())
        return cutter_.Next();
    current_ = std::move(held_.front());
    held_.pop_front();
    return ByteView{current_.data(), current_.size()};
}

// Whether an access unit was completed: also one NAL unit that is refused may have done so.
bool StreamReader::HandIn(ByteView nal)
{
    ++nalUnits_;
    if (observer_)
        observer_(nal);
    if (ParseVideoParams(handle_.get(), nal.data, static_cast<std::uint32_t>(nal.size), &info_) != 0)
        ++refused_;
    return info_.frameAvailable != 0;
}

// The last access unit. The library would hand it out at every flush, so there is only one.
bool StreamReader::Flush()
{
    if (flushed_)
        return false;
    flushed_ = true;
    if (ParseVideoParams(handle_.get(), nullptr, 0, &info_) != 0)
        Fail(input_, "not enough memory for the last access unit");
    return info_.frameAvailable != 0;
}

const VideoInfo* StreamReader::Report()
{
    ++accessUnits_;
    return &info_;
}

void ComplainOfRefused(const Input& input, const StreamReader& reader)
{
    const std::uint64_t refused = reader.RefusedNalUnits();
    if (refused != 0)
        Complain(fmt::format("{}: {} refused and left out (forbidden_zero_bit set, or not enough memory)",
                             input.Name(), Count(refused, "NAL unit")));
}

} // namespace host

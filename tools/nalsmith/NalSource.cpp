// SPDX-License-Identifier: MIT
#include "NalSource.h"

#include "Failure.h"

#include <utility>

namespace host {
namespace {

// The guess is made from this much of the stream at most, and from the first parameter set as a rule.
constexpr std::size_t kGuessNalUnits = 64;
constexpr std::size_t kGuessBytes = std::size_t{4} << 20;

} // namespace

NalSource::NalSource(Input& input, std::optional<VideoCodecType> codec, ByteObserver leading)
    : input_(input), cutter_(input, std::move(leading)), codec_(codec ? *codec : GuessCodec())
{
}

VideoCodecType NalSource::GuessCodec()
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
        return VideoCodecAVC; // no stream at all, which the first NAL unit asked for will tell
    const auto best = guess.Best();
    if (!best)
        throw Failure(ExitStatus::BadInput,
                      input_.Name() + ": looks like neither H.264 nor H.265 (--codec reads it all the same)");
    return *best;
}

std::optional<ByteView> NalSource::Next()
{
    std::optional<ByteView> nal;
    if (held_.empty()) {
        nal = cutter_.Next();
    } else {
        current_ = std::move(held_.front());
        held_.pop_front();
        nal = ByteView{current_.data(), current_.size()};
    }
    if (nal)
        ++count_;
    else if (count_ == 0)
        throw Failure(ExitStatus::BadInput,
                      input_.Name() + (input_.BytesRead() == 0
                                           ? ": the input is empty"
                                           : ": no start code found: not an H.264 or H.265 byte stream"));
    return nal;
}

} // namespace host

// SPDX-License-Identifier: MIT
// The NAL units of a stream, one after the other, and the codec that they are of.
#pragma once

#include "Bytes.h"
#include "Codec.h"
#include "Files.h"
#include "NalCutter.h"

#include <nalsmith/nalsmith.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace host {

class NalSource {
public:
    // Without `codec` the first NAL units decide what the stream is read as. `leading`, when given, sees the
    // bytes before the first start code, piece by piece.
    NalSource(Input& input, std::optional<VideoCodecType> codec, ByteObserver leading = {});

    // The next NAL unit, start code included; none at the end. It is valid until the next call. An input
    // without any ends the run.
    std::optional<ByteView> Next();

    VideoCodecType Codec() const { return codec_; }

    // NAL units handed out so far.
    std::uint64_t Count() const { return count_; }

private:
    VideoCodecType GuessCodec();

    Input& input_;
    NalCutter cutter_;
    std::deque<std::vector<std::uint8_t>> held_; // read for the guess, not yet handed out
    std::vector<std::uint8_t> current_;          // the one of them that has been handed out
    std::uint64_t count_ = 0;
    VideoCodecType codec_;
};

} // namespace host

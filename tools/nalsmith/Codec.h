// SPDX-License-Identifier: MIT
// Tells H.264 from H.265 by the first NAL units of a stream: nothing in a byte stream names its codec.
#pragma once

#include "Bytes.h"

#include <nalsmith/nalsmith.h>

#include <optional>

namespace host {

class CodecGuess {
public:
    // Takes in the next NAL unit, start code included.
    void Add(ByteView nal);

    // Whether a parameter set has settled it. Otherwise more NAL units make a better guess.
    bool Settled() const;

    // The likelier codec; none when the NAL units make sense as neither.
    std::optional<VideoCodecType> Best() const;

private:
    int avc_ = 0;
    int hevc_ = 0;
};

// The name for people: "H.264".
const char* NameOf(VideoCodecType codec);

// The name on the command line and in JSON: "avc".
const char* KeyOf(VideoCodecType codec);

} // namespace host

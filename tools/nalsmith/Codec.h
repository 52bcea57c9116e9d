// SPDX-License-Identifier: MIT
// Tells H.264 from H.265 by the first NAL units of a stream: nothing in a byte stream names its codec.
#pragma once

#include <nalsmith/nal_units.hpp>

#include <optional>

namespace host {

class CodecGuess {
public:
    // Takes in the next NAL unit, of either codec.
    void Add(const nalsmith::NalUnit& nal);

    // Whether a parameter set has settled it. Otherwise more NAL units make a better guess.
    bool Settled() const;

    // The likelier codec; none when the NAL units make sense as neither.
    std::optional<nalsmith::Codec> Best() const;

private:
    int avc_ = 0;
    int hevc_ = 0;
};

// The name for people: "H.264".
const char* NameOf(nalsmith::Codec codec);

// The name on the command line and in JSON: "avc".
const char* KeyOf(nalsmith::Codec codec);

// The ending of file names: ".h264".
const char* EndingOf(nalsmith::Codec codec);

} // namespace host

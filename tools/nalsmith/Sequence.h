// SPDX-License-Identifier: MIT
// The sequence fields of an access unit, in words and in JSON.
#pragma once

#include "Output.h"

#include <nalsmith/nalsmith.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace host {

struct SequenceField {
    const char* name;
    std::uint32_t VideoInfo::*value;
};

// Every sequence field under the name that it has in the library.
constexpr std::array<SequenceField, 11> kSequenceFields = {{
    {"width", &VideoInfo::width},
    {"height", &VideoInfo::height},
    {"frameRateNum", &VideoInfo::frameRateNum},
    {"frameRateDen", &VideoInfo::frameRateDen},
    {"video_signal_type_present_flag", &VideoInfo::video_signal_type_present_flag},
    {"video_format", &VideoInfo::video_format},
    {"video_full_range_flag", &VideoInfo::video_full_range_flag},
    {"colour_description_present_flag", &VideoInfo::colour_description_present_flag},
    {"colour_primaries", &VideoInfo::colour_primaries},
    {"transfer_characteristics", &VideoInfo::transfer_characteristics},
    {"matrix_coefficients", &VideoInfo::matrix_coefficients},
}};

// The values of kSequenceFields, in its order: what tells one set of parameters from another.
using SequenceKey = std::array<std::uint32_t, kSequenceFields.size()>;
SequenceKey KeyOf(const VideoInfo& info);

// Frames per second as a fraction in lowest terms.
struct FrameRate {
    std::uint32_t num;
    std::uint32_t den;

    double Decimal() const { return static_cast<double>(num) / den; }
};

// None when the stream does not say.
std::optional<FrameRate> FrameRateOf(const VideoInfo& info);

// Null when the access unit came without sequence fields.
Json SequenceJson(const VideoInfo& info);

// All of them on one line, and in rows with the names of common values.
std::string SequenceSummary(const VideoInfo& info);
void PrintSequence(const VideoInfo& info);

} // namespace host

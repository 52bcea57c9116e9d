// SPDX-License-Identifier: MIT
// What the layer says of a sequence, as far as the library says it too.
#pragma once

#include <array>
#include <nalsmith/sequence.hpp>

inline std::array<std::uint32_t, 11> fields_of(const nalsmith::SequenceParameters& s)
{
    return {s.width,
            s.height,
            s.frame_rate_num,
            s.frame_rate_den,
            s.video_signal_type_present_flag,
            s.video_format,
            s.video_full_range_flag,
            s.colour_description_present_flag,
            s.colour_primaries,
            s.transfer_characteristics,
            s.matrix_coefficients};
}

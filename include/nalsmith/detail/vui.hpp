// SPDX-License-Identifier: MIT
// What the vui_parameters() of both codecs begin with (H.264 E.1.1, H.265 E.2.1).
#ifndef NALSMITH_DETAIL_VUI_HPP
#define NALSMITH_DETAIL_VUI_HPP

#include "nalsmith/detail/bits.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

struct Vui {
    bool present = false;
    bool video_signal_type_present_flag = false;
    std::uint32_t video_format = 5; // unspecified
    bool video_full_range_flag = false;
    bool colour_description_present_flag = false;
    std::uint32_t colour_primaries = 2; // unspecified, like the next two
    std::uint32_t transfer_characteristics = 2;
    std::uint32_t matrix_coefficients = 2;
    bool timing_info_present_flag = false;
    std::uint32_t num_units_in_tick = 0;
    std::uint32_t time_scale = 0;
};

// As far as the chroma sample locations.
inline void read_vui_head(BitReader& reader, Vui& vui) noexcept
{
    constexpr std::uint32_t kExtendedSar = 255;
    vui.present = true;
    if (reader.flag() && reader.bits(8) == kExtendedSar) // aspect_ratio_info_present_flag, aspect_ratio_idc
        reader.skip(32);                                 // sar_width, sar_height
    if (reader.flag())                                   // overscan_info_present_flag
        reader.flag();                                   // overscan_appropriate_flag
    vui.video_signal_type_present_flag = reader.flag();
    if (vui.video_signal_type_present_flag) {
        vui.video_format = reader.bits(3);
        vui.video_full_range_flag = reader.flag();
        vui.colour_description_present_flag = reader.flag();
        if (vui.colour_description_present_flag) {
            vui.colour_primaries = reader.bits(8);
            vui.transfer_characteristics = reader.bits(8);
            vui.matrix_coefficients = reader.bits(8);
        }
    }
    if (reader.flag()) // chroma_loc_info_present_flag
        reader.skip_ue(2);
}

inline void read_vui_timing(BitReader& reader, Vui& vui) noexcept
{
    vui.timing_info_present_flag = reader.flag();
    if (vui.timing_info_present_flag) {
        vui.num_units_in_tick = reader.bits(32);
        vui.time_scale = reader.bits(32);
    }
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

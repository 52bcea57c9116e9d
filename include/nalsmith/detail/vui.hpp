// SPDX-License-Identifier: MIT
// What the vui_parameters() of both codecs begin with (H.264 E.1.1, H.265 E.2.1).
#ifndef NALSMITH_DETAIL_VUI_HPP
#define NALSMITH_DETAIL_VUI_HPP

#include "nalsmith/detail/bits.hpp"

#include <array>

namespace nalsmith {
inline namespace v1 {
namespace detail {

struct Vui {
    bool present = false;
    std::uint32_t sar_width = 0; // of a sample; 0: unspecified
    std::uint32_t sar_height = 0;
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

// Tables E-1 of both standards.
inline void read_sample_aspect_ratio(BitReader& reader, Vui& vui) noexcept
{
    struct Ratio {
        std::uint8_t width, height;
    };
    static constexpr std::array<Ratio, 17> kRatios = {{{0, 0},
                                                       {1, 1},
                                                       {12, 11},
                                                       {10, 11},
                                                       {16, 11},
                                                       {40, 33},
                                                       {24, 11},
                                                       {20, 11},
                                                       {32, 11},
                                                       {80, 33},
                                                       {18, 11},
                                                       {15, 11},
                                                       {64, 33},
                                                       {160, 99},
                                                       {4, 3},
                                                       {3, 2},
                                                       {2, 1}}};
    constexpr std::uint32_t kExtendedSar = 255;
    const std::uint32_t aspect_ratio_idc = reader.bits(8);
    if (aspect_ratio_idc == kExtendedSar) {
        vui.sar_width = reader.bits(16);
        vui.sar_height = reader.bits(16);
    } else if (aspect_ratio_idc < kRatios.size()) {
        vui.sar_width = kRatios[aspect_ratio_idc].width;
        vui.sar_height = kRatios[aspect_ratio_idc].height;
    }
}

// As far as the chroma sample locations.
inline void read_vui_head(BitReader& reader, Vui& vui) noexcept
{
    vui.present = true;
    if (reader.flag()) // aspect_ratio_info_present_flag
        read_sample_aspect_ratio(reader, vui);
    if (reader.flag()) // overscan_info_present_flag
        reader.flag(); // overscan_appropriate_flag
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

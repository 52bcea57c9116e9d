// SPDX-License-Identifier: MIT
// H.264 parameter sets (7.3.2.1.1, 7.3.2.2). Unlike the library this reader knows the chroma format of
// profile 135.
#ifndef NALSMITH_DETAIL_AVC_SYNTAX_HPP
#define NALSMITH_DETAIL_AVC_SYNTAX_HPP

#include "nalsmith/detail/vui.hpp"

#include <array>
#include <vector>

namespace nalsmith {
inline namespace v1 {
namespace detail {

struct AvcSps {
    std::uint32_t profile_idc = 0;
    std::uint32_t constraint_set_flags = 0; // the byte as it stands: constraint_set0_flag is the highest bit
    std::uint32_t level_idc = 0;
    std::uint32_t seq_parameter_set_id = 0;
    std::uint32_t chroma_format_idc = 1;
    bool separate_colour_plane_flag = false;
    std::uint32_t bit_depth_luma_minus8 = 0;
    std::uint32_t bit_depth_chroma_minus8 = 0;
    std::uint32_t frame_num_bits = 4; // log2_max_frame_num_minus4 + 4
    std::uint32_t pic_order_cnt_type = 0;
    std::uint32_t lsb_bits = 4; // log2_max_pic_order_cnt_lsb_minus4 + 4
    bool delta_pic_order_always_zero_flag = false;
    std::int32_t offset_for_non_ref_pic = 0;
    std::int32_t offset_for_top_to_bottom_field = 0;
    std::vector<std::int32_t> offset_for_ref_frame;
    bool gaps_in_frame_num_value_allowed_flag = false;
    std::uint32_t pic_width_in_mbs_minus1 = 0;
    std::uint32_t pic_height_in_map_units_minus1 = 0;
    bool frame_mbs_only_flag = true;
    std::array<std::uint32_t, 4> frame_crop = {}; // left, right, top, bottom
    Vui vui;

    bool constraint_set1_flag() const noexcept { return (constraint_set_flags & 0x40U) != 0; }
    std::uint32_t chroma_array_type() const noexcept
    {
        return separate_colour_plane_flag ? 0 : chroma_format_idc;
    }
};

struct AvcPps {
    std::uint32_t pic_parameter_set_id = 0;
    std::uint32_t seq_parameter_set_id = 0;
    bool bottom_field_pic_order_in_frame_present_flag = false;
    std::array<std::uint32_t, 2> num_ref_idx_default_active = {1, 1};
    bool weighted_pred_flag = false;
    std::uint32_t weighted_bipred_idc = 0;
    bool redundant_pic_cnt_present_flag = false;
    bool slice_groups = false; // num_slice_groups_minus1 is not 0
};

constexpr bool has_chroma_format(std::uint32_t profile_idc) noexcept
{
    for (const std::uint32_t with :
         {100U, 110U, 122U, 244U, 44U, 83U, 86U, 118U, 128U, 138U, 139U, 134U, 135U})
        if (profile_idc == with)
            return true;
    return false;
}

// scaling_list() (7.3.2.1.1.1). Ends early when the rest repeats the last value.
inline void skip_avc_scaling_list(BitReader& reader, unsigned size) noexcept
{
    std::int64_t last = 8;
    std::int64_t next = 8;
    for (unsigned j = 0; j < size && next != 0; ++j) {
        next = (last + reader.se() + 256) % 256;
        last = next == 0 ? last : next;
    }
}

inline void read_avc_chroma_format(BitReader& reader, AvcSps& sps) noexcept
{
    sps.chroma_format_idc = reader.ue();
    sps.separate_colour_plane_flag = sps.chroma_format_idc == 3 && reader.flag();
    sps.bit_depth_luma_minus8 = reader.ue();
    sps.bit_depth_chroma_minus8 = reader.ue();
    reader.flag();      // qpprime_y_zero_transform_bypass_flag
    if (!reader.flag()) // seq_scaling_matrix_present_flag
        return;
    const unsigned lists = sps.chroma_format_idc == 3 ? 12 : 8;
    for (unsigned i = 0; i < lists; ++i)
        if (reader.flag()) // seq_scaling_list_present_flag[i]
            skip_avc_scaling_list(reader, i < 6 ? 16 : 64);
}

inline void read_avc_pic_order_cnt_type(BitReader& reader, AvcSps& sps)
{
    constexpr std::uint32_t kMostOffsets = 255;
    sps.pic_order_cnt_type = reader.ue();
    if (sps.pic_order_cnt_type == 0) {
        sps.lsb_bits = reader.ue() + 4;
    } else if (sps.pic_order_cnt_type == 1) {
        sps.delta_pic_order_always_zero_flag = reader.flag();
        sps.offset_for_non_ref_pic = reader.se();
        sps.offset_for_top_to_bottom_field = reader.se();
        const std::uint32_t num_ref_frames_in_pic_order_cnt_cycle = reader.ue();
        for (std::uint32_t i = 0; i < num_ref_frames_in_pic_order_cnt_cycle && !reader.exhausted(); ++i) {
            const std::int32_t offset = reader.se();
            if (i < kMostOffsets)
                sps.offset_for_ref_frame.push_back(offset);
        }
    }
}

// As far as the timing of the VUI.
inline AvcSps read_avc_sps(BitReader reader)
{
    AvcSps sps;
    sps.profile_idc = reader.bits(8);
    sps.constraint_set_flags = reader.bits(8); // with reserved_zero_2bits
    sps.level_idc = reader.bits(8);
    sps.seq_parameter_set_id = reader.ue();
    if (has_chroma_format(sps.profile_idc))
        read_avc_chroma_format(reader, sps);
    sps.frame_num_bits = reader.ue() + 4;
    read_avc_pic_order_cnt_type(reader, sps);
    reader.ue(); // max_num_ref_frames
    sps.gaps_in_frame_num_value_allowed_flag = reader.flag();
    sps.pic_width_in_mbs_minus1 = reader.ue();
    sps.pic_height_in_map_units_minus1 = reader.ue();
    sps.frame_mbs_only_flag = reader.flag();
    if (!sps.frame_mbs_only_flag)
        reader.flag(); // mb_adaptive_frame_field_flag
    reader.flag();     // direct_8x8_inference_flag
    if (reader.flag()) // frame_cropping_flag
        for (std::uint32_t& offset : sps.frame_crop)
            offset = reader.ue();
    if (reader.flag()) { // vui_parameters_present_flag
        read_vui_head(reader, sps.vui);
        read_vui_timing(reader, sps.vui);
    }
    return sps;
}

inline void skip_slice_groups(BitReader& reader, std::uint32_t num_slice_groups_minus1) noexcept
{
    const std::uint64_t groups = std::uint64_t{num_slice_groups_minus1} + 1;
    const std::uint32_t slice_group_map_type = reader.ue();
    if (slice_group_map_type == 0) {
        reader.skip_ue(groups); // run_length_minus1
    } else if (slice_group_map_type == 2) {
        reader.skip_ue(2 * (groups - 1)); // top_left, bottom_right
    } else if (slice_group_map_type >= 3 && slice_group_map_type <= 5) {
        reader.flag(); // slice_group_change_direction_flag
        reader.ue();   // slice_group_change_rate_minus1
    } else if (slice_group_map_type == 6) {
        const std::uint64_t units = std::uint64_t{reader.ue()} + 1;
        reader.skip(units * bits_for(groups)); // slice_group_id[i]
    }
}

// The head: what is needed to read a slice header as far as the picture order count.
inline AvcPps read_avc_pps_head(BitReader& reader) noexcept
{
    AvcPps pps;
    pps.pic_parameter_set_id = reader.ue();
    pps.seq_parameter_set_id = reader.ue();
    reader.flag(); // entropy_coding_mode_flag
    pps.bottom_field_pic_order_in_frame_present_flag = reader.flag();
    return pps;
}

inline AvcPps read_avc_pps(BitReader reader) noexcept
{
    AvcPps pps = read_avc_pps_head(reader);
    const std::uint32_t num_slice_groups_minus1 = reader.ue();
    pps.slice_groups = num_slice_groups_minus1 != 0;
    if (pps.slice_groups)
        skip_slice_groups(reader, num_slice_groups_minus1);
    for (std::uint32_t& count : pps.num_ref_idx_default_active)
        count = reader.ue() + 1;
    pps.weighted_pred_flag = reader.flag();
    pps.weighted_bipred_idc = reader.bits(2);
    reader.skip_ue(3); // pic_init_qp_minus26, pic_init_qs_minus26, chroma_qp_index_offset
    reader.skip(2);    // deblocking_filter_control_present_flag, constrained_intra_pred_flag
    pps.redundant_pic_cnt_present_flag = reader.flag();
    return pps;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

// SPDX-License-Identifier: MIT
// H.265 parameter sets (7.3.2.1, 7.3.2.2.1, 7.3.2.3.1), without the contents of reference picture sets.
#ifndef NALSMITH_DETAIL_HEVC_SYNTAX_HPP
#define NALSMITH_DETAIL_HEVC_SYNTAX_HPP

#include "nalsmith/detail/hevc/tiles.hpp"
#include "nalsmith/detail/vui.hpp"

#include <array>

namespace nalsmith {
inline namespace v1 {
namespace detail {

struct HevcVps {
    std::uint32_t vps_video_parameter_set_id = 0;
    bool timing_info_present_flag = false;
    std::uint32_t num_units_in_tick = 0;
    std::uint32_t time_scale = 0;
};

// The general part of profile_tier_level().
struct HevcProfile {
    bool general_tier_flag = false;
    std::uint32_t general_profile_idc = 0;
    std::uint32_t general_profile_compatibility_flags = 0; // [0] is the highest bit
    std::uint64_t general_constraint_flags = 0;            // 48 bits, from general_progressive_source_flag on
    std::uint32_t general_level_idc = 0;
};

struct HevcSps {
    static constexpr std::uint32_t kMostReferenceSets = 64;

    std::uint32_t sps_video_parameter_set_id = 0;
    std::uint32_t sps_max_sub_layers_minus1 = 0;
    bool sps_temporal_id_nesting_flag = false;
    std::uint32_t sps_seq_parameter_set_id = 0;
    HevcProfile profile;
    std::uint32_t chroma_format_idc = 0;
    bool separate_colour_plane_flag = false;
    std::uint32_t pic_width_in_luma_samples = 0;
    std::uint32_t pic_height_in_luma_samples = 0;
    std::array<std::uint32_t, 4> conf_win = {}; // left, right, top, bottom
    std::uint32_t bit_depth_luma_minus8 = 0;
    std::uint32_t bit_depth_chroma_minus8 = 0;
    std::uint32_t log2_max_pic_order_cnt_lsb_minus4 = 0;
    std::uint64_t log2_ctb_size = 4;               // CtbLog2SizeY
    std::uint32_t num_short_term_ref_pic_sets = 0; // more than the standard allows: what follows is not read
    Vui vui;
    bool field_seq_flag = false;
};

struct HevcPps {
    std::uint32_t pps_pic_parameter_set_id = 0;
    std::uint32_t pps_seq_parameter_set_id = 0;
    bool dependent_slice_segments_enabled_flag = false;
    bool output_flag_present_flag = false;
    std::uint32_t num_extra_slice_header_bits = 0;
};

// profile_tier_level(1, maxNumSubLayersMinus1) (7.3.3)
inline HevcProfile read_profile_tier_level(BitReader& reader, std::uint32_t max_sub_layers_minus1) noexcept
{
    constexpr unsigned kProfileBits = 88;
    constexpr unsigned kLevelBits = 8;
    HevcProfile profile;
    reader.skip(2); // general_profile_space
    profile.general_tier_flag = reader.flag();
    profile.general_profile_idc = reader.bits(5);
    profile.general_profile_compatibility_flags = reader.bits(32);
    profile.general_constraint_flags = std::uint64_t{reader.bits(16)} << 32;
    profile.general_constraint_flags |= reader.bits(32);
    profile.general_level_idc = reader.bits(8);
    if (max_sub_layers_minus1 == 0)
        return profile;
    unsigned bits = 0;
    for (unsigned i = 0; i < 8; ++i) { // the flags of layers that are not there are reserved bits
        const bool profile_present = reader.flag();
        const bool level_present = reader.flag();
        if (i < max_sub_layers_minus1)
            bits += (profile_present ? kProfileBits : 0) + (level_present ? kLevelBits : 0);
    }
    reader.skip(bits);
    return profile;
}

inline void skip_sub_layer_ordering_info(BitReader& reader, std::uint32_t max_sub_layers_minus1) noexcept
{
    const bool each = reader.flag(); // sub_layer_ordering_info_present_flag
    reader.skip_ue(each ? 3 * (max_sub_layers_minus1 + 1) : 3);
}

// As far as the timing.
inline HevcVps read_hevc_vps(BitReader reader) noexcept
{
    HevcVps vps;
    vps.vps_video_parameter_set_id = reader.bits(4);
    reader.skip(8); // vps_base_layer_internal_flag to vps_max_layers_minus1
    const std::uint32_t vps_max_sub_layers_minus1 = reader.bits(3);
    reader.skip(17); // vps_temporal_id_nesting_flag, vps_reserved_0xffff_16bits
    read_profile_tier_level(reader, vps_max_sub_layers_minus1);
    skip_sub_layer_ordering_info(reader, vps_max_sub_layers_minus1);
    const std::uint32_t vps_max_layer_id = reader.bits(6);
    const std::uint32_t vps_num_layer_sets_minus1 = reader.ue();
    reader.skip(std::uint64_t{vps_num_layer_sets_minus1} * (vps_max_layer_id + 1)); // layer_id_included_flag
    vps.timing_info_present_flag = reader.flag();
    if (vps.timing_info_present_flag) {
        vps.num_units_in_tick = reader.bits(32);
        vps.time_scale = reader.bits(32);
    }
    return vps;
}

// Up to the id.
inline void read_hevc_sps_begin(BitReader& reader, HevcSps& sps) noexcept
{
    sps.sps_video_parameter_set_id = reader.bits(4);
    sps.sps_max_sub_layers_minus1 = reader.bits(3);
    sps.sps_temporal_id_nesting_flag = reader.flag();
    sps.profile = read_profile_tier_level(reader, sps.sps_max_sub_layers_minus1);
    sps.sps_seq_parameter_set_id = reader.ue();
}

// scaling_list_data() (7.3.4)
inline void skip_hevc_scaling_lists(BitReader& reader) noexcept
{
    for (unsigned size = 0; size < 4; ++size)
        for (unsigned matrix = 0; matrix < 6; matrix += size == 3 ? 3 : 1) {
            if (!reader.flag()) { // scaling_list_pred_mode_flag
                reader.ue();      // scaling_list_pred_matrix_id_delta
                continue;
            }
            const unsigned coefficients = size == 0 ? 16 : 64;
            reader.skip_ue(coefficients + (size > 1 ? 1 : 0));
        }
}

// Up to and including num_short_term_ref_pic_sets.
inline void read_hevc_sps_head(BitReader& reader, HevcSps& sps) noexcept
{
    read_hevc_sps_begin(reader, sps);
    sps.chroma_format_idc = reader.ue();
    sps.separate_colour_plane_flag = sps.chroma_format_idc == 3 && reader.flag();
    sps.pic_width_in_luma_samples = reader.ue();
    sps.pic_height_in_luma_samples = reader.ue();
    if (reader.flag()) // conformance_window_flag
        for (std::uint32_t& offset : sps.conf_win)
            offset = reader.ue();
    sps.bit_depth_luma_minus8 = reader.ue();
    sps.bit_depth_chroma_minus8 = reader.ue();
    sps.log2_max_pic_order_cnt_lsb_minus4 = reader.ue();
    skip_sub_layer_ordering_info(reader, sps.sps_max_sub_layers_minus1);
    const std::uint32_t log2_min_luma_coding_block_size_minus3 = reader.ue();
    sps.log2_ctb_size = std::uint64_t{log2_min_luma_coding_block_size_minus3} + 3 + reader.ue();
    reader.skip_ue(4);                  // sizes of transform blocks and their depths
    if (reader.flag() && reader.flag()) // scaling_list_enabled_flag, sps_scaling_list_data_present_flag
        skip_hevc_scaling_lists(reader);
    reader.skip(2);      // amp_enabled_flag, sample_adaptive_offset_enabled_flag
    if (reader.flag()) { // pcm_enabled_flag
        reader.skip(8);  // bit depths
        reader.skip_ue(2);
        reader.flag(); // pcm_loop_filter_disabled_flag
    }
    sps.num_short_term_ref_pic_sets = reader.ue();
}

// One half of an explicit set: delta_poc_minus1 and used_by_curr_pic_flag of each picture.
inline void skip_delta_pocs(BitReader& reader, std::uint32_t pictures) noexcept
{
    for (; pictures > 0 && !reader.exhausted(); --pictures) {
        reader.ue();
        reader.flag();
    }
}

// st_ref_pic_set(i) of an SPS (7.3.7), as long as it claims to be. Answers NumDeltaPocs[i], which the next
// set may be predicted from; `previous` is that of the set before.
inline std::uint32_t skip_reference_set(BitReader& reader, std::uint32_t i, std::uint32_t previous) noexcept
{
    if (i == 0 || !reader.flag()) { // inter_ref_pic_set_prediction_flag
        const std::uint32_t num_negative_pics = reader.ue();
        const std::uint32_t num_positive_pics = reader.ue();
        skip_delta_pocs(reader, num_negative_pics);
        skip_delta_pocs(reader, num_positive_pics);
        return num_negative_pics + num_positive_pics;
    }
    reader.flag(); // delta_rps_sign
    reader.ue();   // abs_delta_rps_minus1
    std::uint32_t pictures = 0;
    for (std::uint64_t j = 0; j <= previous && !reader.exhausted(); ++j)
        if (reader.flag() || reader.flag()) // used_by_curr_pic_flag, use_delta_flag
            ++pictures;
    return pictures;
}

// vui_parameters() (E.2.1), as far as the timing.
inline void read_hevc_vui(BitReader& reader, HevcSps& sps) noexcept
{
    read_vui_head(reader, sps.vui);
    reader.flag(); // neutral_chroma_indication_flag
    sps.field_seq_flag = reader.flag();
    reader.flag();     // frame_field_info_present_flag
    if (reader.flag()) // default_display_window_flag
        reader.skip_ue(4);
    read_vui_timing(reader, sps.vui);
}

// Without its reference picture sets.
inline HevcSps read_hevc_sps(BitReader reader) noexcept
{
    HevcSps sps;
    read_hevc_sps_head(reader, sps);
    if (sps.num_short_term_ref_pic_sets > HevcSps::kMostReferenceSets)
        return sps;
    std::uint32_t deltas = 0;
    for (std::uint32_t i = 0; i < sps.num_short_term_ref_pic_sets; ++i)
        deltas = skip_reference_set(reader, i, deltas);
    if (reader.flag()) { // long_term_ref_pics_present_flag
        const std::uint32_t num_long_term_ref_pics_sps = reader.ue();
        const std::uint32_t lsb_bits = sps.log2_max_pic_order_cnt_lsb_minus4 + 4;
        reader.skip(num_long_term_ref_pics_sps * (std::uint64_t{lsb_bits} + 1));
    }
    reader.skip(2);    // sps_temporal_mvp_enabled_flag, strong_intra_smoothing_enabled_flag
    if (reader.flag()) // vui_parameters_present_flag
        read_hevc_vui(reader, sps);
    return sps;
}

// The head: what is needed to read a slice segment header as far as the picture order count.
inline HevcPps read_hevc_pps_head(BitReader& reader) noexcept
{
    HevcPps pps;
    pps.pps_pic_parameter_set_id = reader.ue();
    pps.pps_seq_parameter_set_id = reader.ue();
    pps.dependent_slice_segments_enabled_flag = reader.flag();
    pps.output_flag_present_flag = reader.flag();
    pps.num_extra_slice_header_bits = reader.bits(3);
    return pps;
}

// As far as the tiles.
inline HevcTiles read_hevc_pps_tiles(BitReader reader, bool& readable)
{
    HevcTiles tiles;
    reader.skip(2);    // sign_data_hiding_enabled_flag, cabac_init_present_flag
    reader.skip_ue(3); // num_ref_idx_l0_default_active_minus1, num_ref_idx_l1_..., init_qp_minus26
    reader.skip(2);    // constrained_intra_pred_flag, transform_skip_enabled_flag
    if (reader.flag()) // cu_qp_delta_enabled_flag
        reader.ue();   // diff_cu_qp_delta_depth
    reader.skip_ue(2); // pps_cb_qp_offset, pps_cr_qp_offset
    reader.skip(4);    // pps_slice_chroma_qp_offsets_present_flag to transquant_bypass_enabled_flag
    const bool tiles_enabled_flag = reader.flag();
    reader.flag(); // entropy_coding_sync_enabled_flag
    readable = !tiles_enabled_flag || read_hevc_tiles(reader, tiles);
    return tiles;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

// SPDX-License-Identifier: MIT
// seq_parameter_set_rbsp() (H.265 7.3.2.2.1), read as far as the timing of the VUI.
#include "parser/VideoParams.h"
#include "parser/bitstream/Reading.h"
#include "parser/hevc/HevcProfile.h"
#include "parser/records/ParameterSetTable.h"
#include "parser/syntax/Picture.h"
#include "parser/syntax/VideoUsability.h"

namespace nalsmith_internal {

using bitstream::BitReader;

namespace {

constexpr u32 kMaxShortTermRefPicSets = 64;

// scaling_list_data() (7.3.4)
void SkipScalingListData(BitReader& reader)
{
    for (u32 sizeId = 0; sizeId < 4; ++sizeId)
        for (u32 matrixId = 0; matrixId < 6; matrixId += sizeId == 3 ? 3 : 1) {
            if (!reader.ReadFlag()) { // scaling_list_pred_mode_flag
                reader.GetUE();       // scaling_list_pred_matrix_id_delta
                continue;
            }
            if (sizeId > 1)
                reader.GetSE();                   // scaling_list_dc_coef_minus8
            reader.SkipSE(sizeId == 0 ? 16 : 64); // scaling_list_delta_coef
        }
}

// One half of an explicit set: delta_poc_minus1 and used_by_curr_pic_flag of each picture.
void SkipDeltaPocs(BitReader& reader, u32 pictures)
{
    for (u32 i = 0; i < pictures && reader.DataLeft(); ++i) {
        reader.GetUE();
        reader.ReadData(1);
    }
}

// st_ref_pic_set(i) as it stands in an SPS (7.3.7). Returns NumDeltaPocs[i], which the next set may be
// predicted from; `previous` is that of the set before.
u32 SkipShortTermRefPicSet(BitReader& reader, u32 i, u32 previous)
{
    const bool inter_ref_pic_set_prediction_flag = i > 0 && reader.ReadFlag();
    if (!inter_ref_pic_set_prediction_flag) {
        const u32 num_negative_pics = reader.GetUE();
        const u32 num_positive_pics = reader.GetUE();
        SkipDeltaPocs(reader, num_negative_pics);
        SkipDeltaPocs(reader, num_positive_pics);
        return num_negative_pics + num_positive_pics;
    }

    reader.ReadData(1); // delta_rps_sign
    reader.GetUE();     // abs_delta_rps_minus1
    u32 pictures = 0;
    for (u64 j = 0; j <= previous && reader.DataLeft(); ++j) {
        const bool used_by_curr_pic_flag = reader.ReadFlag();
        const bool use_delta_flag = used_by_curr_pic_flag || reader.ReadFlag();
        pictures += use_delta_flag ? 1 : 0;
    }
    return pictures;
}

void SkipPcm(BitReader& reader)
{
    reader.ReadData(4); // pcm_sample_bit_depth_luma_minus1
    reader.ReadData(4); // pcm_sample_bit_depth_chroma_minus1
    reader.GetUE();     // log2_min_pcm_luma_coding_block_size_minus3
    reader.GetUE();     // log2_diff_max_min_pcm_luma_coding_block_size
    reader.ReadData(1); // pcm_loop_filter_disabled_flag
}

void SkipLongTermRefPics(BitReader& reader, const HevcSpsRecord& sps)
{
    const u32 num_long_term_ref_pics_sps = reader.GetUE();
    const u32 lsbBits = sps.log2_max_pic_order_cnt_lsb_minus4 + 4;
    // lt_ref_pic_poc_lsb_sps[i] and used_by_curr_pic_lt_sps_flag[i]
    reader.SkipBits(num_long_term_ref_pics_sps * (u64{lsbBits} + 1));
}

// From conformance_window_flag on; the picture size is known then.
void ReadConformanceWindow(BitReader& reader, const HevcSpsRecord& sps, u32 chroma_format_idc,
                           VideoInfo& info)
{
    syntax::Cropping crop;
    if (reader.ReadFlag()) {          // conformance_window_flag
        crop.left = reader.GetUE();   // conf_win_left_offset
        crop.right = reader.GetUE();  // conf_win_right_offset
        crop.top = reader.GetUE();    // conf_win_top_offset
        crop.bottom = reader.GetUE(); // conf_win_bottom_offset
    }
    const syntax::CropUnit unit = syntax::CropUnitOf(chroma_format_idc);
    info.width = syntax::CroppedWidth(sps.pic_width_in_luma_samples, crop, unit);
    info.height = syntax::CroppedHeight(sps.pic_height_in_luma_samples, crop, unit);
}

// What the coding tools need, between the block sizes and the reference picture sets.
void ReadCodingTools(BitReader& reader, HevcSpsRecord& sps)
{
    sps.log2_min_luma_coding_block_size_minus3 = reader.GetUE();
    sps.log2_diff_max_min_luma_coding_block_size = reader.GetUE();
    reader.GetUE();            // log2_min_luma_transform_block_size_minus2
    reader.GetUE();            // log2_diff_max_min_luma_transform_block_size
    reader.GetUE();            // max_transform_hierarchy_depth_inter
    reader.GetUE();            // max_transform_hierarchy_depth_intra
    if (reader.ReadFlag())     // scaling_list_enabled_flag
        if (reader.ReadFlag()) // sps_scaling_list_data_present_flag
            SkipScalingListData(reader);
    reader.ReadData(1);    // amp_enabled_flag
    reader.ReadData(1);    // sample_adaptive_offset_enabled_flag
    if (reader.ReadFlag()) // pcm_enabled_flag
        SkipPcm(reader);
}

// vui_parameters() (E.2.1)
void ReadVideoUsability(BitReader& reader, VideoInfo& info)
{
    syntax::ReadVideoUsabilityHead(reader, info);
    reader.ReadData(1);      // neutral_chroma_indication_flag
    reader.ReadData(1);      // field_seq_flag
    reader.ReadData(1);      // frame_field_info_present_flag
    if (reader.ReadFlag()) { // default_display_window_flag
        reader.GetUE();      // def_disp_win_left_offset
        reader.GetUE();      // def_disp_win_right_offset
        reader.GetUE();      // def_disp_win_top_offset
        reader.GetUE();      // def_disp_win_bottom_offset
    }
    if (reader.ReadFlag()) {                     // vui_timing_info_present_flag
        info.frameRateDen = reader.ReadData(32); // vui_num_units_in_tick
        info.frameRateNum = reader.ReadData(32); // vui_time_scale
    }
}

} // namespace

Status CParseHEVCParams::ReadSequenceParameterSetData(VideoInfo* info)
{
    bitstream::Reading bits(*this);
    HevcSpsRecord sps = {};

    sps.sps_video_parameter_set_id = bits.ReadData(4);
    const u32 sps_max_sub_layers_minus1 = bits.ReadData(3);
    bits.ReadData(1); // sps_temporal_id_nesting_flag
    hevc::SkipProfileTierLevel(bits, sps_max_sub_layers_minus1);
    sps.sps_seq_parameter_set_id = bits.GetUE();
    const u32 chroma_format_idc = bits.GetUE();
    if (chroma_format_idc == 3)
        sps.separate_colour_plane_flag = bits.ReadData(1);
    sps.pic_width_in_luma_samples = bits.GetUE();
    sps.pic_height_in_luma_samples = bits.GetUE();
    ReadConformanceWindow(bits, sps, chroma_format_idc, *info);
    bits.GetUE(); // bit_depth_luma_minus8
    bits.GetUE(); // bit_depth_chroma_minus8
    sps.log2_max_pic_order_cnt_lsb_minus4 = bits.GetUE();
    hevc::SkipSubLayerOrderingInfo(bits, sps_max_sub_layers_minus1);
    ReadCodingTools(bits, sps);
    const u32 num_short_term_ref_pic_sets = bits.GetUE();
    if (num_short_term_ref_pic_sets > kMaxShortTermRefPicSets) {
        info->sequenceInfoValid = 1; // the size is known; what follows cannot be found
        return kOk;
    }
    u32 numDeltaPocs = 0;
    for (u32 i = 0; i < num_short_term_ref_pic_sets; ++i)
        numDeltaPocs = SkipShortTermRefPicSet(bits, i, numDeltaPocs);
    if (bits.ReadFlag()) // long_term_ref_pics_present_flag
        SkipLongTermRefPics(bits, sps);
    bits.ReadData(1);    // sps_temporal_mvp_enabled_flag
    bits.ReadData(1);    // strong_intra_smoothing_enabled_flag
    if (bits.ReadFlag()) // vui_parameters_present_flag
        ReadVideoUsability(bits, *info);

    info->sequenceInfoValid = 1;
    records::Store(spsTable, sps.sps_seq_parameter_set_id, sps);
    return kOk;
}

} // namespace nalsmith_internal

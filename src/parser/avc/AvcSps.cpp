// SPDX-License-Identifier: MIT
// seq_parameter_set_data() (H.264 7.3.2.1.1), read as far as the timing of the VUI.
#include "parser/VideoParams.h"
#include "parser/bitstream/Reading.h"

#include "parser/records/ParameterSetTable.h"
#include "parser/syntax/Picture.h"
#include "parser/syntax/VideoUsability.h"

namespace nalsmith_internal {

using bitstream::BitReader;

namespace {

constexpr bool HasChromaFormat(u32 profile_idc)
{
    switch (profile_idc) {
    case 100:
    case 110:
    case 122:
    case 244:
    case 44:
    case 83:
    case 86:
    case 118:
    case 128:
    case 138:
    case 139:
    case 134: return true;
    default: return false;
    }
}

// scaling_list() (7.3.2.1.1.1). Ends early when the rest repeats the last value.
void SkipScalingList(BitReader& reader, u32 sizeOfScalingList)
{
    i64 lastScale = 8;
    i64 nextScale = 8;
    for (u32 j = 0; j < sizeOfScalingList && nextScale != 0; ++j) {
        const i64 delta_scale = reader.GetSE();
        nextScale = (lastScale + delta_scale + 256) % 256;
        if (nextScale != 0)
            lastScale = nextScale;
    }
}

// From chroma_format_idc to the scaling lists. Returns chroma_format_idc.
u32 ReadChromaFormat(BitReader& reader, AvcSpsInfo& sps)
{
    const u32 chroma_format_idc = reader.GetUE();
    if (chroma_format_idc == 3)
        sps.separate_colour_plane_flag = reader.ReadData(1);
    reader.GetUE();          // bit_depth_luma_minus8
    reader.GetUE();          // bit_depth_chroma_minus8
    reader.ReadData(1);      // qpprime_y_zero_transform_bypass_flag
    if (reader.ReadFlag()) { // seq_scaling_matrix_present_flag
        const u32 lists = chroma_format_idc == 3 ? 12 : 8;
        for (u32 i = 0; i < lists; ++i)
            if (reader.ReadFlag()) // seq_scaling_list_present_flag[i]
                SkipScalingList(reader, i < 6 ? 16 : 64);
    }
    return chroma_format_idc;
}

// What tells the order of pictures. The offsets are not needed.
void ReadPicOrderCntType(BitReader& reader, AvcSpsInfo& sps)
{
    sps.pic_order_cnt_type = reader.GetUE();
    if (sps.pic_order_cnt_type == 0) {
        sps.log2_max_pic_order_cnt_lsb_minus4 = reader.GetUE();
    } else if (sps.pic_order_cnt_type == 1) {
        sps.delta_pic_order_always_zero_flag = reader.ReadData(1);
        reader.GetSE(); // offset_for_non_ref_pic
        reader.GetSE(); // offset_for_top_to_bottom_field
        const u32 num_ref_frames_in_pic_order_cnt_cycle = reader.GetUE();
        reader.SkipSE(num_ref_frames_in_pic_order_cnt_cycle); // offset_for_ref_frame[i]
    }
}

// vui_parameters() (E.1.1)
void ReadVideoUsability(BitReader& reader, VideoInfo& info)
{
    syntax::ReadVideoUsabilityHead(reader, info);
    if (reader.ReadFlag()) { // timing_info_present_flag
        const u32 num_units_in_tick = reader.ReadData(32);
        const u32 time_scale = reader.ReadData(32);
        info.frameRateNum = time_scale;
        info.frameRateDen = 2 * num_units_in_tick; // a frame takes two ticks
    }
}

} // namespace

Status CParseAVCParams::ReadSequenceParameterSetData(VideoInfo* info)
{
    bitstream::Reading bits(*this);
    AvcSpsInfo sps = {};

    const u32 profile_idc = bits.ReadData(8);
    bits.ReadData(8); // constraint_set flags, reserved_zero_2bits
    bits.ReadData(8); // level_idc
    sps.seq_parameter_set_id = bits.GetUE();
    const u32 chroma_format_idc = HasChromaFormat(profile_idc) ? ReadChromaFormat(bits, sps) : 1;
    sps.log2_max_frame_num_minus4 = bits.GetUE();
    ReadPicOrderCntType(bits, sps);
    bits.GetUE(); // max_num_ref_frames
    sps.gaps_in_frame_num_value_allowed_flag = bits.ReadData(1);
    const u32 pic_width_in_mbs_minus1 = bits.GetUE();
    const u32 pic_height_in_map_units_minus1 = bits.GetUE();
    sps.frame_mbs_only_flag = bits.ReadData(1);
    if (sps.frame_mbs_only_flag == 0)
        bits.ReadData(1); // mb_adaptive_frame_field_flag
    bits.ReadData(1);     // direct_8x8_inference_flag
    syntax::Cropping crop;
    if (bits.ReadFlag()) { // frame_cropping_flag
        crop.left = bits.GetUE();
        crop.right = bits.GetUE();
        crop.top = bits.GetUE();
        crop.bottom = bits.GetUE();
    }

    // A map unit is two macroblock rows high where fields may occur, and so is a crop unit.
    const u32 rows = 2 - sps.frame_mbs_only_flag;
    syntax::CropUnit unit = syntax::CropUnitOf(chroma_format_idc);
    unit.y *= rows;
    info->width = syntax::CroppedWidth((pic_width_in_mbs_minus1 + 1) * 16, crop, unit);
    info->height = syntax::CroppedHeight(rows * (pic_height_in_map_units_minus1 + 1) * 16, crop, unit);

    if (bits.ReadFlag()) // vui_parameters_present_flag
        ReadVideoUsability(bits, *info);

    info->sequenceInfoValid = 1;
    records::Store(spsTable, sps.seq_parameter_set_id, sps);
    return kOk;
}

} // namespace nalsmith_internal

// SPDX-License-Identifier: MIT
// The head of slice_segment_header() (H.265 7.3.6.1), as far as the picture order count.
#include "parser/hevc/HevcSlice.h"

#include "nalsmith/detail/nal_types.hpp"
#include "parser/VideoParams.h"
#include "parser/bitstream/Reading.h"
#include "parser/records/ParameterSetTable.h"

namespace nalsmith_internal {

using bitstream::BitReader;

namespace {

// From this on no 32-bit MaxPicOrderCntLsb exists.
constexpr u32 kLog2MaxLsbMinus4Limit = 28;

// The SPS that a PPS refers to, when it can be used: its VPS is known as well.
const HevcSpsRecord* FindSps(const CParseHEVCParams& parser, const HevcPpsRecord& pps)
{
    const HevcSpsRecord* sps = records::Find(parser.spsTable, pps.pps_seq_parameter_set_id);
    if (sps == nullptr || sps->log2_max_pic_order_cnt_lsb_minus4 >= kLog2MaxLsbMinus4Limit)
        return nullptr;
    return records::Find(parser.vpsTable, sps->sps_video_parameter_set_id) != nullptr ? sps : nullptr;
}

i32 ReadPictureOrderCount(BitReader& reader, const HevcSpsRecord& sps, u32 nalUnitType, i32 prevTid0Poc)
{
    if (nalsmith::detail::is_hevc_idr(nalUnitType))
        return 0;
    const u32 lsbBits = sps.log2_max_pic_order_cnt_lsb_minus4 + 4;
    const u32 slice_pic_order_cnt_lsb = reader.ReadData(lsbBits);
    if (nalsmith::detail::is_hevc_bla(nalUnitType))
        return static_cast<i32>(slice_pic_order_cnt_lsb);
    return hevc::PictureOrderCount(slice_pic_order_cnt_lsb, u32{1} << lsbBits, prevTid0Poc);
}

} // namespace

Status CParseHEVCParams::ReadSliceHeaderData(VideoInfo* /*info*/, u32 nalUnitType, const u8* nal,
                                             int* newPicture, VideoInfoEx* sampleInfo)
{
    bitstream::Reading bits(*this);
    *newPicture = 0;
    if (sampleInfo != nullptr && nalsmith::detail::is_hevc_key(nalUnitType))
        sampleInfo->intraPicture = 1;

    const bool first_slice_segment_in_pic_flag = bits.ReadFlag();
    // The first slice segment of all belongs to the access unit whose openers are already stored.
    if (firstSlice == 0 && first_slice_segment_in_pic_flag)
        *newPicture = 1;
    firstSlice = 0;
    if (!first_slice_segment_in_pic_flag)
        return kOk;

    if (nalsmith::detail::is_hevc_irap(nalUnitType))
        bits.ReadData(1); // no_output_of_prior_pics_flag
    const u32 slice_pic_parameter_set_id = bits.GetUE();
    const HevcPpsRecord* pps = records::Find(ppsTable, slice_pic_parameter_set_id);
    const HevcSpsRecord* sps = pps != nullptr ? FindSps(*this, *pps) : nullptr;
    if (sps == nullptr)
        return kFailed;

    bits.SkipBits(pps->num_extra_slice_header_bits); // slice_reserved_flag[i]
    bits.GetUE();                                    // slice_type
    if (pps->output_flag_present_flag != 0)
        bits.ReadData(1); // pic_output_flag
    if (sps->separate_colour_plane_flag != 0)
        bits.ReadData(2); // colour_plane_id
    picOrderCnt = ReadPictureOrderCount(bits, *sps, nalUnitType, prevTid0Poc);

    if (sampleInfo != nullptr && sampleInfo->intraPicture == 0 && i64{picOrderCnt} - prevTid0Poc != 1)
        sampleInfo->discontinuity = 1;
    // Later picture order counts are counted from this one (8.3.1).
    const u32 nuh_temporal_id_plus1 = nal[1] & 7;
    if (nuh_temporal_id_plus1 == 1 && !nalsmith::detail::is_hevc_leading(nalUnitType) &&
        !nalsmith::detail::is_hevc_sub_layer_non_reference(nalUnitType))
        prevTid0Poc = picOrderCnt;
    return kOk;
}

} // namespace nalsmith_internal

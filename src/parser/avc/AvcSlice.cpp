// SPDX-License-Identifier: MIT
// The head of slice_header() (H.264 7.3.3), as far as one picture is told from the next.
#include "nalsmith/detail/nal_types.hpp"
#include "nalsmith/detail/rules.hpp"
#include "parser/VideoParams.h"
#include "parser/bitstream/Reading.h"
#include "parser/records/ParameterSetTable.h"

namespace nalsmith_internal {

using bitstream::BitReader;

namespace avc {

namespace {

// 2 to the power n, cut to 32 bits.
constexpr u32 PowerOfTwo(u32 n)
{
    return n < 32 ? u32{1} << n : 0;
}

// The picture order count syntax of a slice header.
void ReadPicOrderCnt(BitReader& reader, const AvcSpsInfo& sps, const AvcPpsInfo& pps, AvcSliceInfo& slice)
{
    const bool bottom = pps.bottom_field_pic_order_in_frame_present_flag != 0 && slice.field_pic_flag == 0;
    if (sps.pic_order_cnt_type == 0) {
        slice.pic_order_cnt_lsb = reader.ReadData(sps.log2_max_pic_order_cnt_lsb_minus4 + 4);
        if (bottom)
            slice.delta_pic_order_cnt_bottom = reader.GetSE();
    }
    if (sps.pic_order_cnt_type == 1 && sps.delta_pic_order_always_zero_flag == 0) {
        slice.delta_pic_order_cnt[0] = reader.GetSE();
        if (bottom)
            slice.delta_pic_order_cnt[1] = reader.GetSE();
    }
}

} // namespace
} // namespace avc

Status CParseAVCParams::ReadSliceHeaderData(VideoInfo* /*info*/, u32 nalUnitType, u32 nalRefIdc,
                                            int* newPicture)
{
    // Built in a local variable and stored at the end: a record read back as it is written stalls.
    AvcSliceInfo slice = {};
    bitstream::Reading bits(*this);
    *newPicture = 0;

    slice.first_mb_in_slice = bits.GetUE();
    slice.slice_type = bits.GetUE();
    slice.pic_parameter_set_id = bits.GetUE();
    const AvcPpsInfo* pps = records::Find(ppsTable, slice.pic_parameter_set_id);
    const AvcSpsInfo* sps = pps != nullptr ? records::Find(spsTable, pps->seq_parameter_set_id) : nullptr;
    if (sps == nullptr) {
        curSlice = slice;
        return kFailed;
    }
    maxFrameNum = avc::PowerOfTwo(sps->log2_max_frame_num_minus4 + 4);
    gapsAllowed = sps->gaps_in_frame_num_value_allowed_flag;

    if (sps->separate_colour_plane_flag != 0)
        bits.ReadData(2); // colour_plane_id
    slice.frame_num = bits.ReadData(sps->log2_max_frame_num_minus4 + 4);
    if (sps->frame_mbs_only_flag == 0) {
        slice.field_pic_flag = bits.ReadData(1);
        if (slice.field_pic_flag != 0)
            slice.bottom_field_flag = bits.ReadData(1);
    }
    slice.nal_ref_idc = nalRefIdc;
    slice.IdrPicFlag = nalsmith::detail::is_avc_idr(nalUnitType) ? 1 : 0;
    if (slice.IdrPicFlag != 0)
        slice.idr_pic_id = bits.GetUE();
    avc::ReadPicOrderCnt(bits, *sps, *pps, slice);

    // The first slice of all belongs to the access unit whose openers are already stored.
    if (firstSlice == 0 && nalsmith::detail::begins_picture(prevSlice, slice, sps->pic_order_cnt_type))
        *newPicture = 1;
    firstSlice = 0;
    curSlice = slice;
    prevSlice = slice;
    return kOk;
}

} // namespace nalsmith_internal

// SPDX-License-Identifier: MIT
// The head of slice_header() (H.264 7.3.3), as far as one picture is told from the next.
#include "parser/avc/AvcSlice.h"

#include "parser/VideoParams.h"
#include "parser/avc/AvcNal.h"
#include "parser/records/ParameterSetTable.h"

namespace avc {

bool BeginsPicture(const AvcSliceInfo& prev, const AvcSliceInfo& cur, u32 pocType)
{
    if (prev.frame_num != cur.frame_num || prev.pic_parameter_set_id != cur.pic_parameter_set_id ||
        prev.field_pic_flag != cur.field_pic_flag || prev.IdrPicFlag != cur.IdrPicFlag)
        return true;
    if (prev.field_pic_flag != 0 && cur.field_pic_flag != 0 &&
        prev.bottom_field_flag != cur.bottom_field_flag)
        return true;
    if (prev.nal_ref_idc != cur.nal_ref_idc && (prev.nal_ref_idc == 0 || cur.nal_ref_idc == 0))
        return true;
    if (pocType == 0 && (prev.pic_order_cnt_lsb != cur.pic_order_cnt_lsb ||
                         prev.delta_pic_order_cnt_bottom != cur.delta_pic_order_cnt_bottom))
        return true;
    if (pocType == 1 && (prev.delta_pic_order_cnt[0] != cur.delta_pic_order_cnt[0] ||
                         prev.delta_pic_order_cnt[1] != cur.delta_pic_order_cnt[1]))
        return true;
    if (prev.IdrPicFlag != 0 && cur.IdrPicFlag != 0 && prev.idr_pic_id != cur.idr_pic_id)
        return true;
    return cur.first_mb_in_slice == 0;
}

namespace {

// 2 to the power n, cut to 32 bits.
constexpr u32 PowerOfTwo(u32 n)
{
    return n < 32 ? u32{1} << n : 0;
}

// The picture order count syntax of a slice header.
void ReadPicOrderCnt(CParserBase& reader, const AvcSpsInfo& sps, const AvcPpsInfo& pps, AvcSliceInfo& slice)
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
    curSlice = {};
    *newPicture = 0;

    curSlice.first_mb_in_slice = GetUE();
    curSlice.slice_type = GetUE();
    curSlice.pic_parameter_set_id = GetUE();
    const AvcPpsInfo* pps = records::Find(ppsTable, curSlice.pic_parameter_set_id);
    const AvcSpsInfo* sps = pps != nullptr ? records::Find(spsTable, pps->seq_parameter_set_id) : nullptr;
    if (sps == nullptr)
        return kFailed;
    maxFrameNum = avc::PowerOfTwo(sps->log2_max_frame_num_minus4 + 4);
    gapsAllowed = sps->gaps_in_frame_num_value_allowed_flag;

    if (sps->separate_colour_plane_flag != 0)
        ReadData(2); // colour_plane_id
    curSlice.frame_num = ReadData(sps->log2_max_frame_num_minus4 + 4);
    if (sps->frame_mbs_only_flag == 0) {
        curSlice.field_pic_flag = ReadData(1);
        if (curSlice.field_pic_flag != 0)
            curSlice.bottom_field_flag = ReadData(1);
    }
    curSlice.nal_ref_idc = nalRefIdc;
    curSlice.IdrPicFlag = nalUnitType == avc::kIdrSlice ? 1 : 0;
    if (curSlice.IdrPicFlag != 0)
        curSlice.idr_pic_id = GetUE();
    avc::ReadPicOrderCnt(*this, *sps, *pps, curSlice);

    // The first slice of all belongs to the access unit whose openers are already stored.
    if (firstSlice == 0 && avc::BeginsPicture(prevSlice, curSlice, sps->pic_order_cnt_type))
        *newPicture = 1;
    firstSlice = 0;
    prevSlice = curSlice;
    return kOk;
}

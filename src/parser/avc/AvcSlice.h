// SPDX-License-Identifier: MIT
// When a slice begins a picture.
#pragma once

#include "parser/records/AvcRecords.h"

namespace nalsmith_internal::avc {

// Whether the slice of header `cur` is the first of a picture, when that of header `prev` was read before it
// (H.264 7.4.1.2.4). `pocType` is pic_order_cnt_type of the current slice's SPS. A slice that starts at the
// first macroblock always begins a picture.
// In line, so that the header at hand can stay in registers.
inline bool BeginsPicture(const AvcSliceInfo& prev, const AvcSliceInfo& cur, u32 pocType)
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

} // namespace nalsmith_internal::avc

// SPDX-License-Identifier: MIT
// What is kept of H.264 parameter sets and slice headers. Fields carry the names of the syntax elements.
#pragma once

#include "support/Types.h"

namespace nalsmith_internal {

// H.264 7.3.2.1.1
struct AvcSpsInfo {
    u32 seq_parameter_set_id;
    u32 separate_colour_plane_flag;
    u32 log2_max_frame_num_minus4;
    u32 pic_order_cnt_type;
    u32 log2_max_pic_order_cnt_lsb_minus4;
    u32 delta_pic_order_always_zero_flag;
    u32 frame_mbs_only_flag;
    u32 gaps_in_frame_num_value_allowed_flag;
};

// H.264 7.3.2.2
struct AvcPpsInfo {
    u32 pic_parameter_set_id;
    u32 seq_parameter_set_id;
    u32 bottom_field_pic_order_in_frame_present_flag;
};

// H.264 7.3.3, as far as one picture is told from the next (7.4.1.2.4)
struct AvcSliceInfo {
    u32 first_mb_in_slice;
    u32 slice_type;
    u32 pic_parameter_set_id;
    u32 frame_num;
    u32 field_pic_flag;
    u32 bottom_field_flag;
    u32 nal_ref_idc;
    u32 IdrPicFlag;
    u32 idr_pic_id;
    u32 pic_order_cnt_lsb;
    i32 delta_pic_order_cnt_bottom;
    i32 delta_pic_order_cnt[2];
};

} // namespace nalsmith_internal

// SPDX-License-Identifier: MIT
// What is kept of H.265 parameter sets. Fields carry the names of the syntax elements.
#pragma once

#include "support/Types.h"

namespace nalsmith_internal {

// H.265 7.3.2.1. The mark that a VPS with this id has been read.
struct HevcVpsRecord {
    u32 vps_video_parameter_set_id;
};

// H.265 7.3.2.2.1
struct HevcSpsRecord {
    u32 sps_video_parameter_set_id;
    u32 sps_seq_parameter_set_id;
    u32 separate_colour_plane_flag;
    u32 log2_max_pic_order_cnt_lsb_minus4;
    u32 log2_min_luma_coding_block_size_minus3;
    u32 log2_diff_max_min_luma_coding_block_size;
    u32 pic_width_in_luma_samples;
    u32 pic_height_in_luma_samples;
};

// H.265 7.3.2.3.1
struct HevcPpsRecord {
    u32 pps_pic_parameter_set_id;
    u32 pps_seq_parameter_set_id;
    u32 dependent_slice_segments_enabled_flag;
    u32 output_flag_present_flag;
    u32 num_extra_slice_header_bits;
};

} // namespace nalsmith_internal

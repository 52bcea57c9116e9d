// SPDX-License-Identifier: MIT
// The head of slice_header() (H.264 7.3.3), as far as one picture is told from the next.
#ifndef NALSMITH_DETAIL_AVC_SLICE_HPP
#define NALSMITH_DETAIL_AVC_SLICE_HPP

#include "nalsmith/detail/avc/syntax.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

struct AvcSlice {
    std::uint32_t first_mb_in_slice = 0;
    std::uint32_t slice_type = 0;
    std::uint32_t pic_parameter_set_id = 0;
    std::uint32_t frame_num = 0;
    std::uint32_t idr_pic_id = 0;
    std::uint32_t pic_order_cnt_lsb = 0;
    std::int32_t delta_pic_order_cnt_bottom = 0;
    std::array<std::int32_t, 2> delta_pic_order_cnt = {};
    std::uint8_t nal_ref_idc = 0;
    std::uint8_t colour_plane_id = 0;
    bool IdrPicFlag = false;
    bool field_pic_flag = false;
    bool bottom_field_flag = false;
};

// Up to the id of the PPS, which says how to read on.
inline void read_avc_slice_begin(BitReader& reader, AvcSlice& slice) noexcept
{
    slice.first_mb_in_slice = reader.ue();
    slice.slice_type = reader.ue();
    slice.pic_parameter_set_id = reader.ue();
}

// From there to the picture order count. `Sps` and `Pps` are AvcSps and AvcPps, or what a table keeps of
// them.
template <typename Sps>
void read_avc_slice_numbers(BitReader& reader, const Sps& sps, bool bottom_field_pic_order_in_frame_present,
                            AvcSlice& slice) noexcept
{
    if (sps.separate_colour_plane_flag)
        slice.colour_plane_id = static_cast<std::uint8_t>(reader.bits(2));
    slice.frame_num = reader.bits(sps.frame_num_bits);
    slice.field_pic_flag = !sps.frame_mbs_only_flag && reader.flag();
    slice.bottom_field_flag = slice.field_pic_flag && reader.flag();
    if (slice.IdrPicFlag)
        slice.idr_pic_id = reader.ue();
    const bool both = bottom_field_pic_order_in_frame_present && !slice.field_pic_flag;
    if (sps.pic_order_cnt_type == 0) {
        slice.pic_order_cnt_lsb = reader.bits(sps.lsb_bits);
        if (both)
            slice.delta_pic_order_cnt_bottom = reader.se();
    } else if (sps.pic_order_cnt_type == 1 && !sps.delta_pic_order_always_zero_flag) {
        slice.delta_pic_order_cnt[0] = reader.se();
        if (both)
            slice.delta_pic_order_cnt[1] = reader.se();
    }
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

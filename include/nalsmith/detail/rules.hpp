// SPDX-License-Identifier: MIT
// What the library and the C++ layer have to decide alike, each rule once: as templates over their own slice
// records, whose fields are named as in the standards.
#ifndef NALSMITH_DETAIL_RULES_HPP
#define NALSMITH_DETAIL_RULES_HPP

#include <cstdint>

namespace nalsmith {
inline namespace v1 {
namespace detail {

// Whether the H.264 slice of header `cur` is the first of a picture, when that of header `prev` was read
// before it (7.4.1.2.4). `pic_order_cnt_type` is that of the current slice's SPS. A slice that starts at the
// first macroblock always begins a picture.
template <typename Slice>
constexpr bool begins_picture(const Slice& prev, const Slice& cur, std::uint32_t pic_order_cnt_type) noexcept
{
    if (prev.frame_num != cur.frame_num || prev.pic_parameter_set_id != cur.pic_parameter_set_id ||
        prev.field_pic_flag != cur.field_pic_flag || prev.IdrPicFlag != cur.IdrPicFlag)
        return true;
    if (prev.field_pic_flag != 0 && cur.field_pic_flag != 0 &&
        prev.bottom_field_flag != cur.bottom_field_flag)
        return true;
    if (prev.nal_ref_idc != cur.nal_ref_idc && (prev.nal_ref_idc == 0 || cur.nal_ref_idc == 0))
        return true;
    if (pic_order_cnt_type == 0 && (prev.pic_order_cnt_lsb != cur.pic_order_cnt_lsb ||
                                    prev.delta_pic_order_cnt_bottom != cur.delta_pic_order_cnt_bottom))
        return true;
    if (pic_order_cnt_type == 1 && (prev.delta_pic_order_cnt[0] != cur.delta_pic_order_cnt[0] ||
                                    prev.delta_pic_order_cnt[1] != cur.delta_pic_order_cnt[1]))
        return true;
    if (prev.IdrPicFlag != 0 && cur.IdrPicFlag != 0 && prev.idr_pic_id != cur.idr_pic_id)
        return true;
    return cur.first_mb_in_slice == 0;
}

// The frame_num that follows that of the previous reference picture (H.264 7.4.3). A `max_frame_num` of 0
// stands for 2^32 and more.
constexpr std::uint32_t next_frame_num(std::uint32_t prev_ref, std::uint32_t max_frame_num) noexcept
{
    const std::uint32_t next = prev_ref + 1;
    return max_frame_num != 0 ? next % max_frame_num : next;
}

// PicOrderCntMsb (H.264 8.2.1.1, H.265 8.3.1). Wraps in the width of `Count`.
template <typename Count>
constexpr Count pic_order_cnt_msb(std::uint32_t lsb, std::uint32_t max_lsb, std::uint32_t prev_lsb,
                                  Count prev_msb) noexcept
{
    if (lsb < prev_lsb && prev_lsb - lsb >= max_lsb / 2)
        return prev_msb + static_cast<Count>(max_lsb);
    if (lsb > prev_lsb && lsb - prev_lsb > max_lsb / 2)
        return prev_msb - static_cast<Count>(max_lsb);
    return prev_msb;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

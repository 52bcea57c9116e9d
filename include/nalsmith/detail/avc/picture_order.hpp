// SPDX-License-Identifier: MIT
// Picture order counts (H.264 8.2.1), in decoding order.
#ifndef NALSMITH_DETAIL_AVC_PICTURE_ORDER_HPP
#define NALSMITH_DETAIL_AVC_PICTURE_ORDER_HPP

#include "nalsmith/detail/avc/picture.hpp"
#include "nalsmith/detail/rules.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class AvcPictureOrder {
public:
    // PicOrderCnt() of a frame or field. With memory_management_control_operation 5 the one before the reset;
    // after it the count is 0. Where a stream does not begin with an IDR picture, its first picture has a
    // PicOrderCntMsb of 0.
    std::int64_t next(const AvcPicture& picture, const AvcSps& sps) noexcept
    {
        return sps.pic_order_cnt_type == 0 ? by_lsb(picture) : by_frame_num(picture, sps);
    }

private:
    // 8.2.1.1
    std::int64_t by_lsb(const AvcPicture& picture) noexcept
    {
        if (picture.IdrPicFlag)
            prev_msb_ = prev_lsb_ = 0;
        else if (!began_)
            prev_lsb_ = picture.pic_order_cnt_lsb;
        began_ = true;
        const std::int64_t msb =
            pic_order_cnt_msb(picture.pic_order_cnt_lsb, picture.max_lsb, prev_lsb_, prev_msb_);
        const std::int64_t first = msb + picture.pic_order_cnt_lsb;
        const std::int64_t count =
            picture.delta_pic_order_cnt_bottom < 0 ? first + picture.delta_pic_order_cnt_bottom : first;
        if (picture.resets_numbering) {
            prev_msb_ = 0;
            prev_lsb_ = picture.bottom_field_flag ? 0 : static_cast<std::uint32_t>(first - count);
        } else if (picture.reference()) {
            prev_msb_ = msb;
            prev_lsb_ = picture.pic_order_cnt_lsb;
        }
        return count;
    }

    // 8.2.1.2, 8.2.1.3. Without sign, where a damaged stream may count past any end.
    std::int64_t by_frame_num(const AvcPicture& picture, const AvcSps& sps) noexcept
    {
        if (picture.IdrPicFlag)
            frame_num_offset_ = 0;
        else if (prev_frame_num_ > picture.frame_num)
            frame_num_offset_ += picture.max_frame_num;
        const std::uint64_t number = frame_num_offset_ + picture.frame_num;
        prev_frame_num_ = picture.resets_numbering ? 0 : picture.frame_num;
        if (picture.resets_numbering)
            frame_num_offset_ = 0;
        if (sps.pic_order_cnt_type != 1)
            return static_cast<std::int64_t>(2 * number - (picture.reference() || number == 0 ? 0U : 1U));
        return static_cast<std::int64_t>(by_cycle(picture, sps, number));
    }

    static std::uint64_t by_cycle(const AvcPicture& picture, const AvcSps& sps, std::uint64_t number) noexcept
    {
        const auto wide = [](std::int64_t value) { return static_cast<std::uint64_t>(value); };
        const std::vector<std::int32_t>& offsets = sps.offset_for_ref_frame;
        std::uint64_t expected = 0;
        if (!picture.reference() && number > 0 && !offsets.empty())
            --number; // absFrameNum
        if (number > 0 && !offsets.empty()) {
            const std::uint64_t cycles = (number - 1) / offsets.size();
            const std::uint64_t in_cycle = (number - 1) % offsets.size();
            for (std::size_t i = 0; i < offsets.size(); ++i)
                expected += wide(offsets[i]) * (cycles + (i <= in_cycle ? 1U : 0U));
        }
        if (!picture.reference())
            expected += wide(sps.offset_for_non_ref_pic);
        expected += wide(picture.delta_pic_order_cnt[0]);
        const std::int64_t to_bottom =
            std::int64_t{sps.offset_for_top_to_bottom_field} + picture.delta_pic_order_cnt[1];
        if (picture.bottom_field_flag)
            return expected + wide(sps.offset_for_top_to_bottom_field);
        return !picture.field_pic_flag && to_bottom < 0 ? expected + wide(to_bottom) : expected;
    }

    std::int64_t prev_msb_ = 0;
    std::uint32_t prev_lsb_ = 0;
    std::uint32_t prev_frame_num_ = 0;
    std::uint64_t frame_num_offset_ = 0;
    bool began_ = false;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

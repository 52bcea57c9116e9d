// SPDX-License-Identifier: MIT
// Picture order counts (H.265 8.3.1), in decoding order.
#ifndef NALSMITH_DETAIL_HEVC_PICTURE_ORDER_HPP
#define NALSMITH_DETAIL_HEVC_PICTURE_ORDER_HPP

#include "nalsmith/detail/hevc/picture.hpp"
#include "nalsmith/detail/rules.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class HevcPictureOrder {
public:
    // PicOrderCntVal. `starts`: an IRAP picture with NoRaslOutputFlag 1.
    std::int64_t next(const HevcSegment& picture, bool starts) noexcept
    {
        const std::int64_t msb =
            starts ? 0 : pic_order_cnt_msb(picture.lsb, picture.max_lsb, prev_lsb_, prev_msb_);
        if (picture.temporal_id == 0 && !picture.leading() &&
            !is_hevc_sub_layer_non_reference(picture.type)) {
            prev_lsb_ = picture.lsb;
            prev_msb_ = msb;
        }
        return msb + picture.lsb;
    }

private:
    std::uint32_t prev_lsb_ = 0; // of prevTid0Pic
    std::int64_t prev_msb_ = 0;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

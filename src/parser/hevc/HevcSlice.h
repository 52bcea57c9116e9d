// SPDX-License-Identifier: MIT
// Picture order count.
#pragma once

#include "nalsmith/detail/rules.hpp"
#include "support/Types.h"

namespace nalsmith_internal::hevc {

// The picture order count of a picture that is neither IDR nor BLA, from that of the previous picture of the
// lowest temporal layer that others may refer to (H.265 8.3.1). Modulo 2^32.
constexpr i32 PictureOrderCount(u32 slice_pic_order_cnt_lsb, u32 maxPicOrderCntLsb, i32 prevTid0Poc)
{
    const u32 prev = static_cast<u32>(prevTid0Poc);
    const u32 prevLsb = prev & (maxPicOrderCntLsb - 1);
    const u32 msb = nalsmith::detail::pic_order_cnt_msb<u32>(slice_pic_order_cnt_lsb, maxPicOrderCntLsb,
                                                             prevLsb, prev - prevLsb);
    return static_cast<i32>(msb + slice_pic_order_cnt_lsb);
}

} // namespace nalsmith_internal::hevc

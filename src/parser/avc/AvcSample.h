// SPDX-License-Identifier: MIT
// frame_num continuity.
#pragma once

#include "support/Types.h"

namespace nalsmith_internal::avc {

// Whether a picture's frame_num is the one behind that of the previous reference picture (H.264 7.4.3). A
// `maxFrameNum` of 0 stands for 2^32 and more.
constexpr bool FollowsInFrameNum(u32 cur, u32 prevRef, u32 maxFrameNum)
{
    const u32 next = prevRef + 1;
    return cur == (maxFrameNum != 0 ? next % maxFrameNum : next);
}

} // namespace nalsmith_internal::avc

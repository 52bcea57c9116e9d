// SPDX-License-Identifier: MIT
// When a slice begins a picture.
#pragma once

#include "parser/records/AvcRecords.h"

namespace avc {

// Whether the slice of header `cur` is the first of a picture, when that of header `prev` was read before it
// (H.264 7.4.1.2.4). `pocType` is pic_order_cnt_type of the current slice's SPS. A slice that starts at the
// first macroblock always begins a picture.
bool BeginsPicture(const AvcSliceInfo& prev, const AvcSliceInfo& cur, u32 pocType);

} // namespace avc

// SPDX-License-Identifier: MIT
// Syntax structures that stand in the VPS and in the SPS. Nothing of them is kept.
#pragma once

#include "parser/bitstream/BitReader.h"

namespace nalsmith_internal::hevc {

// profile_tier_level(1, maxNumSubLayersMinus1) (H.265 7.3.3)
void SkipProfileTierLevel(bitstream::BitReader& reader, u32 maxNumSubLayersMinus1);

// From sub_layer_ordering_info_present_flag to the last of its triples.
void SkipSubLayerOrderingInfo(bitstream::BitReader& reader, u32 maxSubLayersMinus1);

} // namespace nalsmith_internal::hevc

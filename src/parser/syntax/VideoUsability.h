// SPDX-License-Identifier: MIT
// The head of vui_parameters(), which both standards write alike (H.264 E.1.1, H.265 E.2.1).
#pragma once

#include "nalsmith/nalsmith.h"
#include "parser/bitstream/BitReader.h"

namespace nalsmith_internal::syntax {

// Reads from aspect_ratio_info_present_flag to chroma_sample_loc_type_bottom_field, and writes the seven
// video-signal fields of `info`, defaults included.
void ReadVideoUsabilityHead(bitstream::BitReader& reader, VideoInfo& info);

} // namespace nalsmith_internal::syntax

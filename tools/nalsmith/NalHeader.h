// SPDX-License-Identifier: MIT
// The header of a NAL unit (H.264 7.3.1, H.265 7.3.1.2) and what its type means.
#pragma once

#include "Bytes.h"

#include <nalsmith/nalsmith.h>

#include <optional>
#include <string>

namespace host {

struct NalHeader {
    bool forbidden_zero_bit = false;
    unsigned nal_unit_type = 0;
    std::optional<unsigned> nal_ref_idc;  // H.264
    std::optional<unsigned> nuh_layer_id; // H.265, as the next one; none in a header cut short
    std::optional<unsigned> nuh_temporal_id_plus1;
};

// None for a bare start code.
std::optional<NalHeader> ReadNalHeader(VideoCodecType codec, ByteView nal);

// What the standard calls a type (H.264 Table 7-1, H.265 Table 7-1).
std::string NalTypeName(VideoCodecType codec, unsigned nal_unit_type);

// Where a NAL unit belongs when a stream is cut into access units (H.264 7.4.1.2.3, H.265 7.4.2.4.4).
enum class NalRole {
    Slice,    // carries a slice header: tells one picture from the next
    Opener,   // begins the next access unit when it follows the last slice of a picture
    Trailing, // stays with what came before
};
NalRole RoleOf(VideoCodecType codec, unsigned nal_unit_type);

bool IsParameterSet(VideoCodecType codec, unsigned nal_unit_type);

// SEI that may carry user data of this library; in H.265 prefix SEI.
bool IsSei(VideoCodecType codec, unsigned nal_unit_type);

} // namespace host

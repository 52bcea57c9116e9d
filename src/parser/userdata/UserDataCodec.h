// SPDX-License-Identifier: MIT
// All that H.264 and H.265 do differently in a frame that carries user data.
#pragma once

#include "nalsmith/detail/nal_types.hpp"
#include "parser/records/NalUnit.h"

namespace nalsmith_internal::userdata {

// What a NAL unit is to the editor. Coarser than the stream readers' view on purpose: any picture data counts
// as a slice here, data partitions and reserved types included.
enum class Kind { Sei, Slice, Other };

struct Codec {
    u32 headerBytes;              // length of a NAL unit header
    u8 seiHeader[2];              // header of the SEI NAL units written here
    Kind (*kindOf)(u8 firstByte); // of the header
};

// H.264 7.3.1: nal_unit_type is the low five bits.
constexpr Kind AvcKind(u8 firstByte)
{
    const u32 nal_unit_type = firstByte & 0x1F;
    if (nalsmith::detail::avc_kind(nal_unit_type) == nalsmith::detail::NalKind::sei)
        return Kind::Sei;
    return nal_unit_type >= 1 && nal_unit_type <= 5 ? Kind::Slice : Kind::Other;
}

// H.265 7.3.1.2: nal_unit_type is bits 1 to 6. Suffix SEI is left alone: it belongs behind the picture.
constexpr Kind HevcKind(u8 firstByte)
{
    const u32 nal_unit_type = (firstByte >> 1) & 0x3F;
    if (nalsmith::detail::hevc_kind(nal_unit_type) == nalsmith::detail::NalKind::sei)
        return Kind::Sei;
    return nal_unit_type <= 31 ? Kind::Slice : Kind::Other;
}

inline constexpr Codec kAvc = {1, {0x06}, AvcKind};
inline constexpr Codec kHevc = {2, {0x4E, 0x01}, HevcKind};

// A bare start code is nothing in particular.
inline Kind KindOf(const Codec& codec, const NalUnit& nal)
{
    const u8* header = nal.Header();
    return header != nullptr ? codec.kindOf(*header) : Kind::Other;
}

// Offset of an SEI NAL unit's stop byte, the last 0x80 behind its header; 0 when there is none. What stands
// behind it are zeros that belong to no message.
inline u32 FindStopByte(const Codec& codec, const NalUnit& nal)
{
    const u32 payload = nal.StartCodeSize() + codec.headerBytes;
    for (u32 i = nal.size; i > payload; --i)
        if (nal.data[i - 1] == 0x80)
            return i - 1;
    return 0;
}

} // namespace nalsmith_internal::userdata

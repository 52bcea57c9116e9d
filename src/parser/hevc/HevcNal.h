// SPDX-License-Identifier: MIT
// The H.265 NAL unit header (7.3.1.2), and how far NAL units are read.
#pragma once

#include "nalsmith/detail/nal_types.hpp"
#include "parser/VideoParams.h"

#include <algorithm>

namespace nalsmith_internal {

namespace hevc {

using nalsmith::detail::NalKind;

struct NalHeader {
    u32 forbidden_zero_bit;
    u32 nal_unit_type;
    u32 nuh_layer_id;
    u32 nuh_temporal_id_plus1;

    constexpr NalKind Kind() const { return nalsmith::detail::hevc_kind(nal_unit_type); }
};

// What is missing of a header cut short is zero.
constexpr NalHeader HeaderOf(u8 first, u8 second)
{
    return {u32{first} >> 7, u32{first} >> 1 & 0x3F, (u32{first} & 1) << 5 | u32{second} >> 3,
            u32{second} & 7};
}

// How far NAL units are read (bitstream/NextToRead.h): everything but parameter sets no further than a slice
// segment header.
struct Extent {
    static constexpr bool Whole(u8 firstHeaderByte)
    {
        return nalsmith::detail::is_parameter_set(HeaderOf(firstHeaderByte, 0).Kind());
    }
    static constexpr bool Slice(u8 firstHeaderByte)
    {
        return nalsmith::detail::is_hevc_slice(HeaderOf(firstHeaderByte, 0).nal_unit_type);
    }
};

} // namespace hevc

// Leaves the reader behind the header.
inline hevc::NalHeader CParseHEVCParams::ReadNalHeader(const NalUnit& nal)
{
    const u32 headerBytes = std::min(nal.rbspSize, 2U);
    InitReadData(nal.rbsp + headerBytes, nal.rbspSize - headerBytes);
    return hevc::HeaderOf(nal.rbsp[0], headerBytes == 2 ? nal.rbsp[1] : u8{0});
}

} // namespace nalsmith_internal

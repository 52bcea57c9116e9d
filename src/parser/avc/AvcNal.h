// SPDX-License-Identifier: MIT
// The H.264 NAL unit header (7.3.1), and how far NAL units are read.
#pragma once

#include "nalsmith/detail/nal_types.hpp"
#include "parser/VideoParams.h"

namespace nalsmith_internal {

namespace avc {

using nalsmith::detail::NalKind;

struct NalHeader {
    u32 forbidden_zero_bit;
    u32 nal_ref_idc;
    u32 nal_unit_type;

    constexpr NalKind Kind() const { return nalsmith::detail::avc_kind(nal_unit_type); }
};

constexpr NalHeader HeaderOf(u8 byte)
{
    return {u32{byte} >> 7, u32{byte} >> 5 & 3, u32{byte} & 0x1F};
}

// How far NAL units are read (bitstream/NextToRead.h): everything but parameter sets no further than a slice
// header.
struct Extent {
    static constexpr bool Whole(u8 firstHeaderByte)
    {
        return nalsmith::detail::is_parameter_set(HeaderOf(firstHeaderByte).Kind());
    }
    static constexpr bool Slice(u8 firstHeaderByte)
    {
        return nalsmith::detail::is_avc_slice(HeaderOf(firstHeaderByte).nal_unit_type);
    }
};

} // namespace avc

// Leaves the reader behind the header. In line: put together in a call of its own, it would be slow to take
// apart.
inline avc::NalHeader CParseAVCParams::ReadNalHeader(const NalUnit& nal)
{
    InitReadData(nal.rbsp + 1, nal.rbspSize - 1);
    return avc::HeaderOf(*nal.rbsp);
}

} // namespace nalsmith_internal

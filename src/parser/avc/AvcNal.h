// SPDX-License-Identifier: MIT
// The H.264 NAL unit header (7.3.1), and what its type means for access units.
#pragma once

#include "parser/VideoParams.h"

namespace nalsmith_internal {

namespace avc {

struct NalHeader {
    u32 forbidden_zero_bit;
    u32 nal_ref_idc;
    u32 nal_unit_type;
};

constexpr NalHeader HeaderOf(u8 byte)
{
    return {u32{byte} >> 7, u32{byte} >> 5 & 3, u32{byte} & 0x1F};
}

// H.264 Table 7-1
constexpr u32 kSlice = 1;
constexpr u32 kSlicePartitionA = 2;
constexpr u32 kIdrSlice = 5;
constexpr u32 kSps = 7;
constexpr u32 kPps = 8;

enum class Role {
    Slice,
    Delimiter,
    Sps,
    Pps,
    Opener,   // begins the next access unit when it follows the last slice (H.264 7.4.1.2.3)
    Trailing, // stays with what came before
};

constexpr bool IsSlice(u32 nal_unit_type)
{
    return nal_unit_type == kSlice || nal_unit_type == kSlicePartitionA || nal_unit_type == kIdrSlice;
}

// How far NAL units are read (bitstream/NextToRead.h): everything but parameter sets no further than a slice
// header.
struct Extent {
    static constexpr bool Whole(u8 firstHeaderByte)
    {
        const u32 nal_unit_type = HeaderOf(firstHeaderByte).nal_unit_type;
        return nal_unit_type == kSps || nal_unit_type == kPps;
    }
    static constexpr bool Slice(u8 firstHeaderByte)
    {
        return IsSlice(HeaderOf(firstHeaderByte).nal_unit_type);
    }
};

constexpr Role RoleOf(u32 nal_unit_type)
{
    if (IsSlice(nal_unit_type))
        return Role::Slice;
    switch (nal_unit_type) {
    case 6: return Role::Opener; // SEI
    case kSps: return Role::Sps;
    case kPps: return Role::Pps;
    case 9: return Role::Delimiter;
    case 14: return Role::Opener; // prefix
    case 15: return Role::Opener; // subset SPS
    case 16: return Role::Opener; // depth parameter set
    case 17: return Role::Opener; // reserved
    case 18: return Role::Opener; // reserved
    default: return Role::Trailing;
    }
}

} // namespace avc

// Leaves the reader behind the header. In line: put together in a call of its own, it would be slow to take
// apart.
inline avc::NalHeader CParseAVCParams::ReadNalHeader(const NalUnit& nal)
{
    InitReadData(nal.rbsp + 1, nal.rbspSize - 1);
    return avc::HeaderOf(*nal.rbsp);
}

} // namespace nalsmith_internal

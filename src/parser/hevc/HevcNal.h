// SPDX-License-Identifier: MIT
// The H.265 NAL unit header (7.3.1.2), and what its type means for access units.
#pragma once

#include "parser/VideoParams.h"

#include <algorithm>

namespace nalsmith_internal {

namespace hevc {

struct NalHeader {
    u32 forbidden_zero_bit;
    u32 nal_unit_type;
    u32 nuh_layer_id;
    u32 nuh_temporal_id_plus1;
};

// What is missing of a header cut short is zero.
constexpr NalHeader HeaderOf(u8 first, u8 second)
{
    return {u32{first} >> 7, u32{first} >> 1 & 0x3F, (u32{first} & 1) << 5 | u32{second} >> 3,
            u32{second} & 7};
}

// H.265 Table 7-1
constexpr u32 kVps = 32;
constexpr u32 kSps = 33;
constexpr u32 kPps = 34;

enum class Role {
    Slice,
    Vps,
    Sps,
    Pps,
    Opener,   // begins the next access unit when it follows the last slice segment (H.265 7.4.2.4.4)
    Trailing, // stays with what came before
};

constexpr bool InRange(u32 nal_unit_type, u32 first, u32 last)
{
    return nal_unit_type >= first && nal_unit_type <= last;
}

// Slice segments. Reserved VCL types that are none (10 to 15, 24 to 31) are left out.
constexpr bool IsSlice(u32 nal_unit_type)
{
    return InRange(nal_unit_type, 0, 9) || InRange(nal_unit_type, 16, 23);
}

constexpr bool IsBla(u32 nal_unit_type)
{
    return InRange(nal_unit_type, 16, 18);
}

constexpr bool IsIdr(u32 nal_unit_type)
{
    return InRange(nal_unit_type, 19, 20);
}

// BLA, IDR, CRA
constexpr bool IsKeyPicture(u32 nal_unit_type)
{
    return InRange(nal_unit_type, 16, 21);
}

// IRAP types, the two reserved ones included: what the slice segment header asks for
constexpr bool IsIrap(u32 nal_unit_type)
{
    return InRange(nal_unit_type, 16, 23);
}

// TRAIL_N, TSA_N, STSA_N, RADL and RASL pictures are not what later picture order counts are counted from
// (8.3.1).
constexpr bool IsLeadingOrNonReference(u32 nal_unit_type)
{
    return nal_unit_type == 0 || nal_unit_type == 2 || nal_unit_type == 4 || InRange(nal_unit_type, 6, 9);
}

// How far NAL units are read (bitstream/NextToRead.h): everything but parameter sets no further than a slice
// segment header.
struct Extent {
    static constexpr bool Whole(u8 firstHeaderByte)
    {
        return InRange(HeaderOf(firstHeaderByte, 0).nal_unit_type, kVps, kPps);
    }
    static constexpr bool Slice(u8 firstHeaderByte)
    {
        return IsSlice(HeaderOf(firstHeaderByte, 0).nal_unit_type);
    }
};

constexpr Role RoleOf(u32 nal_unit_type)
{
    if (IsSlice(nal_unit_type))
        return Role::Slice;
    switch (nal_unit_type) {
    case kVps: return Role::Vps;
    case kSps: return Role::Sps;
    case kPps: return Role::Pps;
    case 35: return Role::Opener; // access unit delimiter
    case 39: return Role::Opener; // prefix SEI
    default: break;
    }
    const bool opens =
        InRange(nal_unit_type, 41, 44) || InRange(nal_unit_type, 48, 55); // reserved, unspecified
    return opens ? Role::Opener : Role::Trailing;
}

} // namespace hevc

// Leaves the reader behind the header.
inline hevc::NalHeader CParseHEVCParams::ReadNalHeader(const NalUnit& nal)
{
    const u32 headerBytes = std::min(nal.rbspSize, 2U);
    InitReadData(nal.rbsp + headerBytes, nal.rbspSize - headerBytes);
    return hevc::HeaderOf(nal.rbsp[0], headerBytes == 2 ? nal.rbsp[1] : u8{0});
}

} // namespace nalsmith_internal

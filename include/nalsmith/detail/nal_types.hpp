// SPDX-License-Identifier: MIT
// What a `nal_unit_type` means, once for the library, the C++ layer and programs (H.264 Table 7-1, H.265
// Table 7-1).
#ifndef NALSMITH_DETAIL_NAL_TYPES_HPP
#define NALSMITH_DETAIL_NAL_TYPES_HPP

#include <array>
#include <cstddef>
#include <cstdint>

namespace nalsmith {
inline namespace v1 {
namespace detail {

enum class NalKind : std::uint8_t {
    slice, // carries a slice header that tells one picture from the next
    vps,
    sps,
    pps,
    delimiter,
    sei,        // H.265: prefix SEI
    opener,     // any other that begins the next access unit when it follows the last slice of a picture
    trailing,   // any other: it stays with what came before
    suffix_sei, // H.265
    end_of_sequence,
    end_of_stream,
};

// In front of the first slice of a picture these belong to its access unit (H.264 7.4.1.2.3, H.265
// 7.4.2.4.4).
constexpr bool opens_access_unit(NalKind kind) noexcept
{
    return kind >= NalKind::vps && kind <= NalKind::opener;
}

constexpr bool is_parameter_set(NalKind kind) noexcept
{
    return kind >= NalKind::vps && kind <= NalKind::pps;
}

constexpr bool is_avc_idr(unsigned nal_unit_type) noexcept
{
    return nal_unit_type == 5;
}

// Of data partitions A alone; B and C have no slice header.
constexpr bool is_avc_slice(unsigned nal_unit_type) noexcept
{
    return nal_unit_type == 1 || nal_unit_type == 2 || is_avc_idr(nal_unit_type);
}

constexpr NalKind avc_kind(unsigned nal_unit_type) noexcept
{
    // By itself, since it is asked of every NAL unit: a comparison where the switch becomes a table.
    if (is_avc_slice(nal_unit_type))
        return NalKind::slice;
    switch (nal_unit_type) {
    case 6: return NalKind::sei;
    case 7: return NalKind::sps;
    case 8: return NalKind::pps;
    case 9: return NalKind::delimiter;
    case 10: return NalKind::end_of_sequence;
    case 11: return NalKind::end_of_stream;
    case 14: return NalKind::opener; // prefix
    case 15: return NalKind::opener; // subset SPS
    case 16: return NalKind::opener; // depth parameter set
    case 17: return NalKind::opener; // reserved
    case 18: return NalKind::opener; // reserved
    default: return NalKind::trailing;
    }
}

// Reserved VCL types that are no slice segments (10 to 15, 24 to 31) are left out.
constexpr bool is_hevc_slice(unsigned nal_unit_type) noexcept
{
    return nal_unit_type <= 9 || (nal_unit_type >= 16 && nal_unit_type <= 23);
}

constexpr NalKind hevc_kind(unsigned nal_unit_type) noexcept
{
    if (is_hevc_slice(nal_unit_type))
        return NalKind::slice;
    switch (nal_unit_type) {
    case 32: return NalKind::vps;
    case 33: return NalKind::sps;
    case 34: return NalKind::pps;
    case 35: return NalKind::delimiter;
    case 36: return NalKind::end_of_sequence;
    case 37: return NalKind::end_of_stream; // EOB_NUT
    case 39: return NalKind::sei;
    case 40: return NalKind::suffix_sei;
    default: break;
    }
    const bool opens =
        (nal_unit_type >= 41 && nal_unit_type <= 44) || (nal_unit_type >= 48 && nal_unit_type <= 55);
    return opens ? NalKind::opener : NalKind::trailing; // reserved, unspecified
}

constexpr bool is_hevc_bla(unsigned nal_unit_type) noexcept
{
    return nal_unit_type >= 16 && nal_unit_type <= 18;
}

constexpr bool is_hevc_idr(unsigned nal_unit_type) noexcept
{
    return nal_unit_type == 19 || nal_unit_type == 20;
}

// The two reserved ones included: what the slice segment header asks for.
constexpr bool is_hevc_irap(unsigned nal_unit_type) noexcept
{
    return nal_unit_type >= 16 && nal_unit_type <= 23;
}

// BLA, IDR, CRA.
constexpr bool is_hevc_key(unsigned nal_unit_type) noexcept
{
    return nal_unit_type >= 16 && nal_unit_type <= 21;
}

// RSV_VCL_N10 and the like, TRAIL_N, TSA_N, STSA_N, RADL_N, RASL_N: no picture of the same temporal layer
// refers to it.
constexpr bool is_hevc_sub_layer_non_reference(unsigned nal_unit_type) noexcept
{
    return nal_unit_type <= 14 && nal_unit_type % 2 == 0;
}

// RADL, RASL.
constexpr bool is_hevc_leading(unsigned nal_unit_type) noexcept
{
    return nal_unit_type >= 6 && nal_unit_type <= 9;
}

constexpr std::array<const char*, 32> kAvcNalNames = {
    "unspecified",
    "coded slice of a non-IDR picture",
    "coded slice data partition A",
    "coded slice data partition B",
    "coded slice data partition C",
    "coded slice of an IDR picture",
    "supplemental enhancement information",
    "sequence parameter set",
    "picture parameter set",
    "access unit delimiter",
    "end of sequence",
    "end of stream",
    "filler data",
    "sequence parameter set extension",
    "prefix NAL unit",
    "subset sequence parameter set",
    "depth parameter set",
    "reserved",
    "reserved",
    "coded slice of an auxiliary coded picture without partitioning",
    "coded slice extension",
    "coded slice extension for a depth view component or a 3D-AVC texture view component",
    "reserved",
    "reserved",
    "unspecified",
    "unspecified",
    "unspecified",
    "unspecified",
    "unspecified",
    "unspecified",
    "unspecified",
    "unspecified",
};

constexpr std::array<const char*, 64> kHevcNalNames = {
    "TRAIL_N",     "TRAIL_R",     "TSA_N",       "TSA_R",          "STSA_N",         "STSA_R",
    "RADL_N",      "RADL_R",      "RASL_N",      "RASL_R",         "RSV_VCL_N10",    "RSV_VCL_R11",
    "RSV_VCL_N12", "RSV_VCL_R13", "RSV_VCL_N14", "RSV_VCL_R15",    "BLA_W_LP",       "BLA_W_RADL",
    "BLA_N_LP",    "IDR_W_RADL",  "IDR_N_LP",    "CRA_NUT",        "RSV_IRAP_VCL22", "RSV_IRAP_VCL23",
    "RSV_VCL24",   "RSV_VCL25",   "RSV_VCL26",   "RSV_VCL27",      "RSV_VCL28",      "RSV_VCL29",
    "RSV_VCL30",   "RSV_VCL31",   "VPS_NUT",     "SPS_NUT",        "PPS_NUT",        "AUD_NUT",
    "EOS_NUT",     "EOB_NUT",     "FD_NUT",      "PREFIX_SEI_NUT", "SUFFIX_SEI_NUT", "RSV_NVCL41",
    "RSV_NVCL42",  "RSV_NVCL43",  "RSV_NVCL44",  "RSV_NVCL45",     "RSV_NVCL46",     "RSV_NVCL47",
    "UNSPEC48",    "UNSPEC49",    "UNSPEC50",    "UNSPEC51",       "UNSPEC52",       "UNSPEC53",
    "UNSPEC54",    "UNSPEC55",    "UNSPEC56",    "UNSPEC57",       "UNSPEC58",       "UNSPEC59",
    "UNSPEC60",    "UNSPEC61",    "UNSPEC62",    "UNSPEC63",
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

// SPDX-License-Identifier: MIT
#include "NalHeader.h"

#include "NalCutter.h"

#include <array>
#include <fmt/format.h>

namespace host {
namespace {

constexpr std::array<const char*, 32> kAvcNames = {
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

// From 0 on; those behind are reserved or unspecified and named by their number.
constexpr std::array<const char*, 24> kHevcPictureNames = {
    "TRAIL_N",     "TRAIL_R",     "TSA_N",       "TSA_R",       "STSA_N",         "STSA_R",
    "RADL_N",      "RADL_R",      "RASL_N",      "RASL_R",      "RSV_VCL_N10",    "RSV_VCL_R11",
    "RSV_VCL_N12", "RSV_VCL_R13", "RSV_VCL_N14", "RSV_VCL_R15", "BLA_W_LP",       "BLA_W_RADL",
    "BLA_N_LP",    "IDR_W_RADL",  "IDR_N_LP",    "CRA_NUT",     "RSV_IRAP_VCL22", "RSV_IRAP_VCL23",
};

constexpr unsigned kHevcVps = 32;

// From kHevcVps on.
constexpr std::array<const char*, 9> kHevcOtherNames = {"VPS_NUT", "SPS_NUT",        "PPS_NUT",
                                                        "AUD_NUT", "EOS_NUT",        "EOB_NUT",
                                                        "FD_NUT",  "PREFIX_SEI_NUT", "SUFFIX_SEI_NUT"};

std::string HevcName(unsigned type)
{
    if (type < kHevcPictureNames.size())
        return kHevcPictureNames[type];
    if (type >= kHevcVps && type < kHevcVps + kHevcOtherNames.size())
        return kHevcOtherNames[type - kHevcVps];
    const char* const prefix = type < kHevcVps ? "RSV_VCL" : type < 48 ? "RSV_NVCL" : "UNSPEC";
    return fmt::format("{}{}", prefix, type);
}

constexpr bool InRange(unsigned type, unsigned first, unsigned last)
{
    return type >= first && type <= last;
}

constexpr NalRole AvcRole(unsigned type)
{
    if (type == 1 || type == 2 || type == 5)
        return NalRole::Slice;
    return InRange(type, 6, 9) || InRange(type, 14, 18) ? NalRole::Opener : NalRole::Trailing;
}

// Types 22 and 23 are reserved for IRAP pictures and read like them.
constexpr NalRole HevcRole(unsigned type)
{
    if (InRange(type, 0, 9) || InRange(type, 16, 23))
        return NalRole::Slice;
    const bool opens = InRange(type, 32, 35) || type == 39 || InRange(type, 41, 44) || InRange(type, 48, 55);
    return opens ? NalRole::Opener : NalRole::Trailing;
}

} // namespace

std::optional<NalHeader> ReadNalHeader(VideoCodecType codec, ByteView nal)
{
    const ByteView unit = WithoutStartCode(nal);
    if (unit.size == 0)
        return std::nullopt;
    NalHeader header;
    const unsigned first = unit.data[0];
    header.forbidden_zero_bit = (first & 0x80) != 0;
    if (codec == VideoCodecAVC) {
        header.nal_ref_idc = first >> 5 & 3;
        header.nal_unit_type = first & 31;
        return header;
    }
    header.nal_unit_type = first >> 1 & 63;
    if (unit.size > 1) {
        header.nuh_layer_id = (first & 1) << 5 | unit.data[1] >> 3;
        header.nuh_temporal_id_plus1 = unit.data[1] & 7;
    }
    return header;
}

std::string NalTypeName(VideoCodecType codec, unsigned nal_unit_type)
{
    return codec == VideoCodecAVC ? kAvcNames.at(nal_unit_type) : HevcName(nal_unit_type);
}

NalRole RoleOf(VideoCodecType codec, unsigned nal_unit_type)
{
    return codec == VideoCodecAVC ? AvcRole(nal_unit_type) : HevcRole(nal_unit_type);
}

bool IsParameterSet(VideoCodecType codec, unsigned nal_unit_type)
{
    return codec == VideoCodecAVC ? InRange(nal_unit_type, 7, 8) : InRange(nal_unit_type, 32, 34);
}

bool IsSei(VideoCodecType codec, unsigned nal_unit_type)
{
    return nal_unit_type == (codec == VideoCodecAVC ? 6U : 39U);
}

} // namespace host

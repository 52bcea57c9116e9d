// SPDX-License-Identifier: MIT
#include "NalNames.h"

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

} // namespace

std::string NalTypeName(nalsmith::Codec codec, unsigned nal_unit_type)
{
    return codec == nalsmith::Codec::h264 ? kAvcNames.at(nal_unit_type) : HevcName(nal_unit_type);
}

std::string PictureTypeName(VideoPicType type)
{
    constexpr std::array<const char*, 10> kNames = {"P",     "B",     "I",     "SP",     "SI",
                                                    "all P", "all B", "all I", "all SP", "all SI"};
    return type >= 0 ? kNames.at(static_cast<std::size_t>(type)) : "";
}

} // namespace host

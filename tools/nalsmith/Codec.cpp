// SPDX-License-Identifier: MIT
#include "Codec.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace host {
namespace {

// What a NAL unit says about a codec.
constexpr int kImpossible = -1; // the standard forbids such a header
constexpr int kPossible = 0;
constexpr int kUsual = 1;
constexpr int kParameterSet = 8; // hardly ever seen in a stream of the other codec

// H.264 A.2, G.10, H.10, I.10, and the profile_idc of earlier editions.
bool IsAvcProfile(unsigned profile_idc)
{
    constexpr std::array<unsigned, 18> kProfiles = {44,  66,  77,  83,  86,  88,  100, 110, 118,
                                                    119, 122, 128, 134, 135, 138, 139, 144, 244};
    return std::find(kProfiles.begin(), kProfiles.end(), profile_idc) != kProfiles.end();
}

// H.264 7.3.1 and 7.4.1: the header is one byte, and nal_ref_idc is bound to the type.
int AvcScore(unsigned first, unsigned second)
{
    const unsigned nal_ref_idc = first >> 5 & 3;
    switch (first & 31) {
    case 1: return kUsual;
    case 5: return nal_ref_idc != 0 ? kUsual : kImpossible;
    case 6:
    case 9:
    case 10:
    case 11:
    case 12: return nal_ref_idc == 0 ? kUsual : kImpossible;
    case 7: return nal_ref_idc != 0 && IsAvcProfile(second) ? kParameterSet : kImpossible;
    case 8:
        if (nal_ref_idc == 0)
            return kImpossible;
        return second >= 8 ? kParameterSet
                           : kPossible; // below 8: pic_parameter_set_id above 30, a rare thing
    default: return kPossible;
    }
}

// H.265 7.3.1.2 and 7.4.2.2: the header is two bytes; nuh_layer_id, between them, is 0 in the base layer.
int HevcScore(unsigned first, unsigned second)
{
    const unsigned nal_unit_type = first >> 1;
    const unsigned nuh_temporal_id_plus1 = second;
    if ((first & 1) != 0 || nuh_temporal_id_plus1 < 1 || nuh_temporal_id_plus1 > 7)
        return kImpossible;
    if (nal_unit_type >= 32 && nal_unit_type <= 34)
        return nuh_temporal_id_plus1 == 1 ? kParameterSet : kImpossible;
    if (nal_unit_type >= 16 && nal_unit_type <= 21)
        return nuh_temporal_id_plus1 == 1 ? kUsual : kImpossible;
    const bool slice = nal_unit_type <= 9;
    const bool delimiter = nal_unit_type == 35;
    const bool message = nal_unit_type == 39 || nal_unit_type == 40;
    return slice || delimiter || message ? kUsual : kPossible;
}

} // namespace

void CodecGuess::Add(const nalsmith::NalUnit& nal)
{
    if (nal.bare())
        return;
    avc_ += nal.forbidden() ? kImpossible : AvcScore(nal.header_byte(0), nal.header_byte(1));
    hevc_ += nal.forbidden() ? kImpossible : HevcScore(nal.header_byte(0), nal.header_byte(1));
}

bool CodecGuess::Settled() const
{
    return Best() && std::abs(avc_ - hevc_) >= kParameterSet;
}

std::optional<nalsmith::Codec> CodecGuess::Best() const
{
    if (avc_ <= 0 && hevc_ <= 0)
        return std::nullopt;
    return avc_ >= hevc_ ? nalsmith::Codec::h264 : nalsmith::Codec::h265;
}

const char* NameOf(nalsmith::Codec codec)
{
    return codec == nalsmith::Codec::h264 ? "H.264" : "H.265";
}

const char* KeyOf(nalsmith::Codec codec)
{
    return codec == nalsmith::Codec::h264 ? "avc" : "hevc";
}

const char* EndingOf(nalsmith::Codec codec)
{
    return codec == nalsmith::Codec::h264 ? ".h264" : ".h265";
}

} // namespace host

// SPDX-License-Identifier: MIT
#include "ParameterSets.h"

#include "NalCutter.h"
#include "NalHeader.h"

#include <functional>
#include <optional>
#include <string_view>

namespace host {
namespace {

constexpr unsigned kAvcSps = 7;
constexpr unsigned kHevcVps = 32;
constexpr unsigned kHevcSps = 33;

// The bits of a NAL unit, without the bytes that keep start codes out of it (H.264 7.4.1). 0 behind the end.
class BitReader {
public:
    explicit BitReader(ByteView unit)
    {
        for (std::size_t i = 0; i < unit.size && bytes_.size() < kEnough; ++i)
            if (i < 2 || unit.data[i] != 3 || unit.data[i - 1] != 0 || unit.data[i - 2] != 0)
                bytes_.push_back(unit.data[i]);
    }

    void Skip(std::size_t bits) { position_ += bits; }

    std::uint32_t Read(unsigned bits)
    {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < bits; ++i)
            value = value << 1 | ReadBit();
        return value;
    }

    // ue(v), H.264 9.1. It has no value of more than 32 bits.
    std::uint32_t ReadUe()
    {
        unsigned zeros = 0;
        while (zeros < 32 && ReadBit() == 0)
            ++zeros;
        return (zeros < 32 ? std::uint32_t{1} << zeros : 0) - 1 + Read(zeros);
    }

    bool PastEnd() const { return position_ > bytes_.size() * 8; }

private:
    // An H.265 SPS with seven sub-layers has its id behind 81 bytes.
    static constexpr std::size_t kEnough = 96;

    std::uint32_t ReadBit()
    {
        const std::size_t at = position_++;
        return at / 8 < bytes_.size() ? bytes_[at / 8] >> (7 - at % 8) & 1U : 0;
    }

    std::vector<std::uint8_t> bytes_;
    std::size_t position_ = 0;
};

// profile_tier_level(1, maxNumSubLayersMinus1), H.265 7.3.3.
void SkipProfileTierLevel(BitReader& reader, unsigned maxNumSubLayersMinus1)
{
    constexpr unsigned kProfileBits = 88;
    constexpr unsigned kLevelBits = 8;
    reader.Skip(kProfileBits + kLevelBits);
    if (maxNumSubLayersMinus1 == 0)
        return;
    std::size_t subLayerBits = 0;
    for (unsigned i = 0; i < 8; ++i) { // the flags of layers that are not there are reserved bits
        const bool sub_layer_profile_present_flag = reader.Read(1) != 0;
        const bool sub_layer_level_present_flag = reader.Read(1) != 0;
        if (i < maxNumSubLayersMinus1)
            subLayerBits += (sub_layer_profile_present_flag ? kProfileBits : 0) +
                            (sub_layer_level_present_flag ? kLevelBits : 0);
    }
    reader.Skip(subLayerBits);
}

// The id of a parameter set. Others' ids may come before it.
std::uint32_t ReadAvcId(BitReader& reader, unsigned nal_unit_type)
{
    reader.Skip(8);
    if (nal_unit_type == kAvcSps)
        reader.Skip(24); // profile, constraint flags, level
    return reader.ReadUe();
}

std::uint32_t ReadHevcId(BitReader& reader, unsigned nal_unit_type)
{
    reader.Skip(16);
    if (nal_unit_type == kHevcVps)
        return reader.Read(4);
    if (nal_unit_type == kHevcSps) {
        reader.Skip(4); // sps_video_parameter_set_id
        const unsigned sps_max_sub_layers_minus1 = reader.Read(3);
        reader.Skip(1); // sps_temporal_id_nesting_flag
        SkipProfileTierLevel(reader, sps_max_sub_layers_minus1);
    }
    return reader.ReadUe();
}

const char* KindOf(VideoCodecType codec, unsigned nal_unit_type)
{
    if (codec == VideoCodecHEVC && nal_unit_type == kHevcVps)
        return "VPS";
    return nal_unit_type == (codec == VideoCodecAVC ? kAvcSps : kHevcSps) ? "SPS" : "PPS";
}

std::uint64_t HashOf(ByteView unit)
{
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(unit.data), unit.size});
}

} // namespace

bool ParameterSets::Add(VideoCodecType codec, ByteView nal)
{
    const auto header = ReadNalHeader(codec, nal);
    if (!header || header->forbidden_zero_bit || !IsParameterSet(codec, header->nal_unit_type))
        return false;
    const unsigned type = header->nal_unit_type;
    const ByteView unit = WithoutTrailingZeros(WithoutStartCode(nal));
    BitReader reader(unit);
    const std::uint32_t id = codec == VideoCodecAVC ? ReadAvcId(reader, type) : ReadHevcId(reader, type);
    if (reader.PastEnd())
        return false;
    const auto [place, isNew] = places_.try_emplace({type, id, unit.size, HashOf(unit)}, sets_.size());
    if (isNew)
        sets_.push_back({KindOf(codec, type), id, unit.size, 0});
    ++sets_[place->second].sent;
    return isNew;
}

} // namespace host

// SPDX-License-Identifier: MIT
/// \file
/// The parameter sets of a stream of either codec: the latest of each id, for export and for key frames.
#ifndef NALSMITH_PARAMETER_SETS_HPP
#define NALSMITH_PARAMETER_SETS_HPP

#include "nalsmith/detail/bit_reader.hpp"

#include <array>

namespace nalsmith {

/// The kinds, in the order in which each depends on the one before.
enum class ParameterSetKind : std::uint8_t {
    vps, ///< video parameter set, H.265 only
    sps, ///< sequence parameter set
    pps, ///< picture parameter set
};

/// What a parameter set says of itself.
struct ParameterSetId {
    ParameterSetKind kind = ParameterSetKind::sps; ///< by its `nal_unit_type`
    unsigned id = 0;                               ///< its own, as coded
    unsigned refers_to = 0;                        ///< id of the SPS of a PPS, of the VPS of an H.265 SPS
};

/// A parameter set that is kept.
struct ParameterSet : ParameterSetId {
    Bytes bytes; ///< behind a start code of four bytes, without zero bytes at the end
};

namespace detail {

// profile_tier_level(1, maxNumSubLayersMinus1), H.265 7.3.3.
inline void skip_profile_tier_level(BitReader& reader, unsigned max_sub_layers_minus1) noexcept
{
    constexpr unsigned kProfileBits = 88;
    constexpr unsigned kLevelBits = 8;
    reader.skip(kProfileBits + kLevelBits);
    if (max_sub_layers_minus1 == 0)
        return;
    unsigned bits = 0;
    for (unsigned i = 0; i < 8; ++i) { // the flags of layers that are not there are reserved bits
        const bool profile_present = reader.flag() != 0;
        const bool level_present = reader.flag() != 0;
        if (i < max_sub_layers_minus1)
            bits += (profile_present ? kProfileBits : 0) + (level_present ? kLevelBits : 0);
    }
    reader.skip(bits);
}

// Up to and including the id of an H.265 SPS.
inline ParameterSetId read_hevc_sps_id(BitReader& reader) noexcept
{
    ParameterSetId set;
    set.refers_to = reader.bits(4);
    const unsigned sps_max_sub_layers_minus1 = reader.bits(3);
    reader.skip(1); // sps_temporal_id_nesting_flag
    skip_profile_tier_level(reader, sps_max_sub_layers_minus1);
    set.id = reader.ue();
    return set;
}

} // namespace detail

/// Which parameter set a NAL unit of a parameter set type is.
inline ParameterSetId identify_parameter_set(const NalUnit& nal) noexcept
{
    detail::BitReader reader(nal);
    ParameterSetId set;
    const unsigned type = nal.type();
    if (nal.codec == Codec::h265 && type == 32) {
        set.kind = ParameterSetKind::vps;
        set.id = reader.bits(4);
    } else if (nal.codec == Codec::h265 && type == 33) {
        set = detail::read_hevc_sps_id(reader);
    } else if (nal.codec == Codec::h264 && type == 7) {
        reader.skip(24); // profile, constraint flags, level
        set.id = reader.ue();
    } else {
        set.kind = ParameterSetKind::pps;
        set.id = reader.ue();
        set.refers_to = reader.ue();
    }
    return set;
}

/// Keeps the latest parameter set of each kind and id. Those of H.265 layers above the base are left out.
class ParameterSets {
public:
    /// Keeps a NAL unit that is a parameter set. True when it brought something new.
    bool add(const NalUnit& nal)
    {
        if (nal.bare() || nal.forbidden() || !nal.is_parameter_set() || nal.layer_id() != 0)
            return false;
        const ParameterSetId id = identify_parameter_set(nal);
        const std::size_t slot = slot_of(id.kind, id.id);
        if (slot == kNowhere)
            return false;
        const BytesView payload = nal.payload();
        if (places_[slot] == 0) {
            sets_.emplace_back();
            places_[slot] = static_cast<std::uint16_t>(sets_.size());
        }
        ParameterSet& kept = sets_[places_[slot] - 1U];
        if (same(kept.bytes, payload))
            return false;
        static_cast<ParameterSetId&>(kept) = id;
        kept.bytes = {0, 0, 0, 1};
        append(kept.bytes, payload);
        return true;
    }

    /// Keeps every parameter set of a buffer. True when it brought something new.
    bool add_all(Codec codec, BytesView bytes)
    {
        bool changed = false;
        for (const NalUnit& nal : NalUnits(codec, bytes))
            changed = add(nal) || changed;
        return changed;
    }

    /// Null when there is none. Valid until the next change.
    const ParameterSet* find(ParameterSetKind kind, unsigned id) const noexcept
    {
        const std::size_t slot = slot_of(kind, id);
        return slot == kNowhere || places_[slot] == 0 ? nullptr : &sets_[places_[slot] - 1U];
    }

    /// In the order in which each id came first.
    const std::vector<ParameterSet>& all() const noexcept { return sets_; }

    /// All of them as a byte stream: VPS, SPS, PPS.
    Bytes to_annex_b() const
    {
        Bytes bytes;
        for (const auto kind : {ParameterSetKind::vps, ParameterSetKind::sps, ParameterSetKind::pps})
            for (const ParameterSet& set : sets_)
                if (set.kind == kind)
                    append(bytes, set.bytes);
        return bytes;
    }

    /// Forgets all of them.
    void clear() noexcept
    {
        sets_.clear();
        places_ = {};
    }

private:
    static constexpr std::size_t kVps = 16;
    static constexpr std::size_t kSps = 32;
    static constexpr std::size_t kPps = 256;
    static constexpr std::size_t kNowhere = SIZE_MAX;

    static std::size_t slot_of(ParameterSetKind kind, unsigned id) noexcept
    {
        switch (kind) {
        case ParameterSetKind::vps: return id < kVps ? id : kNowhere;
        case ParameterSetKind::sps: return id < kSps ? kVps + id : kNowhere;
        case ParameterSetKind::pps: return id < kPps ? kVps + kSps + id : kNowhere;
        }
        return kNowhere;
    }

    static bool same(BytesView kept, BytesView payload) noexcept
    {
        return kept.size() == payload.size() + 4 &&
               std::memcmp(kept.data() + 4, payload.data(), payload.size()) == 0;
    }

    std::vector<ParameterSet> sets_;
    std::array<std::uint16_t, kVps + kSps + kPps> places_ = {}; // behind sets_[places_ - 1]; 0 for none
};

} // namespace nalsmith

#endif

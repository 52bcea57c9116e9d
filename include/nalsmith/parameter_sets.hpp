// SPDX-License-Identifier: MIT
/// \file
/// The parameter sets of a stream of either codec: the latest of each id, for export and for key frames.
#ifndef NALSMITH_PARAMETER_SETS_HPP
#define NALSMITH_PARAMETER_SETS_HPP

#include "nalsmith/detail/hevc/syntax.hpp"
#include "nalsmith/detail/payload.hpp"

#include <array>

namespace nalsmith {
inline namespace v1 {

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
    Bytes bytes; ///< after a start code of four bytes, without zero bytes at the end
};

/// Which parameter set a NAL unit of a parameter set type is.
inline ParameterSetId identify_parameter_set(const NalUnit& nal) noexcept
{
    detail::BitReader reader = detail::bits_of(nal);
    ParameterSetId set;
    const unsigned type = nal.type();
    if (nal.codec == Codec::h265 && type == 32) {
        set.kind = ParameterSetKind::vps;
        set.id = reader.bits(4);
    } else if (nal.codec == Codec::h265 && type == 33) {
        detail::HevcSps sps;
        detail::read_hevc_sps_begin(reader, sps);
        set.id = sps.sps_seq_parameter_set_id;
        set.refers_to = sps.sps_video_parameter_set_id;
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
        return add(nal, identify_parameter_set(nal));
    }

    /// The same for one that has been identified.
    bool add(const NalUnit& nal, const ParameterSetId& id)
    {
        const std::size_t slot = slot_of(id.kind, id.id);
        if (slot == kNowhere)
            return false;
        const BytesView payload = nal.payload();
        if (places_[slot] != 0 && same(sets_[places_[slot] - 1U].bytes, payload))
            return false;
        ParameterSet set; // complete before it is kept: there may be no memory
        static_cast<ParameterSetId&>(set) = id;
        set.bytes.reserve(payload.size() + 4);
        set.bytes = {0, 0, 0, 1};
        append(set.bytes, payload);
        if (places_[slot] != 0) {
            sets_[places_[slot] - 1U] = std::move(set);
        } else {
            sets_.push_back(std::move(set));
            places_[slot] = static_cast<std::uint16_t>(sets_.size());
        }
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

    /// How many there can be.
    static constexpr std::size_t kSlots = 16 + 32 + 256;
    /// Where there can be none: the standards have no such id.
    static constexpr std::size_t kNowhere = SIZE_MAX;
    /// A number for each kind and id, below `kSlots`, or `kNowhere`.
    static constexpr std::size_t slot_of(ParameterSetKind kind, unsigned id) noexcept
    {
        switch (kind) {
        case ParameterSetKind::vps: return id < 16 ? id : kNowhere;
        case ParameterSetKind::sps: return id < 32 ? 16 + id : kNowhere;
        case ParameterSetKind::pps: return id < 256 ? 48 + id : kNowhere;
        }
        return kNowhere;
    }

private:
    static bool same(BytesView kept, BytesView payload) noexcept
    {
        return kept.size() == payload.size() + 4 &&
               std::memcmp(kept.data() + 4, payload.data(), payload.size()) == 0;
    }

    std::vector<ParameterSet> sets_;
    std::array<std::uint16_t, kSlots> places_ = {}; // in sets_[places_ - 1]; 0 for none
};

} // namespace v1
} // namespace nalsmith

#endif

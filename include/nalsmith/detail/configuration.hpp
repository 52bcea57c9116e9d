// SPDX-License-Identifier: MIT
// Configuration records out of parameter sets (ISO/IEC 14496-15, 5.3.3.1, 8.3.3.1).
#ifndef NALSMITH_DETAIL_CONFIGURATION_HPP
#define NALSMITH_DETAIL_CONFIGURATION_HPP

#include "nalsmith/detail/fields.hpp"
#include "nalsmith/sequence.hpp"

#include <algorithm>
#include <utility>

namespace nalsmith {
inline namespace v1 {
namespace detail {

// How many sets there are of each kind.
class RecordSets {
public:
    explicit RecordSets(const ParameterSets& sets) noexcept
    {
        for (const ParameterSet& set : sets.all()) {
            ++counts_[static_cast<std::size_t>(set.kind)];
            largest_ = std::max(largest_, nal_of(set).size());
        }
    }

    std::size_t count(ParameterSetKind kind) const noexcept
    {
        return counts_[static_cast<std::size_t>(kind)];
    }
    bool fit_avc() const noexcept
    {
        const std::size_t sps = count(ParameterSetKind::sps);
        const std::size_t pps = count(ParameterSetKind::pps);
        return sps >= 1 && sps <= 31 && pps >= 1 && pps <= 255 && largest_ <= 0xFFFF;
    }
    bool fit_hevc() const noexcept { return fit_avc() && count(ParameterSetKind::vps) >= 1; }

    static BytesView nal_of(const ParameterSet& set) noexcept { return BytesView(set.bytes).subview(4); }

private:
    std::array<std::size_t, 3> counts_ = {};
    std::size_t largest_ = 0;
};

// What all SPS have in common.
struct RecordProfile {
    bool any = false;
    SequenceParameters all;
    std::uint32_t sub_layers = 0;
    bool nested = true;

    void join(const SequenceParameters& one)
    {
        if (!std::exchange(any, true)) {
            all = one;
            return;
        }
        all.profile_idc = std::max(all.profile_idc, one.profile_idc);
        all.level_idc = std::max(all.level_idc, one.level_idc);
        all.high_tier = all.high_tier || one.high_tier;
        all.profile_compatibility_flags &= one.profile_compatibility_flags;
        all.constraint_flags &= one.constraint_flags;
        all.chroma_format_idc = std::max(all.chroma_format_idc, one.chroma_format_idc);
        all.bit_depth_luma = std::max(all.bit_depth_luma, one.bit_depth_luma);
        all.bit_depth_chroma = std::max(all.bit_depth_chroma, one.bit_depth_chroma);
    }

    // Whether the fields can hold them.
    bool has_sample_format() const noexcept
    {
        constexpr std::uint32_t kMostDepth = 8 + 7;
        const auto good = [](std::uint32_t depth) { return depth >= 8 && depth <= kMostDepth; };
        return all.chroma_format_idc <= 3 && good(all.bit_depth_luma) && good(all.bit_depth_chroma);
    }
    void append_sample_format(Bytes& to) const
    {
        to.push_back(static_cast<std::uint8_t>(0xFC | all.chroma_format_idc));
        to.push_back(static_cast<std::uint8_t>(0xF8 | (all.bit_depth_luma - 8)));
        to.push_back(static_cast<std::uint8_t>(0xF8 | (all.bit_depth_chroma - 8)));
    }
};

inline void append_sets(Bytes& to, const ParameterSets& sets, ParameterSetKind kind)
{
    for (const ParameterSet& set : sets.all()) {
        if (set.kind != kind)
            continue;
        append_number(to, RecordSets::nal_of(set).size(), 2);
        append(to, RecordSets::nal_of(set));
    }
}

inline std::optional<Bytes> write_avc_record(const ParameterSets& sets, const RecordSets& counted,
                                             unsigned length_size)
{
    RecordProfile profile;
    for (const ParameterSet& set : sets.all())
        if (set.kind == ParameterSetKind::sps)
            profile.join(sequence_of(read_avc_sps(bits_of(Codec::h264, set))));
    if (!profile.has_sample_format())
        return std::nullopt;
    Bytes record = {1}; // configurationVersion
    record.push_back(static_cast<std::uint8_t>(profile.all.profile_idc));
    record.push_back(static_cast<std::uint8_t>(profile.all.constraint_flags));
    record.push_back(static_cast<std::uint8_t>(profile.all.level_idc));
    record.push_back(static_cast<std::uint8_t>(0xFC | (length_size - 1)));
    record.push_back(static_cast<std::uint8_t>(0xE0 | counted.count(ParameterSetKind::sps)));
    append_sets(record, sets, ParameterSetKind::sps);
    record.push_back(static_cast<std::uint8_t>(counted.count(ParameterSetKind::pps)));
    append_sets(record, sets, ParameterSetKind::pps);
    const std::uint32_t profile_idc = profile.all.profile_idc;
    if (profile_idc != 66 && profile_idc != 77 && profile_idc != 88) {
        profile.append_sample_format(record);
        record.push_back(0); // numOfSequenceParameterSetExt
    }
    return record;
}

inline std::optional<Bytes> write_hevc_record(const ParameterSets& sets, const RecordSets& counted,
                                              unsigned length_size)
{
    RecordProfile profile;
    for (const ParameterSet& set : sets.all())
        if (set.kind == ParameterSetKind::sps) {
            const HevcSps sps = read_hevc_sps(bits_of(Codec::h265, set));
            profile.join(sequence_of(sps, HevcVps()));
            profile.sub_layers = std::max(profile.sub_layers, sps.sps_max_sub_layers_minus1 + 1);
            profile.nested = profile.nested && sps.sps_temporal_id_nesting_flag;
        }
    if (!profile.has_sample_format())
        return std::nullopt;
    Bytes record = {1}; // configurationVersion
    record.push_back(
        static_cast<std::uint8_t>((profile.all.high_tier ? 0x20U : 0U) | profile.all.profile_idc));
    append_number(record, profile.all.profile_compatibility_flags, 4);
    append_number(record, profile.all.constraint_flags, 6);
    record.push_back(static_cast<std::uint8_t>(profile.all.level_idc));
    append_number(record, 0xF000, 2); // min_spatial_segmentation_idc 0
    record.push_back(0xFC);           // parallelismType 0
    profile.append_sample_format(record);
    append_number(record, 0, 2); // avgFrameRate; constantFrameRate after it is 0 too
    record.push_back(
        static_cast<std::uint8_t>(profile.sub_layers << 3 | (profile.nested ? 4U : 0U) | (length_size - 1)));
    record.push_back(3); // numOfArrays
    for (const auto kind : {ParameterSetKind::vps, ParameterSetKind::sps, ParameterSetKind::pps}) {
        record.push_back(static_cast<std::uint8_t>(0x80 | (32 + static_cast<unsigned>(kind)))); // complete
        append_number(record, counted.count(kind), 2);
        append_sets(record, sets, kind);
    }
    return record;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

// SPDX-License-Identifier: MIT
// What is known of an access unit while its NAL units come in, and which parameter sets it lacks. Positions
// are those of HeldBytes.
#ifndef NALSMITH_DETAIL_READER_DRAFT_HPP
#define NALSMITH_DETAIL_READER_DRAFT_HPP

#include "nalsmith/detail/reader/seen_sets.hpp"
#include "nalsmith/picture.hpp"
#include "nalsmith/sequence.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

struct Insertion {
    std::uint64_t at = 0;
    Bytes bytes;
};

struct Draft {
    enum class Content : std::uint8_t { no_slice, refused_slices, picture };

    std::uint64_t origin = 0; // where what belongs to it begins; zeros that are left out may come first
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::uint64_t position = 0; // in the input
    std::uint64_t zeros_left_out = 0;
    std::uint64_t tag = 0;
    Content content = Content::no_slice;
    bool opened = false; // by an opener or a slice
    bool key = false;
    bool reference = false;
    bool completed = false; // with the sets that it lacks
    bool cut_off = false;   // the header of its last slice goes on after the head
    PictureKind kind = PictureKind::unknown;
    bool order_restarts = false;
    std::optional<std::int64_t> picture_order;
    std::optional<RecoveryPoint> recovery;
    VideoPicType picture_type = VideoPicTypeUnknown;
    std::optional<SequenceParameters> sequence;
    std::vector<Insertion> insertions; // in order of position
};

// The sets in force for a picture that the access unit does not bring itself: the SPS after its own VPS, each
// PPS of that SPS after all of its own sets.
inline void complete_with_sets(Draft& unit, const ParameterSets& sets, const SeenSets& seen, unsigned pps_id)
{
    const ParameterSet* const pps = sets.find(ParameterSetKind::pps, pps_id);
    const ParameterSet* const sps =
        pps == nullptr ? nullptr : sets.find(ParameterSetKind::sps, pps->refers_to);
    if (sps == nullptr)
        return;
    const auto put = [&](std::uint64_t at, const ParameterSet& set) {
        if (seen.holds(set, unit.begin))
            return;
        if (unit.insertions.empty() || unit.insertions.back().at != at)
            unit.insertions.push_back({at, {}});
        append(unit.insertions.back().bytes, set.bytes);
    };
    if (const ParameterSet* const vps = sets.find(ParameterSetKind::vps, sps->refers_to))
        put(seen.after_delimiter(unit.begin), *vps);
    put(seen.end_of(ParameterSetKind::vps, unit.begin), *sps);
    const std::uint64_t after_all = seen.end_of(ParameterSetKind::pps, unit.begin);
    for (const ParameterSet& set : sets.all())
        if (set.kind == ParameterSetKind::pps && set.refers_to == sps->id)
            put(after_all, set);
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

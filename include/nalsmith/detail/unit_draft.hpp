// SPDX-License-Identifier: MIT
// What is known of an access unit while its NAL units come in, and which parameter sets it lacks. Positions
// count the bytes that a reader has ever taken in.
#ifndef NALSMITH_DETAIL_UNIT_DRAFT_HPP
#define NALSMITH_DETAIL_UNIT_DRAFT_HPP

#include "nalsmith/sequence.hpp"

namespace nalsmith::detail {

struct Insertion {
    std::uint64_t at = 0;
    Bytes bytes;
};

struct UnitDraft {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::uint64_t picture = 0; // where the NAL units begin that belong to the picture
    std::uint64_t tag = 0;
    std::uint64_t position = 0;
    bool has_picture = false;
    bool key = false;
    VideoPicType picture_type = VideoPicTypeUnknown;
    std::optional<SequenceParameters> sequence;
    std::vector<Insertion> insertions; // in order of position
};

// The head of a slice, up to the parameter sets that it refers to.
struct SliceHead {
    unsigned slice_type = 0; // H.264
    unsigned pps_id = 0;

    explicit SliceHead(const NalUnit& nal) noexcept
    {
        BitReader reader(nal);
        if (nal.codec == Codec::h264) {
            reader.ue(); // first_mb_in_slice
            slice_type = reader.ue();
        } else {
            reader.flag(); // first_slice_segment_in_pic_flag
            if (nal.type() >= 16)
                reader.flag(); // no_output_of_prior_pics_flag
        }
        pps_id = reader.ue();
    }
};

// Where the parameter sets and the delimiter were seen last.
class SeenSets {
public:
    void add(const ParameterSetId& set, std::uint64_t begin, std::uint64_t end)
    {
        for (Seen& seen : seen_)
            if (seen.set.kind == set.kind && seen.set.id == set.id) {
                seen = {set, begin, end};
                return;
            }
        seen_.push_back({set, begin, end});
    }
    void add_delimiter(std::uint64_t begin, std::uint64_t end) noexcept { delimiter_ = {{}, begin, end}; }

    // Since `begin`.
    bool holds(const ParameterSet& set, std::uint64_t begin) const noexcept
    {
        for (const Seen& seen : seen_)
            if (seen.begin >= begin && seen.set.kind == set.kind && seen.set.id == set.id)
                return true;
        return false;
    }

    // Behind the delimiter and behind the sets of at most this kind, that came since `begin`.
    std::uint64_t end_of(ParameterSetKind kind, std::uint64_t begin) const noexcept
    {
        std::uint64_t end = behind_delimiter(begin);
        for (const Seen& seen : seen_)
            if (seen.begin >= begin && seen.set.kind <= kind && seen.end > end)
                end = seen.end;
        return end;
    }
    std::uint64_t behind_delimiter(std::uint64_t begin) const noexcept
    {
        return delimiter_.end > begin && delimiter_.begin >= begin ? delimiter_.end : begin;
    }

    void clear() noexcept { *this = {}; }

private:
    struct Seen {
        ParameterSetId set;
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };
    std::vector<Seen> seen_;
    Seen delimiter_;
};

// The sets in force for a picture that the access unit does not bring itself: the SPS behind its own VPS,
// each PPS of that SPS behind all of its own sets.
inline void complete_with_sets(UnitDraft& unit, const ParameterSets& sets, const SeenSets& seen,
                               unsigned pps_id)
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
        put(seen.behind_delimiter(unit.picture), *vps);
    put(seen.end_of(ParameterSetKind::vps, unit.picture), *sps);
    const std::uint64_t behind_all = seen.end_of(ParameterSetKind::pps, unit.picture);
    for (const ParameterSet& set : sets.all())
        if (set.kind == ParameterSetKind::pps && set.refers_to == sps->id)
            put(behind_all, set);
}

} // namespace nalsmith::detail

#endif

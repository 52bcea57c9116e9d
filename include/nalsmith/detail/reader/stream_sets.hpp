// SPDX-License-Identifier: MIT
// The parameter sets of a stream, each read once, when it comes, and what slices say by them.
#ifndef NALSMITH_DETAIL_READER_STREAM_SETS_HPP
#define NALSMITH_DETAIL_READER_STREAM_SETS_HPP

#include "nalsmith/detail/reader/avc_pictures.hpp"
#include "nalsmith/detail/reader/draft.hpp"
#include "nalsmith/detail/reader/hevc_pictures.hpp"
#include "nalsmith/detail/sei/recovery_point.hpp"

#include <algorithm>

namespace nalsmith {
inline namespace v1 {
namespace detail {

class StreamSets {
public:
    // Those of a byte stream from outside the stream.
    void add(Codec codec, BytesView sets)
    {
        for (const NalUnit& nal : NalUnits(codec, sets))
            if (!nal.bare() && !nal.forbidden() && nal.is_parameter_set())
                keep(nal, identify_parameter_set(nal));
    }

    // What is no slice, between these positions.
    void take(const NalUnit& nal, std::uint64_t begin, std::uint64_t end)
    {
        if (nal.is_parameter_set())
            add(nal, begin, end);
        else if (nal.is_delimiter())
            seen_.add_delimiter(begin, end);
        else if (nal.layer_id() == 0 && nal.is_sei())
            take_sei(nal);
        else if (nal.layer_id() == 0 && nal.ends_sequence())
            hevc_.end_sequence();
    }

    // From the head of a slice.
    SliceVerdict look(const NalUnit& head) noexcept
    {
        return head.codec == Codec::h264 ? avc_.look(head) : hevc_.look(head);
    }

    // A slice that described it has come whole.
    void end_slice(Draft& unit, const NalUnit& slice) noexcept
    {
        if (std::exchange(unit.cut_off, false))
            number(unit, avc_.number(slice));
    }

    // What came after the last slice is for no other.
    void forget_recovery_point() noexcept { recovery_.reset(); }

    // What is in force for a picture of this PPS.
    const std::optional<SequenceParameters>& sequence(unsigned pps_id) const noexcept
    {
        static constexpr std::optional<SequenceParameters> kNone;
        const ParameterSet* const pps = sets_.find(ParameterSetKind::pps, pps_id);
        return pps != nullptr && pps->refers_to < sequences_.size() ? sequences_[pps->refers_to].parameters
                                                                    : kNone;
    }

    // What a readable slice says of the access unit that it is part of.
    void describe(Draft& unit, const NalUnit& slice, const SliceVerdict& verdict, bool self_contained)
    {
        if (unit.content != Draft::Content::picture) {
            unit.content = Draft::Content::picture;
            unit.sequence = sequence(verdict.pps_id);
            if (slice.codec == Codec::h264 && verdict.slice_type <= VideoPicTypeAllSI)
                unit.picture_type = static_cast<VideoPicType>(verdict.slice_type);
        }
        unit.reference = unit.reference || slice.is_reference();
        unit.key = unit.key || slice.is_key_slice();
        unit.kind = std::max(unit.kind, verdict.kind);
        unit.cut_off = verdict.cut_off;
        if (recovery_)
            unit.recovery = std::exchange(recovery_, std::nullopt);
        number(unit, verdict.number);
        const bool entry = unit.key || unit.recovery;
        if (self_contained && entry && !std::exchange(unit.completed, true))
            complete_with_sets(unit, sets_, seen_, verdict.pps_id);
    }

    const ParameterSets& all() const noexcept { return sets_; }

private:
    void add(const NalUnit& nal, std::uint64_t begin, std::uint64_t end)
    {
        const ParameterSetId id = identify_parameter_set(nal);
        keep(nal, id);
        if (nal.layer_id() == 0)
            seen_.add(id, begin, end);
    }

    void take_sei(const NalUnit& sei) noexcept
    {
        if (const std::optional<RecoveryPoint> point = find_recovery_point(sei))
            recovery_ = point;
    }

    // Of two fields the lower number counts.
    static void number(Draft& unit, const PictureNumber& number) noexcept
    {
        if (!number.known)
            return;
        if (!unit.picture_order || number.restarts || number.order < *unit.picture_order)
            unit.picture_order = number.order;
        unit.order_restarts = unit.order_restarts || number.restarts;
    }

    struct Sequence {
        std::optional<SequenceParameters> parameters;
        unsigned vps_id = 0;
        bool own_timing = false;
    };

    // The library keeps the sets of all layers in one table. What is kept of the base layer's own bytes and
    // parameters leaves the other layers out.
    void keep(const NalUnit& nal, const ParameterSetId& id)
    {
        const bool base = nal.layer_id() == 0;
        layered_ = layered_ || !base;
        // A last 03 counts or not by the zeros after it, which are no part of what is kept.
        const bool changed = base && sets_.add(nal, id);
        const BytesView payload = nal.payload();
        if (!changed && !layered_ && (payload.empty() || payload[payload.size() - 1] != 3))
            return;
        const BitReader reader = bits_of(nal);
        if (nal.codec == Codec::h264)
            keep_avc(reader, id);
        else
            keep_hevc(reader, id, base);
    }

    void keep_avc(const BitReader& reader, const ParameterSetId& id)
    {
        if (id.kind == ParameterSetKind::pps) {
            avc_.keep(read_avc_pps(reader));
            return;
        }
        AvcSps sps = read_avc_sps(reader);
        if (id.id < sequences_.size())
            sequences_[id.id].parameters = sequence_of(sps);
        avc_.keep(std::move(sps));
    }

    void keep_hevc(const BitReader& reader, const ParameterSetId& id, bool base)
    {
        if (id.kind == ParameterSetKind::pps) {
            BitReader head = reader;
            hevc_.keep(read_hevc_pps_head(head));
        } else if (id.kind == ParameterSetKind::sps) {
            const HevcSps sps = read_hevc_sps(reader);
            hevc_.keep(sps);
            if (base && id.id < sequences_.size())
                sequences_[id.id] = {sequence_of(sps, vps_[id.refers_to]), id.refers_to,
                                     sps.vui.timing_info_present_flag};
        } else {
            const HevcVps vps = read_hevc_vps(reader);
            hevc_.keep(vps);
            if (base)
                take_timing(vps);
        }
    }

    void take_timing(const HevcVps& vps) noexcept
    {
        vps_[vps.vps_video_parameter_set_id] = vps;
        for (Sequence& sequence : sequences_)
            if (sequence.parameters && !sequence.own_timing &&
                sequence.vps_id == vps.vps_video_parameter_set_id)
                set_timing(*sequence.parameters, vps);
    }

    ParameterSets sets_;
    SeenSets seen_;
    AvcPictures avc_;
    HevcPictures hevc_;
    std::array<HevcVps, 16> vps_ = {};
    std::array<Sequence, 32> sequences_ = {};
    std::optional<RecoveryPoint> recovery_; // in an SEI message after the last slice
    bool layered_ = false;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

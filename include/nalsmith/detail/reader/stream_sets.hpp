// SPDX-License-Identifier: MIT
// The parameter sets of a stream, each read once, when it comes.
#ifndef NALSMITH_DETAIL_READER_STREAM_SETS_HPP
#define NALSMITH_DETAIL_READER_STREAM_SETS_HPP

#include "nalsmith/detail/reader/draft.hpp"
#include "nalsmith/detail/reader/pictures.hpp"

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

    // One that stands between these positions.
    void add(const NalUnit& nal, std::uint64_t begin, std::uint64_t end)
    {
        const ParameterSetId id = identify_parameter_set(nal);
        keep(nal, id);
        if (nal.layer_id() == 0)
            seen_.add(id, begin, end);
    }
    void add_delimiter(std::uint64_t begin, std::uint64_t end) noexcept { seen_.add_delimiter(begin, end); }

    SliceVerdict look(const NalUnit& slice) noexcept
    {
        return slice.codec == Codec::h264 ? avc_.look(slice) : hevc_.look(slice);
    }

    // What is in force for a picture of this PPS.
    const std::optional<SequenceParameters>& sequence(unsigned pps_id) const noexcept
    {
        static constexpr std::optional<SequenceParameters> kNone;
        const ParameterSet* const pps = sets_.find(ParameterSetKind::pps, pps_id);
        return pps != nullptr && pps->refers_to < sequences_.size() ? sequences_[pps->refers_to].parameters
                                                                    : kNone;
    }

    // What a readable slice says of the access unit that it is part of.
    void describe(Draft& unit, const NalUnit& slice, const SliceVerdict& verdict, bool self_contained) const
    {
        if (unit.content != Draft::Content::picture) {
            unit.content = Draft::Content::picture;
            unit.sequence = sequence(verdict.pps_id);
            if (slice.codec == Codec::h264 && verdict.slice_type <= VideoPicTypeAllSI)
                unit.picture_type = static_cast<VideoPicType>(verdict.slice_type);
        }
        unit.reference = unit.reference || slice.is_reference();
        if (!slice.is_key_slice())
            return;
        if (self_contained && !unit.key)
            complete_with_sets(unit, sets_, seen_, verdict.pps_id);
        unit.key = true;
    }

    const ParameterSets& all() const noexcept { return sets_; }

private:
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
            BitReader head = reader;
            avc_.keep(read_avc_pps_head(head));
            return;
        }
        const AvcSps sps = read_avc_sps(reader);
        avc_.keep(sps);
        if (id.id < sequences_.size())
            sequences_[id.id].parameters = sequence_of(sps);
    }

    void keep_hevc(const BitReader& reader, const ParameterSetId& id, bool base) noexcept
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
    bool layered_ = false;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

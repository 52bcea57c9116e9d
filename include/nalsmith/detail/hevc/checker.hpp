// SPDX-License-Identifier: MIT
// What is missing in an H.265 stream, and what of it can be decoded: picture by picture, whether or not the
// access units are cut there.
#ifndef NALSMITH_DETAIL_HEVC_CHECKER_HPP
#define NALSMITH_DETAIL_HEVC_CHECKER_HPP

#include "nalsmith/detail/by_id.hpp"
#include "nalsmith/detail/hevc/continuity.hpp"
#include "nalsmith/detail/payload.hpp"
#include "nalsmith/detail/picture_slices.hpp"
#include "nalsmith/detail/unit_findings.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

// What all slice segments of the picture at hand share.
struct HevcCurrent {
    unsigned type = 0;
    unsigned temporal_id = 0;
    std::uint32_t slice_pic_parameter_set_id = 0;
    std::uint32_t lsb = 0;
    bool whole = true;
    bool decodable = false;
    bool suspected = false; // segments seem to be missing, and nothing else is
    bool ordered = true;    // its segments come in an order that is known

    bool holds(const HevcSegment& segment) const noexcept
    {
        return type == segment.type && temporal_id == segment.temporal_id &&
               slice_pic_parameter_set_id == segment.slice_pic_parameter_set_id &&
               (segment.dependent_slice_segment_flag || lsb == segment.lsb);
    }
};

class HevcChecker {
public:
    void take_slice(const NalUnit& nal);
    void take_parameter_set(const NalUnit& nal);
    // A picture begins after it.
    void take_delimiter() noexcept { delimited_ = true; }
    void end_sequence()
    {
        end_picture();
        continuity_.end_sequence();
    }
    UnitFindings::Answer end_unit();

    // Another place of the stream: parameter sets stay.
    void reset()
    {
        HevcChecker anew;
        std::swap(anew.vps_, vps_);
        std::swap(anew.sps_, sps_);
        std::swap(anew.pps_, pps_);
        std::swap(anew.sequences_, sequences_);
        *this = std::move(anew);
    }

private:
    using Sequence = KnownSequence<HevcSequence>;

    // The parameter sets of a slice segment.
    struct Sets {
        const HevcPictureParameters* pps = nullptr;
        const Sequence* sequence = nullptr;
    };

    Finding read(BitReader& reader, HevcSegment& segment, Sets& sets) const;
    void refuse(Finding fault, const HevcSegment& segment);
    bool begin_picture(const HevcSegment& segment, const Sets& sets, BitReader& reader);
    void continue_picture() noexcept;
    void end_picture();
    void place(const HevcSegment& segment, const Sets& sets, BytesView payload);
    void judge_places() noexcept;
    void lose_segment() noexcept;
    void lose() noexcept;

    std::array<bool, 16> vps_ = {}; // those that have come
    ById<Sequence, 32> sps_;
    ById<HevcPictureParameters, 256> pps_;
    std::uint64_t sequences_ = 0;
    HevcContinuity continuity_;
    HevcPicture header_; // of the last picture; large enough to be kept for the next
    std::optional<HevcCurrent> picture_;
    PictureSlices slices_;
    SliceHabit habit_;
    bool delimited_ = false; // a delimiter after the last segment
    bool refused_ = false;   // a segment after the last one that could be read
    bool touched_ = false;   // the access unit has a segment of the picture at hand
    UnitFindings unit_;
};

inline void HevcChecker::take_slice(const NalUnit& nal)
{
    NalUnit trimmed = nal;
    const BytesView payload = nal.payload();
    trimmed.bytes = nal.bytes.subview(0, nal.start_code_size + payload.size());
    BitReader reader = bits_of(trimmed);
    HevcSegment segment;
    segment.type = nal.type();
    segment.temporal_id = nal.temporal_id();
    Sets sets;
    const Finding fault = read(reader, segment, sets);
    if (fault != Finding::none)
        return refuse(fault, segment);
    const bool first = segment.first_slice_segment_in_pic_flag;
    const bool held = picture_ && picture_->holds(segment);
    if (first && held && slices_.has(0, payload)) { // once more
        refused_ = delimited_ = false;
        return;
    }
    if (first || !held) {
        if (!begin_picture(segment, sets, reader))
            return;
    } else if (!touched_) {
        continue_picture();
    }
    touched_ = true;
    place(segment, sets, payload);
}

inline Finding HevcChecker::read(BitReader& reader, HevcSegment& segment, Sets& sets) const
{
    read_hevc_segment_begin(reader, segment);
    if (reader.past_end())
        return Finding::unreadable;
    sets.pps = pps_.find(segment.slice_pic_parameter_set_id);
    sets.sequence = sets.pps == nullptr ? nullptr : sps_.find(sets.pps->pps_seq_parameter_set_id);
    if (sets.sequence == nullptr || !vps_[sets.sequence->sps.sps_video_parameter_set_id])
        return Finding::unknown_parameters;
    const bool good = read_hevc_segment(reader, sets.sequence->sps, *sets.pps, segment);
    return good && !reader.past_end() ? Finding::none : Finding::unreadable;
}

// What cannot be read is a picture of its own, or part of the one at hand.
inline void HevcChecker::refuse(Finding fault, const HevcSegment& segment)
{
    if (segment.first_slice_segment_in_pic_flag)
        end_picture();
    else if (picture_)
        lose();
    unit_.note(fault);
    unit_.add(false);
    refused_ = true;
}

// False when it does not tell which picture that is.
inline bool HevcChecker::begin_picture(const HevcSegment& segment, const Sets& sets, BitReader& reader)
{
    end_picture();
    if (segment.dependent_slice_segment_flag) {
        unit_.note(Finding::missing_slice);
        unit_.add(false);
        return false;
    }
    header_.begin(segment);
    if (!read_hevc_references(reader, sets.sequence->sps, header_) || reader.past_end()) {
        refuse(Finding::unreadable, segment);
        return false;
    }
    const HevcContinuity::Answer answer = continuity_.judge(header_);
    unit_.note(answer.finding);
    picture_.emplace();
    picture_->type = segment.type;
    picture_->temporal_id = segment.temporal_id;
    picture_->slice_pic_parameter_set_id = segment.slice_pic_parameter_set_id;
    picture_->lsb = segment.lsb;
    picture_->decodable = answer.decodable;
    picture_->ordered = sets.pps->known_tiles && !sets.sequence->sps.separate_colour_plane_flag;
    refused_ = delimited_ = false;
    slices_.clear();
    habit_.begin_sequence(sets.sequence->number);
    if (!segment.first_slice_segment_in_pic_flag)
        lose_segment();
    return true;
}

// In another access unit. What seemed to be missing may come there.
inline void HevcChecker::continue_picture() noexcept
{
    if (!std::exchange(picture_->suspected, false))
        return;
    picture_->decodable = true;
    continuity_.keep_last();
}

inline void HevcChecker::end_picture()
{
    if (!picture_)
        return;
    if (touched_) {
        judge_places();
        unit_.add(picture_->decodable);
    }
    if (picture_->whole)
        habit_.keep(slices_.places());
    picture_.reset();
    touched_ = false;
}

inline void HevcChecker::place(const HevcSegment& segment, const Sets& sets, BytesView payload)
{
    bool lost = std::exchange(refused_, false);
    lost = std::exchange(delimited_, false) || lost;
    const HevcSequence& sps = sets.sequence->sps;
    const std::uint64_t address = segment.slice_segment_address;
    const bool begins = !segment.dependent_slice_segment_flag;
    PictureSlices::Order order = PictureSlices::Order::grown;
    if (picture_->ordered)
        order = slices_.add(sets.pps->tiles.place_of(address, sps.width, sps.height), payload, begins);
    else if (begins)
        order = slices_.add_anywhere(address);
    if (order == PictureSlices::Order::fallen || (lost && order != PictureSlices::Order::repeated))
        lose_segment();
}

inline UnitFindings::Answer HevcChecker::end_unit()
{
    if (picture_ && touched_) {
        judge_places();
        unit_.add(picture_->decodable);
    }
    touched_ = false;
    return unit_.take();
}

inline void HevcChecker::judge_places() noexcept
{
    if (!picture_->whole || !habit_.misses(slices_.places()))
        return;
    unit_.note(Finding::unusual_slices);
    picture_->suspected = picture_->decodable;
    lose();
}

inline void HevcChecker::lose_segment() noexcept
{
    unit_.note(Finding::missing_slice);
    picture_->whole = false;
    lose();
}

inline void HevcChecker::lose() noexcept
{
    picture_->decodable = false;
    continuity_.lose_last();
}

// An SPS that comes again unchanged begins nothing.
inline void HevcChecker::take_parameter_set(const NalUnit& nal)
{
    if (nal.type() == 32) {
        BitReader reader = bits_of(nal);
        vps_[reader.bits(4)] = true; // vps_video_parameter_set_id
    } else if (nal.type() == 34) {
        HevcPictureParameters pps = read_hevc_pps(bits_of(nal));
        const std::uint32_t id = pps.pps_pic_parameter_set_id;
        pps_.keep(id, std::move(pps));
    } else {
        auto sps = read_hevc_sequence(bits_of(nal));
        if (!sps)
            return;
        const Fingerprint fingerprint = fingerprint_of(nal.payload());
        const std::uint32_t id = sps->sps_seq_parameter_set_id;
        const Sequence* const known = sps_.find(id);
        const bool same = known != nullptr && known->fingerprint == fingerprint;
        sps_.keep(id, {std::move(*sps), fingerprint, same ? known->number : ++sequences_});
    }
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

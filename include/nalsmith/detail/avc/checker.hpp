// SPDX-License-Identifier: MIT
// What is missing in an H.264 stream, and what of it can be decoded: picture by picture, whether or not the
// access units are cut there.
#ifndef NALSMITH_DETAIL_AVC_CHECKER_HPP
#define NALSMITH_DETAIL_AVC_CHECKER_HPP

#include "nalsmith/detail/avc/continuity.hpp"
#include "nalsmith/detail/avc/decodable.hpp"
#include "nalsmith/detail/avc/picture_order.hpp"
#include "nalsmith/detail/by_id.hpp"
#include "nalsmith/detail/payload.hpp"
#include "nalsmith/detail/picture_slices.hpp"
#include "nalsmith/detail/unit_findings.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

// The picture at hand.
struct AvcCurrent {
    AvcPicture header; // of its first slice
    bool whole = true;
    bool decodable = false;
    std::size_t planes = 1; // that are coded by themselves
    unsigned units = 1;     // that it spreads over
};

class AvcChecker {
public:
    void take_slice(const NalUnit& nal);
    void take_parameter_set(const NalUnit& nal);
    // A picture begins after it.
    void take_delimiter() noexcept { delimited_ = true; }
    // Of the picture to come in this access unit.
    void take_recovery_point(const std::optional<RecoveryPoint>& point) noexcept
    {
        if (point)
            recovery_point_ = point;
    }
    UnitFindings::Answer end_unit();

    // Another place of the stream: parameter sets stay.
    void reset()
    {
        AvcChecker anew;
        std::swap(anew.sps_, sps_);
        std::swap(anew.pps_, pps_);
        std::swap(anew.sequences_, sequences_);
        *this = std::move(anew);
    }

private:
    using Sequence = KnownSequence<AvcSps>;
    static constexpr std::size_t kPlanes = 3;
    static constexpr std::size_t kStructures = 3; // frame, top field, bottom field

    Finding read(const NalUnit& nal, BytesView payload, AvcPicture& slice,
                 const Sequence*& sequence) const noexcept;
    bool begins_again(const AvcPicture& slice, BytesView payload) const noexcept;
    void begin_picture(const AvcPicture& slice, const Sequence& sequence);
    void continue_picture() noexcept;
    void end_picture();
    void place(const AvcPicture& slice, BytesView payload);
    void lose_slice() noexcept;
    void lose() noexcept;
    void judge_places() noexcept;
    void keep_sps(const NalUnit& nal);

    ById<Sequence, 32> sps_;
    ById<AvcPps, 256> pps_;
    std::uint64_t sequences_ = 0;
    AvcContinuity continuity_;
    AvcPictureOrder order_;
    AvcDecodable decodable_;
    std::optional<RecoveryPoint> recovery_point_; // of the picture to come
    std::optional<AvcCurrent> picture_;
    std::array<PictureSlices, kPlanes> slices_;
    std::array<std::array<SliceHabit, kPlanes>, kStructures> habits_;
    std::array<bool, kStructures> spreads_ = {};   // pictures of the structure over several access units
    std::optional<AvcDecodable> before_suspicion_; // of the picture at hand
    bool delimited_ = false;                       // a delimiter after the last slice
    bool refused_ = false;                         // a slice after the last one that could be read
    bool touched_ = false;                         // the access unit has a slice of the picture at hand
    UnitFindings unit_;
};

inline void AvcChecker::take_slice(const NalUnit& nal)
{
    AvcPicture slice;
    const Sequence* sequence = nullptr;
    const BytesView payload = nal.payload();
    const Finding fault = read(nal, payload, slice, sequence);
    if (fault != Finding::none) {
        unit_.note(fault);
        unit_.add(false);
        refused_ = true;
        lose();
        return;
    }
    if (slice.redundant)
        return;
    const bool again = begins_again(slice, payload);
    if (again) {
        unit_.note(Finding::missing_reference);
        decodable_.lose();
    }
    if (again || !picture_ || !picture_->header.same_picture(slice)) {
        end_picture();
        begin_picture(slice, *sequence);
    } else if (!touched_) {
        continue_picture();
    }
    touched_ = true;
    place(slice, payload);
}

// Another picture with the numbers of the one at hand: those between the two are lost. IDR pictures that
// follow one another differ in idr_pic_id (7.4.3).
inline bool AvcChecker::begins_again(const AvcPicture& slice, BytesView payload) const noexcept
{
    if (!picture_ || slice.first_mb_in_slice != 0 || slice.arbitrary_order || touched_ ||
        !picture_->header.same_picture(slice))
        return false;
    const PictureSlices& places = slices_[slice.colour_plane_id];
    return !places.empty() && places.places().front() == 0 && !places.has(0, payload);
}

inline Finding AvcChecker::read(const NalUnit& nal, BytesView payload, AvcPicture& slice,
                                const Sequence*& sequence) const noexcept
{
    const BytesView bits = payload.subview(header_size(Codec::h264));
    BitReader reader(bits.data(), bits.size());
    slice.IdrPicFlag = is_avc_idr(nal.type());
    slice.nal_ref_idc = static_cast<std::uint8_t>(nal.ref_idc());
    read_avc_slice_begin(reader, slice);
    if (reader.past_end())
        return Finding::unreadable;
    const AvcPps* const pps = pps_.find(slice.pic_parameter_set_id);
    sequence = pps == nullptr ? nullptr : sps_.find(pps->seq_parameter_set_id);
    if (sequence == nullptr)
        return Finding::unknown_parameters;
    return read_avc_picture(reader, sequence->sps, *pps, slice) ? Finding::none : Finding::unreadable;
}

inline void AvcChecker::begin_picture(const AvcPicture& slice, const Sequence& sequence)
{
    const std::int64_t count = order_.next(slice, sequence.sps);
    const Finding finding = continuity_.judge(slice, count, recovery_point_.has_value());
    unit_.note(finding);
    if (is_broken(finding))
        decodable_.lose();
    picture_.emplace();
    picture_->header = slice;
    picture_->planes = sequence.sps.separate_colour_plane_flag ? kPlanes : 1;
    picture_->decodable = decodable_.judge(slice, count, continuity_.position(), recovery_point_);
    recovery_point_.reset();
    before_suspicion_.reset();
    refused_ = delimited_ = false;
    for (std::size_t plane = 0; plane < picture_->planes; ++plane) {
        slices_[plane].clear();
        habits_[slice.structure()][plane].begin_sequence(sequence.number);
    }
}

// In another access unit. What seemed to be missing may come there.
inline void AvcChecker::continue_picture() noexcept
{
    ++picture_->units;
    if (!before_suspicion_)
        return;
    decodable_ = *before_suspicion_;
    before_suspicion_.reset();
    picture_->decodable = true;
}

// What can be said of a picture only when another begins counts for the access unit where that is.
inline void AvcChecker::end_picture()
{
    if (!picture_)
        return;
    for (std::size_t plane = 0; plane < picture_->planes; ++plane)
        if (slices_[plane].empty())
            lose_slice();
    const unsigned structure = picture_->header.structure();
    if (touched_ || spreads_[structure])
        judge_places();
    if (touched_)
        unit_.add(picture_->decodable);
    if (picture_->whole) {
        spreads_[structure] = picture_->units > 1;
        for (std::size_t plane = 0; plane < picture_->planes; ++plane)
            if (!slices_[plane].empty())
                habits_[structure][plane].keep(slices_[plane].places());
    }
    picture_.reset();
    touched_ = false;
}

inline void AvcChecker::place(const AvcPicture& slice, BytesView payload)
{
    PictureSlices& places = slices_[slice.colour_plane_id];
    const bool any_order = slice.arbitrary_order;
    bool lost = std::exchange(refused_, false);
    lost = std::exchange(delimited_, false) || lost;
    const PictureSlices::Order order = any_order ? places.add_anywhere(slice.first_mb_in_slice)
                                                 : places.add(slice.first_mb_in_slice, payload);
    if (order == PictureSlices::Order::repeated)
        return;
    if (!any_order)
        lost = lost || order == PictureSlices::Order::fallen ||
               (order == PictureSlices::Order::first && slice.first_mb_in_slice != 0);
    if (lost)
        lose_slice();
}

inline UnitFindings::Answer AvcChecker::end_unit()
{
    if (picture_ && touched_) {
        if (!spreads_[picture_->header.structure()])
            judge_places();
        unit_.add(picture_->decodable);
    }
    recovery_point_.reset();
    touched_ = false;
    return unit_.take();
}

inline void AvcChecker::lose_slice() noexcept
{
    unit_.note(Finding::missing_slice);
    if (picture_)
        picture_->whole = false;
    lose();
}

inline void AvcChecker::lose() noexcept
{
    decodable_.lose();
    if (picture_)
        picture_->decodable = false;
}

inline void AvcChecker::judge_places() noexcept
{
    const auto& habits = habits_[picture_->header.structure()];
    bool misses = false;
    for (std::size_t plane = 0; plane < picture_->planes; ++plane)
        misses = misses || (!slices_[plane].empty() && habits[plane].misses(slices_[plane].places()));
    if (!misses || !picture_->whole)
        return;
    if (picture_->decodable)
        before_suspicion_ = decodable_;
    unit_.note(Finding::unusual_slices);
    lose();
}

inline void AvcChecker::take_parameter_set(const NalUnit& nal)
{
    if (nal.type() == 7) {
        keep_sps(nal);
        return;
    }
    const AvcPps pps = read_avc_pps(bits_of(nal));
    pps_.keep(pps.pic_parameter_set_id, pps);
}

// One that comes again unchanged begins nothing.
inline void AvcChecker::keep_sps(const NalUnit& nal)
{
    const Fingerprint fingerprint = fingerprint_of(nal.payload());
    Sequence sequence = {read_avc_sps(bits_of(nal)), fingerprint, 0};
    const std::uint32_t id = sequence.sps.seq_parameter_set_id;
    const Sequence* const known = sps_.find(id);
    sequence.number = known != nullptr && known->fingerprint == fingerprint ? known->number : ++sequences_;
    sps_.keep(id, std::move(sequence));
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

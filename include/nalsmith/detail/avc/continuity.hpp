// SPDX-License-Identifier: MIT
// Whether the pictures of an H.264 stream follow one another: by frame_num, by the pairs of fields, and by
// the picture order count, which no two pictures between IDR pictures share.
#ifndef NALSMITH_DETAIL_AVC_CONTINUITY_HPP
#define NALSMITH_DETAIL_AVC_CONTINUITY_HPP

#include "nalsmith/detail/avc/picture.hpp"
#include "nalsmith/detail/recent_counts.hpp"
#include "nalsmith/detail/rules.hpp"
#include "nalsmith/finding.hpp"

#include <optional>

namespace nalsmith {
inline namespace v1 {
namespace detail {

class AvcContinuity {
public:
    // The next picture, with its picture order count. `may_start`: a decoder may, by what comes with it.
    Finding judge(const AvcPicture& picture, std::int64_t count, bool may_start)
    {
        const bool second = is_second_field(picture);
        Finding finding = second ? Finding::continuous : follow(picture, may_start);
        if (!note_count(picture, count) && finding == Finding::continuous)
            finding = Finding::missing_reference;
        remember(picture, second);
        return finding;
    }

    // The frame_num of the last picture, counted on where it begins again. Without meaning across a break.
    std::uint64_t position() const noexcept { return position_; }

private:
    // Some encoders make both fields IDR pictures. After a field that none refers to, one that others refer
    // to is no second one (3.30).
    bool is_second_field(const AvcPicture& picture) const noexcept
    {
        if (!half_ || !picture.field_pic_flag || picture.bottom_field_flag == last_->bottom_field_flag ||
            (picture.reference() && !last_->reference()))
            return false;
        if (picture.IdrPicFlag)
            return last_->IdrPicFlag && picture.idr_pic_id == last_->idr_pic_id;
        return picture.frame_num == last_->frame_num || (last_->resets_numbering && picture.frame_num == 0);
    }

    Finding follow(const AvcPicture& picture, bool may_start) const noexcept
    {
        if (!last_)
            return picture.IdrPicFlag || picture.intra() || may_start ? Finding::continuous
                                                                      : Finding::no_start;
        if (!picture.IdrPicFlag && !follows_reference(picture))
            return picture.gaps_allowed ? Finding::allowed_gap : Finding::missing_reference;
        return half_ && last_->reference() && !last_->gaps_allowed ? Finding::missing_field
                                                                   : Finding::continuous;
    }

    // Some encoders give a picture that none refers to the frame_num of the reference before it: only a whole
    // turn of the counter could be missing there.
    bool follows_reference(const AvcPicture& picture) const noexcept
    {
        return picture.frame_num == next_frame_num(reference_frame_num_, picture.max_frame_num) ||
               (!picture.reference() && picture.frame_num == reference_frame_num_);
    }

    // False when there has been a picture of this count since the last IDR picture.
    bool note_count(const AvcPicture& picture, std::int64_t count) noexcept
    {
        if (picture.pic_order_cnt_type != 0)
            return true; // derived from frame_num
        if (picture.IdrPicFlag || picture.resets_numbering)
            counts_.clear();
        if (picture.resets_numbering || counts_.add(4 * count + picture.structure()))
            return true;
        counts_.clear(); // those before the loss
        counts_.add(4 * count + picture.structure());
        return false;
    }

    void remember(const AvcPicture& picture, bool second) noexcept
    {
        const std::uint32_t steps = (picture.frame_num - reference_frame_num_) & (picture.max_frame_num - 1);
        position_ = reference_position_ + steps;
        if (picture.reference()) {
            reference_frame_num_ = picture.resets_numbering ? 0 : picture.frame_num;
            reference_position_ = position_;
        } else if (steps > 1 && !second) { // the gap counts once
            reference_frame_num_ = (picture.frame_num - 1) & (picture.max_frame_num - 1);
            reference_position_ = position_ - 1;
        }
        last_ = picture;
        half_ = picture.field_pic_flag && !second;
    }

    std::optional<AvcPicture> last_;
    bool half_ = false; // the last picture is a field that has no partner yet
    std::uint32_t reference_frame_num_ = 0;
    std::uint64_t reference_position_ = 0;
    std::uint64_t position_ = 0;
    RecentCounts counts_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

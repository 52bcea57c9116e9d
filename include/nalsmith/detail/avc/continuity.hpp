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
    Finding judge(const AvcPicture& picture)
    {
        if (picture.redundant || (last_ && last_->same_picture(picture)))
            return Finding::none; // more of the picture before
        const bool second = is_second_field(picture);
        Finding finding = picture.IdrPicFlag || second ? Finding::continuous : follow(picture);
        if (picture.IdrPicFlag)
            counts_.clear();
        if (!note_count(picture) && finding == Finding::continuous)
            finding = Finding::missing_reference;
        remember(picture, second);
        return finding;
    }

private:
    bool is_second_field(const AvcPicture& picture) const noexcept
    {
        return half_ && picture.field_pic_flag && !picture.IdrPicFlag &&
               picture.bottom_field_flag != last_->bottom_field_flag &&
               (picture.frame_num == last_->frame_num || (last_->resets_numbering && picture.frame_num == 0));
    }

    Finding follow(const AvcPicture& picture) noexcept
    {
        if (!last_)
            return picture.intra() ? Finding::continuous : Finding::no_start;
        if (picture.gaps_allowed)
            return picture.frame_num == next_frame_num(picture) ? Finding::continuous : Finding::allowed_gap;
        if (picture.frame_num != next_frame_num(picture))
            return Finding::missing_reference;
        return half_ && last_->reference() ? Finding::missing_field : Finding::continuous;
    }

    std::uint32_t next_frame_num(const AvcPicture& picture) const noexcept
    {
        const std::uint32_t next = reference_frame_num_ + 1;
        return picture.max_frame_num != 0 ? next % picture.max_frame_num : next;
    }

    // H.264 8.2.1.1. False when there has been a picture of this count since the last IDR picture.
    bool note_count(const AvcPicture& picture)
    {
        if (picture.pic_order_cnt_type != 0 || picture.max_lsb == 0)
            return true;
        if (picture.IdrPicFlag) {
            lsb_ = 0;
            msb_ = 0;
        }
        const std::int64_t msb = pic_order_cnt_msb(picture.pic_order_cnt_lsb, picture.max_lsb, lsb_, msb_);
        const std::int64_t count = msb + picture.pic_order_cnt_lsb;
        if (picture.reference()) {
            msb_ = msb;
            lsb_ = picture.pic_order_cnt_lsb;
        }
        if (picture.resets_numbering) {
            counts_.clear();
            msb_ = 0;
            lsb_ = picture.delta_pic_order_cnt_bottom < 0 && !picture.bottom_field_flag
                       ? static_cast<std::uint32_t>(
                             -static_cast<std::int64_t>(picture.delta_pic_order_cnt_bottom))
                       : 0;
            return true;
        }
        return counts_.add(4 * count +
                           (picture.field_pic_flag ? 1 + (picture.bottom_field_flag ? 1 : 0) : 0));
    }

    void remember(const AvcPicture& picture, bool second) noexcept
    {
        if (picture.resets_numbering)
            reference_frame_num_ = 0;
        else if (picture.reference())
            reference_frame_num_ = picture.frame_num;
        else if ((!last_ || picture.frame_num != next_frame_num(picture)) && !second)
            reference_frame_num_ = picture.frame_num - 1; // the gap counts once
        last_ = picture;
        half_ = picture.field_pic_flag && !second;
    }

    std::optional<AvcPicture> last_;
    bool half_ = false; // the last picture is a field that has no partner yet
    std::uint32_t reference_frame_num_ = 0;
    std::uint32_t lsb_ = 0;
    std::int64_t msb_ = 0;
    RecentCounts counts_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

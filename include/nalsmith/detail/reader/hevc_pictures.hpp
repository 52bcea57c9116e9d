// SPDX-License-Identifier: MIT
// Which H.265 slice segments can be read, and which begin a picture: by the rules of the library, which keeps
// the parameter sets of all layers in one table. With it what kind the slice is, and the picture's place in
// output order, of the base layer.
#ifndef NALSMITH_DETAIL_READER_HEVC_PICTURES_HPP
#define NALSMITH_DETAIL_READER_HEVC_PICTURES_HPP

#include "nalsmith/detail/by_id.hpp"
#include "nalsmith/detail/hevc/picture_order.hpp"
#include "nalsmith/detail/payload.hpp"
#include "nalsmith/detail/reader/slice_verdict.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class HevcPictures {
public:
    void keep(const HevcVps& vps) noexcept { vps_[vps.vps_video_parameter_set_id] = true; }
    void keep(const HevcSps& sps)
    {
        // No MaxPicOrderCntLsb of 32 bits exists from here on.
        constexpr std::uint32_t kLog2MaxLsbMinus4Limit = 28;
        if (sps.num_short_term_ref_pic_sets <= HevcSps::kMostReferenceSets)
            sps_.keep(sps.sps_seq_parameter_set_id,
                      {sps.sps_video_parameter_set_id,
                       sps.log2_max_pic_order_cnt_lsb_minus4 < kLog2MaxLsbMinus4Limit, format_of(sps)});
    }
    void keep(const HevcPps& pps) { pps_.keep(pps.pps_pic_parameter_set_id, pps); }

    // The next picture that is an IRAP picture begins a sequence of its own.
    void end_sequence() noexcept { entered_ = false; }

    SliceVerdict look(const NalUnit& head) noexcept
    {
        BitReader reader = bits_of(head);
        SliceVerdict verdict;
        HevcSegment segment;
        segment.type = head.type();
        segment.temporal_id = head.temporal_id();
        read_hevc_segment_begin(reader, segment);
        verdict.begins = segment.first_slice_segment_in_pic_flag;
        verdict.pps_id = segment.slice_pic_parameter_set_id;
        const HevcPps* const pps = pps_.find(verdict.pps_id);
        const Sps* const sps = pps == nullptr ? nullptr : sps_.find(pps->pps_seq_parameter_set_id);
        verdict.readable = sps != nullptr && sps->usable && vps_[sps->sps_video_parameter_set_id];
        if (!verdict.readable || !sps->format || head.layer_id() != 0 ||
            !read_hevc_segment_type(reader, *sps->format, *pps, segment) || reader.past_end())
            return verdict;
        if (!segment.dependent_slice_segment_flag)
            verdict.kind = kind_of(segment.slice_type);
        if (!verdict.begins)
            return verdict;
        read_hevc_segment_order(reader, *sps->format, *pps, segment);
        if (!reader.past_end())
            verdict.number = number(segment);
        return verdict;
    }

private:
    struct Sps {
        std::uint32_t sps_video_parameter_set_id = 0;
        bool usable = false;
        std::optional<HevcPictureFormat> format;
    };

    static PictureKind kind_of(std::uint32_t slice_type) noexcept
    {
        switch (slice_type) {
        case 0: return PictureKind::bidirectional;
        case 1: return PictureKind::predicted;
        case 2: return PictureKind::intra;
        default: return PictureKind::unknown;
        }
    }

    PictureNumber number(const HevcSegment& picture) noexcept
    {
        const bool starts = picture.irap() && (!entered_ || picture.idr() || picture.bla());
        entered_ = entered_ || picture.irap();
        const bool restarts = !std::exchange(began_, true) || starts;
        return {order_.next(picture, restarts), true, restarts};
    }

    std::array<bool, 16> vps_ = {};
    ById<Sps, 32> sps_;
    ById<HevcPps, 256> pps_;
    HevcPictureOrder order_;
    bool entered_ = false; // an IRAP picture has come
    bool began_ = false;   // any picture
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

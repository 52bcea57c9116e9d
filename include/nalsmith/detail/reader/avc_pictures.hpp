// SPDX-License-Identifier: MIT
// Which H.264 slices can be read, and which begin a picture: by the rules of the library, from the head of a
// slice. With it what kind the slice is, and the picture's place in output order.
#ifndef NALSMITH_DETAIL_READER_AVC_PICTURES_HPP
#define NALSMITH_DETAIL_READER_AVC_PICTURES_HPP

#include "nalsmith/detail/avc/picture_order.hpp"
#include "nalsmith/detail/by_id.hpp"
#include "nalsmith/detail/payload.hpp"
#include "nalsmith/detail/reader/slice_verdict.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class AvcPictures {
public:
    void keep(AvcSps sps)
    {
        const std::uint32_t id = sps.seq_parameter_set_id;
        sps_.keep(id, std::move(sps));
    }
    void keep(const AvcPps& pps) { pps_.keep(pps.pic_parameter_set_id, pps); }

    SliceVerdict look(const NalUnit& head) noexcept
    {
        BitReader reader = bits_of(head);
        AvcSlice slice;
        SliceVerdict verdict;
        const Sets sets = begin(reader, head, slice);
        verdict.slice_type = slice.slice_type;
        verdict.pps_id = slice.pic_parameter_set_id;
        if (sets.sps == nullptr)
            return verdict;
        verdict.readable = true;
        verdict.kind = reader.past_end() ? PictureKind::unknown : kind_of(slice.slice_type);
        verdict.begins = begins_picture(prev_, slice, sets.sps->pic_order_cnt_type);
        prev_ = slice;
        if (!verdict.begins)
            return verdict;
        verdict.number = number(reader, sets, slice);
        verdict.cut_off = reader.past_end() && head.bytes.size() - head.start_code_size == kSliceHead;
        return verdict;
    }

    // The same of a slice that has come whole, whose head was cut off.
    PictureNumber number(const NalUnit& nal) noexcept
    {
        BitReader reader = bits_of(nal);
        AvcSlice slice;
        const Sets sets = begin(reader, nal, slice);
        return sets.sps == nullptr ? PictureNumber() : number(reader, sets, slice);
    }

private:
    struct Sets {
        const AvcSps* sps = nullptr;
        const AvcPps* pps = nullptr;
    };

    static PictureKind kind_of(std::uint32_t slice_type) noexcept
    {
        constexpr std::uint32_t kMostSliceType = 9;
        if (slice_type > kMostSliceType)
            return PictureKind::unknown;
        const std::uint32_t kind = slice_type % 5;
        return kind == 1                ? PictureKind::bidirectional
               : kind == 0 || kind == 3 ? PictureKind::predicted
                                        : PictureKind::intra;
    }

    Sets begin(BitReader& reader, const NalUnit& nal, AvcSlice& slice) const noexcept
    {
        read_avc_slice_begin(reader, slice);
        Sets sets;
        sets.pps = pps_.find(slice.pic_parameter_set_id);
        sets.sps = sets.pps == nullptr ? nullptr : sps_.find(sets.pps->seq_parameter_set_id);
        if (sets.sps == nullptr)
            return sets;
        slice.nal_ref_idc = static_cast<std::uint8_t>(nal.ref_idc());
        slice.IdrPicFlag = is_avc_idr(nal.type());
        read_avc_slice_numbers(reader, *sets.sps, sets.pps->bottom_field_pic_order_in_frame_present_flag,
                               slice);
        return sets;
    }

    // A slice of macroblock 0 may be one of the same picture: of another colour plane, redundant, or sent in
    // any order.
    PictureNumber number(BitReader& reader, const Sets& sets, const AvcSlice& slice) noexcept
    {
        AvcPicture picture;
        static_cast<AvcSlice&>(picture) = slice;
        if (!read_avc_picture_rest(reader, *sets.sps, *sets.pps, picture))
            return {};
        if (began_ && picture_.same_picture(picture))
            return {last_order_, true, false};
        if (picture.redundant)
            return {};
        const std::int64_t before_reset = order_.next(picture, *sets.sps);
        last_order_ = picture.resets_numbering ? 0 : before_reset;
        picture_ = picture;
        const bool first = !std::exchange(began_, true);
        return {last_order_, true, first || picture.IdrPicFlag || picture.resets_numbering};
    }

    ById<AvcSps, 32> sps_;
    ById<AvcPps, 256> pps_;
    AvcSlice prev_;      // the last slice that could be read
    AvcPicture picture_; // the last one that began a picture
    std::int64_t last_order_ = 0;
    bool began_ = false;
    AvcPictureOrder order_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

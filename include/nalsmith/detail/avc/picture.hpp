// SPDX-License-Identifier: MIT
// What H.264 slice headers say about the numbering of pictures and the marking of references (H.264 7.3.3).
#ifndef NALSMITH_DETAIL_AVC_PICTURE_HPP
#define NALSMITH_DETAIL_AVC_PICTURE_HPP

#include "nalsmith/detail/avc/slice.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

// One slice, as far as it describes its picture.
struct AvcPicture : AvcSlice {
    bool redundant = false;
    bool resets_numbering = false; // memory_management_control_operation 5
    bool gaps_allowed = false;
    bool arbitrary_order = false; // slices may come in any
    std::uint32_t max_frame_num = 16;
    std::uint32_t pic_order_cnt_type = 0;
    std::uint32_t max_lsb = 16;

    bool intra() const noexcept { return slice_type % 5 == 2 || slice_type % 5 == 4; }
    bool bidirectional() const noexcept { return slice_type % 5 == 1; }
    bool reference() const noexcept { return nal_ref_idc != 0; }

    unsigned structure() const noexcept { return !field_pic_flag ? 0U : bottom_field_flag ? 2U : 1U; }

    // H.264 7.4.1.2.4
    bool same_picture(const AvcPicture& other) const noexcept
    {
        return IdrPicFlag == other.IdrPicFlag && reference() == other.reference() &&
               pic_parameter_set_id == other.pic_parameter_set_id && frame_num == other.frame_num &&
               field_pic_flag == other.field_pic_flag && bottom_field_flag == other.bottom_field_flag &&
               idr_pic_id == other.idr_pic_id && pic_order_cnt_lsb == other.pic_order_cnt_lsb &&
               delta_pic_order_cnt_bottom == other.delta_pic_order_cnt_bottom &&
               delta_pic_order_cnt == other.delta_pic_order_cnt;
    }
};

inline void skip_list_modification(BitReader& reader) noexcept
{
    if (!reader.flag())
        return;
    while (reader.ue() != 3 && !reader.exhausted())
        reader.ue();
}

inline void skip_weights(BitReader& reader, std::uint32_t entries, bool chroma) noexcept
{
    for (; entries > 0 && !reader.exhausted(); --entries) {
        if (reader.flag())
            reader.skip_ue(2);
        if (chroma && reader.flag())
            reader.skip_ue(4);
    }
}

// dec_ref_pic_marking() of a picture that is no IDR picture: whether it resets the numbering.
inline bool reads_reset(BitReader& reader) noexcept
{
    bool reset = false;
    if (!reader.flag())
        return false;
    while (!reader.exhausted()) {
        const std::uint32_t operation = reader.ue();
        if (operation == 0)
            break;
        reset = reset || operation == 5;
        reader.skip_ue(operation == 3 ? 2 : operation == 5 ? 0 : 1);
    }
    return reset;
}

// From the picture order count to the marking of references.
inline void read_avc_references(BitReader& reader, const AvcSps& sps, const AvcPps& pps,
                                AvcPicture& picture) noexcept
{
    const bool b = picture.bidirectional();
    const unsigned lists = picture.intra() ? 0 : b ? 2 : 1;
    std::array<std::uint32_t, 2> entries = pps.num_ref_idx_default_active;
    if (b)
        reader.flag(); // direct_spatial_mv_pred_flag
    if (lists != 0 && reader.flag())
        for (unsigned list = 0; list < lists; ++list)
            entries[list] = reader.ue() + 1;
    for (unsigned list = 0; list < lists; ++list)
        skip_list_modification(reader);
    if ((lists == 1 && pps.weighted_pred_flag) || (b && pps.weighted_bipred_idc == 1)) {
        const bool chroma = sps.chroma_array_type() != 0;
        reader.skip_ue(chroma ? 2 : 1);
        for (unsigned list = 0; list < lists; ++list)
            skip_weights(reader, entries[list], chroma);
    }
    if (picture.reference() && picture.IdrPicFlag)
        reader.skip(2); // no_output_of_prior_pics_flag, long_term_reference_flag
    else if (picture.reference())
        picture.resets_numbering = reads_reset(reader);
}

// Field widths that the standard has not make a header that nobody can read.
inline bool has_readable_slices(const AvcSps& sps) noexcept
{
    constexpr std::uint32_t kMostBits = 16;
    return sps.frame_num_bits <= kMostBits && sps.lsb_bits <= kMostBits && sps.pic_order_cnt_type <= 2;
}

// A.2.1, A.2.3: Baseline, unless Main as well, and Extended.
inline bool allows_arbitrary_order(const AvcSps& sps, const AvcPps& pps) noexcept
{
    return pps.slice_groups || sps.profile_idc == 88 ||
           (sps.profile_idc == 66 && !sps.constraint_set1_flag());
}

// After the numbers of the slice, to the end of what its picture is known by. False when the header
// contradicts the parameter sets or itself, or ends too early.
inline bool read_avc_picture_rest(BitReader& reader, const AvcSps& sps, const AvcPps& pps,
                                  AvcPicture& picture) noexcept
{
    constexpr std::uint32_t kMostSliceType = 9;
    if (!has_readable_slices(sps) || picture.slice_type > kMostSliceType)
        return false;
    picture.max_frame_num = 1U << sps.frame_num_bits;
    picture.gaps_allowed = sps.gaps_in_frame_num_value_allowed_flag;
    picture.pic_order_cnt_type = sps.pic_order_cnt_type;
    picture.max_lsb = 1U << sps.lsb_bits;
    picture.arbitrary_order = allows_arbitrary_order(sps, pps);
    if (pps.redundant_pic_cnt_present_flag)
        picture.redundant = reader.ue() != 0;
    read_avc_references(reader, sps, pps, picture);
    return picture.colour_plane_id < 3 && !reader.past_end();
}

// After pic_parameter_set_id.
inline bool read_avc_picture(BitReader& reader, const AvcSps& sps, const AvcPps& pps,
                             AvcPicture& picture) noexcept
{
    read_avc_slice_numbers(reader, sps, pps.bottom_field_pic_order_in_frame_present_flag, picture);
    return read_avc_picture_rest(reader, sps, pps, picture);
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

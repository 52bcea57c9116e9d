// SPDX-License-Identifier: MIT
// What H.264 headers say about the numbering of pictures and the marking of references (H.264 7.3).
#ifndef NALSMITH_DETAIL_AVC_PICTURE_HPP
#define NALSMITH_DETAIL_AVC_PICTURE_HPP

#include "nalsmith/detail/bit_reader.hpp"

#include <array>
#include <optional>

namespace nalsmith::detail {

struct AvcSps {
    unsigned id = 0;
    bool separate_colour_plane_flag = false;
    unsigned chroma_array_type = 1;
    unsigned frame_num_bits = 4;
    unsigned pic_order_cnt_type = 0;
    unsigned lsb_bits = 4;
    bool delta_pic_order_always_zero_flag = false;
    bool gaps_allowed = false;
    bool frame_mbs_only_flag = true;
};

struct AvcPps {
    unsigned id = 0;
    unsigned sps_id = 0;
    bool pic_order_present = false;
    std::array<unsigned, 2> num_ref_idx = {1, 1};
    bool weighted_pred_flag = false;
    unsigned weighted_bipred_idc = 0;
    bool redundant_pic_cnt_present = false;
};

// One slice, as far as it describes its picture.
struct AvcPicture {
    bool idr = false;
    bool reference = false;
    unsigned slice_type = 0; // 0 to 4
    unsigned pps_id = 0;
    std::uint32_t frame_num = 0;
    bool field = false;
    bool bottom = false;
    std::uint32_t idr_pic_id = 0;
    std::uint32_t lsb = 0;
    std::int32_t delta_bottom = 0;
    std::int32_t delta0 = 0;
    std::int32_t delta1 = 0;
    bool redundant = false;
    bool resets_numbering = false; // memory_management_control_operation 5
    std::uint32_t max_frame_num = 16;
    bool gaps_allowed = false;
    unsigned pic_order_cnt_type = 0;
    std::uint32_t max_lsb = 16;

    bool intra() const noexcept { return slice_type == 2 || slice_type == 4; }

    // H.264 7.4.1.2.4, without the first macroblock, which decides nothing there.
    bool same_picture(const AvcPicture& other) const noexcept
    {
        return idr == other.idr && reference == other.reference && pps_id == other.pps_id &&
               frame_num == other.frame_num && field == other.field && bottom == other.bottom &&
               idr_pic_id == other.idr_pic_id && lsb == other.lsb && delta_bottom == other.delta_bottom &&
               delta0 == other.delta0 && delta1 == other.delta1;
    }
};

inline bool has_chroma_format(unsigned profile_idc) noexcept
{
    for (const unsigned with : {100U, 110U, 122U, 244U, 44U, 83U, 86U, 118U, 128U, 138U, 139U, 134U, 135U})
        if (profile_idc == with)
            return true;
    return false;
}

inline void skip_avc_scaling_lists(BitReader& reader, unsigned count) noexcept
{
    for (unsigned list = 0; list < count; ++list) {
        if (reader.flag() == 0)
            continue;
        std::int32_t last = 8;
        std::int32_t next = 8;
        for (unsigned left = list < 6 ? 16 : 64; left > 0; --left) {
            if (next != 0)
                next = static_cast<std::int32_t>((static_cast<std::int64_t>(last) + reader.se() + 256) % 256);
            last = next == 0 ? last : next;
        }
    }
}

inline AvcSps read_avc_sps(const NalUnit& nal) noexcept
{
    BitReader reader(nal);
    AvcSps sps;
    const unsigned profile_idc = reader.bits(8);
    reader.skip(16);
    sps.id = reader.ue();
    if (has_chroma_format(profile_idc)) {
        sps.chroma_array_type = reader.ue();
        const bool is_444 = sps.chroma_array_type == 3;
        sps.separate_colour_plane_flag = is_444 && reader.flag() != 0;
        reader.skip_ue(2); // bit depths
        reader.skip(1);
        if (reader.flag() != 0)
            skip_avc_scaling_lists(reader, is_444 ? 12 : 8);
        if (sps.separate_colour_plane_flag)
            sps.chroma_array_type = 0;
    }
    sps.frame_num_bits = reader.ue() + 4;
    sps.pic_order_cnt_type = reader.ue();
    if (sps.pic_order_cnt_type == 0) {
        sps.lsb_bits = reader.ue() + 4;
    } else if (sps.pic_order_cnt_type == 1) {
        sps.delta_pic_order_always_zero_flag = reader.flag() != 0;
        reader.skip_ue(2);
        reader.skip_ue(reader.ue());
    }
    reader.ue(); // max_num_ref_frames
    sps.gaps_allowed = reader.flag() != 0;
    reader.skip_ue(2);
    sps.frame_mbs_only_flag = reader.flag() != 0;
    return sps;
}

inline unsigned bits_for(std::uint32_t count) noexcept // Ceil(Log2(count))
{
    unsigned bits = 0;
    while (bits < 32 && (std::uint64_t{1} << bits) < count)
        ++bits;
    return bits;
}

inline void skip_slice_groups(BitReader& reader, std::uint32_t groups_minus1) noexcept
{
    const std::uint32_t type = reader.ue();
    if (type == 0)
        reader.skip_ue(groups_minus1 + 1);
    else if (type == 2)
        reader.skip_ue(2 * groups_minus1);
    else if (type >= 3 && type <= 5) {
        reader.skip(1);
        reader.ue();
    } else if (type == 6) {
        for (std::uint32_t units = reader.ue() + 1; units > 0 && !reader.exhausted(); --units)
            reader.skip(bits_for(groups_minus1 + 1));
    }
}

inline AvcPps read_avc_pps(const NalUnit& nal) noexcept
{
    BitReader reader(nal);
    AvcPps pps;
    pps.id = reader.ue();
    pps.sps_id = reader.ue();
    reader.skip(1); // entropy_coding_mode_flag
    pps.pic_order_present = reader.flag() != 0;
    if (const std::uint32_t groups_minus1 = reader.ue())
        skip_slice_groups(reader, groups_minus1);
    for (unsigned& count : pps.num_ref_idx)
        count = reader.ue() + 1;
    pps.weighted_pred_flag = reader.flag() != 0;
    pps.weighted_bipred_idc = reader.bits(2);
    reader.skip_ue(3); // quantisation
    reader.skip(2);
    pps.redundant_pic_cnt_present = reader.flag() != 0;
    return pps;
}

inline void skip_list_modification(BitReader& reader) noexcept
{
    if (reader.flag() == 0)
        return;
    while (reader.ue() != 3 && !reader.exhausted())
        reader.ue();
}

inline void skip_weights(BitReader& reader, unsigned entries, bool chroma) noexcept
{
    for (; entries > 0 && !reader.exhausted(); --entries) {
        if (reader.flag() != 0)
            reader.skip_ue(2);
        if (chroma && reader.flag() != 0)
            reader.skip_ue(4);
    }
}

// dec_ref_pic_marking() of a picture that is no IDR picture: whether it resets the numbering.
inline bool reads_reset(BitReader& reader) noexcept
{
    bool reset = false;
    if (reader.flag() == 0)
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

// From behind the picture order count to the marking of references.
inline void read_avc_references(BitReader& reader, const AvcSps& sps, const AvcPps& pps, AvcPicture& picture)
{
    const bool b = picture.slice_type == 1;
    const unsigned lists = picture.intra() ? 0 : b ? 2 : 1;
    std::array<unsigned, 2> entries = pps.num_ref_idx;
    if (b)
        reader.flag(); // direct_spatial_mv_pred_flag
    if (lists != 0 && reader.flag() != 0)
        for (unsigned list = 0; list < lists; ++list)
            entries[list] = reader.ue() + 1;
    for (unsigned list = 0; list < lists; ++list)
        skip_list_modification(reader);
    if ((lists == 1 && pps.weighted_pred_flag) || (b && pps.weighted_bipred_idc == 1)) {
        const bool chroma = sps.chroma_array_type != 0;
        reader.skip_ue(chroma ? 2 : 1);
        for (unsigned list = 0; list < lists; ++list)
            skip_weights(reader, entries[list], chroma);
    }
    picture.resets_numbering = picture.reference && !picture.idr && reads_reset(reader);
}

// Behind pic_parameter_set_id.
inline void read_avc_slice(BitReader& reader, const AvcSps& sps, const AvcPps& pps, AvcPicture& picture)
{
    if (sps.separate_colour_plane_flag)
        reader.skip(2);
    picture.max_frame_num = sps.frame_num_bits < 32 ? 1U << sps.frame_num_bits : 0;
    picture.gaps_allowed = sps.gaps_allowed;
    picture.pic_order_cnt_type = sps.pic_order_cnt_type;
    picture.max_lsb = sps.lsb_bits < 31 ? 1U << sps.lsb_bits : 0;
    picture.frame_num = reader.bits(sps.frame_num_bits);
    picture.field = !sps.frame_mbs_only_flag && reader.flag() != 0;
    picture.bottom = picture.field && reader.flag() != 0;
    if (picture.idr)
        picture.idr_pic_id = reader.ue();
    const bool both = pps.pic_order_present && !picture.field;
    if (sps.pic_order_cnt_type == 0) {
        picture.lsb = reader.bits(sps.lsb_bits);
        picture.delta_bottom = both ? reader.se() : 0;
    } else if (sps.pic_order_cnt_type == 1 && !sps.delta_pic_order_always_zero_flag) {
        picture.delta0 = reader.se();
        picture.delta1 = both ? reader.se() : 0;
    }
    if (pps.redundant_pic_cnt_present)
        picture.redundant = reader.ue() != 0;
    read_avc_references(reader, sps, pps, picture);
}

} // namespace nalsmith::detail

#endif

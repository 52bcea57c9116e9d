// SPDX-License-Identifier: MIT
// What H.265 headers say about picture order counts and reference pictures (H.265 7.3).
#ifndef NALSMITH_DETAIL_HEVC_PICTURE_HPP
#define NALSMITH_DETAIL_HEVC_PICTURE_HPP

#include "nalsmith/detail/avc_picture.hpp"
#include "nalsmith/detail/hevc_reference_set.hpp"
#include "nalsmith/parameter_sets.hpp"

namespace nalsmith::detail {

struct HevcSps {
    unsigned id = 0;
    bool separate_colour_plane_flag = false;
    unsigned lsb_bits = 4;
    std::vector<HevcReferenceSet> sets;
    bool long_term_present = false;
    std::vector<HevcDelta> long_term; // picture order count lsb
};

struct HevcPps {
    unsigned id = 0;
    unsigned sps_id = 0;
    bool output_flag_present = false;
    unsigned extra_slice_header_bits = 0;
};

struct HevcLongTerm {
    std::uint32_t lsb = 0;
    bool used_now = false;
    bool has_msb = false;
    std::uint32_t msb_cycle = 0;
};

// The first slice segment of a picture.
struct HevcPicture {
    unsigned type = 0;
    unsigned temporal_id = 0;
    std::uint32_t lsb = 0;
    std::uint32_t max_lsb = 16;
    HevcReferenceSet set;
    std::vector<HevcLongTerm> long_term;

    bool irap() const noexcept { return type >= 16 && type <= 23; }
    bool idr() const noexcept { return type == 19 || type == 20; }
    bool bla() const noexcept { return type >= 16 && type <= 18; }
    bool rasl() const noexcept { return type == 8 || type == 9; }
    // What later pictures take their picture order counts from (H.265 8.3.1).
    bool counts_for_poc() const noexcept
    {
        return temporal_id == 0 && !(type >= 6 && type <= 9) && !(type < 16 && type % 2 == 0);
    }
};

inline void skip_hevc_scaling_lists(BitReader& reader) noexcept
{
    for (unsigned size = 0; size < 4; ++size)
        for (unsigned matrix = 0; matrix < 6; matrix += size == 3 ? 3 : 1) {
            if (reader.flag() == 0) {
                reader.ue(); // scaling_list_pred_matrix_id_delta
                continue;
            }
            const unsigned coefficients = size == 0 ? 16 : 64;
            reader.skip_ue(coefficients + (size > 1 ? 1 : 0));
        }
}

inline void skip_to_reference_sets(BitReader& reader, unsigned max_sub_layers_minus1) noexcept
{
    const bool each = reader.flag() != 0; // sps_sub_layer_ordering_info_present_flag
    reader.skip_ue(each ? 3 * (max_sub_layers_minus1 + 1) : 3);
    reader.skip_ue(6); // block sizes and depths
    if (reader.flag() != 0 && reader.flag() != 0)
        skip_hevc_scaling_lists(reader);
    reader.skip(2);
    if (reader.flag() != 0) { // pcm_enabled_flag
        reader.skip(8);
        reader.skip_ue(2);
        reader.skip(1);
    }
}

inline std::optional<HevcSps> read_hevc_sps(const NalUnit& nal)
{
    HevcSps sps;
    BitReader reader(nal);
    BitReader head = reader;
    head.skip(4);
    const unsigned max_sub_layers_minus1 = head.bits(3);
    sps.id = read_hevc_sps_id(reader).id;
    if (reader.ue() == 3) // chroma_format_idc
        sps.separate_colour_plane_flag = reader.flag() != 0;
    reader.skip_ue(2);
    if (reader.flag() != 0) // conformance_window_flag
        reader.skip_ue(4);
    reader.skip_ue(2);
    sps.lsb_bits = reader.ue() + 4;
    skip_to_reference_sets(reader, max_sub_layers_minus1);
    const std::uint32_t sets = reader.ue();
    if (sets > 64 || sps.lsb_bits > 16)
        return std::nullopt;
    sps.sets.resize(sets);
    for (std::uint32_t i = 0; i < sets; ++i)
        if (!read_reference_set(reader, sps.sets, i, false, sps.sets[i]))
            return std::nullopt;
    sps.long_term_present = reader.flag() != 0;
    const std::uint32_t long_term = sps.long_term_present ? reader.ue() : 0;
    if (long_term > 32)
        return std::nullopt;
    for (std::uint32_t i = 0; i < long_term; ++i) {
        const auto lsb = static_cast<std::int32_t>(reader.bits(sps.lsb_bits));
        sps.long_term.push_back({lsb, reader.flag() != 0});
    }
    return sps;
}

inline HevcPps read_hevc_pps(const NalUnit& nal) noexcept
{
    BitReader reader(nal);
    HevcPps pps;
    pps.id = reader.ue();
    pps.sps_id = reader.ue();
    reader.skip(1); // dependent_slice_segments_enabled_flag
    pps.output_flag_present = reader.flag() != 0;
    pps.extra_slice_header_bits = reader.bits(3);
    return pps;
}

inline bool read_long_term(BitReader& reader, const HevcSps& sps, HevcPicture& picture)
{
    const std::uint32_t from_sps = sps.long_term.empty() ? 0 : reader.ue();
    const std::uint32_t own = reader.ue();
    if (from_sps > 32 || own > 32)
        return false;
    std::uint32_t cycle = 0;
    for (std::uint32_t i = 0; i < from_sps + own; ++i) {
        HevcLongTerm entry;
        if (i < from_sps) {
            const std::size_t at = reader.bits(bits_for(static_cast<std::uint32_t>(sps.long_term.size())));
            if (at >= sps.long_term.size())
                return false;
            entry.lsb = static_cast<std::uint32_t>(sps.long_term[at].poc);
            entry.used_now = sps.long_term[at].used_now;
        } else {
            entry.lsb = reader.bits(sps.lsb_bits);
            entry.used_now = reader.flag() != 0;
        }
        entry.has_msb = reader.flag() != 0;
        const std::uint32_t step = entry.has_msb ? reader.ue() : 0;
        cycle = i == 0 || i == from_sps ? step : cycle + step;
        entry.msb_cycle = cycle;
        picture.long_term.push_back(entry);
    }
    return true;
}

// Behind slice_pic_parameter_set_id of a first slice segment.
inline bool read_hevc_slice(BitReader& reader, const HevcSps& sps, const HevcPps& pps, HevcPicture& picture)
{
    picture.max_lsb = 1U << sps.lsb_bits;
    reader.skip(pps.extra_slice_header_bits);
    reader.ue(); // slice_type
    reader.skip((pps.output_flag_present ? 1U : 0U) + (sps.separate_colour_plane_flag ? 2U : 0U));
    if (picture.idr())
        return true;
    picture.lsb = reader.bits(sps.lsb_bits);
    if (reader.flag() == 0) { // short_term_ref_pic_set_sps_flag
        if (!read_reference_set(reader, sps.sets, sps.sets.size(), true, picture.set))
            return false;
    } else {
        const std::size_t at = reader.bits(bits_for(static_cast<std::uint32_t>(sps.sets.size())));
        if (at >= sps.sets.size())
            return false;
        picture.set = sps.sets[at];
    }
    return !sps.long_term_present || read_long_term(reader, sps, picture);
}

} // namespace nalsmith::detail

#endif

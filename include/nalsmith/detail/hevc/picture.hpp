// SPDX-License-Identifier: MIT
// What H.265 headers say about picture order counts and reference pictures (H.265 7.3).
#ifndef NALSMITH_DETAIL_HEVC_PICTURE_HPP
#define NALSMITH_DETAIL_HEVC_PICTURE_HPP

#include "nalsmith/detail/hevc/reference_set.hpp"
#include "nalsmith/detail/hevc/syntax.hpp"
#include "nalsmith/detail/nal_types.hpp"

#include <optional>

namespace nalsmith {
inline namespace v1 {
namespace detail {

// What an SPS says about the pictures that others refer to.
struct HevcReferences {
    std::uint32_t sps_seq_parameter_set_id = 0;
    bool separate_colour_plane_flag = false;
    std::uint32_t lsb_bits = 4;
    std::vector<HevcReferenceSet> sets;
    bool long_term_present = false;
    std::vector<HevcDelta> long_term; // picture order count lsb
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

    bool irap() const noexcept { return is_hevc_irap(type); }
    bool idr() const noexcept { return is_hevc_idr(type); }
    bool bla() const noexcept { return is_hevc_bla(type); }
    bool rasl() const noexcept { return type == 8 || type == 9; }
    // What later pictures take their picture order counts from (H.265 8.3.1).
    bool counts_for_poc() const noexcept
    {
        return temporal_id == 0 && !is_hevc_leading(type) && !is_hevc_sub_layer_non_reference(type);
    }
};

inline std::optional<HevcReferences> read_hevc_references(BitReader reader)
{
    HevcSps sps;
    read_hevc_sps_head(reader, sps);
    constexpr std::uint32_t kMostLog2LsbMinus4 = 12;
    if (sps.num_short_term_ref_pic_sets > HevcSps::kMostReferenceSets ||
        sps.log2_max_pic_order_cnt_lsb_minus4 > kMostLog2LsbMinus4)
        return std::nullopt;
    HevcReferences references;
    references.sps_seq_parameter_set_id = sps.sps_seq_parameter_set_id;
    references.separate_colour_plane_flag = sps.separate_colour_plane_flag;
    references.lsb_bits = sps.log2_max_pic_order_cnt_lsb_minus4 + 4;
    references.sets.resize(sps.num_short_term_ref_pic_sets);
    for (std::size_t i = 0; i < references.sets.size(); ++i)
        if (!read_reference_set(reader, references.sets, i, false, references.sets[i]))
            return std::nullopt;
    references.long_term_present = reader.flag();
    const std::uint32_t long_term = references.long_term_present ? reader.ue() : 0;
    if (long_term > 32)
        return std::nullopt;
    for (std::uint32_t i = 0; i < long_term; ++i) {
        const auto lsb = static_cast<std::int32_t>(reader.bits(references.lsb_bits));
        references.long_term.push_back({lsb, reader.flag()});
    }
    return references;
}

inline bool read_long_term(BitReader& reader, const HevcReferences& references, HevcPicture& picture)
{
    const std::uint32_t from_sps = references.long_term.empty() ? 0 : reader.ue();
    const std::uint32_t own = reader.ue();
    if (from_sps > 32 || own > 32)
        return false;
    std::uint32_t cycle = 0;
    for (std::uint32_t i = 0; i < from_sps + own; ++i) {
        HevcLongTerm entry;
        if (i < from_sps) {
            const std::size_t at =
                reader.bits(bits_for(static_cast<std::uint32_t>(references.long_term.size())));
            if (at >= references.long_term.size())
                return false;
            entry.lsb = static_cast<std::uint32_t>(references.long_term[at].poc);
            entry.used_now = references.long_term[at].used_now;
        } else {
            entry.lsb = reader.bits(references.lsb_bits);
            entry.used_now = reader.flag();
        }
        entry.has_msb = reader.flag();
        const std::uint32_t step = entry.has_msb ? reader.ue() : 0;
        cycle = i == 0 || i == from_sps ? step : cycle + step;
        entry.msb_cycle = cycle;
        picture.long_term.push_back(entry);
    }
    return true;
}

// After slice_pic_parameter_set_id of a first slice segment.
inline bool read_hevc_slice(BitReader& reader, const HevcReferences& references, const HevcPps& pps,
                            HevcPicture& picture)
{
    picture.max_lsb = 1U << references.lsb_bits;
    reader.skip(pps.num_extra_slice_header_bits);
    reader.ue(); // slice_type
    reader.skip((pps.output_flag_present_flag ? 1U : 0U) + (references.separate_colour_plane_flag ? 2U : 0U));
    if (picture.idr())
        return true;
    picture.lsb = reader.bits(references.lsb_bits);
    if (!reader.flag()) { // short_term_ref_pic_set_sps_flag
        if (!read_reference_set(reader, references.sets, references.sets.size(), true, picture.set))
            return false;
    } else {
        const std::size_t at = reader.bits(bits_for(static_cast<std::uint32_t>(references.sets.size())));
        if (at >= references.sets.size())
            return false;
        picture.set = references.sets[at];
    }
    return !references.long_term_present || read_long_term(reader, references, picture);
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

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

// What slice segment headers are read by.
struct HevcPictureFormat {
    bool separate_colour_plane_flag = false;
    std::uint64_t width = 0; // of a picture, in CTBs
    std::uint64_t height = 0;
    std::uint32_t address_bits = 0; // of slice_segment_address
    std::uint32_t lsb_bits = 4;
};

// With what an SPS says about the pictures that others refer to.
struct HevcSequence : HevcPictureFormat {
    std::uint32_t sps_video_parameter_set_id = 0;
    std::uint32_t sps_seq_parameter_set_id = 0;
    std::vector<HevcReferenceSet> sets;
    bool long_term_present = false;
    std::vector<HevcDelta> long_term; // picture order count lsb
};

// What a PPS says about them.
struct HevcPictureParameters : HevcPps {
    HevcTiles tiles;
    bool known_tiles = true;
};

struct HevcLongTerm {
    std::uint32_t lsb = 0;
    bool used_now = false;
    bool has_msb = false;
    std::uint32_t msb_cycle = 0;
};

// The head of a slice segment header.
struct HevcSegment {
    unsigned type = 0;
    unsigned temporal_id = 0;
    bool first_slice_segment_in_pic_flag = false;
    bool dependent_slice_segment_flag = false;
    std::uint32_t slice_type = 0; // of an independent one
    std::uint32_t slice_pic_parameter_set_id = 0;
    std::uint64_t slice_segment_address = 0;
    std::uint32_t lsb = 0;
    std::uint32_t max_lsb = 16;

    bool irap() const noexcept { return is_hevc_irap(type); }
    bool idr() const noexcept { return is_hevc_idr(type); }
    bool bla() const noexcept { return is_hevc_bla(type); }
    bool radl() const noexcept { return type == 6 || type == 7; }
    bool rasl() const noexcept { return type == 8 || type == 9; }
    // BLA_N_LP, IDR_N_LP
    bool without_leading() const noexcept { return type == 18 || type == 20; }
    bool leading() const noexcept { return is_hevc_leading(type); }
};

// The same with the pictures that it refers to.
struct HevcPicture : HevcSegment {
    std::vector<HevcLongTerm> long_term;
    const HevcReferenceSet* of_sequence = nullptr; // it is one of those
    HevcReferenceSet own;

    // Its references are still to be read.
    void begin(const HevcSegment& segment) noexcept
    {
        static_cast<HevcSegment&>(*this) = segment;
        long_term.clear();
        of_sequence = nullptr;
        own.count = 0;
    }

    const HevcReferenceSet& references() const noexcept
    {
        return of_sequence != nullptr ? *of_sequence : own;
    }
};

// None for one that the standard does not have.
inline std::optional<HevcPictureFormat> format_of(const HevcSps& sps) noexcept
{
    constexpr std::uint32_t kMostLog2LsbMinus4 = 12;
    constexpr std::uint64_t kMostLog2CtbSize = 6;
    if (sps.log2_max_pic_order_cnt_lsb_minus4 > kMostLog2LsbMinus4 || sps.log2_ctb_size > kMostLog2CtbSize ||
        sps.pic_width_in_luma_samples == 0 || sps.pic_height_in_luma_samples == 0)
        return std::nullopt;
    const auto in_ctbs = [&](std::uint64_t samples) {
        return (samples + (std::uint64_t{1} << sps.log2_ctb_size) - 1) >> sps.log2_ctb_size;
    };
    HevcPictureFormat format;
    format.separate_colour_plane_flag = sps.separate_colour_plane_flag;
    format.width = in_ctbs(sps.pic_width_in_luma_samples);
    format.height = in_ctbs(sps.pic_height_in_luma_samples);
    format.address_bits = bits_for(format.width * format.height);
    format.lsb_bits = sps.log2_max_pic_order_cnt_lsb_minus4 + 4;
    return format;
}

// None for one that the standard does not have.
inline std::optional<HevcSequence> read_hevc_sequence(BitReader reader)
{
    HevcSps sps;
    read_hevc_sps_head(reader, sps);
    const std::optional<HevcPictureFormat> format = format_of(sps);
    if (!format || sps.num_short_term_ref_pic_sets > HevcSps::kMostReferenceSets)
        return std::nullopt;
    HevcSequence sequence;
    static_cast<HevcPictureFormat&>(sequence) = *format;
    sequence.sps_video_parameter_set_id = sps.sps_video_parameter_set_id;
    sequence.sps_seq_parameter_set_id = sps.sps_seq_parameter_set_id;
    sequence.sets.resize(sps.num_short_term_ref_pic_sets);
    for (std::size_t i = 0; i < sequence.sets.size(); ++i)
        if (!read_reference_set(reader, sequence.sets, i, false, sequence.sets[i]))
            return std::nullopt;
    sequence.long_term_present = reader.flag();
    const std::uint32_t long_term = sequence.long_term_present ? reader.ue() : 0;
    if (long_term > 32)
        return std::nullopt;
    for (std::uint32_t i = 0; i < long_term; ++i) {
        const auto lsb = static_cast<std::int32_t>(reader.bits(sequence.lsb_bits));
        sequence.long_term.push_back({lsb, reader.flag()});
    }
    return sequence;
}

inline HevcPictureParameters read_hevc_pps(BitReader reader)
{
    HevcPictureParameters pps;
    static_cast<HevcPps&>(pps) = read_hevc_pps_head(reader);
    pps.tiles = read_hevc_pps_tiles(reader, pps.known_tiles);
    return pps;
}

inline bool read_long_term(BitReader& reader, const HevcSequence& sequence, HevcPicture& picture)
{
    const std::uint32_t from_sps = sequence.long_term.empty() ? 0 : reader.ue();
    const std::uint32_t own = reader.ue();
    if (from_sps > 32 || own > 32)
        return false;
    std::uint32_t cycle = 0;
    for (std::uint32_t i = 0; i < from_sps + own; ++i) {
        HevcLongTerm entry;
        if (i < from_sps) {
            const std::size_t at = reader.bits(bits_for(sequence.long_term.size()));
            if (at >= sequence.long_term.size())
                return false;
            entry.lsb = static_cast<std::uint32_t>(sequence.long_term[at].poc);
            entry.used_now = sequence.long_term[at].used_now;
        } else {
            entry.lsb = reader.bits(sequence.lsb_bits);
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

// slice_segment_header() (7.3.6.1), up to the id of the PPS.
inline void read_hevc_segment_begin(BitReader& reader, HevcSegment& segment) noexcept
{
    segment.first_slice_segment_in_pic_flag = reader.flag();
    if (segment.irap())
        reader.flag(); // no_output_of_prior_pics_flag
    segment.slice_pic_parameter_set_id = reader.ue();
}

// From there to the slice type. False for an address past the picture.
inline bool read_hevc_segment_type(BitReader& reader, const HevcPictureFormat& format, const HevcPps& pps,
                                   HevcSegment& segment) noexcept
{
    if (!segment.first_slice_segment_in_pic_flag) {
        segment.dependent_slice_segment_flag = pps.dependent_slice_segments_enabled_flag && reader.flag();
        segment.slice_segment_address = reader.bits(format.address_bits);
        if (segment.slice_segment_address == 0 ||
            segment.slice_segment_address >= format.width * format.height)
            return false;
        if (segment.dependent_slice_segment_flag)
            return true;
    }
    if (pps.num_extra_slice_header_bits != 0)
        reader.bits(pps.num_extra_slice_header_bits); // slice_reserved_flag[i]
    segment.slice_type = reader.ue();
    return true;
}

// From there to the picture order count, of an independent slice segment.
inline void read_hevc_segment_order(BitReader& reader, const HevcPictureFormat& format, const HevcPps& pps,
                                    HevcSegment& segment) noexcept
{
    segment.max_lsb = 1U << format.lsb_bits;
    if (pps.output_flag_present_flag)
        reader.flag(); // pic_output_flag
    if (format.separate_colour_plane_flag)
        reader.bits(2); // colour_plane_id
    if (!segment.idr())
        segment.lsb = reader.bits(format.lsb_bits);
}

// Both.
inline bool read_hevc_segment(BitReader& reader, const HevcPictureFormat& format, const HevcPps& pps,
                              HevcSegment& segment) noexcept
{
    if (!read_hevc_segment_type(reader, format, pps, segment))
        return false;
    if (!segment.dependent_slice_segment_flag)
        read_hevc_segment_order(reader, format, pps, segment);
    return true;
}

// After that of an independent slice segment: the pictures that it refers to.
inline bool read_hevc_references(BitReader& reader, const HevcSequence& sequence, HevcPicture& picture)
{
    if (picture.idr())
        return true;
    if (!reader.flag()) { // short_term_ref_pic_set_sps_flag
        if (!read_reference_set(reader, sequence.sets, sequence.sets.size(), true, picture.own))
            return false;
    } else {
        const std::size_t at = reader.bits(bits_for(sequence.sets.size()));
        if (at >= sequence.sets.size())
            return false;
        picture.of_sequence = &sequence.sets[at];
    }
    return !sequence.long_term_present || read_long_term(reader, sequence, picture);
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

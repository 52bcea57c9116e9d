// SPDX-License-Identifier: MIT
/// \file
/// What a sequence parameter set says about the pictures.
#ifndef NALSMITH_SEQUENCE_HPP
#define NALSMITH_SEQUENCE_HPP

#include "nalsmith/detail/avc/syntax.hpp"
#include "nalsmith/parameter_sets.hpp"

#include <optional>
#include <tuple>

namespace nalsmith {
inline namespace v1 {

/// The sequence fields of VideoInfo, with the meaning that they have there, and what else a sequence
/// parameter set says of the pictures.
struct SequenceParameters {
    std::uint32_t width = 0;                           ///< luma samples, after cropping
    std::uint32_t height = 0;                          ///< luma samples, after cropping
    std::uint32_t frame_rate_num = 0;                  ///< frames per second are num / den; 0: not told
    std::uint32_t frame_rate_den = 0;                  ///< see `frame_rate_num`
    std::uint32_t video_signal_type_present_flag = 0;  ///< the VUI has the next three fields
    std::uint32_t video_format = 0;                    ///< 5 is unspecified (H.264 Table E-2)
    std::uint32_t video_full_range_flag = 0;           ///< 1: full range
    std::uint32_t colour_description_present_flag = 0; ///< the VUI has the next three fields
    std::uint32_t colour_primaries = 0;                ///< 2 is unspecified (H.264 Table E-3)
    std::uint32_t transfer_characteristics = 0;        ///< 2 is unspecified (H.264 Table E-4)
    std::uint32_t matrix_coefficients = 0;             ///< 2 is unspecified (H.264 Table E-5)
    std::uint32_t profile_idc = 0;                     ///< H.264 A.2; H.265 A.3, `general_profile_idc`
    std::uint32_t level_idc = 0; ///< H.264: ten times the level; H.265 `general_level_idc`: thirty times
    bool high_tier = false;      ///< H.265 `general_tier_flag`
    /// H.265 `general_profile_compatibility_flag[0]` to `[31]`, the first in the highest bit.
    std::uint32_t profile_compatibility_flags = 0;
    /// H.264: the byte that begins with `constraint_set0_flag`. H.265: the 48 bits that begin with
    /// `general_progressive_source_flag`. The first flag is in the highest bit.
    std::uint64_t constraint_flags = 0;
    std::uint32_t chroma_format_idc = 0; ///< 0: luma alone, 1: 4:2:0, 2: 4:2:2, 3: 4:4:4
    std::uint32_t bit_depth_luma = 0;    ///< bits of a sample
    std::uint32_t bit_depth_chroma = 0;  ///< bits of a sample
    /// H.264: pictures may be fields, or frames with pairs of macroblocks of either (`frame_mbs_only_flag` is
    /// 0). H.265: each picture is a field (`field_seq_flag`).
    bool field_coding = false;
    std::uint32_t sar_width = 0;  ///< a sample's width is to its height as this to `sar_height`; 0: not told
    std::uint32_t sar_height = 0; ///< see `sar_width`
};

namespace detail {

inline auto all_fields(const SequenceParameters& s) noexcept
{
    return std::tie(s.width, s.height, s.frame_rate_num, s.frame_rate_den, s.video_signal_type_present_flag,
                    s.video_format, s.video_full_range_flag, s.colour_description_present_flag,
                    s.colour_primaries, s.transfer_characteristics, s.matrix_coefficients, s.profile_idc,
                    s.level_idc, s.high_tier, s.profile_compatibility_flags, s.constraint_flags,
                    s.chroma_format_idc, s.bit_depth_luma, s.bit_depth_chroma, s.field_coding, s.sar_width,
                    s.sar_height);
}

} // namespace detail

/// All fields alike.
inline bool operator==(const SequenceParameters& a, const SequenceParameters& b) noexcept
{
    return detail::all_fields(a) == detail::all_fields(b);
}
/// The same for the opposite.
inline bool operator!=(const SequenceParameters& a, const SequenceParameters& b) noexcept
{
    return !(a == b);
}

/// Those of a record that the library has filled, which go as far as `matrix_coefficients`; all zero unless
/// its `sequenceInfoValid` is 1.
inline SequenceParameters sequence_parameters(const VideoInfo& info) noexcept
{
    SequenceParameters fields;
    fields.width = info.width;
    fields.height = info.height;
    fields.frame_rate_num = info.frameRateNum;
    fields.frame_rate_den = info.frameRateDen;
    fields.video_signal_type_present_flag = info.video_signal_type_present_flag;
    fields.video_format = info.video_format;
    fields.video_full_range_flag = info.video_full_range_flag;
    fields.colour_description_present_flag = info.colour_description_present_flag;
    fields.colour_primaries = info.colour_primaries;
    fields.transfer_characteristics = info.transfer_characteristics;
    fields.matrix_coefficients = info.matrix_coefficients;
    return fields;
}

namespace detail {

struct Cropping {
    std::uint32_t unit_x = 0; // luma samples of a crop unit: SubWidthC, SubHeightC
    std::uint32_t unit_y = 0;
};

// H.264 Table 6-1, H.265 Table 6-1. A chroma format that the standards do not define disables cropping.
constexpr Cropping crop_unit(std::uint32_t chroma_format_idc) noexcept
{
    switch (chroma_format_idc) {
    case 0: return {1, 1};
    case 1: return {2, 2};
    case 2: return {2, 1};
    case 3: return {1, 1};
    default: return {0, 0};
    }
}

// H.264 7.4.2.1.1, H.265 7.4.3.2.1. `offsets` are left, right, top, bottom.
inline void set_size(SequenceParameters& to, std::uint32_t coded_width, std::uint32_t coded_height,
                     const std::array<std::uint32_t, 4>& offsets, Cropping unit) noexcept
{
    to.width = coded_width - unit.unit_x * offsets[0] - unit.unit_x * offsets[1];
    to.height = coded_height - unit.unit_y * offsets[2] - unit.unit_y * offsets[3];
}

inline void set_vui(SequenceParameters& to, const Vui& vui) noexcept
{
    if (!vui.present)
        return;
    to.sar_width = vui.sar_width;
    to.sar_height = vui.sar_height;
    to.video_signal_type_present_flag = vui.video_signal_type_present_flag;
    to.video_format = vui.video_format;
    to.video_full_range_flag = vui.video_full_range_flag;
    to.colour_description_present_flag = vui.colour_description_present_flag;
    to.colour_primaries = vui.colour_primaries;
    to.transfer_characteristics = vui.transfer_characteristics;
    to.matrix_coefficients = vui.matrix_coefficients;
}

// Of either codec's SPS.
template <typename Sps>
void set_samples(SequenceParameters& to, const Sps& sps) noexcept
{
    to.chroma_format_idc = sps.chroma_format_idc;
    to.bit_depth_luma = sps.bit_depth_luma_minus8 + 8;
    to.bit_depth_chroma = sps.bit_depth_chroma_minus8 + 8;
}

inline SequenceParameters sequence_of(const AvcSps& sps) noexcept
{
    SequenceParameters sequence;
    sequence.profile_idc = sps.profile_idc;
    sequence.level_idc = sps.level_idc;
    sequence.constraint_flags = sps.constraint_set_flags;
    sequence.field_coding = !sps.frame_mbs_only_flag;
    set_samples(sequence, sps);
    // A map unit is two macroblock rows high where fields may occur, and so is a crop unit.
    const std::uint32_t rows = sps.frame_mbs_only_flag ? 1 : 2;
    Cropping unit = crop_unit(sps.chroma_format_idc);
    unit.unit_y *= rows;
    set_size(sequence, 16 * (sps.pic_width_in_mbs_minus1 + 1),
             16 * rows * (sps.pic_height_in_map_units_minus1 + 1), sps.frame_crop, unit);
    set_vui(sequence, sps.vui);
    if (sps.vui.timing_info_present_flag) {
        sequence.frame_rate_num = sps.vui.time_scale;
        sequence.frame_rate_den = 2 * sps.vui.num_units_in_tick; // a frame takes two ticks
    }
    return sequence;
}

// That of the VPS, where the VUI has none. 0 for none at all.
inline void set_timing(SequenceParameters& to, const HevcVps& vps) noexcept
{
    to.frame_rate_num = vps.time_scale;
    to.frame_rate_den = vps.num_units_in_tick;
}

inline SequenceParameters sequence_of(const HevcSps& sps, const HevcVps& vps) noexcept
{
    SequenceParameters sequence;
    sequence.profile_idc = sps.profile.general_profile_idc;
    sequence.level_idc = sps.profile.general_level_idc;
    sequence.high_tier = sps.profile.general_tier_flag;
    sequence.profile_compatibility_flags = sps.profile.general_profile_compatibility_flags;
    sequence.constraint_flags = sps.profile.general_constraint_flags;
    sequence.field_coding = sps.field_seq_flag;
    set_samples(sequence, sps);
    set_size(sequence, sps.pic_width_in_luma_samples, sps.pic_height_in_luma_samples, sps.conf_win,
             crop_unit(sps.chroma_format_idc));
    set_vui(sequence, sps.vui);
    set_timing(sequence, vps);
    if (sps.vui.timing_info_present_flag) {
        sequence.frame_rate_num = sps.vui.time_scale;
        sequence.frame_rate_den = sps.vui.num_units_in_tick;
    }
    return sequence;
}

// Of a set as ParameterSets keeps it.
inline BitReader bits_of(Codec codec, const ParameterSet& set) noexcept
{
    NalUnit nal;
    nal.codec = codec;
    nal.bytes = set.bytes;
    nal.start_code_size = 4;
    return bits_of(nal);
}

} // namespace detail

/// Reads the sequence parameter set `id` with the video parameter set that it refers to. None when there is
/// no such set.
inline std::optional<SequenceParameters> read_sequence(Codec codec, const ParameterSets& sets,
                                                       unsigned id) noexcept
{
    const ParameterSet* const sps = sets.find(ParameterSetKind::sps, id);
    if (sps == nullptr)
        return std::nullopt;
    if (codec == Codec::h264)
        return detail::sequence_of(detail::read_avc_sps(detail::bits_of(codec, *sps)));
    const ParameterSet* const set = sets.find(ParameterSetKind::vps, sps->refers_to);
    detail::HevcVps vps;
    if (set != nullptr)
        vps = detail::read_hevc_vps(detail::bits_of(codec, *set));
    return detail::sequence_of(detail::read_hevc_sps(detail::bits_of(codec, *sps)), vps);
}

} // namespace v1
} // namespace nalsmith

#endif

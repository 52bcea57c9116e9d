// SPDX-License-Identifier: MIT
/// \file
/// What a sequence parameter set says about the pictures, as the library reads it.
#ifndef NALSMITH_SEQUENCE_HPP
#define NALSMITH_SEQUENCE_HPP

#include "nalsmith/handles.hpp"
#include "nalsmith/parameter_sets.hpp"

#include <optional>

namespace nalsmith {

/// The sequence fields of VideoInfo, with the meaning that they have there.
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
};

/// Those of a record that the library has filled; all zero unless its `sequenceInfoValid` is 1.
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

/// Reads the sequence parameter set `id` with the video parameter set that it refers to. None when there is
/// no such set.
inline std::optional<SequenceParameters> read_sequence(Codec codec, const ParameterSets& sets, unsigned id)
{
    const ParameterSet* const sps = sets.find(ParameterSetKind::sps, id);
    if (sps == nullptr)
        return std::nullopt;
    Bytes piece;
    if (codec == Codec::h265) {
        // The delimiter takes the place of the first NAL unit, the only one whose record the library gives
        // up for that of the next: so the timing of the video parameter set is kept.
        piece = {0, 0, 0, 1, 0x46, 1, 0x50};
        if (const ParameterSet* const vps = sets.find(ParameterSetKind::vps, sps->refers_to))
            append(piece, vps->bytes);
    }
    append(piece, sps->bytes);
    const ParsingHandle reader = make_parsing_handle(codec, 2, 1);
    VideoInfo info = {};
    if (!reader || !detail::fits_library(piece.size()) ||
        ParseVideoParams(reader.get(), piece.data(), detail::library_size(piece.size()), &info) != 0 ||
        ParseVideoParams(reader.get(), nullptr, 0, &info) != 0 || info.sequenceInfoValid == 0)
        return std::nullopt;
    return sequence_parameters(info);
}

} // namespace nalsmith

#endif

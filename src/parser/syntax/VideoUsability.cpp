// SPDX-License-Identifier: MIT
#include "parser/syntax/VideoUsability.h"

namespace nalsmith_internal::syntax {
namespace {

constexpr u32 kExtendedSar = 255;
constexpr u32 kUnspecifiedVideoFormat = 5;
constexpr u32 kUnspecifiedColour = 2;

void ReadVideoSignalType(bitstream::BitReader& reader, VideoInfo& info)
{
    info.video_format = kUnspecifiedVideoFormat;
    info.video_full_range_flag = 0;
    info.colour_description_present_flag = 0;
    info.colour_primaries = kUnspecifiedColour;
    info.transfer_characteristics = kUnspecifiedColour;
    info.matrix_coefficients = kUnspecifiedColour;

    info.video_signal_type_present_flag = reader.ReadData(1);
    if (info.video_signal_type_present_flag != 0) {
        info.video_format = reader.ReadData(3);
        info.video_full_range_flag = reader.ReadData(1);
        info.colour_description_present_flag = reader.ReadData(1);
        if (info.colour_description_present_flag != 0) {
            info.colour_primaries = reader.ReadData(8);
            info.transfer_characteristics = reader.ReadData(8);
            info.matrix_coefficients = reader.ReadData(8);
        }
    }
}

} // namespace

void ReadVideoUsabilityHead(bitstream::BitReader& reader, VideoInfo& info)
{
    if (reader.ReadFlag()) {                      // aspect_ratio_info_present_flag
        if (reader.ReadData(8) == kExtendedSar) { // aspect_ratio_idc
            reader.ReadData(16);                  // sar_width
            reader.ReadData(16);                  // sar_height
        }
    }
    if (reader.ReadFlag())  // overscan_info_present_flag
        reader.ReadData(1); // overscan_appropriate_flag
    ReadVideoSignalType(reader, info);
    if (reader.ReadFlag()) { // chroma_loc_info_present_flag
        reader.GetUE();      // chroma_sample_loc_type_top_field
        reader.GetUE();      // chroma_sample_loc_type_bottom_field
    }
}

} // namespace nalsmith_internal::syntax

// SPDX-License-Identifier: MIT
#include "parser/hevc/HevcProfile.h"

namespace nalsmith_internal::hevc {
namespace {

// The profile part: the same for the whole and for a sub-layer.
void SkipProfile(bitstream::BitReader& reader)
{
    reader.ReadData(2);  // profile_space
    reader.ReadData(1);  // tier_flag
    reader.ReadData(5);  // profile_idc
    reader.ReadData(32); // profile_compatibility_flag[j]
    reader.ReadData(1);  // progressive_source_flag
    reader.ReadData(1);  // interlaced_source_flag
    reader.ReadData(1);  // non_packed_constraint_flag
    reader.ReadData(1);  // frame_only_constraint_flag
    reader.SkipBits(43); // constraint flags of the profile
    reader.ReadData(1);  // inbld_flag, or reserved
}

} // namespace

void SkipProfileTierLevel(bitstream::BitReader& reader, u32 maxNumSubLayersMinus1)
{
    bool sub_layer_profile_present_flag[8] = {};
    bool sub_layer_level_present_flag[8] = {};

    SkipProfile(reader);
    reader.ReadData(8); // general_level_idc
    for (u32 i = 0; i < maxNumSubLayersMinus1; ++i) {
        sub_layer_profile_present_flag[i] = reader.ReadFlag();
        sub_layer_level_present_flag[i] = reader.ReadFlag();
    }
    if (maxNumSubLayersMinus1 > 0)
        for (u32 i = maxNumSubLayersMinus1; i < 8; ++i)
            reader.ReadData(2); // reserved_zero_2bits
    for (u32 i = 0; i < maxNumSubLayersMinus1; ++i) {
        if (sub_layer_profile_present_flag[i])
            SkipProfile(reader);
        if (sub_layer_level_present_flag[i])
            reader.ReadData(8); // sub_layer_level_idc
    }
}

void SkipSubLayerOrderingInfo(bitstream::BitReader& reader, u32 maxSubLayersMinus1)
{
    const bool sub_layer_ordering_info_present_flag = reader.ReadFlag();
    for (u32 i = sub_layer_ordering_info_present_flag ? 0 : maxSubLayersMinus1; i <= maxSubLayersMinus1;
         ++i) {
        reader.GetUE(); // max_dec_pic_buffering_minus1
        reader.GetUE(); // max_num_reorder_pics
        reader.GetUE(); // max_latency_increase_plus1
    }
}

} // namespace nalsmith_internal::hevc

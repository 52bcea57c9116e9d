// SPDX-License-Identifier: MIT
// video_parameter_set_rbsp() (H.265 7.3.2.1), read as far as its timing.
#include "parser/VideoParams.h"
#include "parser/bitstream/Reading.h"
#include "parser/hevc/HevcProfile.h"
#include "parser/records/ParameterSetTable.h"

namespace nalsmith_internal {

Status CParseHEVCParams::ReadVideoParameterSetData(VideoInfo* info)
{
    bitstream::Reading bits(*this);
    HevcVpsRecord vps = {};

    vps.vps_video_parameter_set_id = bits.ReadData(4);
    bits.ReadData(1); // vps_base_layer_internal_flag
    bits.ReadData(1); // vps_base_layer_available_flag
    bits.ReadData(6); // vps_max_layers_minus1
    const u32 vps_max_sub_layers_minus1 = bits.ReadData(3);
    bits.ReadData(1);  // vps_temporal_id_nesting_flag
    bits.ReadData(16); // vps_reserved_0xffff_16bits
    hevc::SkipProfileTierLevel(bits, vps_max_sub_layers_minus1);
    hevc::SkipSubLayerOrderingInfo(bits, vps_max_sub_layers_minus1);
    const u32 vps_max_layer_id = bits.ReadData(6);
    const u32 vps_num_layer_sets_minus1 = bits.GetUE();
    bits.SkipBits(u64{vps_num_layer_sets_minus1} * (vps_max_layer_id + 1)); // layer_id_included_flag[i][j]
    if (bits.ReadFlag()) {                                                  // vps_timing_info_present_flag
        info->frameRateDen = bits.ReadData(32);                             // vps_num_units_in_tick
        info->frameRateNum = bits.ReadData(32);                             // vps_time_scale
    }

    records::Store(vpsTable, vps.vps_video_parameter_set_id, vps);
    return kOk;
}

} // namespace nalsmith_internal

// SPDX-License-Identifier: MIT
// video_parameter_set_rbsp() (H.265 7.3.2.1), read as far as its timing.
#include "parser/VideoParams.h"
#include "parser/hevc/HevcProfile.h"
#include "parser/records/ParameterSetTable.h"

Status CParseHEVCParams::ReadVideoParameterSetData(VideoInfo* info)
{
    HevcVpsRecord vps = {};

    vps.vps_video_parameter_set_id = ReadData(4);
    ReadData(1); // vps_base_layer_internal_flag
    ReadData(1); // vps_base_layer_available_flag
    ReadData(6); // vps_max_layers_minus1
    const u32 vps_max_sub_layers_minus1 = ReadData(3);
    ReadData(1);  // vps_temporal_id_nesting_flag
    ReadData(16); // vps_reserved_0xffff_16bits
    hevc::SkipProfileTierLevel(*this, vps_max_sub_layers_minus1);
    hevc::SkipSubLayerOrderingInfo(*this, vps_max_sub_layers_minus1);
    const u32 vps_max_layer_id = ReadData(6);
    const u32 vps_num_layer_sets_minus1 = GetUE();
    SkipBits(u64{vps_num_layer_sets_minus1} * (vps_max_layer_id + 1)); // layer_id_included_flag[i][j]
    if (ReadFlag()) {                                                  // vps_timing_info_present_flag
        info->frameRateDen = ReadData(32);                             // vps_num_units_in_tick
        info->frameRateNum = ReadData(32);                             // vps_time_scale
    }

    records::Store(vpsTable, vps.vps_video_parameter_set_id, vps);
    return kOk;
}

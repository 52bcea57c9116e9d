// SPDX-License-Identifier: MIT
// The head of pic_parameter_set_rbsp() (H.265 7.3.2.3.1).
#include "parser/VideoParams.h"
#include "parser/bitstream/Reading.h"
#include "parser/records/ParameterSetTable.h"

namespace nalsmith_internal {

Status CParseHEVCParams::ReadPictureParameterSetData(VideoInfo* /*info*/)
{
    bitstream::Reading bits(*this);
    HevcPpsRecord pps = {};

    pps.pps_pic_parameter_set_id = bits.GetUE();
    pps.pps_seq_parameter_set_id = bits.GetUE();
    pps.dependent_slice_segments_enabled_flag = bits.ReadData(1);
    pps.output_flag_present_flag = bits.ReadData(1);
    pps.num_extra_slice_header_bits = bits.ReadData(3);

    records::Store(ppsTable, pps.pps_pic_parameter_set_id, pps);
    return kOk;
}

} // namespace nalsmith_internal

// SPDX-License-Identifier: MIT
// The head of pic_parameter_set_rbsp() (H.264 7.3.2.2).
#include "parser/VideoParams.h"
#include "parser/bitstream/Reading.h"

#include "parser/records/ParameterSetTable.h"

namespace nalsmith_internal {

Status CParseAVCParams::ReadPictureParameterSetData(VideoInfo* /*info*/)
{
    bitstream::Reading bits(*this);
    AvcPpsInfo pps = {};

    pps.pic_parameter_set_id = bits.GetUE();
    pps.seq_parameter_set_id = bits.GetUE();
    bits.ReadData(1); // entropy_coding_mode_flag
    pps.bottom_field_pic_order_in_frame_present_flag = bits.ReadData(1);

    records::Store(ppsTable, pps.pic_parameter_set_id, pps);
    return kOk;
}

} // namespace nalsmith_internal

// SPDX-License-Identifier: MIT
// Verdicts on a single sample, from its first slice segment.
#include "parser/VideoParams.h"
#include "parser/hevc/HevcNal.h"
#include "parser/stream/TestSample.h"

namespace nalsmith_internal {

// A slice segment header does not tell the type of the whole picture, and nobody asked for that of a slice.
Status CParseHEVCParams::QuerySliceType(const u8* /*data*/, u32 /*size*/, VideoPicType& type)
{
    if (queue != nullptr)
        type = VideoPicTypeUnknown;
    return kFailed;
}

Status CParseHEVCParams::VideoSampleTest(const u8* data, u32 size, VideoInfoEx* info)
{
    return stream::TestSample<hevc::Extent>(*this, data, size, info);
}

bool CParseHEVCParams::TestNalUnit(NalUnit& nal, VideoInfoEx& info, Status& status)
{
    const hevc::NalHeader header = ReadNalHeader(nal);
    if (header.forbidden_zero_bit != 0) {
        status = kFailed;
        return true;
    }
    VideoInfo scratch = {};
    switch (header.Kind()) {
    case hevc::NalKind::vps: ReadVideoParameterSetData(&scratch); return false;
    case hevc::NalKind::sps: ReadSequenceParameterSetData(&scratch); return false;
    case hevc::NalKind::pps: ReadPictureParameterSetData(&scratch); return false;
    case hevc::NalKind::slice: break;
    default: return false;
    }
    int newPicture = 0;
    status = ReadSliceHeaderData(&scratch, header.nal_unit_type, nal.rbsp, &newPicture, &info);
    if (status != kOk)
        info.discontinuity = 1;
    return true;
}

} // namespace nalsmith_internal

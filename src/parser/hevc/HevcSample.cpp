// SPDX-License-Identifier: MIT
// Verdicts on a single sample, from its first slice segment.
#include "parser/VideoParams.h"
#include "parser/bitstream/NextToRead.h"
#include "parser/bitstream/Scan.h"
#include "parser/hevc/HevcNal.h"

using bitstream::NextToTest;

// A slice segment header does not tell the type of the whole picture, and nobody asked for that of a slice.
Status CParseHEVCParams::QuerySliceType(const u8* /*data*/, u32 /*size*/, VideoPicType& type)
{
    if (queue != nullptr)
        type = VideoPicTypeUnknown;
    return kFailed;
}

Status CParseHEVCParams::VideoSampleTest(const u8* data, u32 size, VideoInfoEx* info)
{
    if (info == nullptr || queue == nullptr)
        return kFailed; // no record to fill, or not a parsing handle
    *info = {};
    VideoInfo scratch = {};
    const bitstream::Scan scan(*this, data, size);
    NalUnit nal;
    Status status = NextToTest<hevc::Extent>(*this, nal);
    for (; nal.HasPayload(); status = NextToTest<hevc::Extent>(*this, nal)) {
        const hevc::NalHeader header = ReadNalHeader(nal);
        if (header.forbidden_zero_bit != 0)
            return kFailed;
        switch (hevc::RoleOf(header.nal_unit_type)) {
        case hevc::Role::Vps: ReadVideoParameterSetData(&scratch); break;
        case hevc::Role::Sps: ReadSequenceParameterSetData(&scratch); break;
        case hevc::Role::Pps: ReadPictureParameterSetData(&scratch); break;
        case hevc::Role::Slice: {
            int newPicture = 0;
            status = ReadSlice(header, nal, &newPicture, info);
            if (status != kOk)
                info->discontinuity = 1;
            return status;
        }
        default: break;
        }
    }
    return status;
}

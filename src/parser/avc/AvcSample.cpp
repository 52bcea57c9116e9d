// SPDX-License-Identifier: MIT
// Verdicts on a single sample, from its first slice.
#include "nalsmith/detail/nal_types.hpp"
#include "nalsmith/detail/rules.hpp"
#include "parser/VideoParams.h"
#include "parser/avc/AvcNal.h"
#include "parser/bitstream/NextToRead.h"
#include "parser/bitstream/Reading.h"
#include "parser/bitstream/Scan.h"
#include "parser/stream/TestSample.h"

namespace nalsmith_internal {

using bitstream::NextToTest;

namespace {

constexpr u32 kNonIdrSlice = 1;

// Slice types I and "all I" (H.264 Table 7-6). SI slices do not count.
constexpr bool IsIntra(const AvcSliceInfo& slice)
{
    return slice.IdrPicFlag != 0 || slice.slice_type == 2 || slice.slice_type == 7;
}

// The verdict on the slice just read. The first field of a pair is compared, the second shares its verdict;
// which parity comes first is learnt from the intra pictures.
void JudgeSlice(CParseAVCParams& parser, VideoInfoEx& info)
{
    const AvcSliceInfo& slice = parser.curSlice;
    const bool isField = slice.field_pic_flag != 0;
    const bool isTop = slice.bottom_field_flag == 0;

    parser.curFrameNum = slice.frame_num;
    info.isFramePicture = isField ? 0 : 1;
    if (IsIntra(slice)) {
        info.intraPicture = 1;
        parser.firstFieldIsTop = isField && isTop ? 1 : 0;
        if (isField)
            parser.firstFieldGap = 0;
    }

    if (parser.gapsAllowed == 0 && slice.IdrPicFlag == 0) {
        const bool opensPair = isTop == (parser.firstFieldIsTop != 0);
        if (!isField || opensPair) {
            const u32 next = nalsmith::detail::next_frame_num(parser.prevRefFrameNum, parser.maxFrameNum);
            info.discontinuity = parser.curFrameNum == next ? 0 : 1;
            if (isField)
                parser.firstFieldGap = info.discontinuity;
        } else {
            info.discontinuity = parser.firstFieldGap;
        }
    }

    if (slice.nal_ref_idc != 0)
        parser.prevRefFrameNum = parser.curFrameNum;
}

} // namespace

Status CParseAVCParams::QuerySliceType(const u8* data, u32 size, VideoPicType& type)
{
    if (queue == nullptr)
        return kFailed; // not a parsing handle
    type = VideoPicTypeUnknown;
    const bitstream::Scan scan(*this, data, size);
    NalUnit nal;
    for (NextToTest<avc::Extent>(*this, nal); nal.HasPayload(); NextToTest<avc::Extent>(*this, nal)) {
        const avc::NalHeader header = ReadNalHeader(nal);
        if (header.forbidden_zero_bit != 0)
            return kFailed;
        // The header of a data partition A says it as well, but was never asked for it.
        if (header.nal_unit_type == kNonIdrSlice || nalsmith::detail::is_avc_idr(header.nal_unit_type)) {
            bitstream::Reading bits(*this);
            bits.GetUE(); // first_mb_in_slice
            type = static_cast<VideoPicType>(bits.GetUE());
            return kOk;
        }
        if (nal.openEnd)
            EndNal(nal);
    }
    return kFailed;
}

Status CParseAVCParams::VideoSampleTest(const u8* data, u32 size, VideoInfoEx* info)
{
    return stream::TestSample<avc::Extent>(*this, data, size, info);
}

// A set forbidden_zero_bit is no reason to stop here.
bool CParseAVCParams::TestNalUnit(NalUnit& nal, VideoInfoEx& info, Status& status)
{
    const avc::NalHeader header = ReadNalHeader(nal);
    VideoInfo scratch = {};
    const avc::NalKind kind = header.Kind();
    if (kind == avc::NalKind::sps)
        ReadSequenceParameterSetData(&scratch);
    else if (kind == avc::NalKind::pps)
        ReadPictureParameterSetData(&scratch);
    if (kind != avc::NalKind::slice)
        return false;

    int newPicture = 0;
    status = ReadSlice(header, nal, &newPicture);
    if (status == kOk)
        JudgeSlice(*this, info);
    else
        info.discontinuity = 1;
    return true;
}

} // namespace nalsmith_internal

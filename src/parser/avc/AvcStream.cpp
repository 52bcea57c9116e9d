// SPDX-License-Identifier: MIT
// Reading a stream: what each NAL unit means for the access unit, and what a completed one is given.
#include "parser/VideoParams.h"
#include "parser/avc/AvcNal.h"
#include "parser/stream/ReadStream.h"

namespace nalsmith_internal {

using avc::NalKind;
using stream::AccessUnit;

Status CParseAVCParams::ReadVideoParams(const u8* data, u32 size, VideoInfo* info, int /*mode*/)
{
    return stream::ReadPiece<avc::Extent>(*this, data, size, info);
}

// From the head of the NAL unit; where that does not suffice, as if it had not been tried, from the whole.
// Without memory for that the NAL unit is left without payload.
Status CParseAVCParams::ReadSlice(const avc::NalHeader& header, NalUnit& nal, int* newPicture)
{
    const AvcSliceInfo prevBefore = prevSlice;
    const u32 firstBefore = firstSlice;
    const Status status = ReadSliceHeaderData(nullptr, header.nal_unit_type, header.nal_ref_idc, newPicture);
    if (!nal.headOnly || readRemaining != 0)
        return status;
    prevSlice = prevBefore;
    firstSlice = firstBefore;
    if (!CompleteHead(nal)) {
        nal.rbsp = nullptr;
        return kFailed;
    }
    ReadNalHeader(nal);
    return ReadSliceHeaderData(nullptr, header.nal_unit_type, header.nal_ref_idc, newPicture);
}

void CParseAVCParams::RouteNalUnit(AccessUnit& unit, const avc::NalHeader& header, NalUnit& nal,
                                   VideoInfo& info)
{
    switch (header.Kind()) {
    case NalKind::slice: {
        int newPicture = 0;
        if (ReadSlice(header, nal, &newPicture) == kOk)
            stream::StoreSlice(*this, unit, nal, newPicture != 0,
                               nalsmith::detail::is_avc_idr(header.nal_unit_type), info);
        else if (!nal.HasPayload())
            unit.Note(kFailed);
        return;
    }
    case NalKind::sps:
        if (const VideoInfo* described =
                stream::StoreParameterSet(*this, &CParseAVCParams::ReadSequenceParameterSetData, unit, nal,
                                          {spsNal, spsCapacity, spsNalSize}))
            streamInfo = *described;
        return;
    case NalKind::pps:
        if (const VideoInfo* described =
                stream::StoreParameterSet(*this, &CParseAVCParams::ReadPictureParameterSetData, unit, nal,
                                          {ppsNal, ppsCapacity, ppsNalSize}))
            streamInfo = *described;
        return;
    case NalKind::delimiter: unit.AppendDelimiter(nal); return;
    case NalKind::sei:
    case NalKind::opener: unit.AppendOpener(nal); return;
    default: unit.AppendTrailing(nal); return;
    }
}

void CParseAVCParams::CompleteAccessUnit(AccessUnit& unit, VideoInfo& info)
{
    if (unit.KeyWithoutSequence() && spsNalSize != 0 && ppsNalSize != 0)
        unit.Note(queue->InsertParameterData(unit.Slot(), spsNal, spsNalSize, ppsNal, ppsNalSize));
    const bool ownSequence = unit.Report(info);
    if (!ownSequence && info.keyFrame != 0 && streamInfo.sequenceInfoValid != 0)
        stream::CopySequenceFields(info, streamInfo);
}

} // namespace nalsmith_internal

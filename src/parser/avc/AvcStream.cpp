// SPDX-License-Identifier: MIT
// Reading a stream: what each NAL unit means for the access unit, and what a completed one is given.
#include "parser/VideoParams.h"
#include "parser/avc/AvcNal.h"
#include "parser/stream/ReadStream.h"

using avc::Role;
using stream::AccessUnit;

Status CParseAVCParams::ReadVideoParams(const u8* data, u32 size, VideoInfo* info, int /*mode*/)
{
    return stream::ReadPiece(*this, data, size, info);
}

avc::NalHeader CParseAVCParams::ReadNalHeader()
{
    avc::NalHeader header = {};
    header.forbidden_zero_bit = ReadData(1);
    header.nal_ref_idc = ReadData(2);
    header.nal_unit_type = ReadData(5);
    return header;
}

void CParseAVCParams::RouteNalUnit(AccessUnit& unit, const avc::NalHeader& header, const NalUnit& nal,
                                   VideoInfo& info)
{
    switch (avc::RoleOf(header.nal_unit_type)) {
    case Role::Slice: {
        int newPicture = 0;
        if (ReadSliceHeaderData(&info, header.nal_unit_type, header.nal_ref_idc, &newPicture) == kOk)
            stream::StoreSlice(*this, unit, nal, newPicture != 0, header.nal_unit_type == avc::kIdrSlice,
                               info);
        return;
    }
    case Role::Sps:
        if (const VideoInfo* described =
                stream::StoreParameterSet(*this, &CParseAVCParams::ReadSequenceParameterSetData, unit, nal,
                                          {spsNal, spsCapacity, spsNalSize}))
            streamInfo = *described;
        return;
    case Role::Pps:
        if (const VideoInfo* described =
                stream::StoreParameterSet(*this, &CParseAVCParams::ReadPictureParameterSetData, unit, nal,
                                          {ppsNal, ppsCapacity, ppsNalSize}))
            streamInfo = *described;
        return;
    case Role::Delimiter: unit.AppendDelimiter(nal); return;
    case Role::Opener: unit.AppendOpener(nal); return;
    case Role::Trailing: unit.AppendTrailing(nal); return;
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

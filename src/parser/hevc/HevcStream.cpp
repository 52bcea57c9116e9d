// SPDX-License-Identifier: MIT
// Reading a stream: what each NAL unit means for the access unit, and what a completed one is given.
#include "parser/VideoParams.h"
#include "parser/hevc/HevcNal.h"
#include "parser/stream/ReadStream.h"

namespace nalsmith_internal {

using hevc::NalKind;
using stream::AccessUnit;

Status CParseHEVCParams::ReadVideoParams(const u8* data, u32 size, VideoInfo* info, int /*mode*/)
{
    return stream::ReadPiece<hevc::Extent>(*this, data, size, info);
}

void CParseHEVCParams::RouteNalUnit(AccessUnit& unit, const hevc::NalHeader& header, NalUnit& nal,
                                    VideoInfo& info)
{
    const u32 type = header.nal_unit_type;
    switch (header.Kind()) {
    case NalKind::slice: {
        int newPicture = 0;
        if (ReadSliceHeaderData(&info, type, nal.rbsp, &newPicture, nullptr) == kOk)
            stream::StoreSlice(*this, unit, nal, newPicture != 0, nalsmith::detail::is_hevc_key(type), info);
        return;
    }
    case NalKind::vps:
        stream::StoreParameterSet(*this, &CParseHEVCParams::ReadVideoParameterSetData, unit, nal,
                                  {vpsNal, vpsCapacity, vpsNalSize});
        return;
    case NalKind::sps:
        stream::StoreParameterSet(*this, &CParseHEVCParams::ReadSequenceParameterSetData, unit, nal,
                                  {spsNal, spsCapacity, spsNalSize});
        return;
    case NalKind::pps:
        stream::StoreParameterSet(*this, &CParseHEVCParams::ReadPictureParameterSetData, unit, nal,
                                  {ppsNal, ppsCapacity, ppsNalSize});
        return;
    case NalKind::delimiter:
    case NalKind::sei:
    case NalKind::opener: unit.AppendOpener(nal); return;
    default: unit.AppendTrailing(nal); return;
    }
}

void CParseHEVCParams::CompleteAccessUnit(AccessUnit& unit, VideoInfo& info)
{
    if (unit.KeyWithoutSequence() && vpsNalSize != 0 && spsNalSize != 0 && ppsNalSize != 0)
        unit.Note(queue->InsertHEVCParameterData(unit.Slot(), vpsNal, vpsNalSize, spsNal, spsNalSize, ppsNal,
                                                 ppsNalSize));
    unit.Report(info);
}

} // namespace nalsmith_internal

// SPDX-License-Identifier: MIT
// The walk over one piece of a stream. The parser says what a NAL unit means and when an access unit needs
// parameter sets; everything else of a stream driver is here.
#pragma once

#include "parser/bitstream/NextToRead.h"
#include "parser/bitstream/Scan.h"
#include "parser/stream/AccessUnit.h"

namespace nalsmith_internal::stream {

// A null `data` or a `size` of 0 is the flush: it reports the access unit at hand, which stays current.
template <typename Extent, typename Parser>
Status ReadPiece(Parser& parser, const u8* data, u32 size, VideoInfo* info)
{
    if (info == nullptr || parser.queue == nullptr)
        return kFailed; // no record to fill, or not a parsing handle
    *info = {};
    AccessUnit unit(*parser.queue, parser.currentSlot, parser.currentInfo, parser.pendingSlot,
                    parser.pendingInfo);
    const bitstream::Scan scan(parser, data, size);

    NalUnit nal;
    Status status = bitstream::NextToRead<Extent>(parser, nal);
    for (; nal.HasPayload(); status = bitstream::NextToRead<Extent>(parser, nal)) {
        const auto header = parser.ReadNalHeader(nal);
        if (header.forbidden_zero_bit != 0)
            return kFailed;
        parser.RouteNalUnit(unit, header, nal, *info);
    }

    if (data == nullptr || size == 0) {
        if (unit.HasPending())
            unit.ContinuePicture();
        if (!unit.Empty())
            parser.CompleteAccessUnit(unit, *info);
    }
    return unit.Failed() ? kFailed : status;
}

// Stores a slice whose header has been read.
template <typename Parser>
void StoreSlice(Parser& parser, AccessUnit& unit, const NalUnit& nal, bool newPicture, bool keyPicture,
                VideoInfo& info)
{
    if (newPicture && !unit.Empty())
        parser.CompleteAccessUnit(unit, info);
    if (newPicture ? unit.BeginPicture() : unit.ContinuePicture())
        unit.AppendSlice(nal, keyPicture);
}

// Stores a parameter set, reads it into the record of its access unit, and retains it when it is the first.
// The record when it was retained, else null.
template <typename Parser>
const VideoInfo* StoreParameterSet(Parser& parser, Status (Parser::*read)(VideoInfo*), AccessUnit& unit,
                                   const NalUnit& nal, RetainedSet first)
{
    VideoInfo* record = unit.AppendParameterSet(nal, first);
    if (record == nullptr)
        return nullptr;
    (parser.*read)(record);
    return first.KeepFirst(nal) ? record : nullptr;
}

} // namespace nalsmith_internal::stream

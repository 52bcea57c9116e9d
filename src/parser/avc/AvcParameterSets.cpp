// SPDX-License-Identifier: MIT
// Parameter sets and frames that the host holds outside the stream: import, export, splitting.
#include "parser/VideoParams.h"
#include "parser/avc/AvcNal.h"
#include "parser/bitstream/Scan.h"
#include "support/Memory.h"

namespace nalsmith_internal {

namespace {

constexpr u8 kStartCode[] = {0, 0, 0, 1};

// Looks only at bytes that exist.
bool HasStartCode(const u8* data, u32 size)
{
    if (size < 3 || data[0] != 0 || data[1] != 0)
        return false;
    return data[2] == 1 || (size > 3 && data[2] == 0 && data[3] == 1);
}

// A parameter set as the host gave it, and what has to be put in front of it.
struct Import {
    Import(const u8* bytes, u32 count) : data(bytes), size(count), prefix(HasStartCode(bytes, count) ? 0 : 4)
    {
    }
    u64 StoredSize() const { return u64{prefix} + size; }

    const u8* data;
    u32 size;
    u32 prefix;
};

bool MakeRoom(const Import& set, u8*& nal, u32& capacity)
{
    return set.StoredSize() <= capacity || memory::GrowTo(nal, capacity, set.StoredSize());
}

void Write(const Import& set, u8* nal, u32& nalSize)
{
    memory::Copy(nal, kStartCode, set.prefix);
    memory::Copy(nal + set.prefix, set.data, set.size);
    nalSize = static_cast<u32>(set.StoredSize());
}

// Reads the first NAL unit of a stored parameter set, whatever its type says.
Status ReadStored(CParseAVCParams& parser, const u8* nal, u32 size,
                  Status (CParseAVCParams::*read)(VideoInfo*))
{
    const bitstream::Scan scan(parser, nal, size);
    NalUnit unit;
    parser.NextNal(unit);
    if (!unit.HasPayload())
        return kFailed;
    if (parser.ReadNalHeader(unit).forbidden_zero_bit != 0)
        return kFailed;
    return (parser.*read)(&parser.streamInfo);
}

void KeepCopy(const NalUnit& nal, u8* copy, u32& length)
{
    if (nal.size > kParameterSetCopySize)
        return; // passed over; an earlier one stays
    memory::Copy(copy, nal.data, nal.size);
    length = nal.size;
}

// Both lists grow together; what one of them grew too much is used the next time.
bool GrowLists(CParserBase& parser, u32 entries)
{
    u32 pointers = parser.nalListCapacity;
    u32 sizes = parser.nalListCapacity;
    if (!memory::GrowTo(parser.nalList, pointers, entries) ||
        !memory::GrowTo(parser.nalSizeList, sizes, entries))
        return false;
    parser.nalListCapacity = entries;
    return true;
}

} // namespace

Status CParseAVCParams::SetParameterSetData(u8* sps, u32 spsSize, u8* pps, u32 ppsSize)
{
    if (queue == nullptr)
        return kFailed; // not a parsing handle
    const Import spsImport(sps, spsSize);
    const Import ppsImport(pps, ppsSize);
    if (!MakeRoom(spsImport, spsNal, spsCapacity) || !MakeRoom(ppsImport, ppsNal, ppsCapacity))
        return kFailed;
    Write(spsImport, spsNal, spsNalSize);
    Write(ppsImport, ppsNal, ppsNalSize);

    if (ReadStored(*this, spsNal, spsNalSize, &CParseAVCParams::ReadSequenceParameterSetData) != kOk)
        return kFailed;
    return ReadStored(*this, ppsNal, ppsNalSize, &CParseAVCParams::ReadPictureParameterSetData);
}

Status CParseAVCParams::GetParameterSetData(u8* frame, u32 size, ParameterSetData* result)
{
    if (result == nullptr || queue == nullptr)
        return kFailed; // no record to fill, or not a parsing handle
    *result = {};
    spsCopyLength = 0;
    ppsCopyLength = 0;

    const bitstream::Scan scan(*this, frame, size);
    NalUnit nal;
    Status status = NextNalEx(nal);
    for (; nal.Found(); status = NextNalEx(nal)) {
        if (nal.Header() == nullptr)
            continue;
        const avc::NalKind kind = avc::HeaderOf(*nal.Header()).Kind();
        if (kind == avc::NalKind::sps)
            KeepCopy(nal, spsCopy, spsCopyLength);
        else if (kind == avc::NalKind::pps)
            KeepCopy(nal, ppsCopy, ppsCopyLength);
    }

    if (spsCopyLength != 0) {
        result->spsData = spsCopy;
        result->spsSize = spsCopyLength;
    }
    if (ppsCopyLength != 0) {
        result->ppsData = ppsCopy;
        result->ppsSize = ppsCopyLength;
    }
    return status;
}

Status CParseAVCParams::GetNalFromFrame(u8* frame, u32 size, u32* count, u8*** nals, u32** sizes)
{
    if (count == nullptr || nals == nullptr || sizes == nullptr || queue == nullptr)
        return kFailed; // nowhere to answer, or not a parsing handle
    *count = 0;
    *nals = nullptr;
    *sizes = nullptr;

    const bitstream::Scan scan(*this, frame, size);
    u32 found = 0;
    NalUnit nal;
    Status status = NextNalEx(nal);
    for (; nal.Found(); status = NextNalEx(nal)) {
        if (found == nalListCapacity && !GrowLists(*this, found + 1))
            return kFailed;
        nalList[found] = frame + (nal.data - frame);
        nalSizeList[found] = nal.size;
        ++found;
    }

    if (found != 0) {
        *count = found;
        *nals = nalList;
        *sizes = nalSizeList;
    }
    return status;
}

} // namespace nalsmith_internal

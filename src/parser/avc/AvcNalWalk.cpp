// SPDX-License-Identifier: MIT
// A walk over the NAL units of a buffer, one a call.
#include "parser/avc/AvcNalWalk.h"

#include "parser/VideoParams.h"
#include "parser/avc/AvcNal.h"
#include "parser/bitstream/NextToRead.h"

namespace nalsmith_internal {

namespace avc {

u32 StoredHeaderSize(const u8* payload, const u8* position, const u8* end)
{
    u32 left = static_cast<u32>(position - payload) + 1;
    u32 size = left;
    while (left > 2 && end - payload > 2) {
        // Two zeros and a byte of 3 or less carry an emulation_prevention_three_byte in the stored NAL unit.
        const bool escaped = payload[0] == 0 && payload[1] == 0 && payload[2] <= 3;
        const u32 step = escaped ? 2 : 1;
        size += escaped ? 1 : 0;
        payload += step;
        left -= step;
    }
    return size;
}

} // namespace avc

Status CParseAVCParams::SetVideoData(u8* data, u32 size)
{
    if (queue == nullptr)
        return kFailed; // not a parsing handle
    SetData(data, size);
    Reset();
    return kOk;
}

Status CParseAVCParams::GetNalUnit(u8** nal, u32* nalSize, bool* isSlice, u32* sliceHeaderSize)
{
    if (nal == nullptr || nalSize == nullptr || isSlice == nullptr || sliceHeaderSize == nullptr ||
        queue == nullptr)
        return kFailed; // nowhere to answer, or not a parsing handle
    *nal = nullptr;
    *nalSize = 0;
    *isSlice = false;
    *sliceHeaderSize = 0;

    NalUnit unit;
    bitstream::NextToRead<avc::Extent>(*this, unit);
    if (!unit.HasPayload())
        return kFailed;
    const avc::NalHeader header = ReadNalHeader(unit);
    if (header.forbidden_zero_bit != 0)
        return kFailed;

    const avc::NalKind kind = header.Kind();
    if (kind == avc::NalKind::sps) {
        VideoInfo scratch = {};
        ReadSequenceParameterSetData(&scratch);
    } else if (kind == avc::NalKind::pps) {
        ReadPictureParameterSetData(nullptr);
    } else if (kind == avc::NalKind::slice) {
        int newPicture = 0;
        ReadSlice(header, unit, &newPicture);
        if (!unit.HasPayload())
            return kFailed; // no memory to read the header to its end
        *isSlice = true;
        *sliceHeaderSize = avc::StoredHeaderSize(unit.rbsp + 1, readPtr, unit.rbsp + unit.rbspSize);
    }
    *nal = const_cast<u8*>(unit.data); // the host's own buffer, which it handed in as writable
    *nalSize = unit.size;
    return kOk;
}

} // namespace nalsmith_internal

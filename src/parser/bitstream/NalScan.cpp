// SPDX-License-Identifier: MIT
// Cutting a buffer into NAL units at its start codes (H.264 Annex B, H.265 Annex B).
#include "parser/VideoParams.h"
#include "parser/bitstream/ZeroPairs.h"

namespace {

// What a scan leaves alone: the four bytes in which a start code would not be seen.
constexpr u32 kUnseenTail = 4;

} // namespace

// A null buffer is an empty one.
Status CParserBase::SetData(const u8* data, u32 size)
{
    streamData = data;
    streamRemaining = data != nullptr ? size : 0;
    return kOk;
}

void CParserBase::Reset()
{
    nalCursor = nullptr;
}

// The first 00 00 01, or 00 00 00 01 where three zeros or more stand in front of the 01. Begins before the
// last four bytes; the last byte is never read.
const u8* CParserBase::GetStartCode(const u8* p, u32 n)
{
    if (n <= kUnseenTail)
        return nullptr;
    const std::size_t positions = n - kUnseenTail; // where a start code may begin
    const std::size_t readable = n - 1;
    std::size_t i = 0;
    while ((i += bitstream::FindZeroPair(p + i, positions + 1 - i)) < positions) {
        const std::size_t end = bitstream::EndOfZeros(p, i + 2, readable);
        if (end == readable)
            return nullptr;
        const std::size_t start = end - i > 2 ? end - 3 : end - 2;
        if (p[end] == 1 && start < positions)
            return p + start;
        i = end + 1;
        if (i >= positions)
            return nullptr;
    }
    return nullptr;
}

Status CParserBase::GetNalDataEx(const u8** nal, u32* nalSize)
{
    if (streamRemaining <= kUnseenTail)
        return kOk;
    if (nalCursor == nullptr) {
        nalCursor = GetStartCode(streamData, streamRemaining);
        if (nalCursor == nullptr)
            return kFailed;
        streamRemaining -= static_cast<u32>(nalCursor - streamData);
    }

    const u32 startCodeSize = nalCursor[2] == 1 ? 3 : 4;
    nextStartCode = GetStartCode(nalCursor + startCodeSize, streamRemaining - startCodeSize);
    const u32 size = nextStartCode != nullptr ? static_cast<u32>(nextStartCode - nalCursor) : streamRemaining;
    *nal = nalCursor;
    *nalSize = size;
    nalCursor = nextStartCode;
    streamRemaining -= size;
    return kOk;
}

Status CParserBase::GetNalData(const u8** nal, u32* nalSize, const u8** rbsp, u32* rbspSize)
{
    NalUnit unit;
    const Status scanned = NextNalEx(unit);
    if (!unit.Found())
        return scanned;
    *nal = unit.data;
    *nalSize = unit.size;
    if (!Unescape(unit))
        return kFailed;
    *rbsp = unit.rbsp;
    *rbspSize = unit.rbspSize;
    return kOk;
}

Status CParserBase::NextNal(NalUnit& nal)
{
    nal = {};
    return GetNalData(&nal.data, &nal.size, &nal.rbsp, &nal.rbspSize);
}

Status CParserBase::NextNalEx(NalUnit& nal)
{
    nal = {};
    return GetNalDataEx(&nal.data, &nal.size);
}

// A start code holds no 03, so it comes out of the removal as it went in.
bool CParserBase::Unescape(NalUnit& nal)
{
    u8* copy = nullptr;
    u32 copySize = 0;
    if (GetRbspData(nal.data, nal.size, &copy, &copySize) != kOk)
        return false;
    nal.rbsp = copy + nal.StartCodeSize();
    nal.rbspSize = copySize - nal.StartCodeSize();
    return true;
}

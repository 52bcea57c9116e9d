// SPDX-License-Identifier: MIT
// Cutting a buffer into NAL units at its start codes (H.264 Annex B, H.265 Annex B).
#include "parser/VideoParams.h"
#include "parser/bitstream/ZeroPairs.h"

#include <algorithm>

namespace nalsmith_internal {

namespace {

// What a scan leaves alone: the four bytes in which a start code would not be seen.
constexpr u32 kUnseenTail = 4;

// Stored bytes of a slice NAL unit that are unescaped to read its header. What is read of an H.265 header
// takes 24 bytes at most. An H.264 header is longer only where its SPS asks for field widths beyond the
// standard, and is then read once more from the whole NAL unit.
constexpr u32 kHeadBytes = 64;

struct Found {
    const u8* startCode; // null when there is none
    u32 firstPair;       // no two zero bytes side by side begin before
};

// Three bytes or four, of which the first two are known to be zero.
bool StartsHere(const u8* p)
{
    return p[2] == 1 || (p[2] == 0 && p[3] == 1);
}

// From the pair of zeros at `firstPair` on.
Found FindBehindPair(const u8* p, std::size_t positions, std::size_t firstPair)
{
    const u32 pair = static_cast<u32>(firstPair);
    nalsmith::detail::DenseRun run;
    std::size_t passed = firstPair;
    for (std::size_t i = firstPair; i < positions; i += passed) {
        // In a start code the third byte is 0 or 1, so any other rules out three positions at once.
        for (const std::size_t end = std::min(i + run.length(passed), positions); i < end;) {
            if ((p[i] | p[i + 1]) == 0 && StartsHere(p + i))
                return {p + i, pair};
            i += p[i + 2] != 0 ? 3 : 1;
        }
        if (i >= positions)
            break;
        passed = bitstream::FindZeroPair(p + i, positions + 1 - i);
    }
    return {nullptr, pair};
}

// The first 00 00 01, or 00 00 00 01 where three zeros or more stand in front of the 01. Begins before the
// last four bytes; the last byte is never read.
inline Found FindStartCode(const u8* p, u32 n)
{
    constexpr std::size_t kNear =
        4; // looked at first: a buffer begins with a start code, short NAL units end
    if (n <= kUnseenTail)
        return {nullptr, 0};
    const std::size_t positions = n - kUnseenTail; // where a start code may begin
    if (positions >= kNear)
        for (std::size_t i = 0; i < kNear; ++i)
            if ((p[i] | p[i + 1]) == 0)
                return StartsHere(p + i) ? Found{p + i, static_cast<u32>(i)}
                                         : FindBehindPair(p, positions, i);
    return FindBehindPair(p, positions, std::min(bitstream::FindZeroPair(p, positions + 1), positions));
}

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

const u8* CParserBase::GetStartCode(const u8* p, u32 n)
{
    return FindStartCode(p, n).startCode;
}

Status CParserBase::PeekNal(NalUnit& nal)
{
    nal = {};
    if (streamRemaining <= kUnseenTail)
        return kOk;
    if (nalCursor == nullptr) {
        nalCursor = GetStartCode(streamData, streamRemaining);
        if (nalCursor == nullptr)
            return kFailed;
        streamRemaining -= static_cast<u32>(nalCursor - streamData);
    }
    nal.data = nalCursor;
    nal.size = streamRemaining;
    nal.openEnd = true;
    return kOk;
}

void CParserBase::EndNal(NalUnit& nal)
{
    const u32 startCode = nal.StartCodeSize();
    const Found next = FindStartCode(nal.data + startCode, streamRemaining - startCode);
    nal.size = next.startCode != nullptr ? static_cast<u32>(next.startCode - nal.data) : streamRemaining;
    nal.firstPair = next.firstPair;
    nal.openEnd = false;
    nextStartCode = next.startCode;
    nalCursor = next.startCode;
    streamRemaining -= nal.size;
}

Status CParserBase::NextNalEx(NalUnit& nal)
{
    const Status status = PeekNal(nal);
    if (nal.Found())
        EndNal(nal);
    return status;
}

Status CParserBase::NextNal(NalUnit& nal)
{
    const Status status = NextNalEx(nal);
    return !nal.Found() || Unescape(nal) ? status : kFailed;
}

Status CParserBase::GetNalDataEx(const u8** nal, u32* nalSize)
{
    NalUnit unit;
    const Status status = NextNalEx(unit);
    if (unit.Found()) {
        *nal = unit.data;
        *nalSize = unit.size;
    }
    return status;
}

Status CParserBase::GetNalData(const u8** nal, u32* nalSize, const u8** rbsp, u32* rbspSize)
{
    NalUnit unit;
    const Status status = NextNal(unit);
    if (unit.Found()) {
        *nal = unit.data;
        *nalSize = unit.size;
    }
    if (unit.rbsp != nullptr) {
        *rbsp = unit.rbsp;
        *rbspSize = unit.rbspSize;
    }
    return status;
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
    nal.headOnly = false;
    return true;
}

// Where the head holds no two zero bytes side by side, it is read in place.
bool CParserBase::UnescapeHead(NalUnit& nal)
{
    const u32 startCode = nal.StartCodeSize();
    const u8* const stored = nal.data + startCode;
    if (nal.openEnd) {
        const u32 searched = std::min(nal.size - startCode, kHeadBytes + kUnseenTail + 1);
        const Found next = FindStartCode(stored, searched);
        if (next.startCode != nullptr)
            nal.size = static_cast<u32>(next.startCode - nal.data);
        nal.firstPair = next.firstPair;
    }
    const u32 storedSize = nal.size - startCode;
    const u32 size = std::min(storedSize, kHeadBytes);
    nal.headOnly = size < storedSize;
    nal.rbsp = stored;
    nal.rbspSize = size;
    if (nal.firstPair + 1 < size) {
        u8* copy = nullptr;
        const Status status = GetRbspData(stored, size, &copy, &nal.rbspSize);
        nal.rbsp = copy;
        if (status != kOk)
            return false;
    }
    if (nal.headOnly)
        --nal.rbspSize; // the byte at the cut may be an 03 that goes
    return true;
}

bool CParserBase::CompleteHead(NalUnit& nal)
{
    if (nal.openEnd)
        EndNal(nal);
    return Unescape(nal);
}

} // namespace nalsmith_internal

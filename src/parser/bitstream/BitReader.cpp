// SPDX-License-Identifier: MIT
// Fixed-length fields and Exp-Golomb codes (H.264 9.1, H.265 9.2). Behind the end of the data every bit is 0
// and the position stays at the end; no loop runs on there.
#include "parser/VideoParams.h"

#include <algorithm>

namespace {

constexpr u32 kMaxLeadingZeros = 32;

} // namespace

void CParserBase::InitReadData(const u8* data, u32 size)
{
    readPtr = data;
    readRemaining = size;
    bitPosition = 0;
}

// Of more than 32 bits, the last 32.
u32 CParserBase::ReadData(u32 n)
{
    u64 result = 0;
    while (n > 0 && DataLeft()) {
        const u32 take = std::min(8 - bitPosition, n);
        const u32 bits = static_cast<u8>(*readPtr << bitPosition) >> (8 - take);
        result = result << take | bits;
        bitPosition += take;
        readPtr += bitPosition / 8;
        readRemaining -= bitPosition / 8;
        bitPosition %= 8;
        n -= take;
    }
    return n < 32 ? static_cast<u32>(result << n) : 0;
}

u32 CParserBase::GetUE()
{
    u32 leadingZeros = 0;
    while (leadingZeros < kMaxLeadingZeros && DataLeft() && !ReadFlag())
        ++leadingZeros;
    const u64 codeBase = (u64{1} << leadingZeros) - 1;
    return static_cast<u32>(codeBase + ReadData(leadingZeros));
}

i32 CParserBase::GetSE()
{
    const i64 k = GetUE();
    return static_cast<i32>(k % 2 != 0 ? k / 2 + 1 : -(k / 2));
}

Status CParserBase::GetDataPtr(u8** p) const
{
    *p = const_cast<u8*>(readPtr);
    return kOk;
}

void CParserBase::SkipBits(u64 n)
{
    const u64 left = u64{readRemaining} * 8 - bitPosition;
    const u64 position = bitPosition + std::min(n, left);
    readPtr += position / 8;
    readRemaining -= static_cast<u32>(position / 8);
    bitPosition = static_cast<u32>(position % 8);
}

void CParserBase::SkipUE(u32 count)
{
    for (; count > 0 && DataLeft(); --count)
        GetUE();
}

void CParserBase::SkipSE(u32 count)
{
    SkipUE(count);
}

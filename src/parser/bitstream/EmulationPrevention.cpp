// SPDX-License-Identifier: MIT
// Emulation prevention (H.264 7.4.1, H.265 7.4.2): the 03 between two zero bytes and a byte of 3 or less.
#include "parser/VideoParams.h"
#include "parser/bitstream/ZeroPairs.h"
#include "support/Memory.h"

#include <algorithm>

namespace nalsmith_internal {

using bitstream::DenseRun;
using bitstream::FindZeroPair;

// An 03 goes when two zeros stand before it and any byte behind it.
Status CParserBase::GetRbspData(const u8* src, u32 size, u8** out, u32* outSize)
{
    *out = nullptr;
    *outSize = 0;
    if (size > rbspBufferSize && !memory::ReplaceBy(rbspBuffer, rbspBufferSize, size))
        return kFailed;

    const std::size_t removable = size > 3 ? size - 3 : 0; // where a sequence that loses its 03 may begin
    DenseRun run;
    u8* to = rbspBuffer;
    for (std::size_t i = 0; i < size;) {
        const std::size_t clean = FindZeroPair(src + i, size - i);
        memory::Copy(to, src + i, clean);
        to += clean;
        i += clean;
        for (const std::size_t end = std::min(i + run.Length(clean), removable); i < end;) {
            if ((src[i] | src[i + 1]) == 0 && src[i + 2] == 3) {
                *to++ = 0;
                *to++ = 0;
                i += 3;
            } else {
                *to++ = src[i++];
            }
        }
        for (; i >= removable && i < size; ++i)
            *to++ = src[i];
    }
    *out = rbspBuffer;
    *outSize = static_cast<u32>(to - rbspBuffer);
    return kOk;
}

// An 03 goes behind two zeros when a byte of 3 or less follows them, and counting starts anew behind it.
Status CParserBase::AddEscape(const u8* src, u32 size, u8* dst, u32* outLen)
{
    const std::size_t escapable = size > 2 ? size - 2 : 0; // where a sequence that needs an 03 may begin
    DenseRun run;
    u8* to = dst;
    for (std::size_t i = 0; i < size;) {
        const std::size_t clean = FindZeroPair(src + i, size - i);
        memory::Copy(to, src + i, clean);
        to += clean;
        i += clean;
        for (const std::size_t end = std::min(i + run.Length(clean), escapable); i < end;) {
            if ((src[i] | src[i + 1]) == 0 && src[i + 2] <= 3) {
                *to++ = 0;
                *to++ = 0;
                *to++ = 3;
                i += 2;
            } else {
                *to++ = src[i++];
            }
        }
        for (; i >= escapable && i < size; ++i)
            *to++ = src[i];
    }
    *outLen += static_cast<u32>(to - dst);
    return kOk;
}

} // namespace nalsmith_internal

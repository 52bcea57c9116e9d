// SPDX-License-Identifier: MIT
// Emulation prevention (H.264 7.4.1, H.265 7.4.2): the 03 between two zero bytes and a byte of 3 or less.
#include "parser/VideoParams.h"
#include "parser/bitstream/ZeroPairs.h"
#include "support/Memory.h"

#include <algorithm>

using bitstream::FindZeroPair;
using bitstream::kDenseBytes;

// An 03 goes when two zeros stand before it and any byte behind it.
Status CParserBase::GetRbspData(const u8* src, u32 size, u8** out, u32* outSize)
{
    *out = nullptr;
    *outSize = 0;
    if (size > rbspBufferSize && !memory::ReplaceBy(rbspBuffer, rbspBufferSize, size))
        return kFailed;

    u8* to = rbspBuffer;
    for (std::size_t i = 0; i < size;) {
        const std::size_t clean = FindZeroPair(src + i, size - i);
        memory::Copy(to, src + i, clean);
        to += clean;
        i += clean;
        for (const std::size_t dense = std::min<std::size_t>(i + kDenseBytes, size); i < dense;) {
            const bool drops = size - i > 3 && src[i] == 0 && src[i + 1] == 0 && src[i + 2] == 3;
            *to++ = src[i++];
            if (drops) {
                *to++ = src[i];
                i += 2;
            }
        }
    }
    *out = rbspBuffer;
    *outSize = static_cast<u32>(to - rbspBuffer);
    return kOk;
}

// An 03 goes behind two zeros when a byte of 3 or less follows them, and counting starts anew behind it.
Status CParserBase::AddEscape(const u8* src, u32 size, u8* dst, u32* outLen)
{
    u8* to = dst;
    for (std::size_t i = 0; i < size;) {
        const std::size_t clean = FindZeroPair(src + i, size - i);
        memory::Copy(to, src + i, clean);
        to += clean;
        i += clean;
        for (const std::size_t dense = std::min<std::size_t>(i + kDenseBytes, size); i < dense;) {
            const bool escapes = size - i > 2 && src[i] == 0 && src[i + 1] == 0 && src[i + 2] <= 3;
            *to++ = src[i++];
            if (escapes) {
                *to++ = src[i++];
                *to++ = 3;
            }
        }
    }
    *outLen += static_cast<u32>(to - dst);
    return kOk;
}

// SPDX-License-Identifier: MIT
// Emulation prevention (H.264 7.4.1, H.265 7.4.2): the 03 between two zero bytes and a byte of 3 or less.
#include "parser/VideoParams.h"
#include "parser/bitstream/ZeroPairs.h"
#include "support/Memory.h"

using bitstream::EndOfZeros;
using bitstream::FindZeroPair;

// An 03 goes when two zeros stand before it and any byte behind it.
Status CParserBase::GetRbspData(const u8* src, u32 size, u8** out, u32* outSize)
{
    *out = nullptr;
    *outSize = 0;
    if (size > rbspBufferSize && !memory::ReplaceBy(rbspBuffer, rbspBufferSize, size))
        return kFailed;

    u8* to = rbspBuffer;
    std::size_t copied = 0; // bytes of src done with
    std::size_t i = 0;
    while ((i += FindZeroPair(src + i, size - i)) < size) {
        const std::size_t end = EndOfZeros(src, i + 2, size);
        if (end + 1 >= size)
            break;
        if (src[end] == 3) {
            memory::Copy(to, src + copied, end - copied);
            to += end - copied;
            copied = end + 1;
        }
        i = end + 1;
    }
    memory::Copy(to, src + copied, size - copied);
    to += size - copied;

    *out = rbspBuffer;
    *outSize = static_cast<u32>(to - rbspBuffer);
    return kOk;
}

// An 03 goes behind two zeros when a byte of 3 or less follows them, and counting starts anew behind it.
Status CParserBase::AddEscape(const u8* src, u32 size, u8* dst, u32* outLen)
{
    u8* to = dst;
    std::size_t copied = 0;
    std::size_t i = 0;
    while ((i += FindZeroPair(src + i, size - i)) < size) {
        i += 2;
        while (i < size && src[i] <= 3) {
            memory::Copy(to, src + copied, i - copied);
            to += i - copied;
            *to++ = 3;
            copied = i;
            if (src[i] != 0 || i + 1 >= size || src[i + 1] != 0)
                break;
            i += 2; // the run of zeros goes on: the next pair
        }
    }
    memory::Copy(to, src + copied, size - copied);
    to += size - copied;
    *outLen += static_cast<u32>(to - dst);
    return kOk;
}

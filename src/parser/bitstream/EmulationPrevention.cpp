// SPDX-License-Identifier: MIT
// Emulation prevention by the best kernel of the processor, into the parser's buffer or the caller's.
#include "nalsmith/detail/escape.hpp"

#include "parser/VideoParams.h"
#include "parser/bitstream/ZeroPairs.h"
#include "support/Memory.h"

namespace nalsmith_internal {

namespace {

// A type of this file, so that the loops are compiled here, with a direct call, and are nobody else's.
struct Find {
    std::size_t operator()(const u8* data, std::size_t size) const
    {
        return bitstream::FindZeroPair(data, size);
    }
};

} // namespace

Status CParserBase::GetRbspData(const u8* src, u32 size, u8** out, u32* outSize)
{
    *out = nullptr;
    *outSize = 0;
    if (size > rbspBufferSize && !memory::ReplaceBy(rbspBuffer, rbspBufferSize, size))
        return kFailed;
    *outSize = static_cast<u32>(nalsmith::detail::unescape(src, size, rbspBuffer, Find{}));
    *out = rbspBuffer;
    return kOk;
}

Status CParserBase::AddEscape(const u8* src, u32 size, u8* dst, u32* outLen)
{
    *outLen += static_cast<u32>(nalsmith::detail::escape(src, size, dst, Find{}));
    return kOk;
}

} // namespace nalsmith_internal

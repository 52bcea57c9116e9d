// SPDX-License-Identifier: MIT
// The next NAL unit with as much of its payload as is read. A codec's Extent tells from the first byte of the
// NAL unit header: parameter sets whole, of all others the head.
#pragma once

#include "parser/VideoParams.h"

namespace nalsmith_internal::bitstream {

// False for lack of memory. The payload is empty for a bare start code.
template <typename Extent>
bool UnescapeAsRead(CParserBase& parser, NalUnit& nal)
{
    const bool whole = nal.Header() != nullptr && Extent::Whole(*nal.Header());
    return whole ? parser.Unescape(nal) : parser.UnescapeHead(nal);
}

// The payload stays null at the end of the buffer and for lack of memory.
template <typename Extent>
Status NextToRead(CParserBase& parser, NalUnit& nal)
{
    const Status status = parser.NextNalEx(nal);
    return !nal.Found() || UnescapeAsRead<Extent>(parser, nal) ? status : kFailed;
}

// The same where nothing is read behind the first slice: the end of a slice is not searched for, and it stays
// the next NAL unit.
template <typename Extent>
Status NextToTest(CParserBase& parser, NalUnit& nal)
{
    const Status status = parser.PeekNal(nal);
    if (!nal.Found())
        return status;
    if (!Extent::Slice(*nal.Header()))
        parser.EndNal(nal);
    return UnescapeAsRead<Extent>(parser, nal) ? status : kFailed;
}

} // namespace nalsmith_internal::bitstream

// SPDX-License-Identifier: MIT
// The walk over one sample, up to its first slice. The parser says what a NAL unit means.
#pragma once

#include "parser/bitstream/NextToRead.h"
#include "parser/bitstream/Scan.h"

namespace nalsmith_internal::stream {

// Hands NAL units to the parser's TestNalUnit() until one of them ends the test.
template <typename Extent, typename Parser>
Status TestSample(Parser& parser, const u8* data, u32 size, VideoInfoEx* info)
{
    if (info == nullptr || parser.queue == nullptr)
        return kFailed; // no record to fill, or not a parsing handle
    *info = {};
    const bitstream::Scan scan(parser, data, size);
    NalUnit nal;
    Status status = bitstream::NextToTest<Extent>(parser, nal);
    while (nal.HasPayload() && !parser.TestNalUnit(nal, *info, status))
        status = bitstream::NextToTest<Extent>(parser, nal);
    return status;
}

} // namespace nalsmith_internal::stream

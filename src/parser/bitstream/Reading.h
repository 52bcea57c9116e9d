// SPDX-License-Identifier: MIT
// The parser's bit reader, taken into a local variable while one structure is read.
#pragma once

#include "parser/VideoParams.h"
#include "parser/bitstream/BitReader.h"

namespace nalsmith_internal::bitstream {

// Gives the position back at its end.
class Reading : public BitReader {
public:
    explicit Reading(CParserBase& parser)
        : BitReader(parser.readPtr, parser.readRemaining, parser.bitPosition), parser_(parser)
    {
    }
    ~Reading()
    {
        parser_.readPtr = Position();
        parser_.readRemaining = Remaining();
        parser_.bitPosition = BitPosition();
    }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

private:
    CParserBase& parser_;
};

} // namespace nalsmith_internal::bitstream

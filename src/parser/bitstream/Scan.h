// SPDX-License-Identifier: MIT
// One operation's pass over a buffer.
#pragma once

#include "parser/VideoParams.h"

namespace nalsmith_internal::bitstream {

// Hands the buffer to the parser's scanner, and leaves the scanner empty behind it: whatever walk was under
// way has ended, and nothing reads the buffer after the call that brought it.
class Scan {
public:
    Scan(CParserBase& parser, const u8* data, u32 size) : parser_(parser)
    {
        parser_.SetData(data, size);
        parser_.Reset();
    }
    ~Scan()
    {
        parser_.SetData(nullptr, 0);
        parser_.Reset();
    }
    Scan(const Scan&) = delete;
    Scan& operator=(const Scan&) = delete;

private:
    CParserBase& parser_;
};

} // namespace nalsmith_internal::bitstream

// SPDX-License-Identifier: MIT
// One NAL unit as the scanner hands it out.
#pragma once

#include "support/Types.h"

namespace nalsmith_internal {

struct NalUnit {
    const u8* data = nullptr; // first byte of the start code, in the caller's buffer
    u32 size = 0;             // up to the next start code or the end of the buffer
    const u8* rbsp = nullptr; // NAL unit header and payload without emulation prevention
    u32 rbspSize = 0;
    u32 firstPair = 0;     // bytes behind the start code before which no two zero bytes begin
    bool headOnly = false; // `rbsp` holds only the first bytes
    bool openEnd = false;  // the end has not been searched for: `size` runs to the end of the buffer

    // The end of the buffer has not been reached. A bare start code counts.
    bool Found() const { return data != nullptr && size != 0; }
    // There is something to read. A bare start code stops the readers like the end of the buffer.
    bool HasPayload() const { return Found() && rbsp != nullptr && rbspSize != 0; }

    u32 StartCodeSize() const { return data[2] == 1 ? 3 : 4; }
    // The first byte of the NAL unit header; null for a bare start code and behind the end of the buffer.
    const u8* Header() const { return Found() && size > StartCodeSize() ? data + StartCodeSize() : nullptr; }
};

} // namespace nalsmith_internal

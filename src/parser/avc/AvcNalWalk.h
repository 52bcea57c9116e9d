// SPDX-License-Identifier: MIT
// The measuring of a slice header.
#pragma once

#include "support/Types.h"

namespace nalsmith_internal::avc {

// Bytes of a slice header as stored, emulation prevention included. `payload` is the first byte behind the
// NAL unit header, `position` the byte that holds the first bit not read, `end` the end of the payload; all
// three in the copy without emulation prevention. The byte at `position` counts, also where nothing of it was
// read.
u32 StoredHeaderSize(const u8* payload, const u8* position, const u8* end);

} // namespace nalsmith_internal::avc

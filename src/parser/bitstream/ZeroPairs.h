// SPDX-License-Identifier: MIT
// The one question that start codes and emulation prevention ask, put to the best kernel of the processor at
// hand.
#pragma once

#include "nalsmith/detail/zero_pairs.hpp"
#include "support/Types.h"

namespace nalsmith_internal::bitstream {

// The first i with data[i] == 0 and data[i + 1] == 0, or `size` when there is none. Reads no byte outside.
// Asks for the kernel at every call: there is no state to keep.
std::size_t FindZeroPair(const u8* data, std::size_t size);

#if defined(NALSMITH_ZERO_PAIRS_SSE2)
// The processor may lack it.
std::size_t FindZeroPairAvx2(const u8* data, std::size_t size);
#endif

} // namespace nalsmith_internal::bitstream

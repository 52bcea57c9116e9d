// SPDX-License-Identifier: MIT
// The one question behind start codes and emulation prevention: where are the next two zero bytes?
#pragma once

#include "support/Types.h"

namespace bitstream {

// The first i with data[i] == 0 and data[i + 1] == 0, or `size` when there is none. Reads no byte outside.
std::size_t FindZeroPair(const u8* data, std::size_t size);

// The first i from `from` on with data[i] != 0, or `size`. For the runs of zeros behind a pair.
inline std::size_t EndOfZeros(const u8* data, std::size_t from, std::size_t size)
{
    while (from < size && data[from] == 0)
        ++from;
    return from;
}

} // namespace bitstream

// SPDX-License-Identifier: MIT
#include "parser/bitstream/ZeroPairs.h"

#include <cstring>

namespace bitstream {
namespace {

constexpr u64 kOnes = 0x0101010101010101;
constexpr u64 kHighBits = 0x8080808080808080;

u64 Load(const u8* data)
{
    u64 word;
    std::memcpy(&word, data, sizeof word);
    return word;
}

// Whether any of the eight bytes is zero.
bool HasZero(u64 word)
{
    return ((word - kOnes) & ~word & kHighBits) != 0;
}

} // namespace

std::size_t FindZeroPair(const u8* data, std::size_t size)
{
    std::size_t i = 0;
    // Two zero bytes side by side leave a zero byte in the OR of the data with itself one byte on. The last
    // byte looked at is data[i + 8].
    for (; i + 9 <= size; i += 8) {
        if (!HasZero(Load(data + i) | Load(data + i + 1)))
            continue;
        for (std::size_t j = i; j < i + 8; ++j)
            if ((data[j] | data[j + 1]) == 0)
                return j;
    }
    for (; i + 2 <= size; ++i)
        if ((data[i] | data[i + 1]) == 0)
            return i;
    return size;
}

} // namespace bitstream

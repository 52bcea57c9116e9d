// SPDX-License-Identifier: MIT
// The kernel for AArch64, where NEON is always there.
#include "parser/bitstream/ZeroPairs.h"

#if defined(__aarch64__)

#include <arm_neon.h>

namespace nalsmith_internal::bitstream {
namespace {

constexpr std::size_t kWidth = 16;

// Zero where a pair begins.
uint8x16_t Pairs(const u8* data)
{
    return vorrq_u8(vld1q_u8(data), vld1q_u8(data + 1));
}

// Four bits for each byte, set where it is zero.
u64 ZeroMask(uint8x16_t bytes)
{
    const uint16x8_t zeros = vreinterpretq_u16_u8(vceqzq_u8(bytes));
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(zeros, 4)), 0);
}

} // namespace

// Blocks of four vectors are passed with one branch; the vector at the end overlaps what has been passed.
std::size_t FindZeroPairNeon(const u8* data, std::size_t size)
{
    if (size < kWidth + 1)
        return FindZeroPairPortable(data, size);
    const std::size_t last = size - kWidth - 1; // where the last vector of pairs begins
    std::size_t i = 0;
    for (; i + 3 * kWidth <= last; i += 4 * kWidth) {
        const uint8x16_t low = vminq_u8(Pairs(data + i), Pairs(data + i + kWidth));
        const uint8x16_t high = vminq_u8(Pairs(data + i + 2 * kWidth), Pairs(data + i + 3 * kWidth));
        if (ZeroMask(vminq_u8(low, high)) != 0)
            break;
    }
    for (;; i += kWidth) {
        if (i > last)
            i = last;
        const u64 mask = ZeroMask(Pairs(data + i));
        if (mask != 0)
            return i + static_cast<std::size_t>(__builtin_ctzll(mask)) / 4;
        if (i == last)
            return size;
    }
}

} // namespace nalsmith_internal::bitstream

#endif

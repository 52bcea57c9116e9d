// SPDX-License-Identifier: MIT
// The kernel for every processor, and the choice. NALSMITH_KERNEL_PORTABLE and NALSMITH_KERNEL_SSE2 pin it.
#include "parser/bitstream/ZeroPairs.h"

#include <cstring>

namespace nalsmith_internal::bitstream {
namespace {

constexpr u64 kOnes = 0x0101010101010101;
constexpr u64 kHighBits = 0x8080808080808080;
constexpr std::size_t kStep = sizeof(u64);

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
#if defined(NALSMITH_KERNEL_PORTABLE)
    return FindZeroPairPortable(data, size);
#elif defined(__x86_64__) && defined(NALSMITH_KERNEL_SSE2)
    return FindZeroPairSse2(data, size);
#elif defined(__x86_64__)
    return __builtin_cpu_supports("avx2") ? FindZeroPairAvx2(data, size) : FindZeroPairSse2(data, size);
#elif defined(__aarch64__)
    return FindZeroPairNeon(data, size);
#else
    return FindZeroPairPortable(data, size);
#endif
}

// Two zero bytes side by side leave a zero byte in the OR of the data with itself one byte on.
std::size_t FindZeroPairPortable(const u8* data, std::size_t size)
{
    std::size_t i = 0;
    while (i + kStep + 1 <= size && !HasZero(Load(data + i) | Load(data + i + 1)))
        i += kStep;
    for (; i + 2 <= size; ++i)
        if ((data[i] | data[i + 1]) == 0)
            return i;
    return size;
}

} // namespace nalsmith_internal::bitstream

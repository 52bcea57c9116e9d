// SPDX-License-Identifier: MIT
// The choice of a kernel, and the one that not every x86-64 processor has. NALSMITH_KERNEL_PORTABLE and
// NALSMITH_KERNEL_SSE2 pin it.
#include "parser/bitstream/ZeroPairs.h"

#if defined(NALSMITH_ZERO_PAIRS_SSE2)
#include <immintrin.h>

// For its functions alone, so that nothing else of the library needs AVX2.
#define NALSMITH_AVX2 __attribute__((target("avx2")))
#endif

namespace nalsmith_internal::bitstream {

std::size_t FindZeroPair(const u8* data, std::size_t size)
{
#if defined(NALSMITH_KERNEL_PORTABLE)
    return nalsmith::detail::find_zero_pair_word(data, size);
#elif defined(NALSMITH_ZERO_PAIRS_SSE2) && !defined(NALSMITH_KERNEL_SSE2)
    return __builtin_cpu_supports("avx2") ? FindZeroPairAvx2(data, size)
                                          : nalsmith::detail::find_zero_pair_sse2(data, size);
#else
    return nalsmith::detail::find_zero_pair(data, size);
#endif
}

#if defined(NALSMITH_ZERO_PAIRS_SSE2)
namespace {

NALSMITH_AVX2 __m256i Pairs256(const u8* data)
{
    const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data));
    const __m256i second = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + 1));
    return _mm256_or_si256(first, second);
}

NALSMITH_AVX2 u32 ZeroMask256(__m256i bytes)
{
    return static_cast<u32>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, _mm256_setzero_si256())));
}

} // namespace

// As the vector kernels of zero_pairs.hpp: blocks of four vectors are passed with one branch, and the vector
// at the end overlaps what has been passed.
NALSMITH_AVX2 std::size_t FindZeroPairAvx2(const u8* data, std::size_t size)
{
    constexpr std::size_t kWidth = 32;
    if (size < kWidth + 1)
        return nalsmith::detail::find_zero_pair_sse2(data, size);
    const std::size_t last = size - kWidth - 1; // where the last vector of pairs begins
    std::size_t i = 0;
    for (; i + 3 * kWidth <= last; i += 4 * kWidth) {
        const __m256i low = _mm256_min_epu8(Pairs256(data + i), Pairs256(data + i + kWidth));
        const __m256i high =
            _mm256_min_epu8(Pairs256(data + i + 2 * kWidth), Pairs256(data + i + 3 * kWidth));
        if (ZeroMask256(_mm256_min_epu8(low, high)) != 0)
            break;
    }
    for (;; i += kWidth) {
        if (i > last)
            i = last;
        const u32 mask = ZeroMask256(Pairs256(data + i));
        if (mask != 0)
            return i + static_cast<std::size_t>(__builtin_ctz(mask));
        if (i == last)
            return size;
    }
}
#endif

} // namespace nalsmith_internal::bitstream

// SPDX-License-Identifier: MIT
// The kernels for x86-64. SSE2 is always there; AVX2 is compiled for its functions alone, so that nothing
// else of the library needs it.
#include "parser/bitstream/ZeroPairs.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define NALSMITH_AVX2 __attribute__((target("avx2")))

namespace nalsmith_internal::bitstream {
namespace {

// In both kernels: bytes are zero in the OR of the data with itself one byte on where a pair begins. Blocks
// of four vectors are passed with one branch; the vector at the end overlaps what has been passed.

__m128i Pairs128(const u8* data)
{
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 1));
    return _mm_or_si128(first, second);
}

u32 ZeroMask128(__m128i bytes)
{
    return static_cast<u32>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())));
}

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

std::size_t FirstBit(u32 mask)
{
    return static_cast<std::size_t>(__builtin_ctz(mask));
}

} // namespace

std::size_t FindZeroPairSse2(const u8* data, std::size_t size)
{
    constexpr std::size_t kWidth = 16;
    if (size < kWidth + 1)
        return FindZeroPairPortable(data, size);
    const std::size_t last = size - kWidth - 1; // where the last vector of pairs begins
    std::size_t i = 0;
    for (; i + 3 * kWidth <= last; i += 4 * kWidth) {
        const __m128i low = _mm_min_epu8(Pairs128(data + i), Pairs128(data + i + kWidth));
        const __m128i high = _mm_min_epu8(Pairs128(data + i + 2 * kWidth), Pairs128(data + i + 3 * kWidth));
        if (ZeroMask128(_mm_min_epu8(low, high)) != 0)
            break;
    }
    for (;; i += kWidth) {
        if (i > last)
            i = last;
        const u32 mask = ZeroMask128(Pairs128(data + i));
        if (mask != 0)
            return i + FirstBit(mask);
        if (i == last)
            return size;
    }
}

NALSMITH_AVX2 std::size_t FindZeroPairAvx2(const u8* data, std::size_t size)
{
    constexpr std::size_t kWidth = 32;
    if (size < kWidth + 1)
        return FindZeroPairSse2(data, size);
    const std::size_t last = size - kWidth - 1;
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
            return i + FirstBit(mask);
        if (i == last)
            return size;
    }
}

} // namespace nalsmith_internal::bitstream

#endif

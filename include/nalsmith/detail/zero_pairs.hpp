// SPDX-License-Identifier: MIT
// The one question that is asked of every byte: where are the next two zeros? Start codes and emulation
// prevention are short rules around the answer. Here stand the kernels that every compiler may use for its
// target: eight bytes at a time, SSE2, NEON. The library adds AVX2 and chooses at run time.
#ifndef NALSMITH_DETAIL_ZERO_PAIRS_HPP
#define NALSMITH_DETAIL_ZERO_PAIRS_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__) && defined(__x86_64__)
#include <emmintrin.h>
#define NALSMITH_ZERO_PAIRS_SSE2 1
#elif defined(__aarch64__) && defined(__ARM_NEON)
#include <arm_neon.h>
#define NALSMITH_ZERO_PAIRS_NEON 1
#endif

namespace nalsmith {
inline namespace v1 {
namespace detail {

inline std::uint64_t load_word(const std::uint8_t* data) noexcept
{
    std::uint64_t word = 0;
    std::memcpy(&word, data, sizeof word);
    return word;
}

// Whether any of the eight bytes is zero.
constexpr bool has_zero_byte(std::uint64_t word) noexcept
{
    return ((word - 0x0101010101010101) & ~word & 0x8080808080808080) != 0;
}

// Each kernel answers the first i with data[i] == 0 and data[i + 1] == 0, or `size` when there is none, and
// reads no byte outside. Two zero bytes side by side leave a zero byte in the OR of the data with itself one
// byte on.
inline std::size_t find_zero_pair_word(const std::uint8_t* data, std::size_t size) noexcept
{
    std::size_t i = 0;
    while (i + 9 <= size && !has_zero_byte(load_word(data + i) | load_word(data + i + 1)))
        i += 8;
    for (; i + 2 <= size; ++i)
        if ((data[i] | data[i + 1]) == 0)
            return i;
    return size;
}

// In the vector kernels blocks of four vectors are passed with one branch; the vector at the end overlaps
// what has been passed.
#if defined(NALSMITH_ZERO_PAIRS_SSE2)

inline __m128i zero_pairs_128(const std::uint8_t* data) noexcept
{
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 1));
    return _mm_or_si128(first, second);
}

inline std::uint32_t zero_mask_128(__m128i bytes) noexcept
{
    return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128())));
}

// Whether one of 64 pairs is of zeros.
inline bool has_zero_pair_64(const std::uint8_t* data) noexcept
{
    const __m128i low = _mm_min_epu8(zero_pairs_128(data), zero_pairs_128(data + 16));
    const __m128i high = _mm_min_epu8(zero_pairs_128(data + 32), zero_pairs_128(data + 48));
    return zero_mask_128(_mm_min_epu8(low, high)) != 0;
}

inline std::size_t find_zero_pair_sse2(const std::uint8_t* data, std::size_t size) noexcept
{
    constexpr std::size_t kWidth = 16;
    constexpr std::size_t kLong = 16 * kWidth;
    if (size < kWidth + 1)
        return find_zero_pair_word(data, size);
    const std::size_t last = size - kWidth - 1; // where the last vector of pairs begins
    std::size_t i = 0;
    while (i < kLong && i + 3 * kWidth <= last && !has_zero_pair_64(data + i))
        i += 4 * kWidth;
    if (i == kLong) {
        // From here on at addresses where an instruction can take one of its operands from memory. Without
        // AVX it can at no others.
        i -= reinterpret_cast<std::uintptr_t>(data + i) % kWidth;
        const auto* const aligned =
            static_cast<const std::uint8_t*>(__builtin_assume_aligned(data + i, kWidth));
        std::size_t on = 0;
        while (i + on + 3 * kWidth <= last && !has_zero_pair_64(aligned + on))
            on += 4 * kWidth;
        i += on;
    }
    for (;; i += kWidth) {
        if (i > last)
            i = last;
        const std::uint32_t mask = zero_mask_128(zero_pairs_128(data + i));
        if (mask != 0)
            return i + static_cast<std::size_t>(__builtin_ctz(mask));
        if (i == last)
            return size;
    }
}

#elif defined(NALSMITH_ZERO_PAIRS_NEON)

inline uint8x16_t zero_pairs_neon(const std::uint8_t* data) noexcept
{
    return vorrq_u8(vld1q_u8(data), vld1q_u8(data + 1));
}

// Four bits for each byte, set where it is zero.
inline std::uint64_t zero_mask_neon(uint8x16_t bytes) noexcept
{
    const uint16x8_t zeros = vreinterpretq_u16_u8(vceqzq_u8(bytes));
    return vget_lane_u64(vreinterpret_u64_u8(vshrn_n_u16(zeros, 4)), 0);
}

inline std::size_t find_zero_pair_neon(const std::uint8_t* data, std::size_t size) noexcept
{
    constexpr std::size_t kWidth = 16;
    if (size < kWidth + 1)
        return find_zero_pair_word(data, size);
    const std::size_t last = size - kWidth - 1; // where the last vector of pairs begins
    std::size_t i = 0;
    for (; i + 3 * kWidth <= last; i += 4 * kWidth) {
        const uint8x16_t low = vminq_u8(zero_pairs_neon(data + i), zero_pairs_neon(data + i + kWidth));
        const uint8x16_t high =
            vminq_u8(zero_pairs_neon(data + i + 2 * kWidth), zero_pairs_neon(data + i + 3 * kWidth));
        if (zero_mask_neon(vminq_u8(low, high)) != 0)
            break;
    }
    for (;; i += kWidth) {
        if (i > last)
            i = last;
        const std::uint64_t mask = zero_mask_neon(zero_pairs_neon(data + i));
        if (mask != 0)
            return i + static_cast<std::size_t>(__builtin_ctzll(mask)) / 4;
        if (i == last)
            return size;
    }
}

#endif

// The best that the compiler may use here anyhow.
inline std::size_t find_zero_pair(const std::uint8_t* data, std::size_t size) noexcept
{
#if defined(NALSMITH_ZERO_PAIRS_SSE2)
    return find_zero_pair_sse2(data, size);
#elif defined(NALSMITH_ZERO_PAIRS_NEON)
    return find_zero_pair_neon(data, size);
#else
    return find_zero_pair_word(data, size);
#endif
}

// How many bytes to look at one by one after a zero pair, before the kernel is asked again. Where pairs are
// dense a call for each would cost more than it saves, and a stream could be written to make it so: each time
// the kernel was asked in vain, the length doubles.
class DenseRun {
public:
    // `passed` bytes lay between the last run and this pair.
    std::size_t length(std::size_t passed) noexcept
    {
        length_ = passed >= kWorthwhile ? kShortest : std::min(2 * length_, kLongest);
        return length_;
    }

private:
    static constexpr std::size_t kWorthwhile = 16;
    static constexpr std::size_t kShortest = 32;
    static constexpr std::size_t kLongest = 4096;
    std::size_t length_ = kShortest;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

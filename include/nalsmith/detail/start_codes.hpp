// SPDX-License-Identifier: MIT
// Start codes (H.264 Annex B, H.265 Annex B): 00 00 01, and the zero before it where there is one.
#ifndef NALSMITH_DETAIL_START_CODES_HPP
#define NALSMITH_DETAIL_START_CODES_HPP

#include "nalsmith/detail/zero_pairs.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

// Where the zeros at `from` end: the next byte that is none, or `size`.
inline std::size_t skip_zeros(const std::uint8_t* data, std::size_t from, std::size_t size) noexcept
{
    while (size - from >= 8 && load_word(data + from) == 0)
        from += 8;
    while (from < size && data[from] == 0)
        ++from;
    return from;
}

// Where the first start code at `from` or later begins; `size` when there is none. Zeros before `from` do not
// count.
inline std::size_t find_start_code(const std::uint8_t* data, std::size_t from, std::size_t size) noexcept
{
    while (from < size) {
        const std::size_t pair = from + find_zero_pair(data + from, size - from);
        if (pair == size)
            break;
        const std::size_t one = skip_zeros(data, pair + 2, size);
        if (one == size)
            break;
        if (data[one] == 1)
            return one - pair > 2 ? one - 3 : one - 2;
        from = one + 1;
    }
    return size;
}

inline std::size_t start_code_size_at(const std::uint8_t* start_code) noexcept
{
    return start_code[2] == 1 ? 3 : 4;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

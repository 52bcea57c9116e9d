// SPDX-License-Identifier: MIT
// Emulation prevention (H.264 7.4.1, H.265 7.4.2), for the library and the C++ layer: the 03 between two zero
// bytes and a byte of 3 or less.
#ifndef NALSMITH_DETAIL_ESCAPE_HPP
#define NALSMITH_DETAIL_ESCAPE_HPP

#include "nalsmith/detail/zero_pairs.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace nalsmith {
inline namespace v1 {
namespace detail {

// memcpy that allows null pointers for nothing.
inline void copy_bytes(std::uint8_t* to, const std::uint8_t* from, std::size_t size) noexcept
{
    if (size != 0)
        std::memcpy(to, from, size);
}

// Both go with `find`, a kernel that answers as those of zero_pairs.hpp, from one pair of zeros to the next;
// in between bytes are copied as they are. They return how many were written.

// An 03 goes when two zeros stand before it and any byte after it. Writes at most `size` bytes.
template <typename Find>
std::size_t unescape(const std::uint8_t* from, std::size_t size, std::uint8_t* to, Find find)
{
    const std::size_t removable = size > 3 ? size - 3 : 0; // where a sequence that loses its 03 may begin
    DenseRun run;
    std::uint8_t* const begin = to;
    for (std::size_t i = 0; i < size;) {
        const std::size_t clean = find(from + i, size - i);
        copy_bytes(to, from + i, clean);
        to += clean;
        i += clean;
        for (const std::size_t end = std::min(i + run.length(clean), removable); i < end;) {
            if ((from[i] | from[i + 1]) == 0 && from[i + 2] == 3) {
                *to++ = 0;
                *to++ = 0;
                i += 3;
            } else {
                *to++ = from[i++];
            }
        }
        for (; i >= removable && i < size; ++i)
            *to++ = from[i];
    }
    return static_cast<std::size_t>(to - begin);
}

// An 03 goes in after two zeros when a byte of 3 or less follows them, and counting starts anew after it.
// Writes at most three bytes for every two.
template <typename Find>
std::size_t escape(const std::uint8_t* from, std::size_t size, std::uint8_t* to, Find find)
{
    const std::size_t escapable = size > 2 ? size - 2 : 0; // where a sequence that needs an 03 may begin
    DenseRun run;
    std::uint8_t* const begin = to;
    for (std::size_t i = 0; i < size;) {
        const std::size_t clean = find(from + i, size - i);
        copy_bytes(to, from + i, clean);
        to += clean;
        i += clean;
        for (const std::size_t end = std::min(i + run.length(clean), escapable); i < end;) {
            if ((from[i] | from[i + 1]) == 0 && from[i + 2] <= 3) {
                *to++ = 0;
                *to++ = 0;
                *to++ = 3;
                i += 2;
            } else {
                *to++ = from[i++];
            }
        }
        for (; i >= escapable && i < size; ++i)
            *to++ = from[i];
    }
    return static_cast<std::size_t>(to - begin);
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

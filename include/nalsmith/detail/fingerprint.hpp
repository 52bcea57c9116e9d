// SPDX-License-Identifier: MIT
// Whether bytes are those that have come before, without keeping them.
#ifndef NALSMITH_DETAIL_FINGERPRINT_HPP
#define NALSMITH_DETAIL_FINGERPRINT_HPP

#include "nalsmith/bytes.hpp"
#include "nalsmith/detail/zero_pairs.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

struct Fingerprint {
    std::uint64_t size = 0;
    std::uint64_t hash = 0;

    bool operator==(const Fingerprint& other) const noexcept
    {
        return size == other.size && hash == other.hash;
    }
};

constexpr std::uint64_t mix(std::uint64_t hash, std::uint64_t word) noexcept
{
    hash = (hash ^ word) * 0x9E37'79B9'7F4A'7C15;
    return hash ^ hash >> 32;
}

inline Fingerprint fingerprint_of(BytesView bytes) noexcept
{
    std::uint64_t hash = 0;
    std::size_t at = 0;
    for (; at + 8 <= bytes.size(); at += 8)
        hash = mix(hash, load_word(bytes.data() + at));
    for (; at < bytes.size(); ++at)
        hash = mix(hash, bytes[at]);
    return {bytes.size(), hash};
}

// By its size and its ends: what a slice costs does not depend on how large it is.
inline Fingerprint fingerprint_of_ends(BytesView bytes) noexcept
{
    constexpr std::size_t kEnd = 32;
    if (bytes.size() <= 2 * kEnd)
        return fingerprint_of(bytes);
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    for (std::size_t at = 0; at < kEnd; at += 8) {
        first = mix(first, load_word(bytes.data() + at));
        last = mix(last, load_word(bytes.end() - kEnd + at));
    }
    return {bytes.size(), mix(first, last)};
}

// An SPS, told from one that comes again unchanged.
template <typename Sps>
struct KnownSequence {
    Sps sps;
    Fingerprint fingerprint;
    std::uint64_t number = 0; // no two of a stream share it
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

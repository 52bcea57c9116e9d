// SPDX-License-Identifier: MIT
// What both judges of continuity need: their findings, and picture order counts.
#ifndef NALSMITH_DETAIL_RECENT_COUNTS_HPP
#define NALSMITH_DETAIL_RECENT_COUNTS_HPP

#include "nalsmith/bytes.hpp"

#include <array>

namespace nalsmith {

/// What is found of an access unit. From `missing_reference` on the stream is broken there.
enum class Finding {
    none,        ///< no picture to judge: none at all, or more of the picture before
    continuous,  ///< follows
    skipped,     ///< an H.265 RASL picture behind the random access point that was entered at: not decoded
    allowed_gap, ///< H.264: frame_num skips some, as the stream says that it may
    missing_reference,  ///< a picture that this one needs has not come
    missing_field,      ///< H.264: the other field of the reference field before has not come
    no_start,           ///< the first picture of all is none at which decoding may begin
    unknown_parameters, ///< its parameter sets have not come
    unreadable,         ///< its header contradicts itself
};

namespace detail {

// PicOrderCntMsb (H.264 8.2.1.1, H.265 8.3.1).
inline std::int64_t next_msb(std::uint32_t lsb, std::uint32_t max_lsb, std::uint32_t before_lsb,
                             std::int64_t before_msb) noexcept
{
    if (lsb < before_lsb && before_lsb - lsb >= max_lsb / 2)
        return before_msb + max_lsb;
    if (lsb > before_lsb && lsb - before_lsb > max_lsb / 2)
        return before_msb - static_cast<std::int64_t>(max_lsb);
    return before_msb;
}

// The picture order counts of the last pictures.
class RecentCounts {
public:
    // False when it is already there.
    bool add(std::int64_t count) noexcept
    {
        for (std::size_t i = 0; i < size_; ++i)
            if (counts_[i] == count)
                return false;
        counts_[next_] = count;
        next_ = (next_ + 1) % counts_.size();
        size_ += size_ < counts_.size() ? 1U : 0U;
        return true;
    }
    void clear() noexcept { size_ = next_ = 0; }

private:
    std::array<std::int64_t, 64> counts_ = {};
    std::size_t size_ = 0;
    std::size_t next_ = 0;
};

} // namespace detail

} // namespace nalsmith

#endif

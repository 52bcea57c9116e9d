// SPDX-License-Identifier: MIT
// The picture order counts of the last pictures, which no two pictures share.
#ifndef NALSMITH_DETAIL_RECENT_COUNTS_HPP
#define NALSMITH_DETAIL_RECENT_COUNTS_HPP

#include <array>
#include <cstddef>
#include <cstdint>

namespace nalsmith {
inline namespace v1 {
namespace detail {

class RecentCounts {
public:
    // False when it is already there.
    bool add(std::int64_t number) noexcept
    {
        const auto count = static_cast<std::uint32_t>(number); // none so far apart are kept
        if (size_ == 0 || number > highest_)
            highest_ = number; // as of most pictures: nothing to search
        else if (has(count))
            return false;
        counts_[next_] = count;
        next_ = (next_ + 1) % counts_.size();
        size_ += size_ < counts_.size() ? 1U : 0U;
        return true;
    }
    void clear() noexcept { size_ = next_ = 0; }

private:
    bool has(std::uint32_t count) const noexcept
    {
        bool known = false;
        for (std::size_t i = 0; i < size_; ++i) // to the end, which is faster than to ask each time
            known |= counts_[i] == count;
        return known;
    }

    std::array<std::uint32_t, 64> counts_ = {};
    std::int64_t highest_ = 0; // since they were cleared
    std::size_t size_ = 0;
    std::size_t next_ = 0;
};

} // namespace detail

} // namespace v1
} // namespace nalsmith

#endif

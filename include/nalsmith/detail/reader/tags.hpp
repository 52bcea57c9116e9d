// SPDX-License-Identifier: MIT
// Which tag came with which byte.
#ifndef NALSMITH_DETAIL_READER_TAGS_HPP
#define NALSMITH_DETAIL_READER_TAGS_HPP

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nalsmith {
inline namespace v1 {
namespace detail {

class Tags {
public:
    // From `position` on the bytes come with `tag`. Positions never fall.
    void mark(std::uint64_t position, std::uint64_t tag)
    {
        if (!marks_.empty() && marks_.back().begin == position)
            marks_.back().tag = tag; // no byte came with the one before
        else if (marks_.empty() || marks_.back().tag != tag)
            marks_.push_back({position, tag});
    }

    // Positions are asked for in order: marks before are forgotten.
    std::uint64_t at(std::uint64_t position)
    {
        while (first_ + 1 < marks_.size() && marks_[first_ + 1].begin <= position)
            ++first_;
        const std::uint64_t tag = first_ < marks_.size() ? marks_[first_].tag : 0;
        if (first_ > marks_.size() / 2) {
            marks_.erase(marks_.begin(), marks_.begin() + static_cast<std::ptrdiff_t>(first_));
            first_ = 0;
        }
        return tag;
    }

    // The `count` bytes from `position` on have gone. No more than the last few marks are as far as that.
    void remove(std::uint64_t position, std::uint64_t count) noexcept
    {
        std::size_t i = marks_.size();
        for (; i > first_ && marks_[i - 1].begin > position; --i)
            marks_[i - 1].begin =
                marks_[i - 1].begin - position > count ? marks_[i - 1].begin - count : position;
        std::size_t kept = i > first_ ? i - 1 : i;
        for (i = kept + 1; i < marks_.size(); ++i) {
            if (marks_[i].begin != marks_[kept].begin)
                ++kept;
            marks_[kept] = marks_[i]; // of several for the same place the last counts
        }
        if (kept + 1 < marks_.size())
            marks_.resize(kept + 1);
    }

private:
    struct Mark {
        std::uint64_t begin;
        std::uint64_t tag;
    };
    std::vector<Mark> marks_;
    std::size_t first_ = 0;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

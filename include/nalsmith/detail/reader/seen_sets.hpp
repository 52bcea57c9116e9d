// SPDX-License-Identifier: MIT
// Where the delimiter and the parameter sets were seen last. Positions are those of HeldBytes.
#ifndef NALSMITH_DETAIL_READER_SEEN_SETS_HPP
#define NALSMITH_DETAIL_READER_SEEN_SETS_HPP

#include "nalsmith/parameter_sets.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

class SeenSets {
public:
    void add(const ParameterSetId& set, std::uint64_t begin, std::uint64_t end) noexcept
    {
        last_of_kind_[static_cast<std::size_t>(set.kind)] = {begin, end};
        const std::size_t slot = ParameterSets::slot_of(set.kind, set.id);
        if (slot != ParameterSets::kNowhere)
            seen_[slot] = begin + 1;
    }
    void add_delimiter(std::uint64_t begin, std::uint64_t end) noexcept { delimiter_ = {begin, end}; }

    // Since `begin`.
    bool holds(const ParameterSetId& set, std::uint64_t begin) const noexcept
    {
        const std::size_t slot = ParameterSets::slot_of(set.kind, set.id);
        return slot != ParameterSets::kNowhere && seen_[slot] > begin;
    }

    // After the delimiter and the sets of at most this kind that came since `begin`.
    std::uint64_t end_of(ParameterSetKind kind, std::uint64_t begin) const noexcept
    {
        std::uint64_t end = after_delimiter(begin);
        for (std::size_t i = 0; i <= static_cast<std::size_t>(kind); ++i)
            if (last_of_kind_[i].begin >= begin && last_of_kind_[i].end > end)
                end = last_of_kind_[i].end;
        return end;
    }
    std::uint64_t after_delimiter(std::uint64_t begin) const noexcept
    {
        return delimiter_.end > begin && delimiter_.begin >= begin ? delimiter_.end : begin;
    }

private:
    struct Place {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };
    std::array<std::uint64_t, ParameterSets::kSlots> seen_ = {}; // one more than the position; 0 for never
    std::array<Place, 3> last_of_kind_ = {};
    Place delimiter_;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

// SPDX-License-Identifier: MIT
// Parameter sets by id. An id comes from the stream: one that the standards do not have is not kept and not
// found.
#ifndef NALSMITH_DETAIL_BY_ID_HPP
#define NALSMITH_DETAIL_BY_ID_HPP

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace nalsmith {
inline namespace v1 {
namespace detail {

template <typename Set, std::uint32_t kIds>
class ById {
public:
    void keep(std::uint32_t id, Set set)
    {
        if (id >= kIds)
            return;
        if (id >= sets_.size())
            sets_.resize(id + 1);
        sets_[id] = std::move(set);
    }

    const Set* find(std::uint32_t id) const noexcept
    {
        return id < sets_.size() && sets_[id] ? &*sets_[id] : nullptr;
    }

private:
    std::vector<std::optional<Set>> sets_; // as many as the highest id that has come asks for
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

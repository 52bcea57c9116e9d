// SPDX-License-Identifier: MIT
// First in, first out, in memory that an empty one does not need.
#ifndef NALSMITH_DETAIL_QUEUE_HPP
#define NALSMITH_DETAIL_QUEUE_HPP

#include <cstddef>
#include <utility>
#include <vector>

namespace nalsmith {
inline namespace v1 {
namespace detail {

template <typename Item>
class Queue {
public:
    bool empty() const noexcept { return first_ == items_.size(); }
    Item& front() noexcept { return items_[first_]; }
    Item& back() noexcept { return items_.back(); }

    void push(Item item) { items_.push_back(std::move(item)); }

    // Items move down only when half of them have gone.
    void pop() noexcept
    {
        items_[first_++] = Item();
        if (2 * first_ < items_.size())
            return;
        items_.erase(items_.begin(), items_.begin() + static_cast<std::ptrdiff_t>(first_));
        first_ = 0;
    }

private:
    std::vector<Item> items_;
    std::size_t first_ = 0;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

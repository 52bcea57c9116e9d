// SPDX-License-Identifier: MIT
#include "Statistics.h"

#include <algorithm>

namespace host {

std::optional<Spread> SpreadOf(std::vector<std::uint32_t> values)
{
    if (values.empty())
        return std::nullopt;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    const std::uint32_t below =
        middle == values.begin() ? *middle : *std::max_element(values.begin(), middle);
    const bool even = values.size() % 2 == 0;
    const double median = even ? (static_cast<double>(below) + *middle) / 2 : *middle;
    const auto [min, max] = std::minmax_element(values.begin(), values.end());
    return Spread{*min, median, *max};
}

} // namespace host

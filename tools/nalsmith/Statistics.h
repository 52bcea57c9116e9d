// SPDX-License-Identifier: MIT
// What a list of numbers is like.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace host {

struct Spread {
    std::uint32_t min;
    double median; // half-way between the middle two of an even number of values
    std::uint32_t max;
};

// None for no values.
std::optional<Spread> SpreadOf(std::vector<std::uint32_t> values);

} // namespace host

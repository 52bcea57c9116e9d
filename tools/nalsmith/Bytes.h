// SPDX-License-Identifier: MIT
// A run of bytes that somebody else owns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace host {

struct ByteView {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

// Sees bytes go by.
using ByteObserver = std::function<void(ByteView bytes)>;

} // namespace host

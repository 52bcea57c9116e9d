// SPDX-License-Identifier: MIT
// Buffers on which start codes and emulation prevention happen often.
#pragma once

#include "Bytes.h"

#include <random>

// Calls `check` with buffers of all small lengths and some large ones, from nearly all bytes random to all
// bytes of 00 to 04.
template <typename Check>
void OnRandomBuffers(const Check& check)
{
    constexpr u8 kTelling[] = {0, 0, 0, 0, 0, 1, 1, 2, 3, 3, 4};
    std::mt19937 random(20);
    std::vector<std::size_t> sizes = {1023, 1024, 1025, 4096, 65537};
    for (std::size_t i = 0; i < 81 * 40; ++i)
        sizes.push_back(i % 81);
    for (const std::size_t size : sizes) {
        const u64 density = 1 + random() % 16;
        Bytes bytes(size, 0);
        for (u8& byte : bytes)
            byte = random() % 16 < density ? kTelling[random() % sizeof kTelling] : static_cast<u8>(random());
        check(bytes);
    }
}

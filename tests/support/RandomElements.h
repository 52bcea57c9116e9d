// SPDX-License-Identifier: MIT
// Random values of syntax elements.
#pragma once

#include "AvcStream.h"

#include <random>

class RandomElements {
public:
    explicit RandomElements(u32 seed) : random_(seed) {}

    u32 Below(u32 limit) { return static_cast<u32>(random_() % limit); }
    u32 Flag() { return Below(2); }
    u32 Any() { return Flag() != 0 ? Below(9) : Below(0xFFFFFFFF); }

    template <typename T>
    std::optional<T> Maybe(const T& value)
    {
        return Flag() != 0 ? std::optional<T>(value) : std::nullopt;
    }

    avctest::Cropping MakeCropping() { return {Any(), Any(), Any(), Any()}; }

    avctest::Vui MakeVui()
    {
        using avctest::Timing, avctest::VideoSignal;
        return {Maybe(Flag() != 0 ? 255 : Below(255)),
                Below(65536),
                Below(65536),
                Maybe(Flag()),
                Maybe(VideoSignal{Below(8), Flag(), Flag(), Below(256), Below(256), Below(256)}),
                Maybe(Below(6)),
                Maybe(Timing{Any(), Any()}),
                Maybe(MakeCropping())};
    }

private:
    std::mt19937 random_;
};

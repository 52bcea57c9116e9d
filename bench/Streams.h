// SPDX-License-Identifier: MIT
// Streams to measure on: slices of random payload, made here, so that no figure hangs on one file.
#pragma once

#include "Bytes.h"
#include "nalsmith/nalsmith.h"

#include <string>

struct Shape {
    VideoCodecType codec;
    u32 accessUnitBytes;
    u32 slices;

    std::string Name() const;
};

struct Stream {
    Shape shape;
    std::vector<Bytes> units; // the access units; the first brings the parameter sets
    u64 bytes = 0;            // in all of them
    u32 largest = 0;
};

// About `totalBytes`, at least so many access units: a delimiter and the slices each.
Stream MakeStream(const Shape& shape, u64 totalBytes = 16'000'000, u64 fewestUnits = 16);

// The same with `size` bytes of user data in every access unit.
Stream WithUserData(const Stream& stream, u32 size);

// SPDX-License-Identifier: MIT
// The one question behind start codes and emulation prevention: where are the next two zero bytes?
#pragma once

#include "support/Types.h"

namespace bitstream {

// The first i with data[i] == 0 and data[i + 1] == 0, or `size` when there is none. Reads no byte outside.
// Asks for the best kernel that the processor has, at every call: there is no state to keep.
std::size_t FindZeroPair(const u8* data, std::size_t size);

// The same answer, sooner where a pair is near: at the start code that a buffer begins with, or behind a NAL
// unit of two or three bytes.
inline std::size_t FindNearZeroPair(const u8* data, std::size_t size)
{
    constexpr std::size_t kNear = 4;
    if (size > kNear)
        for (std::size_t i = 0; i < kNear; ++i)
            if ((data[i] | data[i + 1]) == 0)
                return i;
    return FindZeroPair(data, size);
}

// Bytes looked at one by one behind a zero pair, before the kernel is asked again. Where pairs are dense a
// call for each would cost more than it saves, and a stream could be written to make it so.
constexpr std::size_t kDenseBytes = 64;

// The kernels, all with the same answer. A processor may lack the later ones.
std::size_t FindZeroPairPortable(const u8* data, std::size_t size);
#if defined(__x86_64__)
std::size_t FindZeroPairSse2(const u8* data, std::size_t size);
std::size_t FindZeroPairAvx2(const u8* data, std::size_t size);
#elif defined(__aarch64__)
std::size_t FindZeroPairNeon(const u8* data, std::size_t size);
#endif

} // namespace bitstream

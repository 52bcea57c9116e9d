// SPDX-License-Identifier: MIT
// The one question behind start codes and emulation prevention: where are the next two zero bytes?
#pragma once

#include "support/Types.h"

#include <algorithm>

namespace nalsmith_internal::bitstream {

// The first i with data[i] == 0 and data[i + 1] == 0, or `size` when there is none. Reads no byte outside.
// Asks for the best kernel that the processor has, at every call: there is no state to keep.
std::size_t FindZeroPair(const u8* data, std::size_t size);

// How many bytes to look at one by one behind a zero pair, before the kernel is asked again. Where pairs are
// dense a call for each would cost more than it saves, and a stream could be written to make it so: each time
// the kernel was asked in vain, the length doubles.
class DenseRun {
public:
    // `passed` bytes lay between the last run and this pair.
    std::size_t Length(std::size_t passed)
    {
        length_ = passed >= kWorthwhile ? kShortest : std::min(2 * length_, kLongest);
        return length_;
    }

private:
    static constexpr std::size_t kWorthwhile = 16;
    static constexpr std::size_t kShortest = 32;
    static constexpr std::size_t kLongest = 4096;
    std::size_t length_ = kShortest;
};

// The kernels, all with the same answer. A processor may lack the later ones.
std::size_t FindZeroPairPortable(const u8* data, std::size_t size);
#if defined(__x86_64__)
std::size_t FindZeroPairSse2(const u8* data, std::size_t size);
std::size_t FindZeroPairAvx2(const u8* data, std::size_t size);
#elif defined(__aarch64__)
std::size_t FindZeroPairNeon(const u8* data, std::size_t size);
#endif

} // namespace nalsmith_internal::bitstream

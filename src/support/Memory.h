// SPDX-License-Identifier: MIT
// Growth of every buffer of the library. What a buffer should grow to is decided where it is used; how it
// grows, what happens when 32 bits or the memory do not suffice, is decided here.
#pragma once

#include "support/Types.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#if defined(__SANITIZE_ADDRESS__)
#define NALSMITH_EXACT_ALLOCATION 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define NALSMITH_EXACT_ALLOCATION 1
#endif
#endif

namespace nalsmith_internal::memory {

constexpr u64 kLargestCapacity = std::numeric_limits<u32>::max();

// Units really allocated for a stated capacity. Capacities grow to exact sizes, one NAL unit at a time; to
// allocate just that would copy a buffer once per NAL unit. Four steps per power of two make growth
// amortised constant and cost at most a quarter more. A pure function of the capacity, so nothing has to be
// remembered. Under a sanitizer it is the capacity itself, so that an overrun of the stated size is seen.
constexpr u64 Allocated(u64 capacity)
{
#if defined(NALSMITH_EXACT_ALLOCATION)
    return capacity;
#else
    if (capacity < 8)
        return capacity;
    const int highestBit = 63 - __builtin_clzll(capacity);
    const u64 step = u64{1} << (highestBit - 2);
    const u64 rounded = (capacity + step - 1) / step * step;
    return rounded <= kLargestCapacity ? rounded : capacity;
#endif
}

// A new buffer for `capacity` units, or null. Never null for a capacity of 0.
template <typename T>
T* Allocate(u64 capacity)
{
    const u64 units = Allocated(capacity);
    return static_cast<T*>(std::malloc(static_cast<std::size_t>(units != 0 ? units : 1) * sizeof(T)));
}

template <typename T>
void Free(T*& buffer)
{
    std::free(buffer);
    buffer = nullptr;
}

// The capacity to grow to: the wish, or just the need where the wish does not fit 32 bits; 0 when neither
// does.
constexpr u64 Attainable(u64 wish, u64 need)
{
    return wish <= kLargestCapacity ? wish : need <= kLargestCapacity ? need : 0;
}

// Grows a buffer and keeps what it holds; never shrinks it. False, with buffer and capacity as they were,
// when it cannot.
template <typename T>
bool GrowTo(T*& buffer, u32& capacity, u64 wish, u64 need)
{
    const u64 target = Attainable(wish, need);
    if (target == 0)
        return false;
    if (target <= capacity)
        return true;
    if (buffer == nullptr || Allocated(target) > Allocated(capacity)) {
        void* grown = std::realloc(buffer, static_cast<std::size_t>(Allocated(target)) * sizeof(T));
        if (grown == nullptr)
            return false;
        buffer = static_cast<T*>(grown);
    }
    capacity = static_cast<u32>(target);
    return true;
}

template <typename T>
bool GrowTo(T*& buffer, u32& capacity, u64 need)
{
    return GrowTo(buffer, capacity, need, need);
}

// Makes room without keeping what the buffer holds. False, with buffer and capacity as they were, when it
// cannot.
template <typename T>
bool ReplaceBy(T*& buffer, u32& capacity, u64 need)
{
    if (need == 0 || need > kLargestCapacity)
        return false;
    if (buffer == nullptr || Allocated(need) > Allocated(capacity)) {
        T* replacement = Allocate<T>(need);
        if (replacement == nullptr)
            return false;
        std::free(buffer);
        buffer = replacement;
    }
    capacity = static_cast<u32>(need);
    return true;
}

// memcpy that allows null pointers for nothing.
inline void Copy(u8* to, const u8* from, u64 size)
{
    if (size != 0)
        std::memcpy(to, from, static_cast<std::size_t>(size));
}

} // namespace nalsmith_internal::memory

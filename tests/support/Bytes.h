// SPDX-License-Identifier: MIT
// Byte strings of tests: "00 00 01 65"_bytes, joined with +, shown as hex when a test fails.
#pragma once

#include "support/Types.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <ostream>
#include <vector>

using namespace nalsmith_internal; // tests look inside: its integer types, classes and rooms

struct Bytes : std::vector<u8> {
    using vector::vector;

    u32 Size() const { return static_cast<u32>(size()); }
    Bytes From(std::size_t first, std::size_t count) const
    {
        return Bytes(data() + first, data() + first + count);
    }
    // A copy of just the size, so that a sanitizer sees a read outside. Not inline: the compiler would warn
    // about the copying of no bytes.
    [[gnu::noinline]] std::unique_ptr<u8[]> Exact() const
    {
        std::unique_ptr<u8[]> copy(new u8[size()]);
        std::copy(begin(), end(), copy.get());
        return copy;
    }
};

// Pairs of hex digits, single spaces between them.
inline Bytes operator""_bytes(const char* text, std::size_t size)
{
    Bytes bytes;
    for (std::size_t i = 0; i < size; i += 3)
        bytes.push_back(static_cast<u8>(std::strtoul(text + i, nullptr, 16)));
    return bytes;
}

inline Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

inline Bytes Join(const std::vector<Bytes>& parts)
{
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

// Whether `all` holds the items of `some` in their order, others between them allowed.
inline bool IsSubsequence(const std::vector<Bytes>& some, const std::vector<Bytes>& all)
{
    std::size_t found = 0;
    for (const Bytes& item : all)
        found += found < some.size() && item == some[found] ? 1 : 0;
    return found == some.size();
}

// Found by GoogleTest.
inline void PrintTo(const Bytes& bytes, std::ostream* out)
{
    *out << bytes.size() << " bytes:";
    char digits[4];
    for (std::size_t i = 0; i < std::min<std::size_t>(bytes.size(), 100); ++i) {
        std::snprintf(digits, sizeof digits, " %02x", bytes[i]);
        *out << digits;
    }
}

// SPDX-License-Identifier: MIT
// Writes syntax elements, and NAL units around them.
#pragma once

#include "Bytes.h"

#include <initializer_list>

class BitWriter {
public:
    BitWriter& u(u32 n, u64 value)
    {
        while (n-- > 0)
            bits_.push_back(n < 64 && (value >> n & 1) != 0);
        return *this;
    }
    // The largest value, 2^32 - 1, is the code of 32 leading zeros that the standards do not allow.
    BitWriter& ue(u64 value)
    {
        u32 length = 0;
        while (value + 1 >= u64{2} << length)
            ++length;
        return u(length, 0).u(length + 1, value + 1);
    }
    BitWriter& ues(std::initializer_list<u64> values)
    {
        for (const u64 value : values)
            ue(value);
        return *this;
    }
    BitWriter& se(i64 value) { return ue(static_cast<u64>(value > 0 ? 2 * value - 1 : -2 * value)); }

    BitWriter& Append(const BitWriter& other)
    {
        bits_.insert(bits_.end(), other.bits_.begin(), other.bits_.end());
        return *this;
    }
    std::size_t Count() const { return bits_.size(); }

    BitWriter& TrailingBits() { return u(1, 1); } // rbsp_trailing_bits(), with Take()

    // A flag, and the element when it is there.
    template <typename T, typename Write>
    BitWriter& Optional(const T& element, const Write& write)
    {
        u(1, element ? 1 : 0);
        if (element)
            write(*element);
        return *this;
    }

    // Filled up with zero bits.
    Bytes Take() const
    {
        Bytes bytes((bits_.size() + 7) / 8, 0);
        for (std::size_t i = 0; i < bits_.size(); ++i)
            if (bits_[i])
                bytes[i / 8] = static_cast<u8>(bytes[i / 8] | 0x80 >> i % 8);
        return bytes;
    }

private:
    std::vector<bool> bits_;
};

// H.264 7.4.1, H.265 7.4.2: a 03 behind two zeros when a byte of 3 or less follows.
inline Bytes WithEmulationPrevention(const Bytes& payload)
{
    Bytes escaped;
    int zeros = 0;
    for (const u8 byte : payload) {
        if (zeros == 2 && byte <= 3) {
            escaped.push_back(3);
            zeros = 0;
        }
        escaped.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return escaped;
}

// A NAL unit behind a start code of three or four bytes. `content` begins with the NAL unit header.
inline Bytes NalUnitOf(const Bytes& content, u32 startCodeSize)
{
    return (startCodeSize == 3 ? "00 00 01"_bytes : "00 00 00 01"_bytes) + WithEmulationPrevention(content);
}

inline Bytes WithoutEmulationPrevention(const Bytes& in)
{
    Bytes out;
    for (std::size_t i = 0; i < in.size();) {
        const bool drops = in.size() - i >= 4 && in[i] == 0 && in[i + 1] == 0 && in[i + 2] == 3;
        out.insert(out.end(), &in[i], &in[i] + (drops ? 2 : 1));
        i += drops ? 3 : 1;
    }
    return out;
}

// Where the first start code begins; the size when there is none. In the last four bytes none is seen.
inline std::size_t StartCode(const Bytes& p, std::size_t from = 0)
{
    for (std::size_t i = from; i + 4 < p.size(); ++i)
        if (p[i] == 0 && p[i + 1] == 0 && (p[i + 2] == 1 || (p[i + 2] == 0 && p[i + 3] == 1)))
            return i;
    return p.size();
}

inline std::size_t CodeSize(const Bytes& unit)
{
    return unit[2] == 1 ? 3 : 4;
}

// The NAL units of a stream, zero bytes between them left with the one in front.
inline std::vector<Bytes> SplitNalUnits(const Bytes& stream)
{
    std::vector<Bytes> units;
    std::size_t at = StartCode(stream);
    while (stream.size() - at > 4) {
        const std::size_t next = StartCode(stream, at + (stream[at + 2] == 1 ? 3 : 4));
        units.push_back(stream.From(at, next - at));
        at = next;
    }
    return units;
}

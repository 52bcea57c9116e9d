// SPDX-License-Identifier: MIT
// Fixed-length fields and Exp-Golomb codes (H.264 9.1, H.265 9.2) over a payload. A value to hold in a local
// variable while a structure is read: its 64 bits of look-ahead then stay in registers.
//
// Behind the end of the data every bit is 0 and the position stays at the end; no loop runs on there.
#pragma once

#include "support/Types.h"

#include <algorithm>
#include <cstring>

namespace nalsmith_internal::bitstream {

class BitReader {
public:
    // `bitPosition` bits of the first byte are consumed already.
    BitReader(const u8* data, u32 size, u32 bitPosition) : next_(data), end_(data + size)
    {
        if (bitPosition != 0) {
            Refill();
            Consume(bitPosition);
        }
    }

    // Of more than 32 bits, the last 32.
    u32 ReadData(u32 n)
    {
        if (n > 32) {
            SkipBits(n - 32);
            n = 32;
        }
        if (bits_ < n)
            Refill();
        const u32 value = static_cast<u32>(cache_ >> 1 >> (63 - n));
        Consume(std::min(n, bits_));
        return value;
    }

    bool ReadFlag() { return ReadData(1) != 0; }

    u32 GetUE()
    {
        if (!HoldsCode()) {
            Refill();
            if (!HoldsCode())
                return LongUE();
        }
        const u32 length = CodeLength();
        const u32 value = static_cast<u32>(cache_ >> (64 - length)) - 1;
        Consume(length);
        return value;
    }

    i32 GetSE()
    {
        const i64 k = GetUE();
        return static_cast<i32>(k % 2 != 0 ? k / 2 + 1 : -(k / 2));
    }

    void SkipBits(u64 n)
    {
        if (n >= bits_) {
            n -= bits_;
            bits_ = 0;
            cache_ = 0;
            const u64 bytes = std::min(n / 8, static_cast<u64>(end_ - next_));
            next_ += bytes;
            n = bytes == n / 8 ? n % 8 : 0;
            Refill();
        }
        Consume(std::min(static_cast<u32>(n), bits_));
    }

    // End with the data, whatever the count.
    void SkipUE(u32 count)
    {
        for (; count > 0 && DataLeft(); --count)
            GetUE();
    }
    void SkipSE(u32 count) { SkipUE(count); }

    bool DataLeft() const { return bits_ != 0 || next_ != end_; }

    // The byte that holds the next bit, the bits of it already consumed, and the bytes from it on.
    const u8* Position() const { return next_ - (bits_ + 7) / 8; }
    u32 BitPosition() const { return (8 - bits_ % 8) % 8; }
    u32 Remaining() const { return static_cast<u32>(end_ - Position()); }

private:
    static constexpr u32 kMaxLeadingZeros = 32;

    // Of the Exp-Golomb code at hand, whose stop bit is in the cache.
    u32 CodeLength() const { return 2 * static_cast<u32>(__builtin_clzll(cache_)) + 1; }
    bool HoldsCode() const { return cache_ != 0 && CodeLength() <= bits_; }

    // At most as many as the cache holds, which is fewer than 64.
    void Consume(u32 n)
    {
        cache_ <<= n;
        bits_ -= n;
    }

    // At least 56 bits in the cache, or all that are left.
    void Refill()
    {
        if (end_ - next_ >= 8) {
            u64 word;
            std::memcpy(&word, next_, sizeof word);
            cache_ |= FromBigEndian(word) >> bits_;
            const u32 bytes = (63 - bits_) / 8;
            next_ += bytes;
            bits_ += 8 * bytes;
            return;
        }
        for (; bits_ < 56 && next_ != end_; ++next_, bits_ += 8)
            cache_ |= u64{*next_} << (56 - bits_);
    }

    static u64 FromBigEndian(u64 word)
    {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return __builtin_bswap64(word);
#else
        return word;
#endif
    }

    // A code that the cache does not hold, one without stop bit before the end of the data, or one of 32
    // zeros, which are taken as the longest code there is: what follows them is no stop bit.
    u32 LongUE()
    {
        u32 leadingZeros = 0;
        while (leadingZeros < kMaxLeadingZeros && DataLeft() && !ReadFlag())
            ++leadingZeros;
        const u64 codeBase = (u64{1} << leadingZeros) - 1;
        return static_cast<u32>(codeBase + ReadData(leadingZeros));
    }

    const u8* next_;
    const u8* end_;
    u64 cache_ = 0; // the next bits, from the highest on; zero behind the end of the data
    u32 bits_ = 0;  // how many of them count
};

} // namespace nalsmith_internal::bitstream

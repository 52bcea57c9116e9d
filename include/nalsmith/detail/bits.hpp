// SPDX-License-Identifier: MIT
// The bits of a NAL unit without the bytes that keep start codes out of it (H.264 7.4.1, H.265 7.4.2):
// fixed-length fields and Exp-Golomb codes (H.264 9.1, H.265 9.2).
//
// Past the end of the data every bit is 0, as in the library, and no loop runs on there. Who has to know asks
// past_end().
#ifndef NALSMITH_DETAIL_BITS_HPP
#define NALSMITH_DETAIL_BITS_HPP

#include "nalsmith/detail/zero_pairs.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

constexpr std::uint32_t bits_for(std::uint64_t count) noexcept // Ceil(Log2(count))
{
    std::uint32_t bits = 0;
    while ((std::uint64_t{1} << bits) < count)
        ++bits;
    return bits;
}

class BitReader {
public:
    // `size` stored bytes, which come after so many zeros.
    BitReader(const std::uint8_t* data, std::size_t size, std::uint32_t zeros = 0) noexcept
        : next_(data), end_(data + size), zeros_(zeros)
    {
    }

    bool exhausted() const noexcept { return bits_ == 0 && next_ == end_; }
    // More has been asked for than there is.
    bool past_end() const noexcept { return past_end_; }

    // Of more than 32 bits, as only damaged parameter sets ask for, the last 32.
    std::uint32_t bits(std::uint32_t count) noexcept
    {
        if (count > 32) {
            skip(count - 32);
            count = 32;
        }
        if (bits_ < count)
            refill();
        const auto value = static_cast<std::uint32_t>(cache_ >> 1 >> (63 - count));
        if (bits_ < count) {
            past_end_ = true;
            count = bits_;
        }
        consume(count);
        return value;
    }

    bool flag() noexcept
    {
        if (bits_ == 0)
            return bits(1) != 0;
        const bool value = cache_ >> 63 != 0;
        consume(1);
        return value;
    }

    std::uint32_t ue() noexcept
    {
        if (!holds_code()) {
            refill();
            if (!holds_code())
                return long_ue();
        }
        const std::uint32_t length = code_length();
        const auto value = static_cast<std::uint32_t>(cache_ >> (64 - length)) - 1;
        consume(length);
        return value;
    }

    std::int32_t se() noexcept
    {
        const std::int64_t code = ue();
        return static_cast<std::int32_t>(code % 2 != 0 ? code / 2 + 1 : -(code / 2));
    }

    // These two end with the data, whatever the count.
    void skip(std::uint64_t count) noexcept
    {
        while (count > 0) {
            refill();
            if (bits_ == 0) {
                past_end_ = true;
                return;
            }
            const std::uint32_t step = count < bits_ ? static_cast<std::uint32_t>(count) : bits_;
            consume(step);
            count -= step;
        }
    }
    void skip_ue(std::uint64_t count) noexcept
    {
        for (; count > 0 && !exhausted(); --count)
            ue();
        past_end_ = past_end_ || count > 0;
    }

private:
    static constexpr std::uint32_t kMostLeadingZeros = 32;

    std::uint32_t code_length() const noexcept
    {
        return 2 * static_cast<std::uint32_t>(__builtin_clzll(cache_)) + 1;
    }
    bool holds_code() const noexcept { return cache_ != 0 && code_length() <= bits_; }

    void consume(std::uint32_t count) noexcept
    {
        cache_ = count < 64 ? cache_ << count : 0;
        bits_ -= count;
    }

    // At least 57 bits, or all that are left. Eight bytes without a zero among them hold no emulation
    // prevention byte, unless two zeros came right before.
    void refill() noexcept
    {
        if (zeros_ < 2 && end_ - next_ >= 8) {
            const std::uint64_t word = load_word(next_);
            if (!has_zero_byte(word)) {
                const std::uint32_t bytes = (64 - bits_) / 8;
                if (bytes == 0)
                    return;
                const std::uint64_t whole = ~std::uint64_t{0} << (64 - 8 * bytes);
                cache_ |= (big_endian(word) & whole) >> bits_;
                bits_ += 8 * bytes;
                next_ += bytes;
                zeros_ = 0;
                return;
            }
        }
        while (bits_ <= 56 && next_ != end_)
            take_byte();
    }

    void take_byte() noexcept
    {
        if (zeros_ >= 2 && *next_ == 3 && end_ - next_ > 1) {
            ++next_;
            zeros_ = 0;
        }
        zeros_ = *next_ == 0 ? zeros_ + 1 : 0;
        cache_ |= std::uint64_t{*next_++} << (56 - bits_);
        bits_ += 8;
    }

    static std::uint64_t big_endian(std::uint64_t word) noexcept
    {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        return __builtin_bswap64(word);
#else
        return word;
#endif
    }

    // A code that the cache does not hold, one without a stop bit before the end of the data, or one of 32
    // zeros, which are taken as the longest code there is: what follows them is no stop bit.
    std::uint32_t long_ue() noexcept
    {
        std::uint32_t zeros = 0;
        bool stopped = false;
        while (zeros < kMostLeadingZeros && !stopped && !exhausted()) {
            stopped = flag();
            zeros += stopped ? 0 : 1;
        }
        past_end_ = past_end_ || (!stopped && zeros < kMostLeadingZeros);
        return (zeros < 32 ? std::uint32_t{1} << zeros : 0U) - 1U + bits(zeros);
    }

    const std::uint8_t* next_;
    const std::uint8_t* end_;
    std::uint64_t cache_ = 0; // the next bits, from the highest on; zero past the end of the data
    std::uint32_t bits_ = 0;  // how many of them count
    std::uint32_t zeros_;     // zero bytes just taken
    bool past_end_ = false;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

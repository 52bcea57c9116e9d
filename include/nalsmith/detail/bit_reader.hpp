// SPDX-License-Identifier: MIT
// The bits of a NAL unit, without the bytes that keep start codes out of it (H.264 7.4.1). Behind the end
// every bit is 0, as in the library.
#ifndef NALSMITH_DETAIL_BIT_READER_HPP
#define NALSMITH_DETAIL_BIT_READER_HPP

#include "nalsmith/nal_units.hpp"

namespace nalsmith::detail {

class BitReader {
public:
    // Behind the header of the NAL unit. Zeros behind the NAL unit are bits like others.
    explicit BitReader(const NalUnit& nal) noexcept
        : bytes_(nal.bytes.subview(nal.start_code_size + (nal.codec == Codec::h264 ? 1 : 2)))
    {
    }

    bool exhausted() const noexcept { return left_ == 0 && at_ >= bytes_.size(); }

    std::uint32_t flag() noexcept
    {
        if (left_ == 0 && !load())
            return 0;
        --left_;
        return static_cast<std::uint32_t>(byte_ >> left_ & 1U);
    }

    // Of more than 32 bits, as only damaged parameter sets ask for, the last 32.
    std::uint32_t bits(std::uint32_t count) noexcept
    {
        if (count > 32) {
            skip(count - 32);
            count = 32;
        }
        std::uint32_t value = 0;
        for (; count > 0; --count)
            value = value << 1 | flag();
        return value;
    }

    void skip(std::uint32_t count) noexcept
    {
        for (; count > 0 && !exhausted(); --count)
            flag();
    }

    // ue(v), H.264 9.1. The end of the data ends the zeros.
    std::uint32_t ue() noexcept
    {
        std::uint32_t zeros = 0;
        while (zeros < 32 && !exhausted() && flag() == 0)
            ++zeros;
        return (zeros < 32 ? 1U << zeros : 0U) - 1U + bits(zeros);
    }

    std::int32_t se() noexcept
    {
        const std::uint32_t code = ue();
        const auto half = static_cast<std::int64_t>((static_cast<std::uint64_t>(code) + 1) / 2);
        return static_cast<std::int32_t>(code % 2 != 0 ? half : -half);
    }

    void skip_ue(std::uint32_t count) noexcept
    {
        for (; count > 0 && !exhausted(); --count)
            ue();
    }

private:
    bool load() noexcept
    {
        if (at_ >= bytes_.size())
            return false;
        if (zeros_ >= 2 && bytes_[at_] == 3 && at_ + 1 < bytes_.size()) {
            ++at_;
            zeros_ = 0;
        }
        byte_ = bytes_[at_++];
        zeros_ = byte_ == 0 ? zeros_ + 1 : 0;
        left_ = 8;
        return true;
    }

    BytesView bytes_;
    std::size_t at_ = 0;
    unsigned zeros_ = 0; // zero bytes just read
    unsigned byte_ = 0;
    unsigned left_ = 0; // bits of byte_ not yet read
};

} // namespace nalsmith::detail

#endif

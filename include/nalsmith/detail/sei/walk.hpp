// SPDX-License-Identifier: MIT
// The messages of one SEI NAL unit (H.264 7.3.2.3, H.265 7.3.2.4), without copying any.
#ifndef NALSMITH_DETAIL_SEI_WALK_HPP
#define NALSMITH_DETAIL_SEI_WALK_HPP

#include "nalsmith/detail/escape.hpp"
#include "nalsmith/detail/payload.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

constexpr std::uint8_t kStopByte = 0x80; // rbsp_trailing_bits() of a structure of whole bytes

struct SeiPart {
    std::uint64_t type = 0; // payloadType
    bool suffix = false;    // from a suffix SEI NAL unit
    BytesView whole;        // with type and size
    BytesView payload;
};

class SeiWalk {
public:
    // Unescapes the NAL unit into `rbsp`, which has to outlive the walk.
    SeiWalk(const NalUnit& nal, Bytes& rbsp) : suffix_(nal.is_suffix_sei())
    {
        const BytesView stored = nal.payload();
        rbsp.resize(stored.size());
        rbsp.resize(unescape(stored.data(), stored.size(), rbsp.data(), find_zero_pair));
        left_ = BytesView(rbsp).subview(header_size(nal.codec));
        stopped_ = !left_.empty() && left_[left_.size() - 1] == kStopByte;
        if (stopped_)
            left_ = left_.subview(0, left_.size() - 1);
    }

    // The next message; false where none is left, or what is left is none.
    bool next(SeiPart& part) noexcept
    {
        std::size_t at = 0;
        std::uint64_t size = 0;
        if (!read_number(at, part.type) || !read_number(at, size) || size > left_.size() - at)
            return false;
        part.suffix = suffix_;
        part.payload = left_.subview(at, static_cast<std::size_t>(size));
        part.whole = left_.subview(0, at + part.payload.size());
        left_ = left_.subview(part.whole.size());
        return true;
    }

    // What has not been walked over, without the stop byte.
    BytesView left() const noexcept { return left_; }
    // The NAL unit ends with a stop byte.
    bool stopped() const noexcept { return stopped_; }

    // From here on there are messages and a stop byte, and nothing else.
    bool sound() const noexcept
    {
        SeiWalk walk = *this;
        for (SeiPart part; walk.next(part);) {
        }
        return walk.stopped() && walk.left().empty();
    }

private:
    // Any number of 0xFF, then a last byte. False at the end of the data.
    bool read_number(std::size_t& at, std::uint64_t& number) const noexcept
    {
        number = 0;
        for (; at < left_.size() && left_[at] == 0xFF; ++at)
            number += 0xFF;
        if (at == left_.size())
            return false;
        number += left_[at++];
        return true;
    }

    BytesView left_;
    bool suffix_;
    bool stopped_ = false;
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

// SPDX-License-Identifier: MIT
// Whole bytes in the manner of MP4 (ISO/IEC 14496-15): numbers with the highest byte first, and NAL units.
#ifndef NALSMITH_DETAIL_FIELDS_HPP
#define NALSMITH_DETAIL_FIELDS_HPP

#include "nalsmith/bytes.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

// Fields one after the other. One that is not all there leaves `good` false and reads 0.
class FieldReader {
public:
    explicit FieldReader(BytesView bytes) noexcept : bytes_(bytes) {}

    std::size_t left() const noexcept { return bytes_.size(); }
    bool good() const noexcept { return good_; }

    BytesView take(std::size_t count) noexcept
    {
        if (count > bytes_.size()) {
            good_ = false;
            count = bytes_.size();
        }
        const BytesView taken = bytes_.subview(0, count);
        bytes_ = bytes_.subview(count);
        return taken;
    }

    std::uint32_t number(std::size_t size) noexcept
    {
        std::uint32_t value = 0;
        for (const std::uint8_t byte : take(size))
            value = value << 8 | byte;
        return good_ ? value : 0;
    }

private:
    BytesView bytes_;
    bool good_ = true;
};

inline void append_number(Bytes& to, std::uint64_t number, unsigned size)
{
    for (unsigned i = size; i-- > 0;)
        to.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

inline void append_nal(Bytes& to, BytesView payload)
{
    if (payload.empty())
        return;
    constexpr std::uint8_t kStartCode[] = {0, 0, 0, 1};
    append(to, {kStartCode, sizeof kStartCode});
    append(to, payload);
}

constexpr bool is_length_size(unsigned size) noexcept
{
    return size == 1 || size == 2 || size == 4;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

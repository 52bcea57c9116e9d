// SPDX-License-Identifier: MIT
// One message of an SEI NAL unit, read in place.
#ifndef NALSMITH_DETAIL_SEI_FIND_HPP
#define NALSMITH_DETAIL_SEI_FIND_HPP

#include "nalsmith/detail/payload.hpp"

#include <optional>

namespace nalsmith {
inline namespace v1 {
namespace detail {

inline std::uint64_t read_sei_number(BitReader& reader) noexcept
{
    std::uint64_t number = 0;
    std::uint32_t byte = 0xFF;
    while (byte == 0xFF && !reader.past_end()) {
        byte = reader.bits(8);
        number += byte;
    }
    return number;
}

// At the payload of the first message of a type (H.264 7.3.2.3.1, H.265 7.3.5); none where there is none.
inline std::optional<BitReader> find_sei_payload(const NalUnit& nal, std::uint32_t payload_type) noexcept
{
    BitReader reader = bits_of(nal);
    while (!reader.exhausted()) {
        const std::uint64_t type = read_sei_number(reader);
        const std::uint64_t size = read_sei_number(reader);
        if (reader.past_end())
            break;
        if (type == payload_type)
            return reader;
        reader.skip(8 * size);
    }
    return std::nullopt;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

// SPDX-License-Identifier: MIT
// The bits of a NAL unit after its header.
#ifndef NALSMITH_DETAIL_PAYLOAD_HPP
#define NALSMITH_DETAIL_PAYLOAD_HPP

#include "nalsmith/detail/bits.hpp"
#include "nalsmith/nal_units.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

constexpr std::size_t header_size(Codec codec) noexcept
{
    return codec == Codec::h264 ? 1 : 2;
}

// Zeros after the NAL unit are bits like others.
inline BitReader bits_of(const NalUnit& nal) noexcept
{
    const BytesView stored = nal.bytes.subview(nal.start_code_size + header_size(nal.codec));
    // The header of a damaged NAL unit of H.265 may be two zeros.
    const bool zero = nal.codec == Codec::h265 && nal.header_byte(1) == 0;
    return {stored.data(), stored.size(), !zero ? 0U : nal.header_byte(0) == 0 ? 2U : 1U};
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

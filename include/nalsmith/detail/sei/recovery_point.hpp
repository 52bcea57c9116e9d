// SPDX-License-Identifier: MIT
// recovery_point() (H.264 D.1.8, H.265 D.2.8)
#ifndef NALSMITH_DETAIL_SEI_RECOVERY_POINT_HPP
#define NALSMITH_DETAIL_SEI_RECOVERY_POINT_HPP

#include "nalsmith/detail/sei/find.hpp"
#include "nalsmith/picture.hpp"

namespace nalsmith {
inline namespace v1 {
namespace detail {

constexpr std::uint32_t kSeiRecoveryPoint = 6;

// That of an SEI NAL unit. None where there is none, where it is cut off, and for a count that no stream has.
inline std::optional<RecoveryPoint> find_recovery_point(const NalUnit& sei) noexcept
{
    constexpr std::int64_t kMost = 0xFFFF;      // MaxFrameNum - 1
    constexpr std::int64_t kMostOrder = 0x8000; // MaxPicOrderCntLsb / 2
    if (sei.is_suffix_sei())
        return std::nullopt;
    auto reader = find_sei_payload(sei, kSeiRecoveryPoint);
    if (!reader)
        return std::nullopt;
    const bool avc = sei.codec == Codec::h264;
    const std::int64_t count = avc ? std::int64_t{reader->ue()} : std::int64_t{reader->se()};
    RecoveryPoint point;
    point.count = static_cast<std::int32_t>(count);
    point.exact = reader->flag();
    point.broken_link = reader->flag();
    const bool good = avc ? count <= kMost : count >= -kMostOrder && count < kMostOrder;
    return good && !reader->past_end() ? std::optional<RecoveryPoint>(point) : std::nullopt;
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

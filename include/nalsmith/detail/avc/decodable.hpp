// SPDX-License-Identifier: MIT
// From where on an H.264 stream can be decoded: an IDR picture, or what a recovery point SEI message tells.
#ifndef NALSMITH_DETAIL_AVC_DECODABLE_HPP
#define NALSMITH_DETAIL_AVC_DECODABLE_HPP

#include "nalsmith/detail/avc/picture.hpp"

#include <limits>
#include <optional>

namespace nalsmith {
inline namespace v1 {
namespace detail {

// recovery_point() (D.1.8)
struct AvcRecoveryPoint {
    std::uint32_t recovery_frame_cnt = 0;
    bool exact_match_flag = false;
    bool broken_link_flag = false;
};

inline AvcRecoveryPoint read_avc_recovery_point(BitReader reader) noexcept
{
    AvcRecoveryPoint point;
    point.recovery_frame_cnt = reader.ue();
    point.exact_match_flag = reader.flag();
    point.broken_link_flag = reader.flag();
    return point;
}

class AvcDecodable {
public:
    // Something is missing from here on.
    void lose() noexcept
    {
        good_ = false;
        recovery_.reset();
    }

    // Whether the next picture can be decoded, of this picture order count and position (see AvcContinuity).
    bool judge(const AvcPicture& picture, std::int64_t count, std::uint64_t position,
               const std::optional<AvcRecoveryPoint>& point) noexcept
    {
        if (point && point->broken_link_flag)
            lose();
        if (picture.IdrPicFlag) {
            good_ = true;
            first_count_ = kAny;
            recovery_.reset();
        } else if (!good_ && point && recovers(*point, picture)) {
            const std::uint64_t at = position + point->recovery_frame_cnt;
            recovery_ = recovery_ && *recovery_ < at ? *recovery_ : at;
        }
        if (recovery_ && picture.reference() && position >= *recovery_) {
            good_ = true;
            first_count_ = count;
            recovery_.reset();
        }
        const bool decodable = good_ && count >= first_count_;
        if (picture.resets_numbering)
            first_count_ = kAny; // whatever follows is output after it
        return decodable;
    }

private:
    static constexpr std::int64_t kAny = std::numeric_limits<std::int64_t>::min();

    static bool recovers(const AvcRecoveryPoint& point, const AvcPicture& picture) noexcept
    {
        return point.exact_match_flag && !point.broken_link_flag &&
               point.recovery_frame_cnt < picture.max_frame_num;
    }

    bool good_ = false;
    std::int64_t first_count_ = kAny;       // pictures output before it refer to what is missing
    std::optional<std::uint64_t> recovery_; // position of the recovery point to come
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

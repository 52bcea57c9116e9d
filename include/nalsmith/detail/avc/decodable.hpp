// SPDX-License-Identifier: MIT
// From where on an H.264 stream can be decoded: an IDR picture, or what a recovery point SEI message tells.
#ifndef NALSMITH_DETAIL_AVC_DECODABLE_HPP
#define NALSMITH_DETAIL_AVC_DECODABLE_HPP

#include "nalsmith/detail/avc/picture.hpp"
#include "nalsmith/picture.hpp"

#include <limits>
#include <optional>

namespace nalsmith {
inline namespace v1 {
namespace detail {

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
               const std::optional<RecoveryPoint>& point) noexcept
    {
        if (point && point->broken_link)
            lose();
        if (picture.IdrPicFlag) {
            good_ = true;
            first_count_ = kAny;
            recovery_.reset();
        } else if (!good_ && point && recovers(*point, picture)) {
            const std::uint64_t at = position + frame_num_steps(*point);
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

    static std::uint32_t frame_num_steps(const RecoveryPoint& point) noexcept
    {
        return static_cast<std::uint32_t>(point.count);
    }
    static bool recovers(const RecoveryPoint& point, const AvcPicture& picture) noexcept
    {
        return point.exact && !point.broken_link && frame_num_steps(point) < picture.max_frame_num;
    }

    bool good_ = false;
    std::int64_t first_count_ = kAny;       // pictures output before it refer to what is missing
    std::optional<std::uint64_t> recovery_; // position of the recovery point to come
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

// SPDX-License-Identifier: MIT
/// \file
/// What the headers of a picture say about how it is coded and where decoding may begin.
#ifndef NALSMITH_PICTURE_HPP
#define NALSMITH_PICTURE_HPP

#include <cstdint>

namespace nalsmith {
inline namespace v1 {

/// Of all slices of an access unit that can be read (H.264 Table 7-6, H.265 Table 7-7).
enum class PictureKind : std::uint8_t {
    unknown,      ///< none of them tells
    intra,        ///< I and SI slices alone
    predicted,    ///< P or SP slices among them, no B slices
    bidirectional ///< B slices among them
};

/// A recovery point SEI message (H.264 D.2.8, H.265 D.3.8): decoding may begin at its access unit, and from
/// some picture on what comes out is right.
struct RecoveryPoint {
    /// How far that picture is: H.264 `recovery_frame_cnt`, in steps of frame_num; H.265 `recovery_poc_cnt`,
    /// in steps of the picture order count, which may go back.
    std::int32_t count = 0;
    /// `exact_match_flag`: from there on the pictures are exactly right; otherwise nearly so.
    bool exact = false;
    /// `broken_link_flag`: pictures may come out wrong even if decoding began before; something was cut off.
    bool broken_link = false;
};

} // namespace v1
} // namespace nalsmith

#endif

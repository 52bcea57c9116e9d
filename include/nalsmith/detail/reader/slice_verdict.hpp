// SPDX-License-Identifier: MIT
// What is said of a slice as soon as its head has come.
#ifndef NALSMITH_DETAIL_READER_SLICE_VERDICT_HPP
#define NALSMITH_DETAIL_READER_SLICE_VERDICT_HPP

#include "nalsmith/picture.hpp"

#include <cstddef>

namespace nalsmith {
inline namespace v1 {
namespace detail {

// Stored bytes of a slice that are looked at, after its start code. Within the field widths of the standards
// no header takes as many up to where one picture is told from the next.
constexpr std::size_t kSliceHead = 252;

// A picture's place in output order.
struct PictureNumber {
    std::int64_t order = 0;
    bool known = false;
    bool restarts = false; // the count begins anew with it
};

struct SliceVerdict {
    PictureNumber number;         // of a slice that begins a picture
    std::uint32_t slice_type = 0; // H.264
    std::uint32_t pps_id = 0;
    PictureKind kind = PictureKind::unknown;
    bool readable = false; // its parameter sets are known
    bool begins = false;   // a picture; of a slice that is not readable, only H.265 tells
    bool cut_off = false;  // the header goes on after the head: the number is not known yet
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

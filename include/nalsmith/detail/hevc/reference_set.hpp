// SPDX-License-Identifier: MIT
// Short-term reference picture sets (H.265 7.3.7): which pictures a picture, or a later one, refers to.
#ifndef NALSMITH_DETAIL_HEVC_REFERENCE_SET_HPP
#define NALSMITH_DETAIL_HEVC_REFERENCE_SET_HPP

#include "nalsmith/detail/bits.hpp"

#include <array>
#include <vector>

namespace nalsmith {
inline namespace v1 {
namespace detail {

struct HevcDelta {
    std::int32_t poc = 0;  // relative to the picture
    bool used_now = false; // by the picture itself, not only by later ones
};

// st_ref_pic_set(): first the pictures before in output order, nearest first, then those after it.
struct HevcReferenceSet {
    static constexpr std::size_t kMost = 16; // H.265 A.4.2: no more than the buffer holds

    std::array<HevcDelta, 2 * kMost> deltas;
    std::size_t before = 0;
    std::size_t count = 0;

    bool add(std::int32_t poc, bool used_now) noexcept
    {
        if (count == deltas.size())
            return false;
        deltas[count++] = {poc, used_now};
        return true;
    }
};

// Predicted from `from` (H.265 7.4.8, equations 7-61 and 7-62).
inline bool predict_reference_set(BitReader& reader, const HevcReferenceSet& from, HevcReferenceSet& set)
{
    const bool negative = reader.flag();
    const auto magnitude = static_cast<std::int32_t>(reader.ue() & 0x7FFF) + 1;
    const std::int32_t shift = negative ? -magnitude : magnitude;
    struct Choice {
        bool used_now;
        bool use;
    };
    std::array<Choice, 2 * HevcReferenceSet::kMost + 1> choices = {};
    for (std::size_t i = 0; i <= from.count; ++i) {
        choices[i].used_now = reader.flag();
        choices[i].use = choices[i].used_now || reader.flag();
    }
    bool good = true;
    const auto take = [&](std::size_t i, bool before) {
        const std::int32_t poc = (i < from.count ? from.deltas[i].poc : 0) + shift;
        if (choices[i].use && (before ? poc < 0 : poc > 0))
            good = set.add(poc, choices[i].used_now) && good;
    };
    for (std::size_t i = from.count; i-- > from.before;)
        take(i, true);
    take(from.count, true);
    for (std::size_t i = 0; i < from.before; ++i)
        take(i, true);
    set.before = set.count;
    for (std::size_t i = from.before; i-- > 0;)
        take(i, false);
    take(from.count, false);
    for (std::size_t i = from.before; i < from.count; ++i)
        take(i, false);
    return good;
}

inline bool read_deltas(BitReader& reader, HevcReferenceSet& set, std::uint32_t count, std::int32_t sign)
{
    std::int32_t poc = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        poc += sign * (static_cast<std::int32_t>(reader.ue() & 0x7FFF) + 1);
        if (!set.add(poc, reader.flag()))
            return false;
    }
    return true;
}

// st_ref_pic_set(index), where `sets` are those of the SPS that came before. False for what no stream has.
inline bool read_reference_set(BitReader& reader, const std::vector<HevcReferenceSet>& sets,
                               std::size_t index, bool in_slice, HevcReferenceSet& set)
{
    set.before = set.count = 0;
    if (index != 0 && reader.flag()) {
        const std::size_t back = in_slice ? std::size_t{reader.ue()} + 1 : 1;
        return back <= index && predict_reference_set(reader, sets[index - back], set);
    }
    const std::uint32_t before = reader.ue();
    const std::uint32_t after = reader.ue();
    if (before > HevcReferenceSet::kMost || after > HevcReferenceSet::kMost)
        return false;
    set.before = before;
    return read_deltas(reader, set, before, -1) && read_deltas(reader, set, after, 1);
}

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif

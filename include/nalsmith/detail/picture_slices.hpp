// SPDX-License-Identifier: MIT
// Where the slices of a picture begin, and where those of the pictures before it did.
#ifndef NALSMITH_DETAIL_PICTURE_SLICES_HPP
#define NALSMITH_DETAIL_PICTURE_SLICES_HPP

#include "nalsmith/detail/fingerprint.hpp"

#include <algorithm>

namespace nalsmith {
inline namespace v1 {
namespace detail {

using Places = std::vector<std::uint64_t>;

// The slices of one picture, or of one of its colour planes.
class PictureSlices {
public:
    enum class Order : std::uint8_t { first, grown, repeated, fallen };

    bool empty() const noexcept { return slices_.empty() && places_.empty(); }
    void clear() noexcept
    {
        slices_.clear();
        places_.clear();
    }

    // `begins` is false of H.265 dependent slice segments, which encoders put where a packet is full.
    Order add(std::uint64_t place, BytesView slice, bool begins = true)
    {
        const Slice added = {place, fingerprint_of_ends(slice)};
        const Order order = order_of(added);
        // Of more slices than any level has macroblocks (H.264 Table A-1) the rest is not kept.
        if ((order == Order::first || order == Order::grown) && slices_.size() < kMost) {
            slices_.push_back(added);
            if (begins)
                places_.push_back(place);
        }
        return order;
    }

    // Where any order will do.
    Order add_anywhere(std::uint64_t place)
    {
        const auto at = std::lower_bound(places_.begin(), places_.end(), place);
        const bool known = at != places_.end() && *at == place;
        if (!known && places_.size() < kMostUnordered)
            places_.insert(at, place);
        return known ? Order::repeated : Order::grown;
    }

    // The same slice has come before.
    bool has(std::uint64_t place, BytesView slice) const noexcept
    {
        return order_of({place, fingerprint_of_ends(slice)}) == Order::repeated;
    }

    const Places& places() const noexcept { return places_; } // growing

private:
    static constexpr std::size_t kMost = 139264;
    static constexpr std::size_t kMostUnordered = 1024; // each of them moves others

    struct Slice {
        std::uint64_t place = 0;
        Fingerprint fingerprint;
    };

    Order order_of(const Slice& added) const noexcept
    {
        if (slices_.empty())
            return Order::first;
        if (added.place > slices_.back().place)
            return Order::grown;
        const auto at = std::lower_bound(
            slices_.begin(), slices_.end(), added.place,
            [](const Slice& slice, std::uint64_t place) noexcept { return slice.place < place; });
        return at->place == added.place && at->fingerprint == added.fingerprint ? Order::repeated
                                                                                : Order::fallen;
    }

    std::vector<Slice> slices_; // with growing places
    Places places_;
};

// The places that pictures of one structure keep to, when the encoder has a fixed number of slices.
class SliceHabit {
public:
    // Of pictures by other sequence parameters nothing is known.
    void begin_sequence(std::uint64_t sequence) noexcept
    {
        if (sequence != sequence_)
            run_ = exceptions_ = 0;
        sequence_ = sequence;
    }

    // Slices are missing, by what the pictures before had.
    bool misses(const Places& places) const noexcept
    {
        return run_ >= kHabit && is_exception(places) && !(exceptions_ >= kChange && places == exception_);
    }

    void keep(const Places& places)
    {
        if (misses(places)) {
            exceptions_ = places == exception_ ? exceptions_ + 1 : 1;
            exception_ = places;
        } else if (places == usual_) {
            run_ += run_ < kHabit ? 1U : 0U;
            exceptions_ = 0;
        } else {
            run_ = places == exception_ ? exceptions_ + 1 : 1;
            exceptions_ = 0;
            usual_ = places;
        }
    }

private:
    static constexpr unsigned kHabit = 16; // pictures
    static constexpr unsigned kChange = 3; // exceptions after which one more is none

    bool is_exception(const Places& places) const noexcept
    {
        return places.size() < usual_.size() &&
               std::includes(usual_.begin(), usual_.end(), places.begin(), places.end());
    }

    std::uint64_t sequence_ = 0;
    Places usual_;
    unsigned run_ = 0;        // pictures that kept to it
    Places exception_;        // the last picture with slices missing
    unsigned exceptions_ = 0; // pictures in a row like that
};

} // namespace detail
} // namespace v1
} // namespace nalsmith

#endif
